# SPDX-License-Identifier: MIT
"""Drives the built program as a person does: starts it in a home of its own, reads what a screen reader would read, and
plays the desktop and the client around it. SKYFOLD names the program. Inside the walls of scripts/isolate only.
"""
import difflib
import json
import os
import pathlib
import re
import subprocess
import tempfile
import time
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402  pylint: disable=wrong-import-position

CLIENT = pathlib.Path(__file__).resolve().parents[1] / "client/onedrive-cli"  # the scripted one
APPROVED = pathlib.Path(__file__).resolve().parents[1] / "approved"
HANG = {"hang": True}  # the last step of a client that runs until it is ended
PATIENCE = 10 if "IMPATIENT" in os.environ else 40  # seconds; less where much of what is waited for will not come
TRAYER = ["trayer", "--edge", "top", "--align", "right", "--widthtype", "request"]
# What stands in for the desktop: notes what it is asked, and refuses it where a file says so.
DESKTOP = '#!/bin/sh\nprintf "%s\\n" "${0##*/} $*" >>"$HOME/desktop"\n[ ! -e "$HOME/refuse ${0##*/}" ]\n'
UPDATED = "DEBUG: Async file status update complete."
# Who prints what: threads and timers have no order between them. A line that fits none goes on with the one before.
SOURCES = {
    "client": r"\[(SYNC|CLI Output)\]|DEBUG: (Launching|Cleaning|Current|Sync already|Application::on_sync)|Restarting sync",
    "ends of clients": r"(ERROR: Sync|OneDrive sync) process|ERROR: Failed to (launch|create|fork)",
    "states": r"DEBUG: (Loading|OneDrive CLI sync|Cached status|Loaded|Found skipped|No sync status|Async file)",
    "icon": r".*(\b[tT]ray|[iI]con|[eE]mbed|notification area)",
    "program": r"DEBUG|E[rR][rR][oO][rR]|\(|[A-Z]\w+ (mode|environment|expand|create|to|from|toggle)\b",
}
# What the theme, an installed icon and the toolkit's release decide; criticism of the program stays.
CHANGING = (r"DEBUG: (Checking (for custom|theme) icon|Custom icon|Trying theme|Theme (has|does)).*\n|(\*\* )?\(.*:\d+\): "
            r"(?!G(tk|Lib).*CRITICAL).*|(?<=Tray icon created )from.*|(?<=:)\d+(?=\): )|\d\d:\d\d:\d\d\.\d+|(?<=pid: )[1-9]\d*"
            r"|(MESA|lib[EG]|[Ww]eb[Kk]it).*\n")
READ = ("alert", "dialog", "frame", "label", "list item", "menu", "menu item", "push button", "text")


def turn_until(done, seconds=PATIENCE):
    """Waits for `done()` to be true, serving the bus meanwhile; returns its last value."""
    end = time.monotonic() + seconds
    while not (result := done()) and time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        time.sleep(0.02)
    return result


def role_of(node):
    return {"button": "push button"}.get(role := node.get_role_name(), role)  # what a newer service says


def search(node, role, name, state):
    if role_of(node) == role and name in (None, node.get_name()) and (state is None or node.get_state_set().contains(state)):
        return node
    found = (search(node.get_child_at_index(i), role, name, state) for i in range(node.get_child_count()))
    return next(filter(None, found), None)


def programs():
    desktop = Atspi.get_desktop(0)
    desktop.clear_cache()
    found = (desktop.get_child_at_index(i) for i in range(desktop.get_child_count()))
    return [one for one in found if one and one.get_name() == "skyfold"]


def accessible(role, name=None, state=Atspi.StateType.SHOWING, below=None):
    """The accessible of that role, name and state in the program, or in a part of it; None where there is none."""
    try:
        return next(filter(None, (search(node, role, name, state) for node in ([below] if below else programs()))), None)
    except (AttributeError, GLib.Error):  # it went while it was read
        return None


