# SPDX-License-Identifier: MIT
"""Drives the built program as a person does: starts it in a home of its own, reads what a screen reader would read, and
plays the desktop and the client around it. SKYFOLD names the program. Inside the walls of scripts/isolate only.
"""
import difflib
import json
import os
import pathlib
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


def turn_until(done, seconds=PATIENCE):
    """Waits for `done()` to be true, serving the bus meanwhile; returns its last value."""
    end = time.monotonic() + seconds
    while not (result := done()) and time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        time.sleep(0.02)
    return result


def search(node, role, name, state):
    # A newer accessibility service says "button" for "push button".
    if (node.get_role_name() in (role, role.replace("push ", "")) and name in (None, node.get_name())
            and (state is None or node.get_state_set().contains(state))):
        return node
    found = (search(node.get_child_at_index(i), role, name, state) for i in range(node.get_child_count()))
    return next(filter(None, found), None)


def accessible(role, name=None, state=Atspi.StateType.SHOWING, below=None):
    """The accessible of that role, name and state in the program, or in a part of it; None where there is none."""
    desktop = Atspi.get_desktop(0)
    desktop.clear_cache()
    programs = (desktop.get_child_at_index(i) for i in range(desktop.get_child_count()))
    try:
        nodes = [below] if below else [one for one in programs if one and one.get_name() == "skyfold"]
        return next(filter(None, (search(node, role, name, state) for node in nodes)), None)
    except (AttributeError, GLib.Error):  # it went while it was read
        return None


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


class DrivenProgram(unittest.TestCase):
    def setUp(self):
        self.home = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        make_home(self.home)
        self.cloud = self.home / "Cloud"

    def write(self, below, text=""):
        path = self.home / below
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def sign_in(self, settings="", entry=None):
        """Makes it the home of a person who has signed in, with a folder where there is to be an entry in it."""
        if entry:
            self.write(f"Cloud/{entry}")
            settings = f"sync_dir={self.cloud}\n{settings}"
        make_home(self.home, settings)

    def expect_calls(self, *calls):
        """What the client must be asked, each as (arguments, steps, options...); that it was is checked at the end.
        Beside that, it may be asked for states and configuration, and says nothing."""
        queries = [([f"--display-{what}"], [], "repeat") for what in ("sync-status", "config")]
        table = [{"args": args, "steps": steps, **dict.fromkeys(options, True)}
                 for args, steps, *options in (*calls, *queries)]
        scenario = self.write("scenario", json.dumps({"calls": table}))

        def check():
            done = subprocess.run([CLIENT, "--scenario-check", scenario], env={"HOME": str(self.home)}, text=True,
                                  stdout=subprocess.PIPE, check=False)
            self.assertEqual((done.returncode, done.stdout), (0, ""))
        self.addCleanup(check)

    def spawn(self, *command, stdout=None, **options):
        """Starts a process, which ends with the test, and the file for what it prints."""
        log = self.home / f"log-{time.monotonic_ns()}"
        with log.open("wb") as out:
            child = subprocess.Popen(command, stdout=stdout or out, stderr=subprocess.STDOUT, **options)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)  # the last one runs first
        return child, log

    def start(self, *arguments, stdout=None, **environment):
        merged = {**os.environ, "HOME": str(self.home), "PATH": f"{CLIENT.parent}:{os.environ['PATH']}",
                  "CLIENT_SCENARIO": str(self.home / "scenario"), **environment}
        merged = {name: value for name, value in merged.items() if value is not None}
        self.icon = None
        program, self.log = self.spawn(os.environ["SKYFOLD"], *arguments, stdout=stdout, env=merged)
        return program

    def start_beside_tray(self, *arguments):
        self.spawn(*TRAYER)
        program = self.start(*arguments)
        self.assert_says("DEBUG: Tray icon setup complete! Tray should now be visible.")
        return program

    def start_with_window(self, *arguments):
        program = self.start_beside_tray(*arguments)
        self.assertIsNone(accessible("frame", "Skyfold"), "hidden at first")
        self.click_tray()
        self.find("frame", "Skyfold", Atspi.StateType.ACTIVE)  # by then it is where it stays
        return program

    def assert_approved(self, name, text):
        """Compares a whole text with the one in tests/approved. Where APPROVE is set, that file is written as well."""
        file = APPROVED / name
        approved = file.read_text() if file.exists() else ""
        if approved != text and "APPROVE" in os.environ:
            file.write_text(text)
        diff = difflib.unified_diff(approved.splitlines(), text.splitlines(), f"approved: {name}", "now", lineterm="")
        self.assertEqual(approved, text, "\n".join([f"tests/approved/{name} differs:", *diff]))

    def said(self):
        return self.log.read_text(errors="replace")

    def assert_says(self, text, times=1):
        self.assertTrue(turn_until(lambda: self.said().count(text) >= times),
                        f"{text!r} not {times} times in {self.said()[-2000:]}")

    def assert_ends(self, program, status):
        self.assertTrue(turn_until(lambda: program.poll() is not None), self.said()[-500:])
        self.assertEqual(program.returncode, status)
        self.assertTrue(turn_until(lambda: not clients()), "a client outlives the program")

    def find(self, role, name, state=Atspi.StateType.SHOWING):
        found = turn_until(lambda: accessible(role, name, state))
        self.assertTrue(found, f"nobody would read {role} {name!r}")
        return found

    def assert_gone(self, role, name):
        self.assertTrue(turn_until(lambda: not (accessible(role, name) or accessible(role, name))), f"{role} {name!r} stays")

    def press(self, role, name, *keys):
        """Presses keys as soon as the window of that role and name has the keyboard."""
        self.find(role, name, Atspi.StateType.ACTIVE)
        subprocess.run(["xdotool", "key", *keys], check=True)

    def dismiss(self, name, key="Return"):
        self.press("alert", name, key)
        self.assert_gone("alert", name)

    def close(self, name):
        """Closes a window from the keyboard, like a person looking and pressing again: the window manager may miss a
        key while it is still busy with a window that has just come."""
        self.find("frame", name, Atspi.StateType.ACTIVE)

        def closed():
            subprocess.run(["xdotool", "key", "alt+F4"], check=True)
            return turn_until(lambda: not accessible("frame", name), 2)
        self.assertTrue(turn_until(closed), f"{name!r} stays open")

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
        at = turn_until(settled)
        self.assertTrue(at, f"{role} {name!r} does not come to rest")
        subprocess.run(["xdotool", "mousemove", *at, *then], check=True)

    def click(self, role, name):
        self.point(role, name, "click", "1")

    def click_tray(self, button="1"):
        subprocess.run(["xdotool", "mousemove", "0", "9999"], check=True)
        self.icon = self.icon or find_icon()
        self.assertTrue(self.icon, "the icon's tooltip stays")
        subprocess.run(["xdotool", "mousemove", "--window", self.icon, "6", "6", "click", button], check=True)
