# SPDX-License-Identifier: MIT
"""The two folders: what lies in them, what was last in step, what an entry needs. Nothing is copied here."""
import json
import os
import stat

from .settings import read, write_private

HERE, THERE = 0, 1  # the side of a pair: the local folder, the folder that plays the cloud


def signature(status):
    """Kind, size, modification time (ns) and inode; for folders only the kind and the inode mean anything."""
    if stat.S_ISDIR(status.st_mode):
        return ("d", 0, 0, status.st_ino)
    return ("f", status.st_size, status.st_mtime_ns, status.st_ino)


def same(one, other):
    """Whether two signatures describe the same content; a new inode alone is no change."""
    return one[:3] == other[:3]


def is_temporary(name):
    """The names that the client skips unless told otherwise: ~*|.~*|*.tmp|*.swp|*.partial"""
    return name.startswith(("~", ".~")) or name.endswith((".tmp", ".swp", ".partial"))


def is_within(path, folder):
    return path == folder or path.startswith(folder + "/")


def scan(root, wanted):
    """Everything below root as {relative path: signature}, and the unreadable folders ("" for root).

    Links and special files do not take part. `wanted` says of a relative path whether it does.
    """
    found, unread, folders = {}, [], [""]
    while folders:
        folder = folders.pop()
        try:
            with os.scandir(os.path.join(root, folder)) as entries:
                for entry in entries:
                    path = f"{folder}/{entry.name}" if folder else entry.name
                    is_folder = entry.is_dir(follow_symlinks=False)
                    if not wanted(path) or is_temporary(entry.name):
                        continue
                    if is_folder or entry.is_file(follow_symlinks=False):
                        found[path] = signature(entry.stat(follow_symlinks=False))
                    if is_folder:
                        folders.append(path)
        except OSError:
            unread.append(folder)
    return found, unread


def same_content(one, other):
    with open(one, "rb") as first, open(other, "rb") as second:
        while (block := first.read(1 << 20)) == second.read(1 << 20):
            if not block:
                return True
    return False


def decide(item, here, there):
    """What one path needs. `item` is the pair of signatures last in step; each argument is None when absent.

    The answers: None, "forget", "adopt", "compare", "conflict", "upload", "download", "delete there" and
    "delete here".
    """
    if not here and not there:
        return "forget" if item else None
    if not here or not there:
        present, known = (here, HERE) if here else (there, THERE)
        arrives = "upload" if here else "download"
        if item and same(item[known], present):
            return "delete here" if here else "delete there"
        return arrives
    here_changed = not item or not same(item[HERE], here)
    there_changed = not item or not same(item[THERE], there)
    if here_changed and there_changed:
        if same(here, there):
            return "adopt"
        return "compare" if here[:2] == there[:2] else "conflict"
    if not here_changed and not there_changed:
        return None
    if here[0] != there[0]:
        return "conflict"
    return "upload" if here_changed else "download"


class Pair:
    """A local folder, its cloud folder and the memory of what was last in step between them."""

    def __init__(self, settings, here, there):
        self.roots = (here, there)
        self.skipped = settings.skipped
        self.within = None
        self.memory_path = settings.path("items.played.json")
        self.items = {}

    def load(self):
        """A lost memory is harmless: entries equal on both sides are taken up again without a transfer."""
        try:
            items = json.loads(read(self.memory_path) or "{}")
            self.items = {path: [tuple(side) for side in pair] for path, pair in items.items()}
        except (ValueError, AttributeError, TypeError):
            self.items = {}

    def save(self):
        write_private(self.memory_path, json.dumps(self.items))

    def forget_all(self):
        self.items = {}
        self.save()

    def wanted(self, path):
        """Not excluded, and in or on the way to the one entry asked for."""
        if any(is_within(path, folder) for folder in self.skipped):
            return False
        return self.within is None or is_within(path, self.within) or is_within(self.within, path)

    def on_disk(self, side, path):
        return os.path.join(self.roots[side], path)

    def scan(self):
        """Both sides now; paths that could not be looked at are as they were remembered."""
        sides = []
        for side in (HERE, THERE):
            found, unread = scan(self.roots[side], self.wanted)
            for folder in unread:
                found |= {p: i[side] for p, i in self.items.items() if not folder or is_within(p, folder)}
            sides.append(found)
        return sides

    def freeze(self, sides, paths):
        """Make paths look unchanged: those still being written, and those that cannot be transferred."""
        for path in paths:
            for side, known in zip(sides, self.items.get(path, (None, None))):
                side.pop(path, None)
                if known:
                    side[path] = known

    def counts(self, path):
        """Whether a path belongs to what was asked for; the folders on the way to it do not."""
        return self.wanted(path) and (self.within is None or is_within(path, self.within))

    def changed_there(self, there):
        """How many entries of the cloud the client has not seen in their present state."""
        paths = {path for path in {*there, *self.items} if self.counts(path)}
        if self.within is not None:
            return len(paths & there.keys())
        known = [path for path in paths if path in self.items and path in there]
        return len(paths) - sum(same(self.items[path][THERE], there[path]) for path in known)

    def needs(self, sides):
        """(path, answer of `decide`) for every path that needs something, folders before what is in them."""
        here, there = sides
        for path in sorted({*here, *there, *self.items}):
            if not self.counts(path):
                continue
            answer = decide(self.items.get(path), here.get(path), there.get(path))
            if answer:
                yield path, answer

    def remember(self, path):
        """Take a path as in step, as it is on disk now."""
        self.items[path] = [signature(os.lstat(self.on_disk(side, path))) for side in (HERE, THERE)]

    def follow_moves(self, sides, side):
        """Repeat on the other side what was renamed on this one; the pairs (old, new), each done."""
        moved = []
        while pair := self.next_move(sides, side):
            old, new = pair
            target = self.on_disk(1 - side, new)
            try:
                os.makedirs(os.path.dirname(target), exist_ok=True)
                os.rename(self.on_disk(1 - side, old), target)
            except OSError:
                return moved
            for known in (self.items, sides[1 - side]):
                for path in [p for p in known if is_within(p, old)]:
                    known[new + path[len(old):]] = known.pop(path)
            moved.append(pair)
        return moved

    def next_move(self, sides, side):
        """The first remembered path that is gone while its inode lives on under a new name."""
        this, other = sides[side], sides[1 - side]
        fresh = {sig[3]: path for path, sig in this.items() if path not in self.items and path not in other}
        for old in sorted(self.items):
            known = self.items[old]
            new = fresh.get(known[side][3]) if old not in this and self.wanted(old) else None
            if new and same(this[new], known[side]) and old in other and same(other[old], known[1 - side]):
                return old, new
        return None
