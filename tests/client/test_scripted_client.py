#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The scripted client: it writes what it is told to, and nothing that a test did not foresee goes unnoticed."""
import json
import os
import pathlib
import socket
import subprocess
import tempfile
import time
import unittest

CLIENT = pathlib.Path(__file__).resolve().parent / "onedrive-cli"
EVERY_STEP = [
    ("a", [{"print": "Straße\n", "cut": [5, 6]}, {"print": "\0\udcff"}, {"write": {"{home}/x": "{home}"}}]),
    ("a", [{"wait_for": "{home}/x"}, {"stdin": "yes {home}"}, {"print": "line\n", "times": 2}, {"exit": 7}]),
    ("a", [{"sleep": 0.01}], "repeat"),
    ("b", [], "optional"),
]


class ScriptedClientTest(unittest.TestCase):
    def test_scenarios(self):
        for number, (calls, codes, writes, complaint) in enumerate((
            (EVERY_STEP, [0, 7, 0, 0], [b"Stra\xc3", b"\x9f", b"e\n", b"\0\xff", b"line\nline\n"], ""),
            ([("a", [])], [0, 99], [], "unexpected call"),
            ([("a x", [])], [99], [], "unexpected call"),
            ([("a", []), ("b", [])], [0], [], "call 1 of the scenario: never made"),
            ([("a", [{"stdin": "yes {home} and more"}])], [99], [], "received b'yes "),
            ([("a", [{"pront": "x"}])], [99], [], "pront"),
            ([("a", [{"print": "x", "cot": [1]}])], [99], [], "cot"),
            ([("a", [{"exit": 0}, {"print": "x"}])], [99], [], "after the end"),
            ([("a", [{"print": "x"}, {"hang": True}])], [-9], [b"x"], ""),
            ([("a", [{"print": "x"}, {"sleep": 60}])], [-9], [b"x"], "begun"),
            ([("a", [{"print": "x"}, {"sleep": 60}], "cut_short")], [-9], [b"x"], ""),
            ([("a", [], "often")], [99], [], "often"),
        )):
            with self.subTest(number), tempfile.TemporaryDirectory() as home:
                self.play(pathlib.Path(home), calls, codes, writes, complaint)

    def play(self, home, calls, codes, writes, complaint):
        file = home / "scenario"
        table = [{"args": args.split(), "steps": steps, **dict.fromkeys(so, True)} for args, steps, *so in calls]
        file.write_text(json.dumps({"calls": table}))
        environment = {"HOME": str(home), "CLIENT_SCENARIO": str(file)}
        ours, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)  # keeps every write apart
        ours.settimeout(10)
        with ours, theirs:
            for code in codes:
                child = subprocess.Popen([CLIENT, "a"], env=environment, stdin=subprocess.PIPE, stdout=theirs,
                                         stderr=subprocess.DEVNULL)
                if code == -9:
                    self.assertEqual(b"x", ours.recv(99))
                    time.sleep(0.3)
                    child.kill()
                child.communicate(b"yes " + os.fsencode(home))
                self.assertEqual(code, child.returncode)
            if -9 not in codes:
                self.assertEqual(writes, [ours.recv(99) for _ in writes])
        done = subprocess.run([CLIENT, "--scenario-check", file], env=environment, text=True, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, 1 if complaint else 0, done.stdout)
        self.assertIn(complaint, done.stdout)


if __name__ == "__main__":
    unittest.main()
