#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The played client: it copies files, and prints what the real one was recorded to print."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import unittest

from driver import turn_until

ROOT, REPORT = pathlib.Path(__file__).resolve().parents[2], "Documents/Report 2024.txt"
COMPLETE = b"Sync with Microsoft OneDrive is complete\n"
SINGLE = ("--synchronize", "--single-directory", "Documents")


def lines(output):
    """Without what differs from run to run: the times, and the order of the real client's parallel transfers."""
    return sorted(re.sub(rb"\d\d:\d\d:\d\d|--:--:--", b"~", output).split(b"\n"))


class PlayedClientTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.cloud, self.local = self.home / "cloud", self.home / "OneDrive"
        self.environment = {"HOME": folder.name, "PLAYED_CLIENT_PACE": "0", "PLAYED_CLIENT_CLOUD": self.cloud}
        for name in ("Documents/Projects/Über uns/Straße – naïve.txt", "Documents/Projects/plan.md", REPORT,
                     "Pictures/日本語 写真.txt", "Private/secret.txt", "Temp/junk.txt", "readme.txt", "empty.txt"):
            self.put(self.cloud / name)
        self.put(self.cloud / "Pictures/holiday.bin", 6 << 20)
        self.put(self.home / ".config/onedrive/refresh_token")

    def put(self, path, size=7):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(os.urandom(size))

    def configure(self, more=""):
        (self.home / ".config/onedrive/config").write_text(f'sync_dir = "{self.local}"\n{more}\n')

    def start(self, *arguments):
        self.log = self.home / f"log-{time.monotonic_ns()}"  # another one may still run
        with self.log.open("wb") as out:
            child = subprocess.Popen([ROOT / "demo/onedrive-cli", *arguments], env=self.environment, stdout=out)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)  # runs before the line above
        return child

    def call(self, *arguments):
        return self.start(*arguments).wait(20), self.log.read_bytes()

    def assert_recorded(self, name, code, result, until=b"no end"):
        recorded = (ROOT / f"tests/recordings/{name}.txt").read_bytes().replace(b"/home/user", bytes(self.home))
        recorded = b"".join(recorded.partition(until)[:2])
        self.assertEqual((code, lines(recorded)), (result[0], lines(result[1])), name)

    def monitor(self, recording, *more):
        """Starts one and compares its first pass."""
        child = self.start("--monitor", "--syncdir", self.local, *more)
        self.assertTrue(turn_until(lambda: COMPLETE in self.log.read_bytes()), self.log.read_bytes())
        self.assert_recorded(recording, None, (child.poll(), self.log.read_bytes()), COMPLETE)

    def becomes_equal(self):
        compare = ["diff", "-rq", self.cloud, self.local]
        return turn_until(lambda: subprocess.call(compare, stdout=subprocess.DEVNULL) == 0)

    def test_files_go_both_ways(self):
        self.assert_recorded("d-monitor-fresh-first", 126, self.call("--monitor", "--syncdir", self.local))
        for name in ("Local notes/deep/er/файл ñ.txt", "Local notes/todo list.txt", "upload me.txt"):
            self.put(self.local / name)
        self.put(self.local / "big upload.bin", 25 << 20)
        self.monitor("d-monitor-live")
        self.assertTrue(self.becomes_equal())
        self.assert_recorded("i-second-single", 1, self.call(*SINGLE))
        for side, gone in ((self.local, "Temp"), (self.cloud, "Pictures")):
            self.put(side / REPORT)
            content = (side / REPORT).read_bytes()
            shutil.rmtree(side / gone)
            self.assertTrue(self.becomes_equal())
            self.assertEqual((False, content), ((side / gone).exists(), (side / REPORT).read_bytes()))
        self.local.rename(self.home / "away")
        time.sleep(0.5)
        self.assertTrue((self.cloud / REPORT).exists(), "what is not seen was taken for deleted")

    def test_one_entry_and_what_changed_on_both_sides(self):
        self.configure()
        self.call("--synchronize")
        for path in ("Documents/added online.txt", REPORT):
            self.put(self.cloud / path)
        for path in ("Documents/added here.txt", REPORT, "elsewhere"):
            self.put(self.local / path)
        self.assertIn(b" . \nDocuments: sync pending\nPictures: synced\nPrivate: synced\nTemp: synced\n"
                      b"elsewhere: sync pending\nempty.txt: synced\nreadme.txt: synced\n"
                      b"Documents/Report 2024.txt: sync pending\n"
                      b"Documents/added here.txt: sync pending\nDocuments/added online.txt: online-only\n",
                      self.call("--display-sync-status")[1])
        before = [(side / REPORT).read_bytes() for side in (self.cloud, self.local)]
        code, printed = self.call(*SINGLE)
        warning = f"WARNING: changed on both sides and left alone: {REPORT}\n".encode()
        self.assertIn(warning, printed)
        self.assert_recorded("h-single-changes", 0, (code, printed.replace(warning, b"")))
        self.assertEqual(before, [(side / REPORT).read_bytes() for side in (self.cloud, self.local)])
        self.assertFalse((self.cloud / "elsewhere").exists())

    def test_skipped_folders_and_dumps(self):
        self.assert_recorded("g-config-none", 0, self.call("--display-config"))
        self.configure('skip_dir = "Private", "Temp"')
        self.call("--synchronize")
        self.put(self.local / "Private/mine.txt")
        self.monitor("e-resync-monitor-resync-auth", "--resync", "--resync-auth")
        self.assertFalse((self.local / "Temp").exists() or (self.cloud / "Private/mine.txt").exists())
        self.assertIn(b"'skip_dir' %20s= \"Private\", \"Temp\"\n" % b"", self.call("--display-config")[1])
        self.configure()
        self.assert_recorded("e-resync-status", 126, self.call("--display-sync-status"))


if __name__ == "__main__":
    unittest.main()
