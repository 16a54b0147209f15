# SPDX-License-Identifier: MIT
"""The client's folder ~/.config/onedrive: configuration, the copy last accepted, the token and the lock."""
import fcntl
import os
import re
import time

DEFAULT_SYNC_DIR = "~/OneDrive"


def parse(text):
    """The two keys that matter here: sync_dir, and skip_dir as the list of the values of all its lines."""
    keys = {"sync_dir": None, "skip_dir": []}
    for line in text.split("\n"):
        match = re.match(r"\s*(sync_dir|skip_dir)\s*=\s*(.*?)\s*$", line)
        if not match:
            continue
        key, value = match.groups()
        if len(value) > 1 and value[0] == value[-1] == '"':
            value = value[1:-1]
        if key == "skip_dir":
            keys[key].append(value)
        else:
            keys[key] = value
    return keys


def read(path):
    """A file's text with bytes that are no UTF-8 kept; None when there is no such file."""
    try:
        with open(path, encoding="utf-8", errors="surrogateescape") as file:
            return file.read()
    except FileNotFoundError:
        return None


def write_private(path, text):
    """Replace a file that only its owner may read; a reader never sees half of it."""
    fresh = path + ".new"
    descriptor = os.open(fresh, os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_CLOEXEC, 0o600)
    with open(descriptor, "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write(text)
    os.replace(fresh, path)


class Settings:
    """Reads everything once, as the client does at its start."""

    def __init__(self, sync_dir_argument=None):
        self.folder = os.path.join(os.environ["HOME"], ".config", "onedrive")
        os.makedirs(self.folder, mode=0o700, exist_ok=True)
        self.argument = sync_dir_argument
        self.text = read(self.path("config"))
        self.accepted = read(self.path(".config.backup"))
        self.keys = parse(self.text or "")
        self.lock = None

    def path(self, name):
        return os.path.join(self.folder, name)

    @property
    def sync_dir(self):
        """The local folder, absolute."""
        chosen = self.argument or self.keys["sync_dir"] or DEFAULT_SYNC_DIR
        return os.path.abspath(os.path.expanduser(chosen))

    @property
    def skipped(self):
        """Every excluded folder, relative to the sync folder, whichever way the entries were written."""
        pieces = [piece for value in self.keys["skip_dir"] for piece in re.split(r'"\s*,\s*"|\|', value)]
        return [piece.strip("/").removeprefix("./") for piece in pieces if piece.strip("/")]

    def shown_skip_dir(self):
        """As the configuration dump shows it; a comma list keeps its quotes, which tell the entries apart."""
        values = self.keys["skip_dir"]
        if any('", "' in value for value in values):
            return ", ".join(f'"{entry}"' for entry in self.skipped)
        return "|".join(values)

    def needs_resync(self):
        """A changed folder or exclusion makes the stored sync state worthless."""
        if self.argument is not None:
            if self.text is None:
                return True
            if os.path.expanduser(self.keys["sync_dir"] or DEFAULT_SYNC_DIR) != self.argument:
                return True
        return self.accepted is not None and parse(self.accepted) != self.keys

    def write_first_config(self):
        """The first start with --syncdir leaves a configuration behind: one line, without a line end."""
        if self.text is None and self.argument is not None:
            self.text = f'sync_dir = "{self.argument}"'
            with open(self.path("config"), "w", encoding="utf-8", errors="surrogateescape") as file:
                file.write(self.text)

    def accept(self):
        if self.text is not None:
            write_private(self.path(".config.backup"), self.text)

    def token(self):
        """The saved token, or None."""
        return read(self.path("refresh_token"))

    def token_refused(self):
        """An empty token and one that begins with "refused" play a revoked sign-in."""
        token = self.token()
        return token is not None and (not token.strip() or token.startswith("refused"))

    def take_lock(self):
        """True when this is the only instance. The kernel frees the lock of a dead one, however it died."""
        for _ in range(10):
            if self.try_lock():
                return True
            # Either another instance runs, or a status query is just looking at the lock.
            time.sleep(0.02)
        return False

    def try_lock(self):
        path = self.path(".lock")
        while True:
            descriptor = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
            try:
                fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
                # The file may have been deleted between the two calls: a lock on it would then hold nobody.
                if os.path.samestat(os.fstat(descriptor), os.stat(path)):
                    break
            except FileNotFoundError:
                pass
            except BlockingIOError:
                os.close(descriptor)
                return False
            os.close(descriptor)
        os.ftruncate(descriptor, 0)
        os.write(descriptor, b"%d\n" % os.getpid())
        self.lock = descriptor
        return True

    def other_instance_runs(self):
        """Whether a running instance holds the lock; a file left behind by a dead one does not count."""
        try:
            with open(self.path(".lock"), "rb") as file:
                fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
            return False
        except FileNotFoundError:
            return False
        except BlockingIOError:
            return True

    def release_lock(self):
        if self.lock is None:
            return
        try:
            if os.path.samestat(os.fstat(self.lock), os.stat(self.path(".lock"))):
                os.unlink(self.path(".lock"))
        except FileNotFoundError:
            pass
        os.close(self.lock)
        self.lock = None
