#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Wears the built program: client lives, output, refreshes, folder toggles, the window shown and hidden.

A life prints nothing before the program has told the end of the one before, so what is echoed is the newest one's.
Ends with 1 when something was lost or made up or is left over.
"""
import argparse
import collections
import itertools
import os
import pathlib
import subprocess
import sys
import unittest
import zlib

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/program"))
import driver  # noqa: E402
import soak_client  # noqa: E402

# Seven, so that in rounds of five each comes in each place.
ENDINGS = itertools.cycle(("clean", "failed", "KILL", "mid-line", "mid-character", "TERM", "clean"))
SHELL_TELLS = {"KILL": b"Killed\n", "TERM": b"Terminated\n"}  # after the client's own text
OWN_LINES = (b"DEBUG: ", b"OneDrive sync process ", b"Added to skip_dir: ", b"Removed from skip_dir: ",
             b"Restarting sync process ", b"entry-")
ENDS = (b"DEBUG: Resync required, retrying automatically.", b"OneDrive sync process exited cleanly.")


class Soak(driver.DrivenProgram):
    def setUp(self):
        super().setUp()
        for number in range(soak_client.ENTRIES):
            (self.cloud / f"entry-{number:02}").mkdir(parents=True)
        self.sign_in("sync_enabled=true")
        (self.home / "bin/onedrive-cli").symlink_to(pathlib.Path(soak_client.__file__).resolve())
        os.mkfifo(self.home / "orders")
        self.orders = os.open(self.home / "orders", os.O_RDWR)
        self.start_tray()
        self.errors = self.write("errors")
        environment = {**os.environ, "HOME": str(self.home), "PATH": f"{self.home}/bin:{os.environ['PATH']}"}
        self.program, self.log = self.spawn("sh", "-c", 'exec "$0" 2>"$1"', self.skyfold, self.errors, env=environment)
        self.stream, self.rest, self.in_chunk = self.enterContext(self.log.open("rb")), b"", False
        self.launched = self.ended_well = self.ended = self.refreshed = 0
        self.done, self.life = collections.Counter(), None
        self.addCleanup(lambda: print(*(f"{count} {what}" for what, count in self.done.items()), sep=", "))

    # What the program prints: its own lines are counted, the client's belong to the newest life.

    def read(self):
        errors = self.errors.read_bytes()  # first: when the end of a life is in it, all that it printed is there
        *lines, self.rest = (self.rest + self.stream.read()).split(b"\n")
        for line in lines:
            own = line.startswith(OWN_LINES)
            self.launched += line.startswith(b"DEBUG: Launching: ")
            self.ended_well += line in ENDS
            self.refreshed += line == b"DEBUG: Async file status update complete."
            if line.startswith(b"[SYNC] "):
                self.take(line[7:])
            elif self.in_chunk and not own:
                self.take(b"\n" + line)
            self.in_chunk = not own
        self.ended = self.ended_well + errors.count(b"ERROR: Sync process exited with code ")

    def take(self, text):
        self.echoed += len(text)
        self.lines += text.count(b"\n")
        self.checksum = zlib.crc32(text, self.checksum)

    def close_life(self):
        """Of the endless one all must be there that was written while its shell was, and no byte must be wrong."""
        wanted = soak_client.text(self.life, self.ending) + SHELL_TELLS.get(self.ending, b"")
        if self.ending == "endless":
            wanted = wanted[:max(self.echoed, int((self.home / "written").read_bytes()))]
        self.done.update({"lives": 1, "lines": self.lines, "bytes": self.echoed,
                          "lines lost": max(0, wanted.count(b"\n") - self.lines),
                          "lives with wrong output": int(zlib.crc32(wanted) != self.checksum)})

    def until(self, done, what):
        self.assertTrue(driver.turn_until(lambda: self.read() or done()), f"waited in vain for {what}")

    # What a person does.

    def button(self, row, name):
        """Of a row. It is there for who points at the row."""
        self.point("list item", row)
        return driver.turn_until(lambda: driver.accessible("push button", name, below=self.find("list item", row)))

    def show_or_hide(self):
        was_shown = bool(driver.accessible("frame"))
        self.click_tray()
        self.until(lambda: bool(driver.accessible("frame")) != was_shown, "the window to be shown or hidden")

    def finish(self):
        def answered():
            dialog = driver.accessible("alert")
            if dialog and (button := driver.accessible("push button", "OK", below=dialog)):
                button.do_action(0)
            return not dialog
        self.until(lambda: self.ended == self.launched, "the lives to end")
        self.until(answered, "the dialogs to go away")

    def begin(self, ending, action=None):
        """Gives the life that the action leads to its orders, as soon as its predecessor has ended."""
        life = self.launched + 1
        if action:
            action.do_action(0)
        self.until(lambda: (self.launched, self.ended) == (life, life - 1), f"life {life}")
        if self.life:
            self.close_life()
        self.life, self.ending = life, ending
        self.echoed = self.lines = self.checksum = 0
        os.write(self.orders, b"%05d %-14s" % (life, ending.encode()))

    def round(self, number):
        self.begin("resync", self.switch)
        self.begin(next(ENDINGS))
        self.finish()
        self.begin("endless", self.switch)
        self.until(lambda: self.lines >= soak_client.LINES, "the output of the endless life")
        force_sync, toggle = self.rows[number % len(self.rows)]
        refreshed = self.refreshed
        force_sync.do_action(0)
        for _ in range(5):
            self.show_or_hide()
        self.until(lambda: self.refreshed > refreshed, "the refresh")
        self.begin(next(ENDINGS), toggle)
        self.finish()
        self.begin(next(ENDINGS), self.switch)
        self.finish()

    def sample(self):
        """What the process holds at a quiet moment."""
        self.until(lambda: not self.has_children(), "the children to end")
        driver.turn_until(lambda: False, 0.5)
        process = pathlib.Path(f"/proc/{self.program.pid}")
        links = [os.readlink(one)[:5] for one in (process / "fd").iterdir()]
        resident = int((process / "statm").read_text().split()[1]) * os.sysconf("SC_PAGESIZE") / 2 ** 20
        pipes, threads = links.count("pipe:"), len(list((process / "task").iterdir()))
        values = {"lives": self.launched, "threads": threads, "pipe ends": pipes,
                  "other descriptors": len(links) - pipes, "MiB": round(resident, 1)}
        print(*(f"{value} {name}" for name, value in values.items()), sep=", ", flush=True)
        return values

    def has_children(self):
        """Or clients whose shell has ended. One of these that has ended itself is not the program's to collect, and
        some containers have a first process that does not do it."""
        listing = subprocess.check_output(["ps", "-s", str(os.getsid(0)), "-o", "ppid=,state=,comm="], text=True)
        return any(int(parent) == self.program.pid or (name == "onedrive-cli" and state != "Z")
                   for parent, state, name, *_ in map(str.split, listing.splitlines()))

    def test_wear(self):
        self.begin("clean")
        driver.Atspi.set_timeout(30000, 60000)
        self.icon = None
        self.assert_says("DEBUG: Tray icon setup complete! Tray should now be visible.")
        self.show_or_hide()
        self.switch, self.quit_item = (self.find("menu item", name, None) for name in ("Enable Sync", "Quit"))
        self.rows = [(self.button(name, "Force Sync"), self.button(name, "Disable Sync"))
                     for name in sorted(os.listdir(self.cloud))]
        self.finish()
        self.round(0)  # whatever is loaded or made once is there now
        samples = [self.sample()]
        for number in range(1, self.rounds + 1):
            self.round(number)
            if number % max(1, self.rounds // 10) == 0:
                samples.append(self.sample())
        self.quit_item.do_action(0)
        self.until(lambda: self.program.poll() is not None, "the program to end")
        self.close_life()
        first, middle, last = samples[0], samples[len(samples) // 2], samples[-1]
        # What must be so on any machine. Each life keeps two pipe ends open, on purpose.
        self.assertEqual((0, 0), (self.done["lines lost"], self.done["lives with wrong output"]))
        self.assertEqual(2 * (last["lives"] - first["lives"]), last["pipe ends"] - first["pipe ends"])
        self.assertLessEqual(last["other descriptors"], first["other descriptors"] + 1)
        self.assertLessEqual(last["threads"], first["threads"])
        self.assertEqual(self.program.returncode, 0, "how the program ended")
        # Memory fills in the first hundred lives. After that a life was measured to cost 0.7 KiB, half a KiB of it
        # the toolkit's for a dialog; several times that is a leak.
        if middle["lives"] > 100:
            self.assertLess((last["MiB"] - middle["MiB"]) * 1024 / (last["lives"] - middle["lives"]), 4, "KiB a life")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--rounds", type=int, default=200)
    options = parser.parse_args()
    print(f"{options.rounds} rounds of five lives, about {1 + options.rounds * 1.2 // 60:.0f} minutes", flush=True)
    Soak.skyfold, Soak.rounds = options.program, options.rounds
    unittest.main(argv=sys.argv[:1], warnings="ignore")
