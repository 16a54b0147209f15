# SPDX-License-Identifier: MIT
"""Drives the built program as a person does: starts it in a home of its own, reads what a screen reader would read, and
plays the desktop and the client around it. SKYFOLD names the program. Inside the walls of scripts/isolate only.

What is done in a day, and what is then seen, printed and written, is one text in tests/approved. Each line of it that
begins with "> " is a step: the name of a method and its arguments, with bars between them. Beneath it stands what came
of it. In a step {home} is the home, \\n the end of a line, and \\xe9 a byte that is no UTF-8. A step that begins with
"client" is a line for the scripted client (tests/client) and stands before the start.
"""
import difflib
import os
import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import time
import traceback
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402  pylint: disable=wrong-import-position

CLIENT = pathlib.Path(__file__).resolve().parents[1] / "client/onedrive-cli"  # the scripted one
APPROVED = pathlib.Path(__file__).resolve().parents[1] / "approved"
PATIENCE = 10 if "IMPATIENT" in os.environ else 40  # seconds; less where much of what is waited for will not come
# What stands in for the desktop: notes what it is asked, and refuses it where a file says so.
DESKTOP = '#!/bin/sh\nprintf "%s\\n" "${0##*/} $*" >>"$HOME/desktop"\n[ ! -e "$HOME/refuse ${0##*/}" ]\n'
# Root may write what is protected, a person may not.
OBEYING_MODES = ["setpriv", "--bounding-set=-dac_override"] if os.geteuid() == 0 else []
STEP = re.compile(r"^> (.*)\n((?:(?!> ).*\n)*)", re.M)  # and what is approved beneath it
# Who prints what: threads and timers have no order between them. A line that fits none goes on with the one before.
SOURCES = {
    "client": r"\[(SYNC|CLI Output)\]|DEBUG: (Launching|Cleaning|Current|Sync already|Application::on_sync)|Restarting sync",
    "ends of clients": r"(ERROR: Sync|OneDrive sync) process|ERROR: Failed to (launch|create|fork)",
    "states": r"DEBUG: (Loading|OneDrive CLI sync|Cached status|Loaded|Found skipped|No sync status|Async file)",
    "icon": r".*(\b[tT]ray|[iI]con|[eE]mbed|notification area)",
    "program": r"DEBUG|E[rR][rR][oO][rR]|\(|[A-Z]\w+ (mode|environment|expand|create|not|to|from|toggle)\b",
}
# What the theme, an installed icon and the toolkit's release decide; criticism of the program stays.
CHANGING = (r"DEBUG: (Checking (for custom|theme) icon|Custom icon|Trying theme|Theme (has|does)).*\n|(\*\* )?\(.*:\d+\): "
            r"(?!G(tk|Lib).*CRITICAL).*|(?<=Tray icon created )from.*|(?<=:)\d+(?=\): )|\d\d:\d\d:\d\d\.\d+|(?<=pid: )[1-9]\d*"
            r"|(MESA|lib[EG]|[Ww]eb[Kk]it|Failed to create .* shader cache).*\n")
READ = ("alert", "dialog", "frame", "label", "list item", "menu", "menu item", "push button", "text")


def turn_until(done, seconds=PATIENCE, over=lambda: False):
    """Waits for `done()` to be true, serving the bus meanwhile, and not on when it is `over()`; returns its last value."""
    end = time.monotonic() + seconds
    while not (result := done()) and time.monotonic() < end:
        if over():
            return done()  # it may have come true just before
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


def find_icon():
    """The number of the icon's window. It can be told while nothing else shows under the program's name, be it a window
    or the icon's tooltip; else None."""
    shown = subprocess.run(["xdotool", "search", "--onlyvisible", "--classname", "^skyfold$"], text=True,
                           stdout=subprocess.PIPE, check=False).stdout.split()
    return shown[0] if len(shown) == 1 else None


