#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The window and the icon of the built program, used as by a person, with the scripted client behind it. What was seen,
printed and written in a whole scenario is one text in tests/approved.
"""
import os
import re

from driver import HANG, TRAYER, UPDATED, DrivenProgram, accessible, clients, main

SURE = "Are you sure you want to remove your account?"
ALSO = "Do you also want to delete the local OneDrive files?"
ODD = "it's $(touch x)"  # a name that a shell must not read
CAFE, SHOWN_CAFE = "caf\udce9", "caf\ufffd"  # one that is not UTF-8
NOTES = "notes, old.txt"  # one that dbus-send would split


class ProgramTest(DrivenProgram):
    def settings_menu(self, heading):
        """The settings' menu as it is read, and then none."""
        self.do("find_active frame | Skyfold", "click menu | Settings", f"look {heading}", "press frame | Skyfold | Escape",
                "assert_gone menu item | Enable Sync")

    def flip(self, name, then):
        """Flips a setting by the mouse, and waits for what is then stored."""
        self.do("find_active frame | Skyfold", "click menu | Settings", f"click menu item | {name}")
        settings = self.home / ".config/skyfold/config"
        self.await_that(f"{then} in the settings", lambda: then in settings.read_text().splitlines())
        self.do("press frame | Skyfold | Escape", "assert_gone menu item | Enable Sync")

    def act(self, row, name, by_menu=""):
        """Does one of a row's actions, by its button or by its menu and the keyboard, and waits for what comes of it."""
        def effects():
            desktop = self.home / "desktop"
            return self.said().count(UPDATED) + (desktop.read_bytes().count(b"\n") if desktop.exists() else 0)
        before = effects()
        if by_menu:
            self.find("list item", row).grab_focus()
            self.do("press frame | Skyfold | shift+F10", f"click menu item | {name}")
        else:
            self.do(f"point list item | {row}", f"click push button | {name}")
        self.await_that(f"the effect of {name!r}", lambda: effects() > before)

    def watch_notices(self):
        _monitor, self.notices = self.spawn("dbus-monitor", "interface=org.freedesktop.Notifications")

    def note_notices(self, count):
        count = int(count)
        self.await_that(f"{count} notices", lambda: self.notices.read_bytes().count(b'string "org.skyfold"') >= count)
        self.note("notices", b"".join(re.findall(rb'^   string "[^:].*\n', self.notices.read_bytes(), re.M)))

    def test_rows_with_the_sync_off(self):
        self.cloud = self.home / "My Cloud"
        self.sign_in("sync_enabled=false\n", NOTES, f"{ODD}/x", f"{CAFE}/x")
        states, skipped = f"{NOTES}: sync pending\n", 'skip_dir = "{}"\n'
        self.expect_calls(
            (["--display-sync-status"], [{"print": states}]), (["--display-config"], []),
            (["--synchronize", "--single-directory", ODD], []),
            (["--display-sync-status"], [{"print": states.replace(" pending", "ed")}], "repeat"), (["--display-config"], []),
            (["--display-config"], [{"print": skipped.format(ODD)}]),
            (["--display-config"], [{"print": skipped.format(f'{ODD}", "{CAFE}')}]))
        self.watch_notices()
        obeys_modes = ["setpriv", "--bounding-set=-dac_override"] if os.geteuid() == 0 else []
        program = self.start_with_window(wrapper=obeys_modes)
        self.do("look rows as the client tells their states", f"point list item | {ODD}", "look row under the pointer",
                f"act {ODD} | Open file location", f"act {NOTES} | Open file location",
                f"act {SHOWN_CAFE} | Open file location | by menu", "write refuse dbus-send",
                f"act {NOTES} | Open file location | by menu")
        (self.cloud / NOTES).unlink()
        self.do(f"act {NOTES} | Open file location | by menu", f"act {ODD} | Force Sync", "look one synced by force",
                f"act {ODD} | Disable Sync", f"act {SHOWN_CAFE} | Disable Sync | by menu", "look two left out")
        config = self.home / ".config/onedrive/config"
        self.note("the client's configuration by then", config.read_bytes())
        self.do(f"act {ODD} | Enable Sync", "note_notices 3")
        config.chmod(0o444)
        self.do(f"act {ODD} | Disable Sync", "press frame | Skyfold | q")
        self.assert_day(program)

    def test_transfers_and_a_client_that_is_replaced(self):
        self.sign_in("notifications_enabled=false\n", f"{ODD}/x", "Docs/x", CAFE)
        self.write(".config/onedrive/.lock")
        self.write(".config/onedrive/config", f'sync_dir = "~/Cloud"\nskip_dir = "{ODD}"\n')
        left_out = [{"print": f'skip_dir = "{ODD}"\n'}]
        first = [{"print": f"Downloading file: ./Docs/deep/x ... \nUploading modified file: {self.cloud}/{CAFE} ... \n"},
                 {"wait_for": "{home}/done"}, {"print": "Downloading file: ./Docs/deep/x ... done\n"},
                 {"wait_for": "{home}/complete"}, {"print": "Sync with Microsoft OneDrive is complete\n"}, HANG]
        self.expect_calls(
            self.monitor(*first), self.monitor({"print": "Uploading new file: ./late/y ... 5%\n"}, HANG), self.monitor(HANG),
            (["--display-sync-status"], [{"print": "other: synced\n"}], "repeat"), (["--display-config"], left_out),
            (["--display-config"], [{"print": f'skip_dir = "{ODD}", "Docs"\n'}]), (["--display-config"], left_out))
        self.watch_notices()
        program = self.start_with_window()
        self.do("look two transfers", "write done", "look one done", "write complete", "look the pass complete",
                "act Docs | Disable Sync", "assert_says [SYNC] Uploading new file",
                "assert_says ERROR: Sync process exited with code -1", "point label | Sync: Uploading \u2014 late/y",
                "look the next client, which was told to leave a folder out")
        self.flip("Enable Notifications", "notifications_enabled=true")
        self.act("Docs", "Enable Sync", by_menu=True)
        self.assert_says("ERROR: Sync process exited with code -1", 2)
        self.await_call(2)
        self.look("the client after that")
        self.note_notices(1)
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_settings_and_icon(self):
        """The menu shows what is stored, and each row changes its own."""
        self.sign_in("autostart=false\nnotifications_enabled=false\nsync_enabled=false\n", "a")
        self.write(".config/autostart/other.desktop")
        self.expect_calls(self.monitor({"ignore": "SIGTERM"}, {"print": "Syncing\n"}, HANG), self.monitor(HANG))
        program = self.start_with_window("-d")
        self.settings_menu("all of them off")
        self.flip("Start on login", "autostart=true")
        self.flip("Enable Notifications", "notifications_enabled=true")
        self.flip("Enable Sync", "sync_enabled=true")
        self.assert_says("[SYNC] Syncing")
        self.settings_menu("all of them on")
        self.note("entry", (self.home / ".config/autostart/skyfold.desktop").read_bytes())
        self.flip("Start on login", "autostart=false")
        self.do("activate menu item | Enable Sync", "find_active alert | Sync Process Error", "look sync switched off")
        self.await_that("the client's end", lambda: not clients())
        self.note("settings by then", (self.home / ".config/skyfold/config").read_bytes())
        self.do("dismiss Sync Process Error", "activate menu item | Enable Sync")
        self.await_call(1)
        self.do("click_tray", "assert_gone frame | Skyfold", "click_tray 3", "look the icon's menu",
                "click menu item | Show/Hide", "close Skyfold", "click_tray 3", "click menu item | About",
                "press dialog | About Skyfold | Escape", "assert_gone dialog | About Skyfold", "click_tray",
                "press frame | Skyfold | a", "find_active dialog | About Skyfold", "click_tray 3", "click menu item | Exit")
        self.assert_day(program)

    def test_failures_of_the_client(self):
        """The second one comes while the first one is still shown."""
        self.sign_in("", "a")
        self.expect_calls(
            (self.monitor()[0], [{"wait_for": "{home}/go"}, {"print": "... a --resync is required\n"}, {"exit": 0}]),
            (self.monitor(options=["--resync", "--resync-auth"])[0],
             [{"print": "--resync needed \u00fc\udcff\0"}, {"exit": 126}]),
            (self.monitor()[0], [{"exit": 5}]))
        program = self.start_with_window("--daemon")
        self.do("write go", "find_active alert | Sync Process Error", "look a resync that failed",
                "activate menu item | Enable Sync", "assert_says ERROR: Sync process exited with code 5",
                "look still the first", "dismiss Sync Process Error")
        self.assertIsNone(accessible("alert"), "a second dialog")
        self.press("frame", "Skyfold", "q")
        self.assert_day(program)

    def test_account_is_kept_and_then_removed_with_its_files(self):
        self.sign_in("", "Private/x", "y")
        writing = f"{self.cloud}/Private/new"  # whenever it is deleted
        self.expect_calls(self.monitor({"ignore": "SIGTERM"}, {"keep": writing}))
        program = self.start_with_window()
        self.await_that(writing, lambda: os.path.exists(writing))
        self.do("press frame | Skyfold | r", f"find_active alert | {SURE}", "look first question", f"dismiss {SURE} | Escape",
                "press frame | Skyfold | r", f"press alert | {SURE} | alt+y", f"find_active alert | {ALSO}",
                "look second question", f"press alert | {ALSO} | alt+y")
        self.assert_day(program)

    def test_account_is_removed_and_the_files_stay(self):
        """Beside an icon that was embedded late."""
        self.sign_in("sync_enabled=false\n", "Private/x")
        self.expect_calls()
        program = self.start()
        self.assert_says("retrying in 2 seconds...")
        self.spawn(*TRAYER)
        self.do("assert_says DEBUG: Tray icon setup complete!", "click_tray", "press frame | Skyfold | r",
                f"press alert | {SURE} | alt+y", f"press alert | {ALSO} | Escape")
        self.assert_day(program)


if __name__ == "__main__":
    main()
