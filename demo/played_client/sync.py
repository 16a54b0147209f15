# SPDX-License-Identifier: MIT
"""The passes: one over everything, one over a single entry, and the watch over both folders that follows."""
import itertools
import os

from .console import dots, say
from .folders import HERE, THERE, is_within, same_content
from .sign_in import DRIVE, contact, say_refused
from .transfer import Transfer, Transfers

FETCHING = f"Fetching items from the OneDrive API for Drive ID: {DRIVE}"
GENERATING = (
    f"Generating a /delta response from the OneDrive API for this Drive ID: {DRIVE} "
    f"and Item ID: {DRIVE.upper()}!104"
)
NO_CHANGES = (
    "No changes or items that can be applied were discovered while processing the data received from "
    "Microsoft OneDrive"
)
DELETION = "The operating system sent a deletion notification. Trying to delete this item as requested: "


def shown(path):
    """An entry of the top level is printed with a leading "./"."""
    return path if "/" in path else "./" + path


class Work:
    """What one look at both folders asks for, in the order of the client's lines."""

    def __init__(self, pair, sides):
        self.sides = sides
        self.here_moves = pair.follow_moves(sides, HERE)
        self.there_moves = pair.follow_moves(sides, THERE)
        self.lists = {}
        for path, answer in pair.needs(sides):
            if answer == "compare":
                equal = same_content(pair.on_disk(HERE, path), pair.on_disk(THERE, path))
                answer = "adopt" if equal else "conflict"
            self.lists.setdefault(answer, []).append(path)

    def of(self, answer):
        return self.lists.get(answer, [])

    def files(self, answer, side, new=None):
        """Files to transfer; `new` picks those that are absent on the other side, or those that are not."""
        other = self.sides[1 - side]
        paths = [path for path in self.of(answer) if self.sides[side][path][0] == "f"]
        return [path for path in paths if new in (None, path not in other)]

    def folders(self, answer, side):
        return [p for p in self.of(answer) if self.sides[side][p][0] == "d"]

    def touches(self, side):
        """Whether the changes of this side must be carried to the other."""
        answers, moves = (("upload", "delete there"), self.here_moves)
        if side == THERE:
            answers, moves = (("download", "delete here"), self.there_moves)
        return bool(moves) or any(map(self.of, answers))


