# SPDX-License-Identifier: MIT
"""The passes: one over everything, one over a single entry, and the watch over both folders that follows."""
import os
import time

from .console import dots, pace, say, step
from .folders import HERE, THERE

DRIVE = "66d53be8a5056eca"
FETCHING = f"Fetching items from the OneDrive API for Drive ID: {DRIVE}"
GENERATING = (f"Generating a /delta response from the OneDrive API for this Drive ID: {DRIVE} "
              f"and Item ID: {DRIVE.upper()}!104")
NO_CHANGES = ("No changes or items that can be applied were discovered while processing the data received from "
              "Microsoft OneDrive")
DELETION = "The operating system sent a deletion notification. Trying to delete this item as requested: "


def contact():
    say("Attempting to contact Microsoft OneDrive Login Service",
        "Successfully reached Microsoft OneDrive Login Service")


def shown(path):
    """An entry of the top level is printed with a leading "./"."""
    return path if "/" in path else "./" + path


def say_received(count):
    if count:
        dots(f"Processing {count} applicable JSON items received from Microsoft OneDrive")
    else:
        say(NO_CHANGES)


class Sync:
    def __init__(self, pair):
        self.pair = pair
        self.sides = [{}, {}]  # as they were looked at last
        self.lists = {}  # what each answer of `decide` is for
        self.failed = False

    def look(self, sides):
        self.sides, self.lists = sides, self.pair.needs(sides)
        for path in self.lists.get("conflict", []):
            say(f"WARNING: changed on both sides and left alone: {path}")

    def first_pass(self):
        """The pass of a starting monitor, over everything."""
        contact()
        say("Starting a sync with Microsoft OneDrive")
        step()
        dots(FETCHING)
        sides = self.pair.scan()
        received = self.pair.news(sides[THERE])
        self.look(sides)
        step()
        say_received(received)
        step()
        sent = self.carry(self.pair.roots[HERE], "./".__add__)
        dots(FETCHING)
        say_received(sent)
        self.say_end()

    def single_pass(self):
        """The pass over one entry; its listing of the cloud is made anew each time and so never empty."""
        for last in (False, True):
            dots(GENERATING)
            say("Finished processing self generated /delta JSON response from the OneDrive API")
            sides = self.pair.scan()
            say_received(self.pair.news(sides[THERE]))
            step()
            if not last:
                self.look(sides)
                self.carry(self.pair.on_disk(HERE, self.pair.within), shown)
        say()
        self.say_end()

    def carry(self, scanned, show):
        """Both directions; returns the number of entries that were sent."""
        dots("Performing a database consistency and integrity check on locally stored data",
             2 if self.bring_down() > 1 else 1)
        step()
        dots(f"Scanning the local file system '{scanned}' for new data to upload")
        step()
        sent = self.send_up(show)
        say("Performing a last examination of the most recent online data within Microsoft OneDrive "
            "to complete the reconciliation process")
        step()
        self.pair.save()
        return sent

    def watch(self):
        """Until somebody ends it: carries over what has changed on either side, once two looks see the same."""
        before = handled = None
        while True:
            # With no pace to keep, as in tests, nobody should have to wait for a round either.
            time.sleep(1.0 if pace() else 0.05)
            try:
                sides = self.pair.scan()
            except OSError:
                continue  # something went while it was looked at, or cannot be read at present
            if sides != before or sides == handled:
                before = sides
                continue
            handled = sides
            self.look(sides)
            if self.lists.keys() & {"upload", "delete there"}:
                self.send_up(shown, live=True)
            if self.lists.keys() & {"download", "delete here"}:
                contact()
                say("Starting a sync with Microsoft OneDrive", "Syncing changes from Microsoft OneDrive ...")
                step()
                self.bring_down()
                self.say_end()
            self.pair.save()

    def of(self, answer, side):
        """The folders and the files with that answer, as they are on that side."""
        paths = self.lists.get(answer, [])
        return [[path for path in paths if self.sides[side][path][0] == kind] for kind in ("d", "f")]

    def attempt(self, action, *arguments, done=(), failed=()):
        """Does it and says so. What the disk refuses stays as it is, and is tried again when something changes."""
        lines = done
        try:
            action(*arguments)
        except OSError as error:
            lines = (*failed, "", "ERROR: Microsoft OneDrive API returned an error with the following message:",
                     f"  Error Message:    {error}", "")
            self.failed = True
        for line in lines:
            say(line)

    def bring_down(self):
        """Carries the cloud's changes to the local folder; returns the number of files."""
        for path in reversed(self.lists.get("delete here", [])):
            kind = self.sides[HERE][path][0]
            what = "directory" if kind == "d" else "file"
            say(f"Trying to delete local {what}: {path}", f"Deleting local {what}: {path}")
            self.attempt(self.pair.delete, HERE, path, kind)
        folders, files = self.of("download", THERE)
        for path in folders:
            self.attempt(self.pair.make_folder, HERE, path)
        if files:
            say(f"Number of items to download from Microsoft OneDrive: {len(files)}")
        self.transfer(THERE, files, "Downloading", "Downloading file:", shown)
        return len(files)

    def send_up(self, show, live=False):
        """Carries local changes to the cloud; returns how many entries. `show` prints the paths of new ones."""
        folders, files = self.of("upload", HERE)
        for path in folders if live else []:
            if os.path.dirname(path) not in folders:
                dots(f"Scanning the local file system '{shown(path)}' for new data to upload", 2)
        if folders:
            say(f"New directories to create on Microsoft OneDrive: {len(folders)}")
        for path in folders:
            self.attempt(self.pair.make_folder, THERE, path,
                         done=[f"Successfully created the remote directory {show(path)} on Microsoft OneDrive"])
        new = [path for path in files if path not in self.sides[THERE]]
        modified = [path for path in files if path in self.sides[THERE]]
        self.transfer(HERE, modified, "Uploading", "Uploading modified file:", shown)
        if new:
            say(f"New items to upload to Microsoft OneDrive: {len(new)}")
        self.transfer(HERE, new, "Uploading", "Uploading new file:", show)
        for path in reversed(self.lists.get("delete there", [])):
            if live:
                say(DELETION + shown(path))
            say(f"Deleting item from Microsoft OneDrive: {shown(path)}")
            self.attempt(self.pair.delete, THERE, path, self.sides[THERE][path][0])
        return len(folders) + len(files)

    def transfer(self, side, paths, verb, label, show):
        for path in paths:
            self.attempt(self.pair.copy, side, path, self.sides, verb, show(path),
                         done=[f"{label} {show(path)} ... done"], failed=[f"{label} {show(path)} ... failed!"])
            step()

    def say_end(self):
        if self.failed:
            say("", "Sync with Microsoft OneDrive has completed, however there are items that failed to sync.")
        else:
            say("Sync with Microsoft OneDrive is complete")
        self.failed = False
