#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The played client prints what was recorded and copies files. The scripted one lets nothing unforeseen go unnoticed."""
import os
import pathlib
import subprocess
import unittest

from driver import CLIENT, DrivenProgram, turn_until

PLAYED = pathlib.Path(__file__).resolve().parents[2] / "demo/onedrive-cli"
COMPLETE, MODIFIED = "Sync with Microsoft OneDrive is complete\n", "Uploading modified file: Documents/Report.txt ... done\n"


class StandInTest(DrivenProgram):
    def lay_down(self, text, *paths):
        """Nobody sees half of a file, and a later text has a later time."""
        for path in paths:
            (self.home / path).parent.mkdir(parents=True, exist_ok=True)
            aside = self.write("aside", text)
            os.utime(aside, (int(text[0]), int(text[0])))
            aside.rename(self.home / path)

    def play(self, *arguments, meanwhile=()):
        """Adds to the transcript what it prints. `meanwhile` has what is done as soon as it has printed a text."""
        child, log = self.spawn(PLAYED, *arguments, env={"HOME": str(self.home), "PLAYED_CLIENT_PACE": "0"})
        for text, action in meanwhile:
            self.assertTrue(turn_until(lambda: text in log.read_text()), f"{text!r} is not in {log.read_text()}")
            action(child)
        self.assertTrue(turn_until(lambda: child.poll() is not None), f"{arguments} does not end")
        self.transcript += f"$ onedrive {' '.join(arguments)}\n{log.read_text()}({child.returncode})\n\n"

    def test_a_day(self):
        self.transcript = ""
        self.play("--display-quota", "--verbose")
        self.write(".config/onedrive/refresh_token", "played\n")
        self.lay_down("1", "cloud/Documents/Report.txt", "cloud/Private/secret.txt", "cloud/readme 日本語.txt")
        self.lay_down("2", "OneDrive/Documents/Report.txt", "OneDrive/Notes/deep/todo.txt", "OneDrive/upload me.txt")
        self.lay_down("3" * (4 << 20), "cloud/Pictures/holiday.bin", "OneDrive/big upload.bin")
        self.play("--monitor", "--syncdir", f"{self.home}/OneDrive", meanwhile=[
            (COMPLETE, lambda _: self.play("--synchronize")),
            (COMPLETE, lambda _: self.lay_down("4", "OneDrive/Documents/Report.txt")),
            (COMPLETE + MODIFIED, lambda _: self.lay_down("5", "cloud/new.txt")),
            ("new.txt ... done\n" + COMPLETE, subprocess.Popen.kill)])
        for text, left_out in (("6", '"Private"'), ("7", '"Private", "Temp"'), ("8", "")):
            self.lay_down(text, "cloud/Private/secret.txt", "OneDrive/Private/mine.txt", "cloud/Temp/junk.txt")
            self.write(".config/onedrive/config", f"skip_dir = {left_out}\n")
            for command in ("--display-sync-status", "--display-config", "--synchronize --resync"):
                self.play(*command.split())
        self.lay_down("9", "cloud/Documents/deep/here.txt", "OneDrive/Documents/there.txt", "OneDrive/not asked for.txt")
        self.play("--synchronize", "--single-directory", "Documents")
        self.transcript += "".join(sorted(f"{path}: {path.read_text()[0]}\n" for path in self.home.glob("[Oc]*/**/*.*")))
        self.assert_approved("played-client.txt", self.transcript.replace(str(self.home), "HOME"))

    def test_what_a_scenario_did_not_foresee_fails_its_check(self):
        for calls, steps, complaint in ((2, "", "unexpected call"), (0, "", "never made"), (1, "", ""),
                                        (1, " | reads yes", "received b''"), (1, " | prnts x", "prnts")):
            file = self.write(f"then {complaint}/scenario", f"client a{steps}\n")
            os.environ["CLIENT_SCENARIO"] = str(file)
            for arguments in [["a"]] * calls + [["--scenario-check", file]]:
                child, log = self.spawn(CLIENT, *arguments, stdin=subprocess.DEVNULL)
                child.wait()
            self.assertEqual(child.returncode, 1 if complaint else 0)
            self.assertIn(complaint, log.read_text())


if __name__ == "__main__":
    unittest.main()
