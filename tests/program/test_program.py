#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The built program, started as a person starts it, with the scripted client behind it."""
import subprocess
import unittest

from driver import Atspi, DrivenProgram, turn_until


class ProgramTest(DrivenProgram):
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

    def test_closing_the_only_window_ends_the_program(self):
        self.sign_in()
        program = self.start()
        self.find("push button", "Start Sync")
        subprocess.run(["xdotool", "key", "alt+F4"], check=True)
        self.assert_ends(program, 0)

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
        monitor = ["--monitor", "--syncdir", str(folder)]
        self.expect_calls(
            (monitor, [{"print": "Downloading file: ./notes.txt ... \n"}, {"hang": True}], "cut_short"),
            (monitor, [{"hang": True}], "optional"),
            (["--display-sync-status"], [{"print": "notes.txt: synced\n"}], "repeat"),
            (["--display-config"], [{"print": "skip_dir = \"Private\"\n"}], "repeat"))
        received = self.serve_notifications()
        self.start_trayer()
        program = self.start()
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
        self.assertTrue(turn_until(lambda: not self.accessible("alert", "Sync Process Error")))
        subprocess.run(["xdotool", "key", "q"], check=True)
        self.assert_ends(program, 0)
        self.assert_says("DEBUG: Application shutting down", 1)

    def test_tray_that_comes_late_is_found_by_the_second_check(self):
        self.sign_in(f"sync_dir={self.write('Cloud/a').parent}\nsync_enabled=false\n")
        self.expect_calls()
        program = self.start()
        self.assert_says("retrying in 2 seconds...")
        self.start_trayer()
        self.assert_says("DEBUG: Tray icon embedded on second check!")
        self.assertFalse(self.said("DEBUG: Launching: "))
        self.click_tray()
        self.find("frame", "Skyfold")
        subprocess.run(["xdotool", "key", "a"], check=True)
        self.find("dialog", "About Skyfold")
        program.terminate()
        self.assert_ends(program, 0)


if __name__ == "__main__":
    unittest.main()