class Sync:
    def __init__(self, settings, clock, pair):
        self.settings, self.clock, self.pair = settings, clock, pair
        self.transfers = Transfers(settings, clock)
        self.stuck = {}  # path: the two signatures with which its transfer failed
        self.failed = []  # the transfers that failed in this pass
        self.refusal_said = False

    def say_received(self, count):
        if count:
            dots(f"Processing {count} applicable JSON items received from Microsoft OneDrive")
        else:
            say(NO_CHANGES)

    def first_pass(self):
        """The pass of a starting monitor, over everything."""
        contact()
        say("Starting a sync with Microsoft OneDrive")
        self.clock.step()
        dots(FETCHING)
        received, work = self.begin()
        self.clock.step()
        self.say_received(received)
        self.clock.step()
        sent = self.carry(work, self.pair.roots[HERE], "./".__add__)
        dots(FETCHING)
        self.say_received(sent)
        self.say_end()

    def single_pass(self):
        """The pass over one entry; its listing of the cloud is made anew each time and so never empty."""
        for last in (False, True):
            dots(GENERATING)
            say("Finished processing self generated /delta JSON response from the OneDrive API")
            received, work = self.begin()
            self.say_received(received)
            self.clock.step()
            if not last:
                self.carry(work, self.pair.on_disk(HERE, self.pair.within), shown)
        say()
        self.say_end()

    def begin(self):
        """How many entries the cloud has news of, and the work to do, all conflicts out of the way."""
        sides = self.pair.scan()
        received = self.pair.changed_there(sides[THERE])
        work = Work(self.pair, sides)
        if self.settle_quietly(work):
            work = Work(self.pair, self.pair.scan())
            self.settle_quietly(work)
        return received, work

    def carry(self, work, scanned, show):
        """Both directions; returns the number of entries that were sent."""
        downloads = self.bring_down(work)
        checked = 2 if downloads > 1 else 1
        dots("Performing a database consistency and integrity check on locally stored data", checked)
        self.clock.step()
        dots(f"Scanning the local file system '{scanned}' for new data to upload")
        self.clock.step()
        sent = self.send_up(work, show)
        say(
            "Performing a last examination of the most recent online data within Microsoft OneDrive "
            "to complete the reconciliation process"
        )
        self.clock.step()
        self.pair.save()
        return sent

    def watch(self):
        """Until a signal comes: carry over whatever has come to rest on either side."""
        scans = self.pair.scan()
        while True:
            # With no pace to keep, as in tests, nobody should have to wait for a round either.
            self.clock.wait(1.0 if self.clock.pace else 0.05)
            before, scans = scans, self.pair.scan()
            if self.refused(scans):
                continue
            work = Work(self.pair, self.at_rest(before, scans))
            self.settle_quietly(work)
            if work.touches(HERE):
                self.send_up(work, shown, live=True)
                self.failed.clear()
            if work.touches(THERE):
                contact()
                say("Starting a sync with Microsoft OneDrive")
                say("Syncing changes from Microsoft OneDrive ...")
                self.clock.step()
                self.bring_down(work)
                self.say_end()
            if work.lists or work.here_moves or work.there_moves:
                self.pair.save()

    def at_rest(self, before, scans):
        """The scans without what is still changing (perhaps half written) and what failed as it is now."""
        restless = set()
        for now, then in zip(scans, before):
            restless |= {path for path in {*now, *then} if now.get(path) != then.get(path)}
        restless |= {path for path, failed in self.stuck.items() if failed == [s.get(path) for s in scans]}
        sides = [dict(side) for side in scans]
        self.pair.freeze(sides, restless)
        return sides

    def refused(self, scans):
        """A revoked sign-in stops all traffic; a running monitor says so once and goes on."""
        if not self.settings.token_refused():
            self.refusal_said = False
            return False
        waiting = list(self.pair.needs(scans))
        if waiting and not self.refusal_said:
            new = [path for path, answer in waiting if answer == "upload" and path not in scans[THERE]]
            if new:
                say(f"New items to upload to Microsoft OneDrive: {len(new)}")
            say_refused()
            self.refusal_said = True
        return True

    def settle_quietly(self, work):
        """What needs no transfer. True when conflicts were put aside, so that a new look is needed."""
        for path in work.of("adopt"):
            self.attempt(work, path, self.pair.remember, path)
        for path in work.of("forget"):
            self.pair.items.pop(path)
        return any([self.attempt(work, path, self.put_aside, path) for path in work.of("conflict")])

    def attempt(self, work, path, action, *arguments):
        """Do something with a path; when the disk refuses, leave the path alone until it looks different."""
        try:
            action(*arguments)
            return True
        except OSError:
            self.stuck[path] = [side.get(path) for side in work.sides]
            return False

    def put_aside(self, path):
        """Both sides changed: the local one gets a new name, so that neither is lost."""
        stem, end = os.path.splitext(path)
        for number in itertools.count(1):
            aside = f"{stem}-{os.uname().nodename}-safeBackup-{number:04}{end}"
            if not os.path.lexists(self.pair.on_disk(HERE, aside)):
                break
        say(f"The local item is out-of-sync with OneDrive, renaming it to preserve it: {path} -> {aside}")
        os.rename(self.pair.on_disk(HERE, path), self.pair.on_disk(HERE, aside))
        for known in [known for known in self.pair.items if is_within(known, path)]:
            self.pair.items.pop(known)

    def delete(self, work, side, path):
        """A folder in which something appeared meanwhile stays; it is then new on one side and comes back."""
        target = self.pair.on_disk(side, path)
        self.attempt(work, path, os.rmdir if os.path.isdir(target) else os.unlink, target)
        self.pair.items.pop(path, None)

    def bring_down(self, work):
        """Carry the cloud's changes to the local folder; returns the number of files."""
        for old, new in work.there_moves:
            say(f"Moving {shown(old)} to {shown(new)}")
        for path in reversed(work.of("delete here")):
            kind = "directory" if work.sides[HERE][path][0] == "d" else "file"
            say(f"Trying to delete local {kind}: {path}")
            say(f"Deleting local {kind}: {path}")
            self.delete(work, HERE, path)
        for path in work.folders("download", THERE):
            self.attempt(work, path, self.make_folder, HERE, path)
        files = work.files("download", THERE)
        if files:
            say(f"Number of items to download from Microsoft OneDrive: {len(files)}")
            self.transfer(work, THERE, files, shown)
        return len(files)

    def make_folder(self, side, path):
        os.makedirs(self.pair.on_disk(side, path), exist_ok=True)
        self.pair.remember(path)

    def send_up(self, work, show, live=False):
        """Carry local changes to the cloud; returns how many entries. `show` prints the paths of new ones."""
        for old, new in work.here_moves:
            say(f"Moving {shown(old)} to {shown(new)}")
        folders = work.folders("upload", HERE)
        for path in folders if live else []:
            if os.path.dirname(path) not in folders:
                dots(f"Scanning the local file system '{shown(path)}' for new data to upload", 2)
        if folders:
            say(f"New directories to create on Microsoft OneDrive: {len(folders)}")
        for path in folders:
            if self.attempt(work, path, self.make_folder, THERE, path):
                say(f"Successfully created the remote directory {show(path)} on Microsoft OneDrive")
        new, modified = (work.files("upload", HERE, new) for new in (True, False))
        self.transfer(work, HERE, modified, shown)
        if new:
            say(f"New items to upload to Microsoft OneDrive: {len(new)}")
        self.transfer(work, HERE, new, show)
        for path in reversed(work.of("delete there")):
            if live:
                say(DELETION + shown(path))
            say(f"Deleting item from Microsoft OneDrive: {shown(path)}")
            self.delete(work, THERE, path)
        return len(folders) + len(new) + len(modified)

    def transfer(self, work, side, paths, show):
        queue = [Transfer(self.pair, path, side, work.sides, show(path)) for path in paths]
        for transfer in self.transfers.run(queue):
            self.stuck[transfer.path] = [known.get(transfer.path) for known in work.sides]
            self.failed.append(transfer)

    def say_end(self):
        """The end of a pass, with what failed in it."""
        for verb in ("download", "upload"):
            names = [one.shown for one in self.failed if one.upload == (verb == "upload")]
            if names:
                say()
                say(f"Failed items to {verb} to/from Microsoft OneDrive: {len(names)}")
                for name in names:
                    say(f"Failed to {verb}: {name}")
        if not self.failed:
            say("Sync with Microsoft OneDrive is complete")
            return
        self.failed.clear()
        say()
        say("Sync with Microsoft OneDrive has completed, however there are items that failed to sync.")
        say(
            "To fix any upload failures you may need to perform a --resync to ensure this system is "
            "correctly synced with your Microsoft OneDrive Account"
        )
        say()