class DrivenProgram(unittest.TestCase):
    program = icon = log = None

    def setUp(self):
        os.umask(0o022)  # the modes of files are in approved texts
        self.home = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.cloud = self.home / "Cloud"
        self.scenario = ""  # of the client
        self.approved = self.outcome = ""  # of the step that is being done
        for name in ("skyfold", "onedrive"):
            (self.home / ".config" / name).mkdir(parents=True)
        for name in ("xdg-open", "dbus-send"):
            self.write(f"bin/{name}", DESKTOP).chmod(0o755)

    def play(self, file):
        """Does the steps of a day, up to the first one of which something else comes than what is approved."""
        whole = file.read_text()
        record = whole[:STEP.search(whole).start()]
        for step, self.approved in STEP.findall(whole):
            self.outcome = ""
            try:
                self.do(step)
                if "APPROVE" not in os.environ:
                    self.assert_same("what came of it", self.approved, self.outcome)
            except Exception as failure:
                failure.add_note(f"That was the step {step!r} of tests/approved/{file.name}.")
                traceback.print_exc()  # at once: a suite may be ended before its end
                raise
            record += f"> {step}\n{self.outcome}"
        self.assert_approved(file.name, record)

    def do(self, *steps):
        for step in steps:
            if step.startswith("client"):
                self.scenario += step + "\n"
                continue
            step = step.replace("\\n", "\n").replace("{home}", str(self.home))
            step = re.sub(r"\\x(..)", lambda byte: os.fsdecode(bytes.fromhex(byte[1])), step)
            name, _, arguments = step.partition(" ")
            getattr(self, name)(*(arguments.split(" | ") if arguments else ()))

    # What is there before it is started.

    def write(self, below, text=""):
        path = self.home / below
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def remove(self, below):
        subprocess.run(["rm", "-r", self.home / below], check=True)

    def sync_folder(self, name, *entries):
        self.cloud = self.home / name
        for entry in entries:
            self.write(self.cloud / entry)

    def sign_in(self, *settings):
        """Makes it the home of a person who has signed in, and has set the folder if that is there."""
        folder = [f"sync_dir={self.cloud}"] * self.cloud.exists()
        self.write(".config/onedrive/refresh_token", "t")
        self.write(".config/skyfold/config", "".join(f"{line}\n" for line in (*folder, *settings)))

    # The program and what is beside it.

    def spawn(self, *command, **options):
        """Starts a process, which ends with the test, and the file for what it prints."""
        log = self.home / f"log-{time.monotonic_ns()}"
        with log.open("wb") as out:
            child = subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT, **options)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)  # the last one runs first
        return child, log

    def start(self, command="skyfold"):
        """Starts it by a command line. Beside what the day lays down, the client may be asked for states and
        configuration at any time, and says nothing."""
        queries = "client-always --display-sync-status\nclient-always --display-config\n"
        scenario = self.write("scenario", self.scenario + queries)
        environment = {"HOME": str(self.home), "PATH": f"{self.home}/bin:{CLIENT.parent}:{os.environ['PATH']}",
                       "CLIENT_SCENARIO": str(scenario)}
        words = [os.environ["SKYFOLD"] if word == "skyfold" else word for word in shlex.split(command)]
        self.icon = None
        self.program, self.log = self.spawn(*OBEYING_MODES, *words, env={**os.environ, **environment})

    def start_tray(self):
        self.tray, _log = self.spawn("trayer", "--edge", "top", "--align", "right", "--widthtype", "request")

    def start_beside_tray(self, command="skyfold"):
        self.start_tray()
        self.start(command)
        self.assert_says("DEBUG: Tray icon setup complete! Tray should now be visible.")

    def start_with_window(self, command="skyfold"):
        self.start_beside_tray(command)
        self.assertIsNone(accessible("frame", "Skyfold"), "the window is hidden at first")
        self.click_tray()
        self.find_active("frame", "Skyfold")  # by then it is where it stays

    def start_x_server(self, command):
        """A display of its own; returns its name."""
        self.server, self.log = self.spawn(command, "-displayfd", "1")
        number = self.await_that("an X server", lambda: re.search("^([0-9]+)\n", self.said(), re.M), outlived=True)
        return f":{number[1]}"

    def send(self, name):
        self.program.send_signal(signal.Signals[name])

    def ends(self, status="0"):
        """It does, and leaves no client, nor one that was asked for something else, or not asked."""
        self.await_that("the program's end", lambda: self.program.poll() is not None, outlived=True)
        self.assertEqual(self.program.returncode, int(status), f"the exit status; printed: {self.said()[-2000:]}")
        self.await_no_client()
        done = subprocess.run([CLIENT, "--scenario-check", self.home / "scenario"], text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, env={"HOME": str(self.home)}, check=False)
        self.assertEqual((done.returncode, done.stdout), (0, ""), f"of the client; printed: {self.said()[-2000:]}")
        (self.home / "scenario.used").unlink(missing_ok=True)
        self.scenario = ""

    # What is waited for.

    def await_that(self, what, done, seconds=PATIENCE, outlived=False):
        """Waits for `done()`, and not on for a program that is dead, unless that is `outlived`. Returns what was true, also
        if it is so no longer, or fails with what it waited for."""
        found = turn_until(done, seconds, over=lambda: not outlived and self.program and self.program.poll() is not None)
        status = self.program and self.program.poll()
        state = "runs" if status is None else f"ended with status {status}"
        return found or self.fail(f"waited in vain for {what}; the program {state}; its last words are\n{self.said()[-2000:]}")

    def await_no_client(self):
        search = ["pgrep", "-f", "onedrive-cli --"]
        self.await_that("the end of the last client", outlived=True,
                        done=lambda: subprocess.call(search, stdout=subprocess.DEVNULL) != 0)

    def await_file(self, below, line=""):
        """With that line in it, if one is given."""
        path = self.home / below
        self.await_that(f"the file {below}" + f" with the line {line!r}" * bool(line),
                        lambda: path.exists() and (not line or line in path.read_text().splitlines()))

    def said(self):
        return self.log.read_text(errors="replace") if self.log else ""

    def assert_says(self, text, times="1"):
        self.await_that(f"{text!r} to be printed {times} times", lambda: self.said().count(text) >= int(times))

    # What is compared with approved texts.

    def assert_same(self, name, approved, text):
        diff = difflib.unified_diff(approved.splitlines(), text.splitlines(), "approved", "now", lineterm="")
        if approved != text:
            self.fail("\n".join([f"{name} differs:", *diff, "the last words are", self.said()[-2000:]]))

    def assert_approved(self, name, text):
        """Compares a whole text with the one in tests/approved. Where APPROVE is set, that file is written as well."""
        file = APPROVED / name
        approved = file.read_text() if file.exists() else ""
        if approved != text and "APPROVE" in os.environ:
            file.write_text(text)
        self.assert_same(f"tests/approved/{name}", approved, text)

    def legible(self, text):
        """Without what is different on every machine; bytes that are no text in hexadecimal form."""
        text = (text if isinstance(text, bytes) else os.fsencode(text)).decode(errors="backslashreplace")
        return text.replace("\0", "\\0").replace(str(self.home), "~")

    def look(self):
        """What a screen reader would read, as soon as that is what is approved."""
        def read():
            try:
                return self.legible("".join(line for node in programs() for line in read_aloud(node, True)))
            except (AttributeError, GLib.Error):
                return "it changed while it was read\n"
        turn_until(lambda: read() == self.approved, 2 if "APPROVE" in os.environ else PATIENCE,
                   over=lambda: self.program.poll() is not None)
        self.outcome += read()

    def printed(self, *sources):
        """What was printed by those, or by all, in the order of each."""
        lines, source = {name: "" for name in SOURCES}, "program"
        for line in re.sub(CHANGING, "", self.legible(self.log.read_bytes())).splitlines(keepends=True):
            source = next((name for name, start in SOURCES.items() if re.match(start, line)), source)
            lines[source] += line if line.strip() else ""
        for name in filter(lines.get, sources or SOURCES):
            self.outcome += f"==== {name}\n{lines[name]}"

    def files(self, *below):
        """What was written, there or anywhere, with its mode, and what the desktop was asked."""
        for one in below or (self.cloud, ".config/skyfold", ".config/onedrive", ".config/autostart", "desktop"):
            for path in sorted(path for path in (self.home / one, *(self.home / one).rglob("*")) if path.is_file()):
                text = path.read_bytes()
                text += b"(no line end)\n" * (text[-1:] != b"\n")
                self.outcome += self.legible(f"==== {path} ({path.stat().st_mode & 0o7777:o})\n") + self.legible(text)

    # What a person does.

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


def plays(*kinds):
    """Gives a class of tests a case for each day in tests/approved whose name begins with one of the words."""
    def add_cases(tests):
        for file in (file for kind in kinds for file in sorted(APPROVED.glob(f"{kind}-*.txt"))):
            setattr(tests, f"test_{file.stem.replace('-', '_')}", lambda self, file=file: self.play(file))
        return tests
    return add_cases
