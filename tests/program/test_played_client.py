#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The played client against recordings of the real one."""
import os
import re
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path
from shutil import rmtree

ROOT = Path(__file__).resolve().parents[2]
CLIENT = ROOT / "demo/onedrive-cli"
REDIRECT = b"https://login.microsoftonline.com/common/oauth2/nativeclient?"
PLAN, REPORT = "Documents/Projects/plan.md", "Documents/Report 2024.txt"
CLOUD = ("Documents/Projects/Über uns/Straße – naïve.txt", "Pictures/日本語 写真.txt", "Private/secret.txt")
COMPLETE = b"Sync with Microsoft OneDrive is complete\n"


def lines(output):
    """Without what differs from run to run: times, ids, and the order in which parallel transfers end."""
    varying = rb"[\d-]{2}:[\d-]{2}:[\d-]{2}|[0-9a-f]{8}-[0-9a-f-]{27}|20\d\d-\d\d-\d\d"
    return sorted(re.sub(varying, b"~", output).split(b"\n"))


class PlayedClientTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        self.cloud, self.local, self.log = self.home / "cloud", self.home / "OneDrive", self.home / "log"
        self.token = self.home / ".config/onedrive/refresh_token"
        self.environment = {"HOME": folder.name, "PLAYED_CLIENT_PACE": "0", "PLAYED_CLIENT_CLOUD": self.cloud}
        self.monitor = ("--monitor", "--syncdir", str(self.local))
        self.put(self.token)

    def put(self, path, text="content", size=0):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        os.truncate(path, size or path.stat().st_size)

    def fill_cloud(self):
        for name in (*CLOUD, PLAN, REPORT, "Temp/junk.txt", "readme.txt", "empty.txt"):
            self.put(self.cloud / name, name)
        self.put(self.cloud / "Pictures/holiday.bin", size=6 << 20)
        self.configure()

    def configure(self, *more):
        self.put(self.token.with_name("config"), "\n".join([f'sync_dir = "{self.local}"', *more, ""]))

    def call(self, *arguments, given=b""):
        done = subprocess.run([CLIENT, *arguments], env=self.environment, input=given, stdout=-1, timeout=20)
        return done.returncode, done.stdout

    def assert_recorded(self, name, code, result):
        recorded = (ROOT / f"tests/recordings/{name}.txt").read_bytes().replace(b"/home/user", bytes(self.home))
        self.assertEqual((code, lines(recorded)), (result[0], lines(result[1])), name)

    def start(self, *arguments, until):
        with self.log.open("wb") as out:
            self.child = subprocess.Popen([CLIENT, *arguments], env=self.environment, stdin=-1, stdout=out)
        self.addCleanup(self.child.communicate)
        self.addCleanup(self.child.kill)  # runs before the line above
        self.until(until)

    def until(self, text, times=1):
        deadline = time.monotonic() + 20
        while self.log.read_bytes().count(text) < times:
            self.assertLess(time.monotonic(), deadline, f"no {text} in {self.log.read_bytes()}")
            time.sleep(0.01)

    def stop(self):
        self.child.send_signal(signal.SIGTERM)
        return self.child.wait(10), self.log.read_bytes()

    def synchronise(self):
        self.start(*self.monitor, "--resync", "--resync-auth", until=COMPLETE)
        return self.stop()

    def test_starts_that_end_early(self):
        self.assert_recorded("d-monitor-fresh-first", 126, self.call(*self.monitor))
        self.assertEqual(f'sync_dir = "{self.local}"', self.token.with_name("config").read_text())
        self.token.with_name("config").unlink()
        self.put(self.cloud / "used", size=6291950)
        for name, code, given in (
            ("b-quota-eof", 1, b""),
            ("b-quota-eof", 1, REDIRECT + b"error=access_denied\n"),
            ("b-quota-bad-code", 1, REDIRECT + b"code=M.bad-code\n"),
            ("a-quota-signin", 0, REDIRECT + b"code=M.C523_BAY.2.U\n"),
        ):
            self.token.unlink(missing_ok=True)
            self.assert_recorded(name, code, self.call("--display-quota", "--verbose", given=given))
            self.assertEqual(code == 0, self.token.exists(), name)
        self.start("--reauth", until=b"browser: ")
        self.assertEqual(-signal.SIGTERM, self.stop()[0])

    def test_local_changes_reach_the_cloud(self):
        self.fill_cloud()
        for name in ("Local notes/deep/er/файл ñ.txt", "Local notes/todo list.txt", "upload me.txt"):
            self.put(self.local / name, name)
        self.put(self.local / "big upload.bin", size=25 << 20)
        self.start(*self.monitor, until=COMPLETE)
        single = ("--synchronize", "--single-directory", "Documents")
        self.assert_recorded("i-second-single", 1, self.call(*single))
        fresh, new, renamed = (self.local / name for name in ("Fresh folder", "new one ø.txt", "renamed.txt"))
        for act, printed in (
            (lambda: self.put(new), "new file: ./new one ø.txt ... done"),
            (lambda: self.put(new, "longer content"), "modified file: ./new one ø.txt ... done"),
            (lambda: self.put(self.local / REPORT), "modified file: Documents/Report 2024.txt ... done"),
            (lambda: fresh.mkdir(), "directory ./Fresh folder on"),
            (lambda: self.put(fresh / "inner.txt"), "inner.txt ... done"),
            (lambda: self.put(fresh / "video.bin", size=12 << 20), "video.bin ... done"),
            (lambda: new.rename(renamed), "to ./renamed.txt"),
            (lambda: renamed.rename(fresh / "renamed.txt"), "to Fresh folder/renamed.txt"),
            (lambda: (fresh / "inner.txt").unlink(), "from Microsoft OneDrive: Fresh folder/inner.txt"),
            (lambda: fresh.rename(self.local / "Older folder"), "to ./Older folder"),
            (lambda: rmtree(self.local / "Older folder"), "from Microsoft OneDrive: ./Older folder"),
        ):
            act()
            self.until(printed.encode())
        self.assert_recorded("d-monitor-live", 15, self.stop())
        self.assertEqual(0, subprocess.call(["diff", "-r", self.cloud, self.local]))
        self.put(self.cloud / "Documents/added online.txt")
        self.put(self.local / "Documents/added here.txt")
        self.assert_recorded("h-single-changes", 0, self.call(*single))

    def test_cloud_changes_reach_the_local_folder(self):
        self.fill_cloud()
        # A pace above zero makes the client look once a second: all changes below fall between two looks.
        self.environment["PLAYED_CLIENT_PACE"] = "0.05"
        self.start(*self.monitor, until=b"holiday.bin ... 5%")
        self.child.send_signal(signal.SIGSTOP)
        self.assertIn(b"Pictures: downloading\n", self.call("--display-sync-status")[1])
        self.child.send_signal(signal.SIGCONT)
        self.until(COMPLETE)
        time.sleep(0.2)
        self.child.send_signal(signal.SIGSTOP)
        self.put(self.cloud / "From the web/Nachricht für dich.txt")
        self.put(self.cloud / REPORT)
        (self.cloud / "readme.txt").rename(self.cloud / "read me now.txt")
        (self.cloud / PLAN).unlink()
        rmtree(self.cloud / "Pictures")
        self.child.send_signal(signal.SIGCONT)
        self.until(COMPLETE, times=2)
        self.assert_recorded("d-monitor-remote", 15, self.stop())
        self.assertEqual(0, subprocess.call(["diff", "-r", self.cloud, self.local]))
        self.put(self.token, "refused")
        self.assert_recorded("f-token-monitor", 1, self.call(*self.monitor))

    def test_skipped_folders_and_status_words(self):
        self.fill_cloud()
        kept = {"Documents", "Pictures", "empty.txt", "readme.txt"}
        for dump, form in (
            ('"Private", "Temp"', ['skip_dir = "Private", "Temp"']),
            ("Private|Temp", ['skip_dir = "Private"', 'skip_dir = "Temp"']),
            ("Private|Temp", ['skip_dir = "Private|Temp"']),
        ):
            rmtree(self.local, ignore_errors=True)
            self.configure(*form)
            self.assertEqual(15, self.synchronise()[0])
            self.assertEqual(kept, set(os.listdir(self.local)))
            self.assertIn(f"'skip_dir' {'':20}= {dump}\n".encode(), self.call("--display-config")[1])
        self.put(self.local / "Private/mine.txt")
        self.assert_recorded("e-resync-monitor-resync-auth", 15, self.synchronise())
        self.put(self.cloud / "only there/x")
        (self.local / os.fsdecode(b"caf\xe9")).touch()
        self.put(self.local / REPORT)
        said = self.call("--display-sync-status")[1].split(b" . \n")[1]
        expected = "Documents: sync pending\nPictures: synced\ncaf\udce9: sync pending\nempty.txt: synced\n"
        expected += "only there: online-only\nreadme.txt: synced\n"
        expected += f"{REPORT}: sync pending\nonly there/x: online-only\n"
        self.assertEqual(os.fsencode(expected), said)
        self.configure()
        self.assert_recorded("e-resync-status", 126, self.call("--display-sync-status"))
        printed = self.synchronise()[1]
        self.assertIn(b"./Private/mine.txt ... done", printed)
        self.assertIn(b"Uploading new file: ./caf\xe9 ... done", printed)


if __name__ == "__main__":
    unittest.main()
