# SPDX-License-Identifier: MIT
"""The two folders: what lies in them, what was last in step, what an entry needs, and how a file gets across."""
import contextlib
import json
import os
import stat
import time

from .console import say, step
from .settings import read, replace

HERE, THERE = 0, 1  # the side of a pair: the local folder, the folder that plays the cloud
PROGRESS_FROM = 4 << 20  # bytes; smaller files print only their last line
FRAGMENT = 10 << 20  # bytes of one piece of an upload
DOWNLOAD_PERCENTS = (5, 25, 45, 65, 85, 100)


def signature(status):
    """Kind, size and modification time (ns). A copy keeps the time, so entries in step have the same one."""
    return ("d", 0, 0) if stat.S_ISDIR(status.st_mode) else ("f", status.st_size, status.st_mtime_ns)


def is_temporary(name):
    """The names that the client skips unless told otherwise: ~*|.~*|*.tmp|*.swp|*.partial"""
    return name.startswith(("~", ".~")) or name.endswith((".tmp", ".swp", ".partial"))


def is_within(path, folder):
    return path == folder or path.startswith(folder + "/")


def scan(root, skipped):
    """Everything below root as {relative path: signature}, without links and special files.

    Fails with OSError where a folder cannot be read: what is not seen must not count as deleted.
    """
    def fail(error):
        raise error

    found = {}
    for folder, folders, files in os.walk(root, onerror=fail):
        for name in folders + files:
            full = os.path.join(folder, name)
            path, status = os.path.relpath(full, root), os.lstat(full)
            if is_temporary(name) or path in skipped:
                if name in folders:
                    folders.remove(name)
            elif stat.S_ISDIR(status.st_mode) or stat.S_ISREG(status.st_mode):
                found[path] = signature(status)
    return found


def decide(known, here, there):
    """What one path needs: None, "upload", "download", "delete there", "delete here" or "conflict".

    `known` is the signature last in step; each argument is None when absent. A change wins over a deletion.
    """
    if here == there:
        return None
    if here and there and (known not in (here, there) or here[0] != there[0]):
        return "conflict"
    if there == known:
        return "upload" if here else "delete there"
    if here == known:
        return "download" if there else "delete here"
    return "upload" if here else "download"


class Pair:
    """A local folder, its cloud folder and the memory of what was last in step between them."""

    def __init__(self, settings, cloud):
        self.roots = (settings.sync_dir, cloud)
        self.skipped = settings.skipped
        self.within = None  # the one entry asked for, if one was
        self.memory = settings.path("items.played.json")
        self.items = {}
        # A lost memory is harmless: what is equal on both sides is in step.
        with contextlib.suppress(ValueError, AttributeError, TypeError):
            self.items = {path: tuple(item) for path, item in json.loads(read(self.memory) or "{}").items()}

    def save(self):
        replace(self.memory, json.dumps(self.items))

    def forget(self):
        self.items = {}
        self.save()

    def on_disk(self, side, path):
        return os.path.join(self.roots[side], path)

    def scan(self):
        return [scan(root, self.skipped) for root in self.roots]

    def counts(self, path):
        """Whether a path belongs to what was asked for."""
        return self.within is None or is_within(path, self.within)

    def needs(self, sides):
        """{answer of `decide`: paths}, folders before what is in them; remembers what is in step."""
        here, there = sides
        lists = {}
        for path in sorted(filter(self.counts, {*here, *there, *self.items})):
            answer = decide(self.items.get(path), here.get(path), there.get(path))
            lists.setdefault(answer, []).append(path)
        for path in lists.pop(None, []):
            self.items[path] = here.get(path)
        self.items = {path: item for path, item in self.items.items() if item}
        return lists

    def news(self, there):
        """How many entries of the cloud the client has not seen in their present state; of one entry, all."""
        every = [path for path in {*there, *self.items} if self.counts(path)]
        if self.within is not None:
            return sum(path in there for path in every)
        return sum(self.items.get(path) != there.get(path) for path in every)

    def make_folder(self, side, path):
        os.makedirs(self.on_disk(side, path), exist_ok=True)
        self.items[path] = ("d", 0, 0)

    def delete(self, side, path, kind):
        """A folder in which something appeared meanwhile stays; it is then new on one side and comes back."""
        self.items.pop(path, None)
        if kind == "f":
            os.unlink(self.on_disk(side, path))
        else:
            with contextlib.suppress(OSError):
                os.rmdir(self.on_disk(side, path))

    def copy(self, side, path, sides, verb, shown):
        """Copies a file from that side to the other one and prints how far it is."""
        source, target = self.on_disk(side, path), self.on_disk(1 - side, path)
        partial = os.path.join(os.path.dirname(target), f".{os.path.basename(target)}.partial")
        os.makedirs(os.path.dirname(target), exist_ok=True)
        try:
            with open(source, "rb") as bytes_in, open(partial, "wb") as bytes_out:
                copy_aloud(bytes_in, bytes_out, sides[side][path][1], f"{verb}: {shown} ... ")
            now = signature(os.lstat(target)) if os.path.lexists(target) else None
            if now != sides[1 - side].get(path):
                raise OSError("the file was changed meanwhile")  # no newer content may be overwritten
            os.utime(partial, ns=(sides[side][path][2],) * 2)
            os.replace(partial, target)
        finally:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(partial)
        self.items[path] = sides[side][path]
        self.save()


def copy_aloud(source, target, size, label):
    """As many bytes as the file had when it was looked at; what it has grown by comes with the next look."""
    is_upload = label.startswith("Uploading")
    pieces = -(-size // FRAGMENT)
    percents = [100]
    if size >= PROGRESS_FROM:
        percents = [100 * piece // pieces for piece in range(pieces + 1)] if is_upload else DOWNLOAD_PERCENTS
    began = time.monotonic()
    for percent in percents:
        while (missing := size * percent // 100 - target.tell()) > 0:
            block = source.read(min(missing, 1 << 20))
            if not block:
                raise OSError("the file became shorter meanwhile")
            target.write(block)
        if size >= PROGRESS_FROM:
            say(label + progress_text(percent, time.monotonic() - began, is_upload))
            step()


def time_text(seconds):
    seconds = int(seconds)
    return f"{seconds // 3600:02}:{seconds // 60 % 60:02}:{seconds % 60:02}"


def progress_text(percent, elapsed, is_upload):
    """The tail of a progress line: "25%  |  ETA    00:00:19" or "100% | DONE in 00:00:01"."""
    if percent == 100:
        return f"100% | DONE in {time_text(elapsed)}"
    unknown = percent == 0 or (is_upload and elapsed < 1)
    left = "--:--:--" if unknown else time_text(elapsed * (100 - percent) / percent)
    return f"{percent}%".ljust(4) + f" |  ETA    {left}"
