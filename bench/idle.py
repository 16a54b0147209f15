#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What the program costs that does nothing: its start, and then its memory and its wake-ups."""
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

CLIENT_FOLDER = pathlib.Path(__file__).resolve().parents[1] / "tests/client"  # of the scripted one
ENTRIES = 100
STARTS = 9
# Seconds. The last one-shot timer of the toolkit comes 16 s after the start: the accessibility bridge forgets.
SETTLED, WATCHED = 20, 30


def make_home(home):
    """A signed-in home with a folder to list; the client prints little and then nothing."""
    names = [f"Entry {number:02}" for number in range(ENTRIES)]
    for folder in (".config/skyfold", ".config/onedrive", *(f"OneDrive/{name}" for name in names)):
        (home / folder).mkdir(parents=True)
    (home / ".config/onedrive/refresh_token").write_text("any")
    states = "\\n".join(f"{name}: synced" for name in names)
    (home / "scenario").write_text("client-always --monitor --syncdir {home}/OneDrive | says Sync complete | hangs\n"
                                   f"client-always --display-sync-status | says {states}\n")
    os.environ.update(HOME=str(home), CLIENT_SCENARIO=str(home / "scenario"),
                      PATH=f"{CLIENT_FOLDER}:{os.environ['PATH']}")


def start(program, home, times):
    """The program as soon as its main loop is idle. Notes how many milliseconds that took."""
    # Anew each time: whoever is killed while it saves its settings leaves them half written.
    (home / ".config/skyfold/config").write_text(f"sync_dir={home}/OneDrive\nsync_enabled=true\n")
    begin = time.monotonic()
    process = subprocess.Popen([program], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    # The first thing that it does when it is idle is to start the sync. What it prints later fits into the pipe.
    if not any(line.startswith(b"DEBUG: Application::on_sync_started() - BEGIN") for line in process.stdout):
        sys.exit(f"{program} ended before it was idle")
    times.append((time.monotonic() - begin) * 1000)
    return process


def family(pid):
    """The process and all that it started that is still there."""
    members = [pid]
    for member in members:
        for path in pathlib.Path(f"/proc/{member}/task").glob("*/children"):
            members += map(int, path.read_text().split())
    return members


def wake_ups(pids):
    """How often the threads of these processes were put on or off a processor."""
    files = [file for pid in pids for file in pathlib.Path(f"/proc/{pid}/task").glob("*/status")]
    return sum(int(count) for file in files for count in re.findall(r"ctxt_switches:\s+(\d+)", file.read_text()))


def main(program, home):
    make_home(home)
    tray = subprocess.Popen(["trayer"], stdout=subprocess.DEVNULL)  # without one the window would open by itself
    times = []
    for _ in range(STARTS):
        process = start(program, home, times)
        process.kill()  # the next one ends its client
        process.wait()
    process = start(program, home, [])
    time.sleep(SETTLED)
    own, *clients = family(process.pid)
    before = wake_ups([own]), wake_ups(clients)
    time.sleep(WATCHED)
    if not clients or family(process.pid) != [own, *clients] or tray.poll() is not None:
        sys.exit("the client has ended, or the notification area")
    after = wake_ups([own]), wake_ups(clients)
    memory = re.search(r"^Pss:\s+(\d+)", pathlib.Path(f"/proc/{own}/smaps_rollup").read_text(), re.M)
    libraries = set(re.findall(r"/\S+\.so[.0-9]*$", pathlib.Path(f"/proc/{own}/maps").read_text(), re.M))
    print(f"\nThe program with {ENTRIES} entries\n"
          f"start to hidden window, middle of {STARTS}: {statistics.median(times):.0f} ms\n"
          f"proportional memory: {int(memory[1]) / 1024:.1f} MiB, libraries: {len(libraries)}\n"
          f"wake-ups in {WATCHED} s: {after[0] - before[0]}, of its client: {after[1] - before[1]}")
    for pid in (own, *clients, tray.pid):
        os.kill(pid, 9)


if __name__ == "__main__":
    main(sys.argv[1], pathlib.Path(os.environ["SKYFOLD_ISOLATED"]) / "idle")
