# SPDX-License-Identifier: MIT
"""What the client writes, how fast, and how a termination signal reaches it."""
import os
import select
import signal
import time

SIGNALS = (signal.SIGTERM, signal.SIGINT)


class Terminated(Exception):
    """The client was asked to end; the exit code is the signal's number."""

    def __init__(self, number):
        super().__init__(number)
        self.number = number


def write(data):
    """Write bytes straight to descriptor 1: no buffer and no encoding, so names pass as they are on disk."""
    view = memoryview(data)
    while view:
        view = view[os.write(1, view):]


def say(text=""):
    """One line. The client writes a text and its line end separately, so a reader may see them apart."""
    if text:
        write(os.fsencode(text))
    write(b"\n")


def dots(text, count=1):
    """A line that ends in dots which come one by one while the client works."""
    write(os.fsencode(text) + b" .")
    for _ in range(count - 1):
        write(b".")
    write(b" ")
    write(b"\n")


def pace():
    """Seconds that one visible step takes."""
    try:
        return max(0.0, float(os.environ.get("PLAYED_CLIENT_PACE", "0.4")))
    except ValueError:
        return 0.4


class Clock:
    """Waits, and notices signals while it waits.

    Until `guard` is called a signal kills the client, as it does the real one before its monitor is set up.
    From then on signals are noted and looked for at every wait, so that no file is cut off in the middle.
    """

    def __init__(self):
        self.pace = pace()
        self.signals = None  # the end of a pipe from which the numbers of received signals are read
        self.stopping = False

    def guard(self):
        # Not sigtimedwait: CPython's reports a signal that never came after a stop and continue.
        self.signals, noted = os.pipe()
        os.set_blocking(noted, False)
        signal.set_wakeup_fd(noted)
        for number in SIGNALS:
            signal.signal(number, lambda *_: None)

    def step(self, steps=1.0):
        self.wait(self.pace * steps)

    def wait(self, seconds):
        """Raise Terminated, once, when a signal has come; waits after that run their time undisturbed."""
        if self.signals is None or self.stopping:
            time.sleep(seconds)
            return
        if not select.select([self.signals], [], [], seconds)[0]:
            return
        number = os.read(self.signals, 1)[0]
        self.stopping = True
        say()
        say("Received termination signal, attempting to cleanly shutdown application")
        say("Waiting for any existing upload|download process to complete")
        raise Terminated(number)
