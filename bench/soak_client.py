#!/usr/bin/python3 -ISB
# SPDX-License-Identifier: MIT
"""The client that the soak puts behind the program. As a program, under the name onedrive-cli, it plays one life, as
its orders say; as a module it tells what a life prints, every byte."""
import os
import signal
import sys
import time

ENTRIES = 6  # of the sync folder's top level; the window shows them without scrolling
LINES = 1000  # of a life; the endless one goes on slowly after that, for a minute where nobody ends it
EXIT_CODES = {"clean": 0, "failed": 3, "resync": 126, "mid-line": 0, "mid-character": 3, "endless": 97}
LAST_WORDS = {
    "resync": b"An application cache issue has been detected: a --resync is required.\n",
    "mid-line": b"Downloading file: ./entry-03/torn of",
    "mid-character": b"Downloading file: ./entry-04/caf\xc3",
}
SHAPES = (
    b"Downloading file: ./entry-%02d/caf\xc3\xa9 %04d-%06d.txt ... done\n",
    b"Downloading file: ./entry-%02d/no utf-8 \xff %04d-%06d ... done\r\n",
    b"Nothing that anyone looks for: %02d %04d-%06d\n",
    b"Sync with Microsoft OneDrive is complete, %02d %04d-%06d\n",
)


def text(life, ending):
    numbers = range(LINES + 30000 if ending == "endless" else LINES)
    lines = (SHAPES[number % len(SHAPES)] % (number // 5 % ENTRIES, life, number) for number in numbers)
    return b"".join((*lines, LAST_WORDS.get(ending, b"")))


def play_life(folder):
    life, ending = os.read(os.open(folder + "/orders", os.O_RDONLY), 20).decode().split()
    whole = text(int(life), ending)
    block = (50, 3001, 20011)[int(life) % 3] if ending != "endless" else 50  # ends anywhere
    record = os.open(folder + "/written", os.O_WRONLY | os.O_CREAT)
    shell = os.getppid()
    written = 0
    while written < len(whole):
        written += os.write(1, whole[written:written + block])
        if os.getppid() == shell:  # when the program stops a client, that one may go on for a moment
            os.pwrite(record, b"%012d" % written, 0)
        if written > LINES * 60:  # only the endless one gets here
            time.sleep(0.002)
    if ending in ("KILL", "TERM"):
        os.kill(os.getpid(), getattr(signal, "SIG" + ending))
    return EXIT_CODES[ending]


def main():
    if "--monitor" in sys.argv:
        return play_life(os.environ["HOME"])
    time.sleep(0.02)  # a real client takes longer still
    if "--display-sync-status" in sys.argv:
        os.write(1, b"".join(b"entry-%02d: synced\n" % number for number in range(ENTRIES)))
    elif "--display-config" in sys.argv:
        os.execlp("cat", "cat", os.environ["HOME"] + "/.config/onedrive/config")
    return 0


if __name__ == "__main__":
    sys.exit(main())
