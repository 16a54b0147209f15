# SPDX-License-Identifier: MIT
"""The client's folder ~/.config/onedrive: configuration, the copy last accepted, the token and the lock."""
import fcntl
import os
import re

from .console import Ended, say

DEFAULT_SYNC_DIR = "~/OneDrive"


def parse(text):
    """The two keys that matter here: sync_dir, and skip_dir as the list of the values of all its lines."""
    found = re.findall(r'^\s*(sync_dir|skip_dir)\s*=\s*(?:"(.*)"|(.*?))\s*$', text, re.MULTILINE)
    values = {"sync_dir": [], "skip_dir": []}
    for key, quoted, bare in found:
        values[key].append(quoted or bare)
    return {"sync_dir": values["sync_dir"][-1] if values["sync_dir"] else None, "skip_dir": values["skip_dir"]}


def read(path):
    """A file's text with bytes that are no UTF-8 kept; None when there is no such file."""
    try:
        with open(path, encoding="utf-8", errors="surrogateescape") as file:
            return file.read()
    except FileNotFoundError:
        return None


def replace(path, text):
    """A reader never sees half of it."""
    with open(path + ".new", "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write(text)
    os.replace(path + ".new", path)


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

    def check_accepted(self, syncs):
        """Ends with 126 where a resync is due. That nothing was accepted yet matters only to starts that sync."""
        edited = self.text != self.accepted or self.needs_resync()
        if not edited or (self.accepted is None and not syncs):
            return
        say("Application configuration file has been updated, checking if --resync needed")
        if self.accepted is None:
            say("WARNING: no backup config file was found, unable to validate if any changes made")
        if self.needs_resync():
            self.write_first_config()
            say("", "An application configuration change has been detected where a --resync is required", "")
            raise Ended(126)

    def write_first_config(self):
        """The first start with --syncdir leaves a configuration behind: one line, without a line end."""
        if self.text is None and self.argument is not None:
            self.text = f'sync_dir = "{self.argument}"'
            replace(self.path("config"), self.text)

    def accept(self):
        if self.text is not None:
            replace(self.path(".config.backup"), self.text)

    def be_the_only_one(self):
        """The kernel frees the lock when this process ends, however it ends."""
        self.lock = open(self.path(".lock"), "wb")  # pylint: disable=consider-using-with
        try:
            fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            say("",
                "ERROR: The 'onedrive' application is already running - please check system process list for active "
                "application instances",
                " - Use 'sudo ps aufxw | grep onedrive' to potentially determine active running process", "")
            raise Ended(1) from None
