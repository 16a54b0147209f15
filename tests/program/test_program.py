#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The window and the icon of the built program, used as by a person, with the scripted client behind it. What was seen, printed
and written in a whole scenario is one text in tests/approved.
"""
import os
import re

from driver import HANG, TRAYER, Atspi, DrivenProgram, accessible, main

SURE = "Are you sure you want to remove your account?"
ALSO = "Do you also want to delete the local OneDrive files?"
ODD = "it's $(touch x)"  # a name that a shell must not read
CAFE = "caf\udce9"  # one that is not UTF-8
NOTES = "notes, old.txt"  # one that dbus-send would split
UPDATED = "DEBUG: Async file status update complete."


class ProgramTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        self.config = self.home / ".config/onedrive/config"

    def watch_notices(self):
        _monitor, self.notices = self.spawn("dbus-monitor", "interface=org.freedesktop.Notifications")

    def note_notices(self, count):
        self.await_that(f"{count} notices", lambda: self.notices.read_bytes().count(b'string "org.skyfold"') >= count)
        texts = re.findall(rb'^   string "[^:].*\n', self.notices.read_bytes(), re.M)
        self.note("notices", b"".join(texts))

    def open_settings(self):
        self.find("frame", "Skyfold", Atspi.StateType.ACTIVE)  # by then it is where it stays
        self.click("menu", "Settings")
        self.find("menu item", "Enable Sync")

    def close_settings(self):
        self.press("frame", "Skyfold", "Escape")
        self.assert_gone("menu item", "Enable Sync")

    def flip(self, name, then):
        """Flips a setting by the mouse, and waits for what is then stored."""
        self.open_settings()
        self.click("menu item", name)
        settings = self.home / ".config/skyfold/config"
        self.await_that(f"{then} in the settings", lambda: then in settings.read_text().splitlines())
        self.close_settings()

    def press_button(self, row, name):
        self.point("list item", row)
        self.click("push button", name)

    def choose(self, row, name):
        """From the row's menu, by the keyboard."""
        self.find("list item", row).grab_focus()
        self.press("frame", "Skyfold", "shift+F10")
        self.click("menu item", name)

    def await_desktop(self, calls):
        asked = self.home / "desktop"
        self.await_that(f"{calls} calls of the desktop", lambda: asked.exists() and asked.read_bytes().count(b"\n") >= calls)

    def test_rows_with_the_sync_off(self):
        self.cloud = self.home / "My Cloud"
        self.sign_in("sync_enabled=false\n", NOTES)
        for name in (ODD, CAFE):
            self.write(self.cloud / name / "x")
        states, skipped = f"{NOTES}: sync pending\n", 'skip_dir = "{}"\n'
        self.expect_calls(
            (["--display-sync-status"], [{"print": states}]), (["--display-config"], []),
            (["--synchronize", "--single-directory", ODD], []),
            (["--display-sync-status"], [{"print": states.replace(" pending", "ed")}], "repeat"), (["--display-config"], []),
            (["--display-config"], [{"print": skipped.format(ODD)}]),
            (["--display-config"], [{"print": skipped.format(f'{ODD}", "{CAFE}')}]))
        self.watch_notices()
        program = self.start_with_window()
        self.look("rows as the client tells their states")
        self.point("list item", ODD)
        self.find("push button", "Force Sync")
        self.look("row under the pointer")
        # The location: of a folder, a file, a name that is not UTF-8, what the file manager refuses, and what is gone.
        self.click("push button", "Open file location")
        self.await_desktop(1)
        self.press_button(NOTES, "Open file location")
        self.await_desktop(2)
        self.choose("caf\ufffd", "Open file location")
        self.await_desktop(3)
        self.write("refuse dbus-send")
        self.choose(NOTES, "Open file location")
        self.await_desktop(5)
        (self.cloud / NOTES).unlink()
        self.choose(NOTES, "Open file location")
        self.await_desktop(6)

        self.press_button(ODD, "Force Sync")
        self.assert_says(UPDATED, 2)
        self.look("rows after one was synced by force")
        self.press_button(ODD, "Disable Sync")
        self.assert_says(UPDATED, 3)
        self.choose("caf\ufffd", "Disable Sync")
        self.assert_says(UPDATED, 4)
        self.point("label", "Sync: Idle")
        self.look("rows after two were left out")
        self.note("client's configuration", self.config.read_bytes())
        self.press_button(ODD, "Enable Sync")
        self.assert_says(UPDATED, 5)
        self.note_notices(3)
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_configuration_that_is_write_protected(self):
        self.sign_in("sync_enabled=false\n", "a")
        self.write(".config/onedrive/config", 'skip_dir = "b"\n').chmod(0o444)
        self.expect_calls()
        obeys_modes = ["setpriv", "--bounding-set=-dac_override"] if os.geteuid() == 0 else []
        program = self.start_with_window(wrapper=obeys_modes)
        self.choose("a", "Disable Sync")
        self.assert_says(UPDATED, 2)
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_transfers_and_a_client_that_is_replaced(self):
        self.sign_in("notifications_enabled=false\n", f"{ODD}/x")
        for name in ("Docs/x", CAFE):
            self.write(self.cloud / name)
        self.write(".config/onedrive/.lock")
        self.write(".config/onedrive/config", f'sync_dir = "~/Cloud"\nskip_dir = "{ODD}"\n')
        left_out = [{"print": f'skip_dir = "{ODD}"\n'}]
        self.expect_calls(
            self.monitor({"print": f"Downloading file: ./Docs/deep/x ... \nUploading modified file: {self.cloud}/{CAFE} ... \n"},
                         {"wait_for": "{home}/done"}, {"print": "Downloading file: ./Docs/deep/x ... done\n"},
                         {"wait_for": "{home}/complete"}, {"print": "Sync with Microsoft OneDrive is complete\n"}, HANG),
            self.monitor({"print": "Uploading new file: ./late/y ... 5%\n"}, HANG), self.monitor(HANG),
            (["--display-sync-status"], [{"print": "other: synced\n"}], "repeat"), (["--display-config"], left_out),
            (["--display-config"], [{"print": f'skip_dir = "{ODD}", "Docs"\n'}]), (["--display-config"], left_out))
        self.watch_notices()
        program = self.start_with_window()
        self.look("two transfers")
        self.write("done")
        self.look("one transfer done")
        self.write("complete")
        self.look("the pass complete")
        self.press_button("Docs", "Disable Sync")
        self.assert_says("[SYNC] Uploading new file")
        self.assert_says(UPDATED, 2)
        self.assert_says("ERROR: Sync process exited with code -1")
        self.point("label", "Sync: Uploading \u2014 late/y")
        self.look("the next client, which was told to leave a folder out")
        self.flip("Enable Notifications", "notifications_enabled=true")
        self.choose("Docs", "Enable Sync")
        self.assert_says("ERROR: Sync process exited with code -1", 2)
        self.await_call(2)
        self.assert_says(UPDATED, 3)
        self.look("the client after that")
        self.note_notices(1)
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_settings(self):
        """The menu shows what is stored, and each row changes its own."""
        self.sign_in("autostart=false\nnotifications_enabled=false\nsync_enabled=false\n", "a")
        self.write(".config/autostart/other.desktop")
        self.expect_calls(self.monitor({"ignore": "SIGTERM"}, {"print": "Syncing\n"}, HANG))
        program = self.start_with_window()
        self.open_settings()
        self.look("all of them off")
        self.close_settings()
        self.flip("Start on login", "autostart=true")
        self.flip("Enable Notifications", "notifications_enabled=true")
        self.flip("Enable Sync", "sync_enabled=true")
        self.assert_says("[SYNC] Syncing")
        self.open_settings()
        self.look("all of them on")
        self.close_settings()
        self.note("entry", (self.home / ".config/autostart/skyfold.desktop").read_bytes())
        self.flip("Start on login", "autostart=false")
        # As a screen reader does it: by the time that the pointer gets there a dialog may be in the way.
        self.find("menu item", "Enable Sync", None).do_action(0)
        self.find("alert", "Sync Process Error", Atspi.StateType.ACTIVE)
        self.look("sync switched off")
        self.assert_no_client()
        self.dismiss("Sync Process Error")
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_icon(self):
        self.sign_in(entry="a")
        self.expect_calls(self.monitor(HANG))
        program = self.start_with_window("-d")
        self.click_tray()
        self.assert_gone("frame", "Skyfold")
        self.click_tray("3")
        self.look("its menu")
        self.click("menu item", "Show/Hide")
        self.close("Skyfold")
        self.click_tray("3")
        self.click("menu item", "About")
        self.press("dialog", "About Skyfold", "Escape")
        self.assert_gone("dialog", "About Skyfold")
        self.click_tray()
        self.press("frame", "Skyfold", "a")
        self.find("dialog", "About Skyfold", Atspi.StateType.ACTIVE)
        self.click_tray("3")
        self.click("menu item", "Exit")
        self.assert_day(program)

    def test_failures_of_the_client(self):
        """The second one comes while the first one is still shown; the switch stops the third client."""
        self.sign_in(entry="a")
        self.expect_calls(
            (self.monitor()[0], [{"wait_for": "{home}/go"}, {"print": "... a --resync is required\n"}, {"exit": 0}]),
            (self.monitor(options=["--resync", "--resync-auth"])[0], [{"print": "--resync needed \u00fc\udcff\0"}, {"exit": 126}]),
            (self.monitor()[0], [{"exit": 5}]))
        program = self.start_with_window("--daemon")
        self.write("go")
        self.find("alert", "Sync Process Error", Atspi.StateType.ACTIVE)
        self.look("a resync that failed")
        # As a screen reader does it; the pointer does not get past the dialog.
        self.find("menu item", "Enable Sync", None).do_action(0)
        self.assert_says("ERROR: Sync process exited with code 5")
        self.look("the first failure still, after the second")
        self.dismiss("Sync Process Error")
        self.assertIsNone(accessible("alert"), "a second dialog")
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_account_is_kept_or_removed(self):
        self.sign_in(entry="Private/x")
        self.write(self.cloud / "y")
        writing = f"{self.cloud}/Private/new"  # whenever it is deleted
        self.expect_calls(self.monitor({"ignore": "SIGTERM"}, {"keep": writing}))
        program = self.start_with_window()
        self.await_that(writing, lambda: os.path.exists(writing))
        self.press("frame", "Skyfold", "r")
        self.find("alert", SURE, Atspi.StateType.ACTIVE)
        self.look("first question")
        self.dismiss(SURE, "Escape")
        self.press("frame", "Skyfold", "r")
        self.press("alert", SURE, "alt+y")
        self.find("alert", ALSO, Atspi.StateType.ACTIVE)
        self.look("second question")
        self.press("alert", ALSO, "alt+y")
        self.assert_day(program)

    def test_account_is_removed_and_the_files_stay(self):
        """Beside an icon that was embedded late."""
        self.sign_in("sync_enabled=false\n", "Private/x")
        self.expect_calls()
        program = self.start()
        self.assert_says("retrying in 2 seconds...")
        self.spawn(*TRAYER)
        self.assert_says("DEBUG: Tray icon setup complete!")
        self.click_tray()
        self.press("frame", "Skyfold", "r")
        self.press("alert", SURE, "alt+y")
        self.press("alert", ALSO, "Escape")
        self.assert_day(program)


if __name__ == "__main__":
    main()
