#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The built program, started and used as by a person, with the scripted client behind it."""
import os
import re
import signal
import unittest

from driver import HANG, TRAYER, Atspi, DrivenProgram, accessible, clients, turn_until

SURE = "Are you sure you want to remove your account?"
ODD = "it's $(touch x)"  # a name that a shell must not read
TERMINATED = "The OneDrive sync process terminated unexpectedly.\n\n<b>Exit Code:</b> {}\n<b>Output:</b>\n{}"


class ProgramTest(DrivenProgram):
    def settings(self):
        return (self.home / ".config/skyfold/config").read_text()

    def flip(self, name, then):
        """Flips a setting by the mouse, and reads what is then stored and shown."""
        self.find("frame", "Skyfold", Atspi.StateType.ACTIVE)  # by then it is where it stays
        self.click("menu", "Settings")
        self.click("menu item", name)
        self.assertTrue(turn_until(lambda: then in self.settings().splitlines()), self.settings())
        self.press("frame", "Skyfold", "Escape")
        self.assert_gone("menu item", name)

    def monitor(self, *steps, folder=None):
        return ["--monitor", "--syncdir", str(folder or self.cloud)], [*steps], "cut_short"

    def test_starts_that_end_at_once(self):
        for arguments, settings, environment, text, status in [
            (["--help", "--version", "--bogus", "--display=:77", "--gapplication-service", "-d"], None, {},
             "Daemon mode requires the user to be logged in.", 0),
            (["--daemon"], "sync_dir=\n", {}, "Daemon mode requires sync_dir to be configured.", 0),
            (["--daemonize"], None, {"HOME": None},
             "HOME environment variable not set. Cannot determine login status.", 0),
            (["-d"], None, {"DISPLAY": None, "GDK_BACKEND": "x11"}, "ERROR: Skyfold needs a display", 1),
            ([], None, {"DISPLAY": ":76"}, "ERROR: Skyfold needs a display: none can be opened.", 1),
            ([], None, {"WAYLAND_DISPLAY": "gone", "GDK_BACKEND": "wayland"}, "ERROR: Skyfold needs a display: ", 1),
        ]:
            with self.subTest(text):
                if settings is not None:
                    self.sign_in(settings)
                self.assert_ends(self.start(*arguments, **environment), status)
                self.assert_says(text)

    def test_closing_the_only_window_ends_the_program_though_nobody_reads_what_it_prints(self):
        self.sign_in()
        entry = self.write(".config/autostart/skyfold.desktop")
        unread, output = os.pipe()
        os.close(unread)
        program = self.start(stdout=output)
        os.close(output)
        self.find("push button", "Start Sync")
        self.assertIn("--daemon", entry.read_text())
        self.close("Configure Sync Directory")
        self.assert_ends(program, 0)

    def test_without_notification_area_the_window_opens_by_itself(self):
        self.sign_in("sync_enabled=false\n", "a")
        self.expect_calls((["--display-sync-status"], [HANG], "repeat"))
        program = self.start()
        self.assert_says("DEBUG: Application::on_activate() - END")
        self.assertIsNone(accessible("frame", "Skyfold"), "hidden at first")
        self.assert_says("ERROR: Tray icon failed to embed after retry")
        self.close("Skyfold")
        self.assert_ends(program, 0)

    def test_missing_client_and_notification_area_are_reported_in_daemon_mode(self):
        self.sign_in(entry="a")
        own_path = self.write("bin/pkill", "#!/bin/sh\n").parent
        (own_path / "pkill").chmod(0o755)
        handler = signal.signal(signal.SIGHUP, signal.SIG_IGN)  # as nohup does it, for the end of a terminal
        program = self.start("--daemon", PATH=f"{own_path}:/usr/bin:/bin")
        signal.signal(signal.SIGHUP, handler)
        self.assert_says("ERROR: Sync process exited with code 127")
        self.dismiss("Sync Process Error")
        program.send_signal(signal.SIGHUP)
        self.assert_says("ERROR: Tray icon failed to embed after retry")
        self.assert_says("There is no notification area for the icon")
        self.assertIsNone(turn_until(lambda: accessible("frame", "Skyfold"), 0.5), "nobody asked for the window")
        self.assertIsNone(program.poll(), "the hangup ended it")
        program.terminate()
        self.assert_ends(program, 0)

    def test_day_with_the_window_and_the_icon(self):
        self.write(f"Cloud/{ODD}/x")
        self.sign_in(entry="notes.txt")
        config = self.write(".config/onedrive/config", f'skip_dir = "{ODD}"\n')
        lock, entry = self.write(".config/onedrive/.lock"), self.write(".config/autostart/skyfold.desktop")
        self.expect_calls(
            self.monitor({"print": "Downloading file: ./notes.txt ... \n"}, HANG),
            self.monitor(HANG), self.monitor(HANG), (["--synchronize", "--single-directory", ODD], []),
            (["--display-sync-status"], [{"print": "notes.txt: synced\n"}], "repeat"),
            (["--display-config"], [{"print": f'skip_dir = "{ODD}"\n'}], "repeat"))
        _monitor, bus = self.spawn("dbus-monitor", "interface=org.freedesktop.Notifications")
        program = self.start_with_window()
        self.assert_says("DEBUG: Async file status update complete.")
        self.assertFalse(lock.exists())
        for role, name in [("label", "Sync: Downloading \u2014 notes.txt"), ("label", "Downloading"),
                           ("label", "Skipped"), ("list item", ODD)]:
            self.find(role, name)
        self.flip("Start on login", "autostart=false")
        self.assertTrue(turn_until(lambda: not entry.exists()))
        self.flip("Enable Notifications", "notifications_enabled=false")

        self.assertIsNone(accessible("push button", "Force Sync"))
        self.point("list item", ODD)
        self.point("push button", "Force Sync")
        turn_until(lambda: False, 0.5)  # a button that went when it was reached would be gone by now
        self.click("push button", "Force Sync")
        self.assertTrue(turn_until(lambda: "3 completed" in (self.home / "scenario.state").read_text()))
        self.point("list item", "notes.txt")
        self.click("push button", "Disable Sync")
        left_out = f'skip_dir = "{ODD}", "notes.txt"\n'
        self.assertTrue(turn_until(lambda: config.read_text() == left_out), config.read_text())
        self.assert_says("DEBUG: Launching: ", 2)
        self.assert_says("ERROR: Sync process exited with code -1")
        self.assertIsNone(accessible("alert", "Sync Process Error"), "of a client that was replaced")
        self.point("label", "Sync: Starting...")
        self.assert_gone("push button", "Disable Sync")

        # From the keyboard a row has the same as a menu. Only this change is told, and not the one above.
        self.flip("Enable Notifications", "notifications_enabled=true")
        self.find("list item", ODD).grab_focus()
        self.press("frame", "Skyfold", "shift+F10")
        self.click("menu item", "Enable Sync")
        self.assert_says("DEBUG: Launching: ", 3)
        self.assertEqual(config.read_text(), 'skip_dir = "notes.txt"\n')
        self.assertTrue(turn_until(lambda: "org.skyfold" in bus.read_text()), bus.read_text())
        self.assertEqual(re.findall(r'string "(Sync|\w+ sync for)(.*)"', bus.read_text()),
                         [("Sync", " Settings Changed"), ("Enabled sync for", f" {ODD}")])

        self.close("Skyfold")
        self.click_tray("3")
        self.click("menu item", "Show/Hide")
        self.assertTrue(clients())
        self.press("frame", "Skyfold", "a")
        self.find("dialog", "About Skyfold", Atspi.StateType.ACTIVE)
        self.click_tray("3")
        self.click("menu item", "Exit")
        self.assert_ends(program, 0)
        self.assert_says("DEBUG: Application shutting down")

    def test_failures_of_the_client(self):
        """The second one comes while the first one is still shown; the switch stops the third client."""
        self.sign_in(entry="a")
        start = self.monitor()[0]
        self.expect_calls(
            (start, [{"wait_for": "{home}/go"}, {"print": "... a --resync is required\n"}, {"exit": 0}]),
            ([*start, "--resync", "--resync-auth"], [{"print": "--resync needed \u00fc\udcff\0"}, {"exit": 126}]),
            (start, [{"exit": 5}]), self.monitor({"ignore": "SIGTERM"}, {"print": "Uploading: a ... 5%\n"}, HANG))
        program = self.start_with_window("--daemon")
        self.click("menu", "Settings")
        switch = self.find("menu item", "Enable Sync")
        self.press("frame", "Skyfold", "Escape")
        self.write("go")
        self.find("label", TERMINATED.format(126, "--resync needed \u00fc\ufffd\ufffd"))
        switch.do_action(0)  # as a screen reader does it; the pointer does not get past the dialog
        self.assert_says("ERROR: Sync process exited with code 5")
        self.dismiss("Sync Process Error")
        self.flip("Enable Sync", "sync_enabled=true")
        self.find("label", "Uploading")
        switch.do_action(0)
        self.find("label", "Sync: Stopped")
        self.assertTrue(turn_until(lambda: not clients()) and "sync_enabled=false" in self.settings())
        self.find("label", TERMINATED.format(-1, "Uploading: a ... 5%\n"))
        self.dismiss("Sync Process Error")
        self.press("frame", "Skyfold", "q")
        self.assert_ends(program, 0)

    def test_sign_in_that_fails_is_tried_once_more(self):
        self.expect_calls(
            (["--display-quota", "--verbose"], [{"print": "You will need to issue a --reauth"}, {"exit": 1}]),
            (["--reauth", "--verbose"], [{"print": "AADSTS70000, or all is well\0\udcff"}]))
        program = self.start()
        self.find("label", "Login failed.\n\nExit Code: 0\n\nClient Output:\nAADSTS70000, or all is well\ufffd\ufffd")
        program.terminate()  # answers the dialog
        self.assert_ends(program, 0)

    def test_sign_in_that_the_client_asks_for_is_not_disturbed(self):
        self.sign_in("autostart=false\nsync_enabled=yes\n", "a")
        self.expect_calls(
            (self.monitor()[0], [{"wait_for": "{home}/go"}, {"print": "one of many lines\n" * 4000},
                                       {"print": "AADSTS70000: the last words"}, {"exit": 1}]),
            (["--reauth", "--verbose"], [{"write": {"{home}/asked": ""}}, {"wait_for": "{home}/end"}]),
            self.monitor({"print": "Syncing\n"}, HANG, folder="typed"))
        program = self.start_with_window()
        self.write("go")
        self.assertTrue(turn_until((self.home / "asked").exists))
        self.flip("Enable Sync", "sync_enabled=true")
        self.click("menu", "Settings")
        self.assertTrue(turn_until(lambda: self.find("menu item", "Enable Sync").get_description() == "OFF"))
        self.write("end")
        self.press("frame", "Configure Sync Directory", "End", "shift+Home", *"typed")
        self.click("push button", "Start Sync")
        self.assert_says("[SYNC] Syncing")
        self.assertEqual(self.said().count("DEBUG: Launching: "), 2)
        program.terminate()
        self.assert_ends(program, 0)

    def test_closing_a_renewed_sign_in_ends_the_program_when_the_token_is_gone(self):
        self.sign_in(entry="a")
        self.expect_calls((self.monitor()[0], [{"print": "AADSTS70000"}, {"exit": 1}]),
                          (["--reauth", "--verbose"], [{"write": {"{home}/asked": ""}}, HANG], "cut_short"))
        program = self.start_beside_tray()
        self.assertTrue(turn_until((self.home / "asked").exists))
        (self.home / ".config/onedrive/refresh_token").unlink()  # as the real client does it first
        self.close("Skyfold")
        self.assert_ends(program, 0)

    def test_account_is_removed_after_two_questions(self):
        for answer, kept in [("Escape", True), ("alt+y", False)]:
            token = self.home / ".config/onedrive/refresh_token"
            self.sign_in("sync_enabled=false\n", "Private/x")
            program = self.start()
            if kept:
                self.assert_says("retrying in 2 seconds...")
                self.spawn(*TRAYER)
                self.assert_says("DEBUG: Tray icon embedded on second check!")
            self.assert_says("DEBUG: Tray icon setup complete!")
            self.click_tray()
            self.press("frame", "Skyfold", "r")
            self.dismiss(SURE, "Escape")
            self.assertTrue(token.exists(), "closing the question is no")
            self.press("frame", "Skyfold", "r")
            self.press("alert", SURE, "alt+y")
            self.press("alert", "Do you also want to delete the local OneDrive files?", answer)
            self.assert_ends(program, 0)
            self.assertEqual((token.exists(), "sync_dir=\n" in self.settings()), (False, True))
            self.assertEqual((self.cloud / "Private/x").exists(), kept)
            self.assertNotIn("DEBUG: Launching: ", self.said())


if __name__ == "__main__":
    unittest.main()