def read_aloud(node, is_program=False):
    """A line for each text that is on the screen, as a screen reader gets it."""
    if not (is_program or node.get_state_set().contains(Atspi.StateType.SHOWING)):
        return
    role = role_of(node)
    texts = [Atspi.Text.get_text(node, 0, -1)] if role == "text" else [node.get_name(), node.get_description()]
    if role in READ and any(texts):
        yield f"{role}: {' | '.join(filter(None, texts))}\n"
    for number in range(node.get_child_count()):
        yield from read_aloud(node.get_child_at_index(number))


def make_home(home, settings=None):
    """The folders of the settings; with those of a person who has signed in."""
    for name in ("skyfold", "onedrive"):
        (home / ".config" / name).mkdir(parents=True, exist_ok=True)
    if settings is not None:
        (home / ".config/onedrive/refresh_token").write_text("t")
        (home / ".config/skyfold/config").write_text(settings)


def find_icon():
    """The number of the icon's window. It can be told while nothing else shows under the program's name, be it a window
    or the icon's tooltip."""
    def alone():
        shown = subprocess.run(["xdotool", "search", "--onlyvisible", "--classname", "^skyfold$"], text=True,
                               stdout=subprocess.PIPE, check=False).stdout.split()
        return shown[0] if len(shown) == 1 else None
    return turn_until(alone)


def clients():
    return subprocess.run(["pgrep", "-f", "onedrive-cli --"], text=True, stdout=subprocess.PIPE, check=False).stdout


class PromptResult(unittest.TextTestResult):
    """Prints each failure when it happens: a suite may be ended before its end."""
    def _exc_info_to_string(self, err, test):
        text = super()._exc_info_to_string(err, test)
        self.stream.writeln(f"\nFAIL: {test}\n{text}")
        return text
    printErrors = unittest.TestResult.printErrors


