#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The scripted client: it writes what it is told to, and nothing that a test did not foresee goes unnoticed."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

CLIENT = pathlib.Path(__file__).resolve().parent / "onedrive-cli"
STEPS = [{"print": "Straße\n", "cut": [5, 6]}, {"write": {"{home}/x": "{home}"}}, {"wait_for": "{home}/x"}, {"sleep": 0.01},
         {"stdin": "yes {home}"}, {"print": "\0\udcff", "times": 2}, {"exit": 7}]


class ScriptedClientTest(unittest.TestCase):
    def test_scenarios(self):
        for calls, codes, complaint in (
            ([("a", STEPS), ("a", [], "repeat"), ("b", [], "optional")], [7, 0, 0], ""),
            ([("a", [])], [0, 99], "unexpected call"),
            ([("a", []), ("b", [])], [0], "call 1 of the scenario: never made"),
            ([("a", [{"stdin": "yes {home} and more"}])], [99], "received b'yes "),
            ([("a", [{"print": "x", "cot": [1]}])], [99], "cot"),
            ([("a", [{"hang": True}])], [-9], ""),
            ([("a", [{"wait_for": "{home}/never"}])], [-9], "begun"),
            ([("a", [{"wait_for": "{home}/never"}], "cut_short")], [-9], ""),
        ):
            with self.subTest(calls), tempfile.TemporaryDirectory() as home:
                file = pathlib.Path(home) / "scenario"
                table = [{"args": [args], "steps": steps, **dict.fromkeys(so, True)} for args, steps, *so in calls]
                file.write_text(json.dumps({"calls": table}))
                told = {"env": {"HOME": home, "CLIENT_SCENARIO": str(file)}, "stdout": -1, "stderr": -2}
                for code in codes:
                    limit = [] if code != -9 else ["timeout", "-s", "KILL", "1"]  # a hanging one has noted its end by then
                    done = subprocess.run([*limit, CLIENT, "a"], input=b"yes " + os.fsencode(home), **told, check=False)
                    self.assertEqual(done.returncode, code)
                    self.assertTrue(code != 7 or done.stdout == "Straße\n".encode() + b"\0\xff\0\xff", done.stdout)
                check = subprocess.run([CLIENT, "--scenario-check", file], **told, text=True, check=False)
                self.assertEqual(check.returncode, 1 if complaint else 0, check.stdout)
                self.assertIn(complaint, check.stdout)


if __name__ == "__main__":
    unittest.main()
