# SPDX-License-Identifier: MIT
"""The scenario mode: a file lays down every call and what it prints, and a test fails when reality differs.

Beside the scenario FILE two more are kept: FILE.state says which calls were begun and completed,
FILE.unexpected holds a line for everything that went wrong.
"""
import base64
import fcntl
import json
import os
import resource
import signal
import sys
import time

from .console import write

EXIT_BAD_SCENARIO = 95
EXIT_BAD_STEP = 96
EXIT_WAITED_IN_VAIN = 97
EXIT_WRONG_INPUT = 98
EXIT_UNEXPECTED_CALL = 99
WAIT_LIMIT = 30.0  # seconds
CUT_PAUSE = 0.01  # seconds; long enough for a waiting reader to take each piece by itself
OPTIONS = {"args", "steps", "optional", "repeat", "cut_short"}


class Failed(Exception):
    def __init__(self, code, what):
        super().__init__(what)
        self.code = code


def with_home(text):
    return text.replace("{home}", os.environ.get("HOME", ""))


def to_bytes(text):
    return with_home(text).encode("utf-8", "surrogateescape")


class State:
    """How far each call has come, {number: "begun" or "completed"}, locked against other processes.

    The file only ever grows, a short line at a time, so a process that is killed leaves no half state behind.
    """

    def __init__(self, file):
        self.file = open(file + ".state", "ab+", buffering=0)

    def __enter__(self):
        fcntl.flock(self.file, fcntl.LOCK_EX)
        self.file.seek(0)
        self.calls = dict(line.split() for line in self.file.read().decode().splitlines())
        return self

    def __exit__(self, *_):
        self.file.close()

    def record(self, number, how):
        self.file.write(f"{number} {how}\n".encode())

    def of(self, number):
        return self.calls.get(str(number), "never made")


def load(file):
    with open(file, encoding="utf-8") as scenario:
        calls = json.load(scenario)["calls"]
    for call in calls:
        unknown = call.keys() - OPTIONS
        if unknown or not all(isinstance(argument, str) for argument in call["args"]):
            raise ValueError(f"a call with {sorted(unknown) or call['args']}")
    return calls


def note_failure(file, arguments, what):
    line = json.dumps({"args": arguments, "what": what}) + "\n"
    with open(file + ".unexpected", "a", encoding="utf-8") as unexpected:
        unexpected.write(line)


def take_call(file, calls, arguments):
    """The number of the first call that fits exactly and is not used up; None when there is none."""
    given = [os.fsencode(argument) for argument in arguments]
    with State(file) as state:
        for number, call in enumerate(calls):
            if [to_bytes(argument) for argument in call["args"]] != given:
                continue
            if call.get("repeat") or state.of(number) == "never made":
                state.record(number, "begun")
                return number
    return None


def write_cut(data, step):
    """Write the pieces between the given byte offsets separately."""
    cuts = list(step.get("cut", []))
    if "cut_every" in step:
        cuts = list(range(step["cut_every"], len(data), step["cut_every"]))
    for number, (begin, end) in enumerate(zip([0, *cuts], [*cuts, len(data)])):
        if number:
            time.sleep(CUT_PAUSE)
        write(data[begin:end])


def repeat_print(step, _):
    data, left = to_bytes(step["text"]), step["count"]
    at_once = max(1, (1 << 18) // max(1, len(data)))
    while left > 0:
        write(data * min(left, at_once))
        left -= at_once


def expect_input(expected, _):
    wanted, received = to_bytes(expected), b""
    while len(received) < len(wanted) and (block := os.read(0, len(wanted) - len(received))):
        received += block
    if received != wanted:
        raise Failed(EXIT_WRONG_INPUT, f"standard input: expected {wanted!r}, received {received!r}")


def wait_for(path, _):
    end = time.monotonic() + WAIT_LIMIT
    while not os.path.lexists(to_bytes(path)):
        if time.monotonic() > end:
            raise Failed(EXIT_WAITED_IN_VAIN, f"waited in vain for {with_home(path)}")
        time.sleep(0.02)


def touch(path, _):
    with open(to_bytes(path), "ab"):
        pass


def write_file(what, _):
    with open(to_bytes(what["path"]), "wb") as file:
        file.write(to_bytes(what["text"]))


def hang(_, completed):
    completed()
    while True:
        signal.pause()


def end_by_signal(number, completed):
    completed()
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    if number not in (signal.SIGKILL, signal.SIGSTOP):
        signal.signal(number, signal.SIG_DFL)
    os.kill(os.getpid(), number)


STEPS = {
    "print": None,
    "print_b64": None,
    "repeat_print": repeat_print,
    "sleep": lambda seconds, _: time.sleep(seconds),
    "stdin": expect_input,
    "wait_for": wait_for,
    "touch": touch,
    "write": write_file,
    "remove": lambda path, _: os.unlink(to_bytes(path)),
    "ignore_sigterm": lambda on, _: on and signal.signal(signal.SIGTERM, signal.SIG_IGN),
    "hang": hang,
    "signal": end_by_signal,
}


def play(steps, completed):
    """Returns the exit code. `completed` is called as soon as nothing is left that could go wrong."""
    for step in steps:
        if "exit" in step:
            completed()
            return step["exit"]
        if "print" in step:
            write_cut(to_bytes(step["print"]), step)
        elif "print_b64" in step:
            write_cut(base64.b64decode(step["print_b64"]), step)
        elif len(step) == 1 and STEPS.get(name := next(iter(step))):
            STEPS[name](step[name], completed)
        else:
            raise Failed(EXIT_BAD_STEP, f"no such step: {step}")
    completed()
    return 0


def perform(file, arguments):
    calls = load(file)
    number = take_call(file, calls, arguments)
    if number is None:
        raise Failed(EXIT_UNEXPECTED_CALL, "unexpected call, or one more than foreseen")

    def completed():
        with State(file) as state:
            state.record(number, "completed")

    try:
        return play(calls[number]["steps"], completed)
    except (OSError, LookupError, TypeError, ValueError) as error:
        raise Failed(EXIT_BAD_STEP, f"a step failed: {error!r}") from error


def check(file):
    """Everything that went wrong, one line each."""
    wrong = []
    if os.path.exists(file + ".unexpected"):
        with open(file + ".unexpected", encoding="utf-8") as unexpected:
            wrong += unexpected.read().splitlines()
    with State(file) as state:
        for number, call in enumerate(load(file)):
            how = state.of(number)
            good = how == "completed" or call.get("optional") or call.get("repeat")
            if not good and not (call.get("cut_short") and how == "begun"):
                what = f"call {number} of the scenario: {how}"
                wrong.append(json.dumps({"args": call["args"], "what": what}))
    return wrong


def main(arguments):
    checks = arguments[:1] == ["--scenario-check"]
    file = arguments[1] if checks and len(arguments) == 2 else os.environ.get("PLAYED_CLIENT_SCENARIO", "")
    try:
        if not checks:
            return perform(file, arguments)
        wrong = check(file)
        print(*wrong, sep="\n", end="\n" if wrong else "")
        return 1 if wrong else 0
    except Failed as failure:
        note_failure(file, arguments, str(failure))
        sys.stderr.write(f"onedrive-cli: {failure}: {arguments}\n")
        return failure.code
    except (OSError, LookupError, TypeError, ValueError) as error:
        sys.stderr.write(f"onedrive-cli: scenario {file}: {error!r}\n")
        return EXIT_BAD_SCENARIO
