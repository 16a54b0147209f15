# SPDX-License-Identifier: MIT
"""What the client writes, and how fast."""
import os
import time


class Ended(Exception):
    """The client stops here, with this exit code."""

    def __init__(self, code):
        super().__init__(code)
        self.code = code


def write(data):
    """Bytes straight to descriptor 1: no buffer and no encoding, so names pass as they are on disk."""
    while data:
        data = data[os.write(1, data):]


def say(*lines):
    """The client writes a text and its line end separately, so a reader may see them apart."""
    for text in lines or ("",):
        write(os.fsencode(text))
        write(b"\n")


def dots(text, count=1):
    """A line that ends in dots which come one by one while the client works."""
    write(os.fsencode(text) + b" ")
    for _ in range(count):
        write(b".")
    write(b" ")
    write(b"\n")


def pace():
    """Seconds that one visible step takes."""
    return float(os.environ.get("PLAYED_CLIENT_PACE", "0.4"))


def step(share=1.0):
    time.sleep(pace() * share)
