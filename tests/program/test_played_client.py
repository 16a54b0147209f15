#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What stands in for the real client: the played one copies files and prints what that was recorded to print; with the
scripted one nothing goes unnoticed that a test did not foresee.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import unittest

from driver import CLIENT, DrivenProgram, turn_until

ROOT, REPORT = pathlib.Path(__file__).resolve().parents[2], "Documents/Report 2024.txt"
COMPLETE = b"Sync with Microsoft OneDrive is complete\n"
SINGLE = ("--synchronize", "--single-directory", "Documents")


class StandInTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        self.sign_in()
        self.local = self.home / "OneDrive"
        os.environ.update(HOME=str(self.home), PLAYED_CLIENT_PACE="0", PLAYED_CLIENT_CLOUD=str(self.cloud))
        for name in ("Documents/Projects/Über uns/Straße – naïve.txt", "Documents/Projects/plan.md", REPORT,
                     "Pictures/日本語 写真.txt", "Private/secret.txt", "Temp/junk.txt", "readme.txt", "empty.txt"):
            self.write(f"Cloud/{name}", name)
        self.write("Cloud/Pictures/holiday.bin", "x" * (6 << 20))

    def configure(self, more=""):
        self.write(".config/onedrive/config", f'sync_dir = "{self.local}"\n{more}\n')

    def call(self, *arguments):
        """Its exit code and what it prints; of a monitor that stays, until its first pass is complete."""
        child, log = self.spawn(ROOT / "demo/onedrive-cli", *arguments)
        stays = "--monitor" in arguments
        self.assertTrue(turn_until(lambda: child.poll() is not None or stays and COMPLETE in log.read_bytes()))
        return child.poll(), b"".join(log.read_bytes().partition(COMPLETE)[:2 if stays else 3])

    def assert_recorded(self, name, code, result):
        """But for the times and the order, which is that of the real client's parallel transfers."""
        recorded = (ROOT / f"tests/recordings/{name}.txt").read_bytes().replace(b"/home/user", bytes(self.home))
        recorded = b"".join(recorded.partition(COMPLETE)[:2 if code is None else 3])
        texts = [re.sub(rb"\d\d:\d\d:\d\d|--:--:--", b"~", text).splitlines() for text in (recorded, result[1])]
        self.assertEqual((code, sorted(texts[0])), (result[0], sorted(texts[1])), name)

    def assert_becomes_equal(self):
        self.assertTrue(turn_until(lambda: not subprocess.getoutput(f"diff -rq {self.cloud} {self.local}")))

    def test_files_go_both_ways(self):
        self.assert_recorded("d-monitor-fresh-first", 126, self.call("--monitor", "--syncdir", self.local))
        for name in ("Local notes/deep/er/файл ñ.txt", "Local notes/todo list.txt", "upload me.txt"):
            self.write(f"OneDrive/{name}", name)
        self.write("OneDrive/big upload.bin", "x" * (25 << 20))
        self.assert_recorded("d-monitor-live", None, self.call("--monitor", "--syncdir", self.local))
        self.assert_becomes_equal()
        self.assert_recorded("i-second-single", 1, self.call(*SINGLE))
        for side, gone in ((self.local, "Temp"), (self.cloud, "Pictures")):
            (side / REPORT).write_text(f"without {gone}")
            shutil.rmtree(side / gone)
            self.assert_becomes_equal()
            self.assertEqual((False, f"without {gone}"), ((side / gone).exists(), (side / REPORT).read_text()))

    def test_skipped_folders_and_dumps(self):
        self.assert_recorded("g-config-none", 0, self.call("--display-config"))
        self.configure('skip_dir = "Private", "Temp"')
        self.call("--synchronize")
        self.write(f"Cloud/{REPORT}", "new")
        self.assertIn(b" . \nDocuments: sync pending\nPictures: synced\n", self.call("--display-sync-status")[1])
        self.call("--synchronize")
        self.write("OneDrive/Private/mine.txt")
        monitor = ("--monitor", "--syncdir", self.local, "--resync", "--resync-auth")
        self.assert_recorded("e-resync-monitor-resync-auth", None, self.call(*monitor))
        self.assertFalse((self.local / "Temp").exists() or (self.cloud / "Private/mine.txt").exists())
        self.assertIn(b"'skip_dir' %20s= \"Private\", \"Temp\"\n" % b"", self.call("--display-config")[1])
        self.configure()
        self.assert_recorded("e-resync-status", 126, self.call("--display-sync-status"))

    def test_what_a_scenario_did_not_foresee_fails_its_check(self):
        for calls, steps, complaint in ((2, [], "unexpected call"), (0, [], "never made"), (1, [], ""),
                                        (1, [{"stdin": "yes"}], "received b''"), (1, [{"prnt": "x"}], "prnt")):
            file = self.write(f"then {complaint}/scenario", json.dumps({"calls": [{"args": ["a"], "steps": steps}]}))
            for arguments in [["a"]] * calls + [["--scenario-check", file]]:
                os.environ["CLIENT_SCENARIO"] = str(file)
                done = subprocess.run([CLIENT, *arguments], text=True, check=False, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            self.assertEqual(done.returncode, 1 if complaint else 0)
            self.assertIn(complaint, done.stdout)


if __name__ == "__main__":
    unittest.main()
