#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""How the built program starts and ends, and the ways to its first window, with the scripted client behind it."""
import os
import shutil
import signal

from driver import HANG, Atspi, DrivenProgram, accessible, main

FIRST = "Configure Sync Directory"
SURE, ALSO = "Are you sure you want to remove your account?", "Do you also want to delete the local OneDrive files?"
SIGN_IN, RENEW = (["--display-quota", "--verbose"], ["--reauth", "--verbose"])
ADDRESS = "https://login.microsoftonline.com/common/oauth2/v2.0/authorize?client_id=7"
EMBEDDING_FAILED = "ERROR: Tray icon failed to embed after retry"


class LifeTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        self.token = self.home / ".config/onedrive/refresh_token"

    def test_starts_that_end_at_once(self):
        for arguments, settings, environment, status in [
            (["--help", "--version", "--bogus", "--display=:77", "--gapplication-service", "-d"], None, {}, 0),
            (["--daemon"], "sync_dir=\n", {}, 0),
            (["--daemonize"], None, {"HOME": None}, 0),
            (["-d"], None, {"DISPLAY": None, "GDK_BACKEND": "x11"}, 1),
            ([], None, {"DISPLAY": ":76"}, 1),
            ([], None, {"WAYLAND_DISPLAY": "gone", "GDK_BACKEND": "wayland"}, 1),
            (["-d", "in a home without a folder for settings"], None, {}, 0),
        ]:
            case = " ".join([*arguments, *map(str, environment.items())])
            with self.subTest(case):
                if settings is not None:
                    self.sign_in(settings)
                if "in a home" in case:
                    self.note_files()
                    shutil.rmtree(self.home / ".config")
                self.assert_ends(self.start(*arguments, **environment), status)
                self.note_printed(f": {case}")
        self.assert_recorded()

    def test_closing_the_only_window_ends_the_program_though_nobody_reads_what_it_prints(self):
        self.sign_in()
        self.write(".config/autostart/other.desktop")
        unread, output = os.pipe()
        os.close(unread)
        program = self.start(stdout=output)
        os.close(output)
        self.find("push button", "Start Sync")
        self.look("first window")
        self.close(FIRST)
        self.assert_day(program)

    def test_first_folder_has_a_blank_in_its_name(self):
        self.sign_in()
        self.expect_calls(self.monitor({"print": "Syncing\n"}, HANG, folder=f"{self.home}/OneDrive a b"))
        program = self.start()
        self.press("frame", FIRST, "End", "space", "a", "space", "b")
        self.click("push button", "Start Sync")
        self.assert_says("[SYNC] Syncing")
        self.assert_says("DEBUG: Async file status update complete.")
        self.assert_gone("frame", FIRST)
        program.send_signal(signal.SIGINT)
        self.assert_day(program)

    def test_signals_end_the_client_first(self):
        self.sign_in(entry="a")
        for number in (signal.SIGINT, signal.SIGHUP):
            with self.subTest(number.name):
                self.expect_calls((self.monitor()[0], [{"ignore": "SIGTERM"}, {"print": "Syncing\n"}, HANG]))
                program = self.start()
                self.assert_says("[SYNC] Syncing")
                program.send_signal(number)
                self.assert_ends(program, 0)

    def test_question_is_answered_with_no_when_the_program_ends(self):
        self.sign_in(entry="a")
        self.expect_calls(self.monitor(HANG))
        program = self.start_with_window()
        self.press("frame", "Skyfold", "r")
        self.press("alert", SURE, "alt+y")
        self.find("alert", ALSO, Atspi.StateType.ACTIVE)
        program.terminate()
        self.assert_day(program)

    def test_window_opens_by_itself_and_closing_it_ends_the_client(self):
        """Where there is no notification area, and the client is at what it was asked."""
        self.sign_in(entry="a")
        self.expect_calls(self.monitor({"print": "Syncing\n"}, HANG), (["--display-sync-status"], [HANG], "repeat"))
        program = self.start()
        self.assert_says("[SYNC] Syncing")
        self.assertIsNone(accessible("frame", "Skyfold"), "the window is hidden at first")
        self.assert_says(EMBEDDING_FAILED)
        self.look("window")
        self.close("Skyfold")
        self.assert_day(program)

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
        self.assert_says("There is no notification area for the icon")
        self.assertIsNone(accessible("frame", "Skyfold"), "nobody asked for the window")
        program.terminate()
        self.assert_ends(program, 0)

    def test_sign_in_that_fails_is_tried_once_more(self):
        self.expect_calls((SIGN_IN, [{"print": "You will need to issue a --reauth"}, {"exit": 1}]),
                          (RENEW, [{"print": "AADSTS70000, or all is well\0\udcff"}]))
        program = self.start()
        self.find("alert", "Login Error", Atspi.StateType.ACTIVE)
        self.look("failure")
        program.terminate()  # answers the dialog
        self.assert_day(program)

    def test_sign_in_without_the_web_engine(self):
        self.write("lib/libwebkit2gtk-4.1.so.0")
        self.expect_calls((SIGN_IN, [{"print": f"Visit {ADDRESS}\n"}, HANG], "cut_short"))
        program = self.start(LD_LIBRARY_PATH=f"{self.home}/lib")
        self.find("alert", "Login Error", Atspi.StateType.ACTIVE)
        self.look("failure")
        self.assert_no_client()
        self.dismiss("Login Error")
        self.assert_day(program)

    def test_sign_in_that_the_client_asks_for_is_not_disturbed(self):
        self.sign_in("autostart=false\nsync_enabled=yes\n", "a")
        self.write(".config/autostart/other.desktop")
        self.expect_calls(
            (self.monitor()[0], [{"wait_for": "{home}/go"}, {"print": "one of many lines\n" * 4000},
                                 {"print": "AADSTS70000: the last words"}, {"exit": 1}]),
            (RENEW, [{"write": {"{home}/asked": ""}}, {"wait_for": "{home}/end"}]),
            self.monitor({"print": "Syncing\n"}, HANG, folder="typed"))
        program = self.start_with_window()
        self.write("go")
        self.await_call(1, "begun")
        self.find("frame", "Skyfold", Atspi.StateType.ACTIVE)
        self.look("while it signs in")
        self.find("menu item", "Enable Sync", None).do_action(0)
        self.await_that("the switch to go back", lambda: self.said().count("DEBUG: Application::on_sync_started() - BEGIN") == 2)
        self.look("after the sync was asked for meanwhile")
        self.write("end")
        self.press("frame", FIRST, "End", "shift+Home", *"typed")
        self.look("which folder")
        self.click("push button", "Start Sync")
        self.assert_says("[SYNC] Syncing")
        program.terminate()
        self.assert_ends(program, 0)
        self.note_files()
        self.assert_recorded()

    def test_closing_a_renewed_sign_in_ends_the_program_when_the_token_is_gone(self):
        self.sign_in(entry="a")
        self.expect_calls((self.monitor()[0], [{"print": "AADSTS70000"}, {"exit": 1}]), (RENEW, [HANG], "cut_short"))
        program = self.start_beside_tray()
        self.await_call(1)
        self.token.unlink()  # as the real client does it first
        self.close("Skyfold")
        self.assert_day(program)


if __name__ == "__main__":
    main()
