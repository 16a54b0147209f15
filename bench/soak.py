#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Wears the built program: client lives, output, refreshes, folder toggles, the window shown and hidden.

Usage (inside scripts/isolate): soak.py PROGRAM [--rounds N] [--lines N]

A round is five lives: one that asks for a resync, the one that follows it, one that prints on and on while an
entry is synced by force, the window is shown and hidden and a folder is toggled, the one started by that, and
a last one. What each life prints is known beforehand, so every byte of the program's echo is compared. Ends
with 1 when something was lost or is left over.
"""
import argparse
import collections
import itertools
import os
import pathlib
import re
import subprocess
import sys
import time

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/program"))
import driver  # noqa: E402
import soak_client  # noqa: E402

FOLDER = pathlib.Path(os.environ["SKYFOLD_ISOLATED"]) / "soak"
CLICKS_PER_ROUND = 5  # on the tray icon: each shows or hides the window
# Seven, so that in rounds of five each comes in each place.
ENDINGS = "clean,failed,KILL,mid-line,mid-character,TERM,clean"
OWN_LINES = (b"DEBUG: ", b"OneDrive sync process ", b"Added to skip_dir: ", b"Removed from skip_dir: ",
             b"Restarting sync process ", b"entry-")
ENDED = b"OneDrive sync process exited cleanly."
RELAUNCHED = b"DEBUG: Resync required, retrying automatically."  # before the line about the launch
SHELL_TELLS = {"KILL": b"Killed\n", "TERM": b"Terminated\n"}  # after the client's own text


class Life:
    """One life of the client: what it says it wrote, and how much of that the program has echoed."""
    def __init__(self, number, lines):
        self.record = FOLDER / "lives" / f"{number:05}"
        self.ending = self.record.read_text().split()[1]
        self.text = itertools.chain(soak_client.lines(number, self.ending, lines),
                                    [SHELL_TELLS.get(self.ending, b"")])
        self.ahead = b""
        self.echoed = 0
        self.lines = 0

    def written(self):
        """While its shell was there: when the program stops a client, that one may go on for a moment."""
        return int(self.record.read_text().split()[0])

    def take(self, chunk):
        while len(self.ahead) < len(chunk) and (line := next(self.text, None)) is not None:
            self.ahead += line
        if not self.ahead.startswith(chunk):
            return False
        self.ahead = self.ahead[len(chunk):]
        self.echoed += len(chunk)
        self.lines += chunk.count(b"\n")
        return True

    def lines_lost(self):
        missing = self.written() - self.echoed
        while 0 < missing and len(self.ahead) < missing:
            self.ahead += next(self.text)
        return self.ahead[:missing].count(b"\n") if missing > 0 else 0


class Output:
    """The program's two streams, taken apart as they grow: its lines are counted, the client's compared."""
    def __init__(self, lines):
        self.streams = [(FOLDER / name).open("rb") for name in ("stdout", "stderr")]
        self.rests = [b"", b""]
        self.lines_per_life = lines
        self.said = collections.Counter()
        self.others = collections.Counter()
        self.lives = {}
        self.chunk = None
        self.relaunched = False
        self.strays = []
        self.refreshes = self.overlapped = 0
        self.loading = self.loading_chunks = 0

    def read(self):
        for index, stream in enumerate(self.streams):
            *lines, self.rests[index] = (self.rests[index] + stream.read()).split(b"\n")
            for line in lines:
                self.hear(line) if index == 0 else self.hear_error(line)

    def hear(self, line):
        if line.startswith(b"[SYNC] "):
            self.end_chunk()
            self.chunk = [line[7:]]
        elif line.startswith(OWN_LINES):
            self.end_chunk()
            self.hear_own(line)
        elif self.chunk is not None:
            self.chunk.append(line)

    def hear_own(self, line):
        if line.startswith(b"DEBUG: Launching: "):
            self.said["launched"] += 1
            self.said["ended"] += self.relaunched
            self.relaunched = False
        elif line == RELAUNCHED:
            self.relaunched = True
        elif line == ENDED:
            self.said["ended"] += 1
        elif line.startswith((b"Added to", b"Removed from")):
            self.said["toggled"] += 1
        elif line == b"DEBUG: Loading sync status cache...":
            self.loading, self.loading_chunks = True, 0
        elif line == b"DEBUG: Async file status update complete.":
            self.refreshes += 1
            self.overlapped += bool(self.loading and self.loading_chunks)
            self.loading = False
        elif line == b"DEBUG: Tray icon setup complete! Tray should now be visible.":
            self.said["tray"] += 1

    def hear_error(self, line):
        if line.startswith(b"ERROR: Sync process exited with code "):
            self.said["ended"] += 1
        elif line:
            self.others[re.sub(r"[0-9:.]{5,}", "", line.decode(errors="replace"))] += 1

    def end_chunk(self):
        if self.chunk is None:
            return
        chunk, self.chunk = b"\n".join(self.chunk), None
        self.loading_chunks += 1
        if not any(life.take(chunk) for life in self.candidates()):
            self.strays.append(chunk)

    def candidates(self):
        """The last lives, oldest first: what a stopped one wrote may be read after the next has begun."""
        newest = (FOLDER / "count").stat().st_size
        for number in range(max(1, newest - 2), newest + 1):
            if number not in self.lives and (FOLDER / "lives" / f"{number:05}").exists():
                self.lives[number] = Life(number, self.lines_per_life)
        return [self.lives[number] for number in sorted(self.lives)[-3:]]


class Figures:
    """What the process holds at one moment."""
    names = ("lives", "threads", "descriptors", "of them pipes", "others", "children", "resident MiB",
             "private MiB")

    def __init__(self, pid, lives):
        process = pathlib.Path(f"/proc/{pid}")
        links = [os.readlink(one) for one in (process / "fd").iterdir()]
        pipes = sum(link.startswith("pipe:") for link in links)
        memory = {line.split()[0]: int(line.split()[1]) / 1024
                  for line in (process / "smaps_rollup").read_text().splitlines()[1:]}
        private = memory["Private_Clean:"] + memory["Private_Dirty:"]
        self.values = (lives, len(list((process / "task").iterdir())), len(links), pipes, len(links) - pipes,
                       len(children(pid)), round(memory["Rss:"], 1), round(private, 1))


def children(pid):
    """What the program started, and clients whose shell has ended before them."""
    found = []
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            before, after = stat.read_text().rsplit(")", 1)
        except OSError:
            continue
        if int(after.split()[1]) == pid or before.endswith("(onedrive-cli"):
            found.append(stat.parent.name)
    return found


class Stuck(Exception):
    pass


class Soak:
    def __init__(self, program, lines):
        self.lines = lines
        self.home = pathlib.Path(os.environ["HOME"])
        self.prepare()
        environment = {**os.environ, "PATH": f"{FOLDER}/bin:{os.environ['PATH']}", "SOAK_FOLDER": str(FOLDER),
                       "SOAK_LINES": str(lines), "SOAK_AFTER_RESYNC": ENDINGS}
        self.tray = subprocess.Popen(driver.TRAYER, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with (FOLDER / "stdout").open("wb") as out, (FOLDER / "stderr").open("wb") as errors:
            self.program = subprocess.Popen([program], env=environment, stdout=out, stderr=errors)
        self.output = Output(lines)
        self.dialogs = self.clicks = self.forced = 0

    def prepare(self):
        for name in ("lives", "bin"):
            (FOLDER / name).mkdir(parents=True)
        (FOLDER / "bin/onedrive-cli").symlink_to(pathlib.Path(soak_client.__file__).resolve())
        (FOLDER / "count").touch()
        (FOLDER / "next").write_text("clean")
        for number in range(soak_client.ENTRIES):
            (self.home / f"Cloud/entry-{number:02}").mkdir(parents=True)
        driver.make_home(self.home, f"sync_dir={self.home}/Cloud\nsync_enabled=true\n")

    def until(self, done, what):
        def seen():
            self.output.read()
            if self.program.poll() is not None:
                raise Stuck(f"the program ended with {self.program.poll()} before {what}; {self.last_words()}")
            return done()
        if not (result := driver.turn_until(seen)):
            raise Stuck(f"waited in vain for {what}; {self.last_words()}")
        return result

    def last_words(self):
        return " | ".join(str((FOLDER / name).read_bytes()[-400:]) for name in ("stdout", "stderr"))

    # What a person does.

    def reach(self):
        """Finds what is pressed later on; the buttons of a row are there for who points at it."""
        driver.Atspi.set_timeout(30000, 60000)
        self.until(lambda: self.output.said["tray"], "the tray icon")
        self.icon = self.until(driver.find_icon, "the icon's window")
        self.point_at_tray()
        self.click_tray()
        self.sync_row, self.quit_item = (
            self.until(lambda: driver.accessible("menu item", name, None), name) for name in ("Enable Sync", "Quit"))
        self.rows = [self.buttons_of_row(f"entry-{number:02}") for number in range(soak_client.ENTRIES)]
        self.point_at_tray()

    def buttons_of_row(self, name):
        row = driver.accessible("list item", name)

        def pointed_at():
            place = row.get_extents(driver.Atspi.CoordType.SCREEN)
            if place.x > 0:  # again and again: the window may still be on its way to its place
                subprocess.run(["xdotool", "mousemove", str(place.x + 99), str(place.y + 9)], check=True)
            return [driver.accessible("push button", name, below=row) for name in ("Force Sync", "Disable Sync")]
        return self.until(lambda: all(found := pointed_at()) and found, f"the buttons of {name}")

    def point_at_tray(self):
        subprocess.run(["xdotool", "mousemove", "--window", self.icon, "6", "6"], check=True)

    def click_tray(self):
        was_shown = bool(driver.accessible("frame"))
        subprocess.run(["xdotool", "click", "1"], check=True)
        self.until(lambda: bool(driver.accessible("frame")) != was_shown, "the window to be shown or hidden")
        self.clicks += 1

    def answer_dialogs(self):
        def answered():
            dialog = driver.accessible("alert")
            if dialog and (button := driver.accessible("push button", "OK", below=dialog)):
                button.do_action(0)
                self.dialogs += 1
            return not dialog
        self.until(answered, "the dialogs to go away")

    # Lives of the client.

    def start(self, ending):
        (FOLDER / "next").write_text(ending)
        launched = self.output.said["launched"]
        self.sync_row.do_action(0)
        self.until(lambda: self.output.said["launched"] > launched, f"the start of a life that ends {ending}")

    def wait_for_ends(self):
        self.until(lambda: self.output.said["ended"] == self.output.said["launched"], "the lives to end")
        self.answer_dialogs()

    def wait_for_output(self):
        """Of the newest life: from here on it is at work."""
        launched = self.output.said["launched"]

        def at_work():
            newest = self.output.lives.get((FOLDER / "count").stat().st_size)
            return newest and newest.ending == "endless" and newest.lines >= self.lines
        self.until(at_work, f"output of life {launched}")

    def round(self, number):
        self.start("resync")
        self.wait_for_ends()
        self.start("endless")
        self.wait_for_output()
        force_sync, toggle = self.rows[number % len(self.rows)]
        refreshes = self.output.refreshes
        force_sync.do_action(0)
        self.forced += 1
        for _ in range(CLICKS_PER_ROUND):
            self.click_tray()
        self.until(lambda: self.output.refreshes > refreshes, "the refresh")
        (FOLDER / "next").write_text(ENDINGS)
        launched = self.output.said["launched"]
        toggle.do_action(0)
        self.until(lambda: self.output.said["launched"] > launched, "the restart by a folder toggle")
        self.wait_for_ends()
        self.start(ENDINGS)
        self.wait_for_ends()

    def figures(self):
        self.until(lambda: not children(self.program.pid), "the children to end")
        end = time.monotonic() + 0.5
        self.until(lambda: time.monotonic() > end, "a quiet moment")
        return Figures(self.program.pid, self.output.said["launched"]).values

    def quit(self):
        self.quit_item.do_action(0)
        end = time.monotonic() + 20
        while self.program.poll() is None and time.monotonic() < end:
            time.sleep(0.05)
        self.output.read()
        self.output.end_chunk()
        return self.program.poll()


def print_table(rows):
    for row in (Figures.names, ["---:"] * 8, *rows):
        print("| " + " | ".join(map(str, row)) + " |", flush=True)


def faults(samples, lost, soak, status, trouble):
    """What must not be, whatever the machine. Each life keeps two pipe ends open, on purpose."""
    first, last = (dict(zip(Figures.names, sample)) for sample in (samples[0], samples[-1]))
    middle = dict(zip(Figures.names, samples[len(samples) // 2]))
    grown = last["of them pipes"] - first["of them pipes"]
    return [text for found, text in [
        (lost or soak.output.strays, "output was lost or made up"),
        (grown != 2 * (last["lives"] - first["lives"]), f"{grown} pipe ends more"),
        (last["others"] > first["others"] + 1, "more descriptors that are no pipes"),
        (last["threads"] > first["threads"], "more threads"),
        # Memory fills in the first hundred lives. After that a life was measured to cost 0.7 KiB, half a KiB of it
        # the toolkit's for a dialog; several times that is a leak.
        (middle["lives"] > 100 and
         (last["resident MiB"] - middle["resident MiB"]) * 1024 > 4 * (last["lives"] - middle["lives"]),
         "memory grows by more than 4 KiB a life"),
        (status != 0, f"the program ended with {status}"),
        (trouble, trouble),
    ] if found]


def report(soak, samples, seconds, trouble):
    output, status = soak.output, soak.quit()
    endings = collections.Counter(record.read_text().split()[1] for record in (FOLDER / "lives").iterdir())
    lives = output.lives.values()
    lost = sum(life.lines_lost() for life in lives)
    lines = sum(life.lines for life in lives) - sum(endings[ending] for ending in SHELL_TELLS)
    print_table(samples)
    print(f"\n{seconds:.0f} s, {output.said['launched']} lives: {dict(endings)}")
    print(f"{lines} lines, {sum(life.echoed for life in lives)} bytes echoed; {lost} lines lost; "
          f"{len(output.strays)} chunks that no life wrote")
    print(f"{output.refreshes} refreshes, {output.overlapped} while output came, {soak.forced} forced")
    print(f"{output.said['toggled']} toggles; the window shown or hidden {soak.clicks} times; "
          f"{soak.dialogs} dialogs answered")
    for line, count in output.others.items():
        print(f"on standard error, {count} times: {line}")
    found = faults(samples, lost, soak, status, trouble)
    print("\n".join(f"FAULT: {text}" for text in found) or "no fault")
    return 1 if found else 0


def wear(soak, rounds, samples):
    """Whatever stops it, what was seen until then is still told."""
    try:
        for number in range(1, rounds + 1):
            soak.round(number)
            if number % max(1, rounds // 10) == 0:
                samples.append(soak.figures())
                print(samples[-1], file=sys.stderr, flush=True)
    except Stuck as stuck:
        return str(stuck)
    except KeyboardInterrupt:
        return "interrupted"
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--rounds", type=int, default=200)
    parser.add_argument("--lines", type=int, default=1000)
    options = parser.parse_args()
    soak = Soak(options.program, options.lines)
    try:
        soak.reach()
        soak.wait_for_ends()
        soak.round(0)  # whatever is loaded or made once is there now
        begin = time.monotonic()
        samples = [soak.figures()]
        trouble = wear(soak, options.rounds, samples)
        return report(soak, samples, time.monotonic() - begin, trouble)
    finally:
        soak.program.kill()
        soak.tray.kill()


if __name__ == "__main__":
    sys.exit(main())
