#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Runs the unittest cases of the named files and prints TAP, one line a case, for a runner that counts them.

Usage: tap_runner.py FILE...
What the cases and their children print, and why a case failed, goes to standard error: on standard output it
could be taken for a result.
"""
import os
import pathlib
import sys
import unittest


class TapResult(unittest.TestResult):
    """Writes a case's line when the case is over, since a sub-test or a clean-up may still fail it."""

    def __init__(self, out):
        super().__init__()
        self.out = out
        self.count = 0
        self.all_good = True
        self.problems, self.skipped_for = [], None

    def stopTest(self, test):
        super().stopTest(test)
        self.line(test.id())

    def line(self, name):
        """One result from what was noted since the last one. A "#" in a name would begin a directive."""
        self.count += 1
        self.all_good = self.all_good and not self.problems
        skip = f" # SKIP {self.skipped_for}" if self.skipped_for and not self.problems else ""
        verdict = "not ok" if self.problems else "ok"
        print(f"{verdict} {self.count} - {name.replace('#', '')}{skip}", file=self.out, flush=True)
        for problem in self.problems:
            print(f"{name}: {problem}", file=sys.stderr, flush=True)
        self.problems, self.skipped_for = [], None

    def problem(self, test, text):
        self.problems.append(text)
        if not isinstance(test, unittest.TestCase):
            self.line(str(test))  # a module or class that could not be set up: no case follows

    def addError(self, test, err):
        self.problem(test, self._exc_info_to_string(err, test))

    addFailure = addError

    def addSubTest(self, test, subtest, err):
        if err is not None:
            self.problem(test, f"{subtest}\n{self._exc_info_to_string(err, test)}")

    def addUnexpectedSuccess(self, test):
        self.problem(test, "expected to fail, but passed")

    def addSkip(self, test, reason):
        self.skipped_for = reason or "no reason given"
        if not isinstance(test, unittest.TestCase):
            self.line(str(test))


def main(files):
    out = os.fdopen(os.dup(1), "w")
    os.dup2(2, 1)
    suite = unittest.TestSuite()
    for file in map(pathlib.Path, files):
        sys.path.insert(0, str(file.resolve().parent))
        suite.addTests(unittest.defaultTestLoader.loadTestsFromName(file.stem))
    result = TapResult(out)
    suite.run(result)
    if result.count == 0:
        result.problem("a case to run", "the files hold none")
    print(f"1..{result.count}", file=out, flush=True)
    return 0 if result.all_good else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
