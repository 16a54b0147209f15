# SPDX-License-Identifier: MIT
"""Drives the built program as a person does: starts it in a home of its own, reads what a screen reader would read, and
plays the desktop and the client around it. SKYFOLD names the program. Inside the walls of scripts/isolate only.
"""
import json
import os
import pathlib
import subprocess
import tempfile
import threading
import unittest

import desktop
from desktop import Atspi, GLib, turn_until
from gi.repository import Gio

CLIENT = pathlib.Path(__file__).resolve().parents[1] / "client/onedrive-cli"  # the scripted one
HANG = {"hang": True}  # the last step of a client that runs until it is ended
NOTIFICATIONS = """<node><interface name="org.freedesktop.Notifications">
<method name="GetCapabilities"><arg type="as" direction="out"/></method>
<method name="Notify"><arg type="s"/><arg type="u"/><arg type="s"/><arg type="s"/><arg type="s"/><arg type="as"/>
<arg type="a{sv}"/><arg type="i"/><arg type="u" direction="out"/></method></interface></node>"""


def clients():
    """The process ids of the clients that run."""
    return subprocess.run(["pgrep", "-f", "onedrive-cli --"], text=True, stdout=subprocess.PIPE, check=False).stdout


class DrivenProgram(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        desktop.make_home(self.home)
        self.lines = []

    def write(self, below, text=""):
        path = self.home / below
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def sign_in(self, settings=""):
        desktop.make_home(self.home, settings)

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

    def start(self, *arguments, stdout=subprocess.PIPE, **environment):
        merged = {**os.environ, "HOME": str(self.home), "PATH": f"{CLIENT.parent}:{os.environ['PATH']}",
                  "CLIENT_SCENARIO": str(self.home / "scenario"), **environment}
        merged = {name: value for name, value in merged.items() if value is not None}
        program = subprocess.Popen([os.environ["SKYFOLD"], *arguments], env=merged, text=True, errors="replace",
                                   stdout=stdout, stderr=subprocess.STDOUT)
        self.addCleanup(program.wait)
        if program.stdout:
            reader = threading.Thread(target=lambda: self.lines.extend(iter(program.stdout.readline, "")))
            reader.start()
            for clean_up in (program.stdout.close, reader.join):
                self.addCleanup(clean_up)
        self.addCleanup(program.kill)  # the last one runs first
        return program

    def count(self, text):
        return sum(text in line for line in list(self.lines))

    def assert_says(self, text, times=1):
        self.assertTrue(turn_until(lambda: self.count(text) >= times),
                        f"{text!r} not {times} times in {self.lines[-20:]}")

    def assert_ends(self, program, status):
        self.assertTrue(turn_until(lambda: program.poll() is not None), self.lines[-5:])
        self.assertEqual(program.returncode, status)
        self.assertTrue(turn_until(lambda: not clients()), "a client outlives the program")

    def accessible(self, role, name, state=Atspi.StateType.SHOWING):
        return desktop.accessible(role, name, state)

    def find(self, role, name, state=Atspi.StateType.SHOWING):
        found = turn_until(lambda: self.accessible(role, name, state))
        self.assertTrue(found, f"nobody would read {role} {name!r}")
        return found

    def assert_gone(self, role, name):
        self.assertTrue(turn_until(lambda: not self.accessible(role, name)), f"{role} {name!r} stays")

    def press(self, role, name, *keys):
        """Presses keys as soon as the window of that role and name has the keyboard."""
        self.find(role, name, Atspi.StateType.ACTIVE)
        subprocess.run(["xdotool", "key", *keys], check=True)

    def close(self, name):
        """Closes a window from the keyboard. The window manager may miss a key while it is still busy with a window
        that has just come, so like a person this looks and presses again.
        """
        self.find("frame", name, Atspi.StateType.ACTIVE)

        def closed():
            subprocess.run(["xdotool", "key", "alt+F4"], check=True)
            return turn_until(lambda: not self.accessible("frame", name), 2)
        self.assertTrue(turn_until(closed), f"{name!r} stays open")

    def point(self, role, name, *then):
        """Moves the pointer onto it, and does there what xdotool is told."""
        place = self.find(role, name).get_extents(Atspi.CoordType.SCREEN)
        at = str(place.x + place.width // 2), str(place.y + place.height // 2)
        subprocess.run(["xdotool", "mousemove", *at, *then], check=True)

    def click(self, role, name):
        self.point(role, name, "click", "1")

    def serve_notifications(self):
        received = []

        def called(_connection, _sender, _path, _interface, method, arguments, call):
            if method == "Notify":
                received.append(arguments.unpack())
            call.return_value(GLib.Variant("(as)", ([],)) if method == "GetCapabilities" else GLib.Variant("(u)", (1,)))
        bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        interface = Gio.DBusNodeInfo.new_for_xml(NOTIFICATIONS).interfaces[0]
        registration = bus.register_object("/org/freedesktop/Notifications", interface, called, None, None)
        self.addCleanup(bus.unregister_object, registration)
        name = Gio.bus_own_name_on_connection(bus, "org.freedesktop.Notifications", Gio.BusNameOwnerFlags.NONE)
        self.addCleanup(Gio.bus_unown_name, name)
        return received

    def start_trayer(self):
        tray = desktop.start_trayer()
        self.addCleanup(tray.wait)
        self.addCleanup(tray.kill)

    def click_tray(self, button="1"):
        subprocess.run(["xdotool", "mousemove", "0", "9999"], check=True)
        icon = desktop.find_icon()
        self.assertTrue(icon, "the icon's tooltip stays")
        subprocess.run(["xdotool", "mousemove", "--window", icon, "6", "6", "click", button], check=True)
