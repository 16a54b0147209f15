#!/usr/bin/python3 -ISB
# SPDX-License-Identifier: MIT
"""The client that the soak puts behind the program: quick to start, with every byte known beforehand.

As a program, under the name onedrive-cli, it plays one life of the client and notes in SOAK_FOLDER how much
it wrote. As a module it tells what a life prints.
"""
import itertools
import os
import signal
import sys
import time

ENTRIES = 6  # of the sync folder's top level; the window shows them without scrolling
EXIT_CODES = {"clean": 0, "failed": 3, "resync": 126, "mid-line": 0, "mid-character": 3}
LAST_WORDS = {
    "resync": b"An application cache issue has been detected: a --resync is required.\n",
    "mid-line": b"Downloading file: ./entry-03/torn of",
    "mid-character": b"Downloading file: ./entry-04/caf\xc3",
}
SHAPES = (
    b"Downloading file: ./entry-%02d/caf\xc3\xa9 %04d-%06d.txt ... done\n",
    b"Uploading new file: ./entry-%02d/deep/er/%04d-%06d.odt ...\n",
    b"Uploading new file: ./entry-%02d/deep/er/%04d-%06d.odt ... done\n",
    b"Processing entry-%02d, item %04d-%06d\n",
    b"Downloading file: ./entry-%02d/no utf-8 \xff %04d-%06d ... done\r\n",
    b"Nothing that anyone looks for: %02d %04d-%06d\n",
)


def lines(life, ending, count):
    """What that life prints, line by line; the endless one goes on until somebody ends it."""
    for number in itertools.count() if ending == "endless" else range(count):
        yield SHAPES[number % len(SHAPES)] % (number // 5 % ENTRIES, life, number)
        if number % 250 == 249:
            yield b"Sync with Microsoft OneDrive is complete, %04d-%06d\n" % (life, number)
    yield LAST_WORDS.get(ending, b"")


def next_number(folder):
    import fcntl

    with open(folder + "/count", "a+b", buffering=0) as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        file.write(b".")
        return os.fstat(file.fileno()).st_size


def pieces(life, ending, count):
    """Cut as a client's output may be: single lines, or blocks that end anywhere."""
    block = (0, 1, 3001, 20011)[life % 4] if ending != "endless" else 0
    held = b""
    for line in lines(life, ending, count):
        held += line
        if len(held) > block:
            yield held[:block] if block > 1 else held
            held = held[block:] if block > 1 else b""
    if held:
        yield held


def play_life(folder, count):
    number = next_number(folder)
    ending = os.environ["SOAK_AFTER_RESYNC"] if "--resync" in sys.argv else open(folder + "/next").read()
    if "," in ending:
        ending = ending.split(",")[number % len(ending.split(","))]
    record = os.open(f"{folder}/lives/{number:05}", os.O_WRONLY | os.O_CREAT)
    os.pwrite(record, b"%012d %s" % (0, ending.encode()), 0)
    written = 0
    shell = os.getppid()
    end = time.monotonic() + 60
    for piece in pieces(number, ending, count):
        view = memoryview(piece)
        while view:
            size = os.write(1, view)
            view = view[size:]
            written += size
        if os.getppid() == shell:
            os.pwrite(record, b"%012d" % written, 0)
        if written > count * 60:  # only the endless one gets here
            time.sleep(0.002)
            if time.monotonic() > end:
                return 97
    if ending in ("KILL", "TERM"):
        os.kill(os.getpid(), getattr(signal, "SIG" + ending))
    return EXIT_CODES[ending]


def show_configuration():
    try:
        with open(os.environ["HOME"] + "/.config/onedrive/config", "rb") as file:
            os.write(1, b"onedrive version = soak\n" + file.read())
    except FileNotFoundError:
        os.write(1, b"onedrive version = soak\n")


def main():
    for number in (signal.SIGPIPE, signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_DFL)
    if "--monitor" in sys.argv:
        return play_life(os.environ["SOAK_FOLDER"], int(os.environ["SOAK_LINES"]))
    time.sleep(0.02)  # a real client takes longer still
    if "--display-sync-status" in sys.argv:
        os.write(1, b"".join(b"entry-%02d: synced\n" % number for number in range(ENTRIES)))
    elif "--display-config" in sys.argv:
        show_configuration()
    return 0


if __name__ == "__main__":
    sys.exit(main())
