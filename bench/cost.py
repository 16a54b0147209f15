#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What the program costs beside bare ones of the same toolkit: with one hidden window, and with the same
widgets in it.

Usage (inside scripts/isolate): cost.py BUILD_FOLDER [IDLE_SECONDS]

Starts them turn by turn and tells the middle of the times to the first idle moment of the main loop; then
lets all stay, side by side, and reads their memory, libraries and wake-ups.
"""
import collections
import contextlib
import json
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import threading
import time

CLIENT_FOLDER = pathlib.Path(__file__).resolve().parents[1] / "tests/client"  # of the scripted one
ENTRIES = 100
STARTS = 9
# Seconds. By then the notification area was looked for the last time, GIO has forgotten the names of users that
# it keeps for 7 s, and the accessibility bridge what it keeps for 16 s: each is a wake-up of its own.
SETTLED = 20
LIBRARY = re.compile(r"/.*\.so(\.[0-9.]+)?$")

# The first thing that the program does when its main loop is idle is to start the sync.
Kind = collections.namedtuple("Kind", "name command idle_mark variables")


def kinds(build):
    bare = build / "bench" / "bare"
    return [Kind("skyfold", [build / "skyfold"], "Application::on_sync_started() - BEGIN", {}),
            Kind("bare, same widgets", [bare, str(ENTRIES)], "IDLE", {"GDK_GL": "disable"}),
            Kind("bare, GDK_GL=disable", [bare], "IDLE", {"GDK_GL": "disable"}),
            Kind("bare", [bare], "IDLE", {})]


def make_home(home):
    """A signed-in home with a folder to list; the client prints little and then nothing."""
    folder = home / "OneDrive"
    folder.mkdir(parents=True)
    for number in range(ENTRIES):
        path = folder / f"Entry {number:03}"
        path.mkdir() if number % 4 == 0 else path.with_suffix((".odt", ".png", ".txt")[number % 3]).touch()
    for name in ("skyfold", "onedrive"):
        (home / ".config" / name).mkdir(parents=True)
    (home / ".config/onedrive/refresh_token").write_text("any")
    statuses = "".join(f"{path.name}: synced\n" for path in folder.iterdir())
    calls = [(["--monitor", "--syncdir", str(folder)], [{"print": "Sync complete\n"}, {"hang": True}]),
             (["--display-sync-status"], [{"print": statuses}]),
             (["--display-config"], [{"print": "skip_dir = \"\"\n"}])]
    scenario = home / "scenario"
    entries = [{"args": args, "steps": steps, "repeat": True, "cut_short": True} for args, steps in calls]
    scenario.write_text(json.dumps({"calls": entries}))
    os.environ.update(HOME=str(home), CLIENT_SCENARIO=str(scenario), PATH=f"{CLIENT_FOLDER}:{os.environ['PATH']}")


class Started:
    """A program that has come to its first idle moment."""

    def __init__(self, kind):
        # Anew each time: whoever is killed while it saves its settings leaves them half written.
        home = pathlib.Path(os.environ["HOME"])
        (home / ".config/skyfold/config").write_text(f"sync_dir={home}/OneDrive\n")
        start = time.monotonic()
        self.process = subprocess.Popen(kind.command, env={**os.environ, **kind.variables}, text=True,
                                        errors="replace", stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if not any(kind.idle_mark in line for line in self.process.stdout):
            sys.exit(f"{kind.command[0]} ended before it was idle")
        self.start_ms = (time.monotonic() - start) * 1000
        self.start_cpu_ms = sum(thread_times(self.process.pid)) / 1e6
        self.reader = threading.Thread(target=lambda: collections.deque(self.process.stdout, 0))
        self.reader.start()

    def end(self):
        # The client first: a program that is killed leaves it behind.
        for pid in reversed(family(self.process.pid)):
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, 9)
        self.process.wait()
        self.reader.join()


def thread_times(pid):
    """Processor time of each thread, ns."""
    for path in pathlib.Path(f"/proc/{pid}/task").glob("*/schedstat"):
        with contextlib.suppress(OSError):
            yield int(path.read_text().split()[0])


def family(pid):
    """The process and all that it started that is still there."""
    members = [pid]
    for member in members:
        with contextlib.suppress(OSError):
            for path in pathlib.Path(f"/proc/{member}/task").glob("*/children"):
                members += map(int, path.read_text().split())
    return members


def memory(pid):
    """Resident, proportional and private memory, MiB."""
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    sizes = {name: int(size) / 1024 for name, size in re.findall(r"^(\w+):\s+(\d+) kB", text, re.M)}
    return {"RSS, MiB": sizes["Rss"], "PSS, MiB": sizes["Pss"],
            "private, MiB": sizes["Private_Clean"] + sizes["Private_Dirty"]}


def libraries(pid):
    lines = pathlib.Path(f"/proc/{pid}/maps").read_text().splitlines()
    return len({found[0] for line in lines if (found := LIBRARY.search(line))})


def switches(pids):
    """How often the threads of these processes were put on or off a processor."""
    total = 0
    for pid in pids:
        for path in pathlib.Path(f"/proc/{pid}/task").glob("*/status"):
            total += sum(map(int, re.findall(r"ctxt_switches:\s+(\d+)", path.read_text())))
    return total


def measure(chosen, starts, idle):
    """A table: what was measured, and a value for each kind."""
    times = collections.defaultdict(list)
    for kind in chosen * starts:
        started = Started(kind)
        times["start to hidden window, ms", kind.name].append(started.start_ms)
        times["of it processor time, ms", kind.name].append(started.start_cpu_ms)
        started.end()
    table = collections.defaultdict(dict)
    for (what, name), values in times.items():
        table[what][name] = statistics.median(values)
    staying = {kind.name: Started(kind) for kind in chosen}
    time.sleep(SETTLED)
    pids = {name: family(started.process.pid) for name, started in staying.items()}
    before = {name: (switches(each[:1]), switches(each[1:])) for name, each in pids.items()}
    time.sleep(idle)
    for name, each in pids.items():
        table[f"wake-ups in {idle} s"][name] = switches(each[:1]) - before[name][0]
        table[f"its client's in {idle} s"][name] = switches(each[1:]) - before[name][1]
        for what, value in {**memory(each[0]), "libraries": libraries(each[0])}.items():
            table[what][name] = value
    for started in staying.values():
        started.end()
    return table


def show(title, table):
    names = list(next(iter(table.values())))
    print(f"\n{title}\n{'':28}" + "".join(f"{name:>22}" for name in names) + f"{'ratio to each bare':>22}")
    for what, values in table.items():
        ratios = [f"{values[names[0]] / values[name]:.2f}" for name in names[1:] if values[name]]
        numbers = "".join(f"{values[name]:22.1f}" for name in names)
        print(f"{what:28}{numbers}{' '.join(ratios):>22}")


@contextlib.contextmanager
def fresh_display():
    """An X server that no program of the toolkit has seen yet, so that the first one looks for OpenGL."""
    for number in random.sample(range(1000, 30000), 3):
        server = subprocess.Popen(["Xvfb", f":{number}", "-displayfd", "1", "-screen", "0", "1280x900x24",
                                   "-noreset"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        if server.stdout.readline().strip():
            break
    old, os.environ["DISPLAY"] = os.environ["DISPLAY"], f":{number}"
    try:
        yield
    finally:
        os.environ["DISPLAY"] = old
        server.terminate()
        server.wait()


def measure_first_programs(chosen):
    table = collections.defaultdict(dict)
    for kind in chosen:
        with fresh_display():
            for what, values in measure([kind], 0, 0).items():
                if " in 0 s" not in what:
                    table[what].update(values)
    with_starts = collections.defaultdict(list)
    for kind in chosen * 5:
        with fresh_display():
            started = Started(kind)
            with_starts[kind.name].append(started.start_ms)
            started.end()
    table["start to hidden window, ms"] = {name: statistics.median(with_starts[name]) for name in with_starts}
    return table


def main(build, idle="30"):
    if "SKYFOLD_ISOLATED" not in os.environ:
        sys.exit("Run this through scripts/isolate.")
    make_home(pathlib.Path(os.environ["SKYFOLD_ISOLATED"]) / "cost")
    chosen = kinds(pathlib.Path(build))
    with subprocess.Popen(chosen[-1].command, stdout=subprocess.PIPE, text=True) as first:
        first.stdout.readline()  # the display has been looked at for OpenGL now
        first.kill()
    show(f"Side by side, {ENTRIES} entries", measure(chosen, STARTS, int(idle)))
    show("As the first program of the toolkit on a fresh display", measure_first_programs(chosen))


if __name__ == "__main__":
    main(*sys.argv[1:])
