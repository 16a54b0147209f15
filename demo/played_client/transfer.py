# SPDX-License-Identifier: MIT
"""Copying files from one folder to the other, a few at a time, with the lines the client prints meanwhile."""
import itertools
import json
import os
import time
from collections import deque

from .console import Terminated, say
from .folders import HERE, same, signature
from .settings import write_private

PROGRESS_FROM = 4 << 20  # bytes; smaller files print only their last line
FRAGMENT = 10 << 20  # bytes of one piece of an upload
DOWNLOAD_PERCENTS = (5, 25, 45, 65, 85, 100)
AT_ONCE = 2
NUMBERS = itertools.count()


def time_text(seconds):
    seconds = int(seconds)
    return f"{seconds // 3600:02}:{seconds // 60 % 60:02}:{seconds % 60:02}"


def progress_text(percent, elapsed, upload):
    """The tail of a progress line: " 25%  |  ETA    00:00:19" or " 100% | DONE in 00:00:01"."""
    if percent == 100:
        return f"100% | DONE in {time_text(elapsed)}"
    unknown = percent == 0 or (upload and elapsed < 1)
    left = "--:--:--" if unknown else time_text(elapsed * (100 - percent) / percent)
    return f"{percent}%".ljust(4) + f" |  ETA    {left}"


def upload_percents(size):
    pieces = -(-size // FRAGMENT)
    return [100 * piece // pieces for piece in range(pieces + 1)]


class Transfer:
    """One file on its way; `run` is a generator that pauses after every line it prints."""

    def __init__(self, pair, path, source_side, sides, shown):
        self.pair, self.path, self.shown = pair, path, shown
        self.side = source_side
        self.expected = sides[source_side][path]
        self.replaced = sides[1 - source_side].get(path)
        self.upload = source_side == HERE
        self.verb = "Uploading" if self.upload else "Downloading"
        if not self.upload:
            self.label = "Downloading file:"
        else:
            self.label = "Uploading modified file:" if self.replaced else "Uploading new file:"
        self.error = None

    def run(self):
        folder = os.path.dirname(self.pair.on_disk(1 - self.side, self.path))
        partial = os.path.join(folder, f".played-{os.getpid()}-{next(NUMBERS)}.partial")
        try:
            os.makedirs(folder, exist_ok=True)
            with open(self.pair.on_disk(self.side, self.path), "rb") as source, open(partial, "xb") as target:
                yield from self.copy(source, target)
            self.put_in_place(partial)
        except OSError as error:
            self.error = error.strerror or str(error)
            if os.path.lexists(partial):
                os.unlink(partial)
        say(f"{self.label} {self.shown} ... {'failed!' if self.error else 'done'}")
        if self.error:
            say()
            say("ERROR: Microsoft OneDrive API returned an error with the following message:")
            say(f"  Error Message:    {self.error}")
            say()
        yield

    def copy(self, source, target):
        size = self.expected[1]
        percents = [100]
        if size >= PROGRESS_FROM:
            percents = upload_percents(size) if self.upload else DOWNLOAD_PERCENTS
        began = time.monotonic()
        for percent in percents:
            while (missing := size * percent // 100 - target.tell()) > 0:
                block = source.read(min(missing, 1 << 20))
                if not block:
                    raise OSError("the file became shorter meanwhile")
                target.write(block)
            if size >= PROGRESS_FROM:
                tail = progress_text(percent, time.monotonic() - began, self.upload)
                say(f"{self.verb}: {self.shown} ... {tail}")
                yield

    def put_in_place(self, partial):
        """Only when neither end was touched since it was looked at: no newer content may be overwritten."""
        source, target = (self.pair.on_disk(side, self.path) for side in (self.side, 1 - self.side))
        now = signature(os.lstat(target)) if os.path.lexists(target) else None
        untouched = same(now, self.replaced) if now and self.replaced else now == self.replaced
        if not untouched or not same(signature(os.lstat(source)), self.expected):
            raise OSError("the file was changed meanwhile")
        os.utime(partial, ns=(self.expected[2], self.expected[2]))
        os.replace(partial, target)
        self.pair.remember(self.path)


class Transfers:
    """Runs transfers side by side and tells other instances, through a small file, what is on its way."""

    def __init__(self, settings, clock):
        self.clock = clock
        self.note = settings.path("activity.played.json")

    def run(self, queue):
        """All of them; returns the failed ones. When the client is asked to end, those begun are finished."""
        queue, active, ended, every = deque(queue), {}, None, []
        while active or (queue and not ended):
            while queue and len(active) < AT_ONCE and not ended:
                every.append(queue.popleft())
                active[every[-1]] = every[-1].run()
                self.write_note(active)
            for transfer, steps in list(active.items()):
                if next(steps, "over") == "over":
                    del active[transfer]
                    self.write_note(active)
                    continue
                try:
                    self.clock.step()
                except Terminated as asked:
                    ended = asked
        if ended:
            raise ended
        return [transfer for transfer in every if transfer.error]

    def write_note(self, active):
        write_private(self.note, json.dumps({one.path: one.verb.lower() for one in active}))


def remove_partials(roots):
    """What a killed instance left half copied."""
    for folder, _, names in itertools.chain(*map(os.walk, roots)):
        for name in names:
            if name.startswith(".played-") and name.endswith(".partial"):
                os.unlink(os.path.join(folder, name))


def read_note(settings):
    """{path: "uploading" or "downloading"} of the instance that runs, if one does."""
    try:
        with open(settings.path("activity.played.json"), encoding="utf-8") as file:
            return json.load(file) if settings.other_instance_runs() else {}
    except (OSError, ValueError):
        return {}
