#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The built program, started as a person starts it, with the played client behind it.

SKYFOLD names the program. What is read from the window is what a screen reader would read.
"""
import json
import os
import pathlib
import subprocess
import tempfile
import threading
import time
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, Gio, GLib  # noqa: E402

NOTIFICATIONS = """<node><interface name="org.freedesktop.Notifications">
<method name="GetCapabilities"><arg type="as" direction="out"/></method>
<method name="Notify"><arg type="s"/><arg type="u"/><arg type="s"/><arg type="s"/><arg type="s"/><arg type="as"/>
<arg type="a{sv}"/><arg type="i"/><arg type="u" direction="out"/></method></interface></node>"""


def turn_until(done, seconds=15):
    """Waits for `done()` to be true, serving the bus meanwhile; returns its last value."""
    end = time.monotonic() + seconds
    while not (result := done()) and time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        time.sleep(0.02)
    return result


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        for name in ("skyfold", "onedrive"):
            (self.home / ".config" / name).mkdir(parents=True)
        self.lines = []

    def write(self, below, text=""):
        path = self.home / below
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def sign_in(self, settings=""):
        self.write(".config/onedrive/refresh_token", "t")
        self.write(".config/skyfold/config", settings)

    def start(self, *arguments, **environment):
        merged = {**os.environ, "HOME": str(self.home), **environment}
        merged = {name: value for name, value in merged.items() if value is not None}
        program = subprocess.Popen([os.environ["SKYFOLD"], *arguments], env=merged, text=True, errors="replace",
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        reader = threading.Thread(target=lambda: self.lines.extend(iter(program.stdout.readline, "")))
        reader.start()
        for clean_up in (program.stdout.close, reader.join, program.wait, program.kill):
            self.addCleanup(clean_up)  # the last one runs first
        return program

    def said(self, text):
        return any(text in line for line in list(self.lines))

    def assert_says(self, text, seconds=15):
        self.assertTrue(turn_until(lambda: self.said(text), seconds), f"{text!r} not in {self.lines[-20:]}")

    def assert_ends(self, program, status):
        self.assertTrue(turn_until(lambda: program.poll() is not None), self.lines[-5:])
        self.assertEqual(program.returncode, status)

    def accessible(self, role, name):
        """The accessible of that role and name in the program, or None."""
        def search(node):
            if node.get_role_name() == role and node.get_name() == name:
                return node
            found = (search(node.get_child_at_index(i)) for i in range(node.get_child_count()))
            return next(filter(None, found), None)
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        programs = (desktop.get_child_at_index(i) for i in range(desktop.get_child_count()))
        return next(filter(None, (search(one) for one in programs if one and one.get_name() == "skyfold")), None)

    def find(self, role, name):
        found = turn_until(lambda: self.accessible(role, name))
        self.assertTrue(found, f"nobody would read {role} {name!r}")
        return found

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
        tray = subprocess.Popen(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request"],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(tray.wait)
        self.addCleanup(tray.kill)

    def click_tray(self):
        icon = subprocess.run(["xdotool", "search", "--onlyvisible", "--classname", "^skyfold$"], text=True,
                              stdout=subprocess.PIPE, check=True).stdout.split()[0]
        subprocess.run(["xdotool", "mousemove", "--window", icon, "6", "6", "click", "1"], check=True)

    def flip_settings(self):
        """One setting by the mouse, one as a screen reader does it."""
        self.find("menu", "Settings").do_action(0)
        place = self.find("menu item", "Enable Notifications").get_extents(Atspi.CoordType.SCREEN)
        settings = self.home / ".config/skyfold/config"
        subprocess.run(["xdotool", "mousemove", str(place.x + 9), str(place.y + 9), "click", "1"], check=True)
        self.assertTrue(turn_until(lambda: "notifications_enabled=false" in settings.read_text()))
        subprocess.run(["xdotool", "click", "1"], check=True)
        self.assertTrue(turn_until(lambda: "notifications_enabled=true" in settings.read_text()))
        self.assertEqual(self.find("menu item", "Start on login").get_description(), "ON")
        self.find("menu item", "Start on login").do_action(0)
        self.assertTrue(turn_until(lambda: "autostart=false" in settings.read_text()))
        self.assertTrue(turn_until(lambda: self.find("menu item", "Start on login").get_description() == "OFF"))

    def test_starts_that_end_at_once(self):
        for arguments, settings, environment, text, status in [
            (["--help", "--version", "--bogus", "--display=:77", "--gapplication-service", "-d"], None, {},
             "Daemon mode requires the user to be logged in.", 0),
            (["--daemon"], "sync_dir=\n", {}, "Daemon mode requires sync_dir to be configured.", 0),
            (["--daemonize"], None, {"HOME": None},
             "HOME environment variable not set. Cannot determine login status.", 0),
            (["-d"], None, {"DISPLAY": None}, "ERROR: Skyfold needs a display", 1),
        ]:
            with self.subTest(text):
                self.lines.clear()
                if settings is not None:
                    self.sign_in(settings)
                self.assert_ends(self.start(*arguments, **environment), status)
                self.assert_says(text, 1)

    def test_missing_client_is_reported_and_the_program_goes_on(self):
        folder = self.write("Cloud/a").parent
        self.sign_in(f"sync_dir={folder}\n")
        own_path = self.write("bin/pkill", "#!/bin/sh\n").parent
        (own_path / "pkill").chmod(0o755)
        program = self.start(PATH=f"{own_path}:/usr/bin:/bin")
        self.assert_says("ERROR: Sync process exited with code 127")
        self.find("alert", "Sync Process Error")
        self.assert_says("ERROR: Tray icon failed to embed after retry")
        self.assertIsNone(program.poll())

    def test_window_tells_what_the_client_says_and_acts_on_rows(self):
        folder = self.write("Cloud/Private/x").parents[1]
        self.write("Cloud/notes.txt")
        self.sign_in(f"sync_dir={folder}\n")
        monitor = {"args": ["--monitor", "--syncdir", str(folder)], "cut_short": True}
        scenario = self.write("scenario", json.dumps({"calls": [
            {**monitor, "steps": [{"print": "Downloading file: ./notes.txt ... \n"}, {"hang": True}]},
            {**monitor, "optional": True, "steps": [{"hang": True}]},
            {"args": ["--display-sync-status"], "repeat": True, "steps": [{"print": "notes.txt: synced\n"}]},
            {"args": ["--display-config"], "repeat": True, "steps": [{"print": "skip_dir = \"Private\"\n"}]}]}))
        received = self.serve_notifications()
        self.start_trayer()
        program = self.start(PLAYED_CLIENT_SCENARIO=str(scenario))
        self.assert_says("DEBUG: Tray icon setup complete! Tray should now be visible.")
        self.assert_says("DEBUG: Async file status update complete.")
        self.assertIsNone(self.accessible("frame", "Skyfold"), "hidden at first")
        self.click_tray()
        for role, name in [("label", "Sync: Downloading \u2014 notes.txt"), ("label", "Downloading"),
                           ("label", "Skipped"), ("list item", "Private"), ("menu", "Settings")]:
            self.find(role, name)
        self.flip_settings()
        self.find("list item", "notes.txt").grab_focus()
        subprocess.run(["xdotool", "key", "shift+F10"], check=True)
        self.find("menu item", "Disable Sync").do_action(0)
        self.assertTrue(turn_until(lambda: received))
        summary, body, hints = received[0][3], received[0][4], received[0][6]
        self.assertEqual((summary, body), ("Sync Settings Changed", "Disabled sync for notes.txt"))
        self.assertEqual(hints["desktop-entry"], "org.skyfold")
        self.assertEqual((self.home / ".config/onedrive/config").read_text(), 'skip_dir = "notes.txt"\n')
        self.assertTrue(turn_until(lambda: sum("DEBUG: Launching: " in line for line in self.lines) == 2))
        if self.accessible("alert", "Sync Process Error"):  # the stopped child's end, unless the new start hid it
            subprocess.run(["xdotool", "key", "Return"], check=True)
        self.assertTrue(turn_until(lambda: not self.accessible("alert", "Sync Process Error")))
        subprocess.run(["xdotool", "key", "q"], check=True)
        self.assert_ends(program, 0)
        self.assert_says("DEBUG: Application shutting down", 1)
        check = [str(pathlib.Path(os.environ["SKYFOLD_ISOLATED"]) / "bin/onedrive-cli"), "--scenario-check"]
        self.assertEqual(subprocess.run([*check, str(scenario)], check=False).returncode, 0)

    def test_tray_that_comes_late_is_found_by_the_second_check(self):
        self.sign_in(f"sync_dir={self.write('Cloud/a').parent}\nsync_enabled=false\n")
        self.start()
        self.assert_says("retrying in 2 seconds...")
        self.start_trayer()
        self.assert_says("DEBUG: Tray icon embedded on second check!")
        self.assertFalse(self.said("DEBUG: Launching: "))


if __name__ == "__main__":
    unittest.main()