class DrivenProgram(unittest.TestCase):
    program = icon = log = None

    def setUp(self):
        os.umask(0o022)  # the modes of files are in approved texts
        self.home = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        make_home(self.home)
        self.cloud = self.home / "Cloud"
        self.seen = []  # the record: what was seen, printed and written, each under its heading
        for name in ("xdg-open", "dbus-send"):
            self.write(f"bin/{name}", DESKTOP).chmod(0o755)

    def write(self, below, text=""):
        path = self.home / below
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def sign_in(self, settings="", *entries):
        """Makes it the home of a person who has signed in, with a folder where there are to be entries in it."""
        for entry in entries:
            self.write(self.cloud / entry)
        make_home(self.home, f"sync_dir={self.cloud}\n{settings}" if entries else settings)

    def expect_calls(self, *calls):
        """What the client must be asked, each as (arguments, steps, options...); that it was is checked at the end.
        Beside that, it may be asked for states and configuration, and says nothing."""
        queries = [([f"--display-{what}"], [], "repeat") for what in ("sync-status", "config")]
        table = [{"args": args, "steps": steps, **dict.fromkeys(options, True)}
                 for args, steps, *options in (*calls, *queries)]
        self.write("scenario", json.dumps({"calls": table}))
        (self.home / "scenario.state").unlink(missing_ok=True)

    def monitor(self, *steps, folder=None, options=()):
        """One sync, which may be ended at any time."""
        return ["--monitor", "--syncdir", str(folder or self.cloud), *options], [*steps], "cut_short"

    def await_call(self, number, step="completed"):
        progress = self.home / "scenario.state"
        self.await_that(f"call {number} to be {step}",
                        lambda: progress.exists() and f"{number} {step}" in progress.read_text().splitlines())

    def spawn(self, *command, stdout=None, **options):
        """Starts a process, which ends with the test, and the file for what it prints."""
        log = self.home / f"log-{time.monotonic_ns()}"
        with log.open("wb") as out:
            child = subprocess.Popen(command, stdout=stdout or out, stderr=subprocess.STDOUT, **options)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)  # the last one runs first
        return child, log

    def start(self, *arguments, stdout=None, wrapper=(), **environment):
        merged = {**os.environ, "HOME": str(self.home), "PATH": f"{self.home}/bin:{CLIENT.parent}:{os.environ['PATH']}",
                  "CLIENT_SCENARIO": str(self.home / "scenario"), **environment}
        merged = {name: value for name, value in merged.items() if value is not None}
        self.icon = None
        self.program, self.log = self.spawn(*wrapper, os.environ["SKYFOLD"], *arguments, stdout=stdout, env=merged)
        return self.program

    def start_beside_tray(self, *arguments, **options):
        self.spawn(*TRAYER)
        program = self.start(*arguments, **options)
        self.assert_says("DEBUG: Tray icon setup complete! Tray should now be visible.")
        return program

    def start_with_window(self, *arguments, **options):
        program = self.start_beside_tray(*arguments, **options)
        self.assertIsNone(accessible("frame", "Skyfold"), "the window is hidden at first")
        self.click_tray()
        self.find("frame", "Skyfold", Atspi.StateType.ACTIVE)  # by then it is where it stays
        return program

    def start_x_server(self, *command):
        """A display of its own, and its name."""
        ready, told = os.pipe()
        server, log = self.spawn(*command, "-displayfd", str(told), pass_fds=[told])
        os.close(told)
        with open(ready, encoding="ascii") as number:
            name = f":{number.read().strip()}"
        self.assertNotEqual(name, ":", log.read_text())
        return server, name

    def await_that(self, what, done, seconds=PATIENCE, outlived=False):
        """Waits for `done()`, and not on for a program that is dead, unless that is `outlived`. Returns what is true, or
        fails with what it waited for."""
        turn_until(lambda: done() or not outlived and self.program and self.program.poll() is not None, seconds)
        status = self.program and self.program.poll()
        state = "runs" if status is None else f"ended with status {status}"
        return done() or self.fail(f"waited in vain for {what}; the program {state}; its last words are\n{self.said()[-2000:]}")

    def assert_same(self, name, approved, text):
        diff = difflib.unified_diff(approved.splitlines(), text.splitlines(), "approved", "now", lineterm="")
        if approved != text:
            self.fail("\n".join([f"{name} differs:", *diff, "the last words are", self.said()[-2000:]]))

    def assert_approved(self, name, text):
        """Compares a whole text with the one in tests/approved. Where APPROVE is set, that file is written as well."""
        approved = self.approved(name)
        if approved != text and "APPROVE" in os.environ:
            (APPROVED / name).write_text(text)
        self.assert_same(f"tests/approved/{name}", approved, text)

    def approved(self, name):
        return (APPROVED / name).read_text() if (APPROVED / name).exists() else ""

    def record_name(self):
        return f"program-{self.id().rpartition('.test_')[2].replace('_', '-')}.txt"

    def legible(self, text):
        """Without what is different on every machine; bytes that are no text in hexadecimal form."""
        text = (text if isinstance(text, bytes) else os.fsencode(text)).decode(errors="backslashreplace")
        return text.replace("\0", "\\0").replace(str(self.home), "~")

    def note(self, heading, text):
        self.seen.append(f"==== {self.legible(heading)}\n{self.legible(text)}")

    def look(self, heading):
        """Puts what a screen reader would read into the record, once that is what is approved under the heading."""
        def read():
            try:
                return self.legible("".join(line for node in programs() for line in read_aloud(node, True)))
            except (AttributeError, GLib.Error):
                return "it changed while it was read\n"
        approving, whole = "APPROVE" in os.environ, self.approved(self.record_name())
        approved = whole.partition(f"==== seen: {heading}\n")[2].partition("====")[0]
        turn_until(lambda: read() == approved, 2 if approving else PATIENCE)
        text = read()
        self.assert_same(f"what is seen, {heading},", text if approving else approved, text)
        self.note(f"seen: {heading}", text)

    def note_printed(self, heading="", sources=SOURCES):
        """What was printed by those, in the order of each."""
        lines, source = {name: "" for name in SOURCES}, "program"
        for line in re.sub(CHANGING, "", self.legible(self.log.read_bytes())).splitlines(keepends=True):
            source = next((name for name, start in SOURCES.items() if re.match(start, line)), source)
            lines[source] += line if line.strip() else ""
        for name in filter(lines.get, sources):
            self.note(f"printed: {name}{heading}", lines[name])

    def note_files(self):
        """All that was written, with its mode, and what the desktop was asked."""
        for below in (self.cloud, ".config/skyfold", ".config/onedrive", ".config/autostart", "desktop"):
            for path in sorted(path for path in (self.home / below, *(self.home / below).rglob("*")) if path.is_file()):
                text = path.read_bytes()
                self.note(f"file: {path} ({path.stat().st_mode & 0o7777:o})", text + b"(no line end)\n" * (text[-1:] != b"\n"))

    def assert_recorded(self):
        """All that was seen and written, and printed where that was noted, is what is approved."""
        self.note_files()
        self.assert_approved(self.record_name(), "".join(self.seen))

    def assert_day(self, program, sources=SOURCES):
        """The program ends now."""
        self.assert_ends(program, 0)
        self.note_printed("", sources)
        self.assert_recorded()

    def said(self):
        return self.log.read_text(errors="replace") if self.log else ""

    def assert_says(self, text, times=1):
        self.await_that(f"{text!r} to be printed {times} times", lambda: self.said().count(text) >= times)

    def assert_ends(self, program, status):
        self.await_that("the program's end", lambda: program.poll() is not None, outlived=True)
        self.assertEqual(program.returncode, status, f"the exit status; printed: {self.said()[-2000:]}")
        self.assert_no_client()

    def assert_no_client(self):
        """Nor one that was asked for something else, or not asked, or not let go on."""
        self.await_that("the end of the last client", lambda: not clients(), outlived=True)
        if (scenario := self.home / "scenario").exists():
            done = subprocess.run([CLIENT, "--scenario-check", scenario], env={"HOME": str(self.home)}, text=True,
                                  stdout=subprocess.PIPE, check=False)
            self.assertEqual(done.stdout, "", f"what went wrong with the client; printed: {self.said()[-2000:]}")

    def do(self, *steps):
        """Steps in their order, each the name of one of these methods and its arguments, with bars between them."""
        for step in steps:
            name, _, arguments = step.partition(" ")
            getattr(self, name)(*filter(None, arguments.split(" | ")))

    def find(self, role, name, state=Atspi.StateType.SHOWING):
        return self.await_that(f"{role} {name!r}", lambda: accessible(role, name, state))

    def find_active(self, role, name):
        return self.find(role, name, Atspi.StateType.ACTIVE)

    def assert_gone(self, role, name):
        self.await_that(f"{role} {name!r} to go", lambda: not (accessible(role, name) or accessible(role, name)))

    def press(self, role, name, *keys):
        """Presses keys as soon as the window of that role and name has the keyboard."""
        self.find_active(role, name)
        subprocess.run(["xdotool", "key", *keys], check=True)

    def dismiss(self, name, key="Return"):
        self.press("alert", name, key)
        self.assert_gone("alert", name)

    def close(self, name):
        """Closes a window from the keyboard, like a person looking and pressing again: the window manager may miss a
        key while it is still busy with a window that has just come."""
        self.find_active("frame", name)

        def closed():
            subprocess.run(["xdotool", "key", "alt+F4"], check=True)
            return turn_until(lambda: not accessible("frame", name), 2)
        self.await_that(f"{name!r} to close", closed, outlived=True)

    def activate(self, role, name):
        """As a screen reader does it, also behind a dialog that the pointer does not get past."""
        self.find(role, name, None).do_action(0)

    def point(self, role, name, *then):
        """Moves the pointer onto it, and does there what xdotool is told. It looks twice, like a person: what has just
        come is laid out a moment later."""
        def middle():
            place = self.find(role, name).get_extents(Atspi.CoordType.SCREEN)
            return str(place.x + place.width // 2), str(place.y + place.height // 2)

        def settled():
            before = middle()
            time.sleep(0.1)
            return before == middle() and before
        subprocess.run(["xdotool", "mousemove", *self.await_that(f"{role} {name!r} to rest", settled), *then], check=True)

    def click(self, role, name):
        self.point(role, name, "click", "1")

    def click_tray(self, button="1"):
        subprocess.run(["xdotool", "mousemove", "0", "9999"], check=True)
        self.icon = self.icon or self.await_that("the icon's tooltip to go", find_icon)
        subprocess.run(["xdotool", "mousemove", "--window", self.icon, "6", "6", "click", button], check=True)


def main():
    unittest.main(testRunner=type("PromptRunner", (unittest.TextTestRunner,), {"resultclass": PromptResult}))
