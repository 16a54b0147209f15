#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""How the built program starts and ends, and the ways to its first window, with the scripted client behind it."""
import os
import resource
import shutil
import signal

from driver import HANG, DrivenProgram, accessible, main

FIRST = "Configure Sync Directory"
SURE, ALSO = "Are you sure you want to remove your account?", "Do you also want to delete the local OneDrive files?"
SIGN_IN, RENEW = ["--display-quota", "--verbose"], ["--reauth", "--verbose"]
ADDRESS = "https://login.microsoftonline.com/common/oauth2/v2.0/authorize?client_id=7"
SYNCING = {"print": "Syncing\n"}


class LifeTest(DrivenProgram):
    def test_starts_that_end_at_once(self):
        for arguments, settings, environment, status in [
            (["--help", "--version", "--bogus", "--display=:77", "--gapplication-service", "-d"], None, {}, 0),
            (["--daemon"], "sync_dir=\n", {}, 0),
            (["--daemonize"], None, {"HOME": None}, 0),
            (["-d"], None, {"DISPLAY": None, "GDK_BACKEND": "x11"}, 1),
            ([], None, {"DISPLAY": ":76"}, 1),
            ([], None, {"WAYLAND_DISPLAY": "gone", "GDK_BACKEND": "wayland"}, 1),
            (["-d", "in an empty home"], None, {}, 0),
        ]:
            case = " ".join([*arguments, *map(str, environment.items())])
            if settings is not None:
                self.sign_in(settings)
            if "in an empty home" in case:
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
        self.do("find push button | Start Sync", "look first window", f"close {FIRST}")
        self.assert_day(program)

    def test_first_folder_has_a_blank_in_its_name_and_the_first_launch_fails(self):
        self.sign_in()
        self.expect_calls(self.monitor(SYNCING, HANG, folder=f"{self.home}/OneDrive a b"))
        program = self.start()
        self.press("frame", FIRST, "End", "space", "a", "space", "b")
        used, limits = os.listdir(f"/proc/{program.pid}/fd"), resource.prlimit(program.pid, resource.RLIMIT_NOFILE)
        free = next(number for number in range(1000) if str(number) not in used)
        resource.prlimit(program.pid, resource.RLIMIT_NOFILE, (free, limits[1]))  # none for a pipe to a child
        self.do("click push button | Start Sync", "assert_says ERROR: Failed to launch sync process.")
        resource.prlimit(program.pid, resource.RLIMIT_NOFILE, limits)
        self.do(f"find_active frame | {FIRST}", "click push button | Start Sync", "assert_says [SYNC] Syncing",
                f"assert_gone frame | {FIRST}")
        program.terminate()
        self.assert_ends(program, 0)
        self.assert_recorded()

    def test_signals_end_the_client_and_answer_a_question_with_no(self):
        self.sign_in("", "a")
        for number in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
            self.expect_calls((self.monitor()[0], [{"ignore": "SIGTERM"}, SYNCING, HANG]))
            program = self.start_with_window() if number == signal.SIGTERM else self.start()
            self.assert_says("[SYNC] Syncing")
            if number == signal.SIGTERM:
                self.do("press frame | Skyfold | r", f"press alert | {SURE} | alt+y", f"find_active alert | {ALSO}")
            program.send_signal(number)
            self.assert_ends(program, 0)
            self.note_printed(f", {number.name}", ["client"])
        self.assert_recorded()

    def test_display_that_goes_away_leaves_no_client(self):
        for call, entries, line in (SIGN_IN, [], "[CLI Output]: here"), (self.monitor()[0], ["a"], "[SYNC] here"):
            if entries:
                self.sign_in("", *entries)
            self.expect_calls((call, [{"print": "here\n"}, HANG]))
            server, number = self.start_x_server("Xvfb")
            program = self.start(DISPLAY=number)
            self.assert_says(line)
            server.kill()
            self.await_that("the program's end", lambda: program.poll() is not None, 10, outlived=True)  # pylint: disable=W0640
            self.assert_no_client()

    def test_window_that_opens_by_itself_leaves_an_error_in_front(self):
        """Where there is no notification area. Then a client runs, and closing the window ends it."""
        self.sign_in("", "a")
        self.expect_calls((self.monitor()[0], [{"exit": 3}]), self.monitor(SYNCING, HANG),
                          (["--display-sync-status"], [HANG], "repeat"))
        program = self.start()
        self.find("alert", "Sync Process Error")
        self.assertIsNone(accessible("frame", "Skyfold"), "the window is hidden at first")
        self.do("assert_says ERROR: Tray icon failed to embed after retry", "look window and error",
                "dismiss Sync Process Error", "activate menu item | Enable Sync", "assert_says [SYNC] Syncing", "close Skyfold")
        self.assert_ends(program, 0)
        self.assert_recorded()

    def test_missing_client_and_notification_area_are_reported_in_daemon_mode(self):
        self.sign_in("", "a")
        self.write("bin/pkill", "#!/bin/sh\n").chmod(0o755)
        handler = signal.signal(signal.SIGHUP, signal.SIG_IGN)  # as nohup does it, for the end of a terminal
        program = self.start("--daemon", PATH=f"{self.home}/bin:/usr/bin:/bin")
        signal.signal(signal.SIGHUP, handler)
        self.do("assert_says ERROR: Sync process exited with code 127", "dismiss Sync Process Error")
        program.send_signal(signal.SIGHUP)
        self.assert_says("There is no notification area for the icon")
        self.assertIsNone(accessible("frame", "Skyfold"), "nobody asked for the window")
        program.terminate()
        self.assert_ends(program, 0)

    def test_sign_in_that_fails_is_tried_once_more(self):
        """The other failure is of the web engine. A signal or a person answers the dialog."""
        self.write("lib/libwebkit2gtk-4.1.so.0")
        for case, steps in (("refused", [{"print": "AADSTS70000, or all is well\0\udcff"}]),
                            ("no engine", [{"print": f"Visit {ADDRESS}\n"}, HANG])):
            first = SIGN_IN, [{"print": "You will need to issue a --reauth"}, {"exit": 1}]
            self.expect_calls(first, (RENEW, steps, "cut_short"))
            program = self.start(LD_LIBRARY_PATH=f"{self.home}/lib")
            self.do("find_active alert | Login Error", f"look {case}")
            if case == "refused":
                program.terminate()
            else:
                self.assert_no_client()
                self.press("alert", "Login Error", "Return")
            self.assert_ends(program, 0)
            self.note_printed(f", {case}")
        self.assert_recorded()

    def test_sign_in_that_the_client_asks_for_is_not_disturbed(self):
        self.sign_in("autostart=false\nsync_enabled=yes\n", "a")
        self.write(".config/autostart/other.desktop")
        self.expect_calls(
            (self.monitor()[0], [{"wait_for": "{home}/go"}, {"print": "one of many lines\n" * 4000},
                                 {"print": "AADSTS70000: the last words"}, {"exit": 1}]),
            (RENEW, [{"wait_for": "{home}/end"}]), self.monitor(SYNCING, HANG, folder="typed"))
        program = self.start_with_window("-d")
        self.do("write go", "find_active frame | Skyfold", "look while it signs in", "activate menu item | Enable Sync")
        self.assert_says("DEBUG: Application::on_sync_started() - BEGIN", 2)
        self.do("look after the sync was asked for meanwhile", "write end")
        self.press("frame", FIRST, "End", "shift+Home", *"typed")
        self.do("look which folder", "click push button | Start Sync", "assert_says [SYNC] Syncing",
                f"assert_gone frame | {FIRST}")
        program.terminate()
        self.assert_ends(program, 0)
        self.assert_recorded()

    def test_closing_a_renewed_sign_in_ends_the_program_when_the_token_is_gone(self):
        self.sign_in("", "a")
        self.expect_calls((self.monitor()[0], [{"print": "AADSTS70000"}, {"exit": 1}]), (RENEW, [HANG], "cut_short"))
        program = self.start_beside_tray()
        self.await_call(1)
        (self.home / ".config/onedrive/refresh_token").unlink()  # as the real client does it first
        self.close("Skyfold")
        self.assert_day(program)


if __name__ == "__main__":
    main()
