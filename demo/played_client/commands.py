# SPDX-License-Identifier: MIT
"""The played mode: what each command line does."""
import errno
import os
import time

from . import sign_in
from .console import Clock, Terminated, dots, say
from .folders import HERE, THERE, Pair, decide, scan
from .settings import DEFAULT_SYNC_DIR, Settings, read
from .sign_in import Ended
from .sync import Sync
from .transfer import read_note, remove_partials

FLAGS = (
    "--monitor", "--synchronize", "--sync", "--resync", "--resync-auth", "--display-sync-status",
    "--display-config", "--display-quota", "--reauth", "--logout", "--verbose", "--version",
)  # fmt: skip
WITH_VALUE = ("--syncdir", "--single-directory")
SHORT = {"-m": "--monitor", "-s": "--sync", "-v": "--verbose"}

def parse(arguments):
    """The options as a dictionary; flags map to True."""
    options, rest = {}, list(arguments)
    while rest:
        name, joined, value = rest.pop(0).partition("=")
        name = SHORT.get(name, name)
        if name in FLAGS and not joined:
            options[name] = True
        elif name in WITH_VALUE and (joined or rest):
            options[name] = value if joined else rest.pop(0)
        else:
            say(f"Unrecognized option {name}")
            raise Ended(1)
    return options


def cloud_folder():
    chosen = os.environ.get("PLAYED_CLIENT_CLOUD") or os.path.expanduser("~/.cache/skyfold-demo/cloud")
    os.makedirs(chosen, exist_ok=True)
    return os.path.abspath(chosen)


def used_bytes(cloud):
    return sum(found[1] for found in scan(cloud, lambda path: True)[0].values())


def display_config(settings):
    sign_in.say_found_config(settings)
    found = "true - using 'config' file values to override application defaults"
    values = {
        "folder": settings.folder,
        "found": found if settings.text is not None else "false - using application defaults",
        "sync_dir": settings.keys["sync_dir"] or DEFAULT_SYNC_DIR,
        "skip_dir": settings.shown_skip_dir(),
        "empty": "",
    }
    for line in read(os.path.join(os.path.dirname(__file__), "config_dump.txt")).splitlines():
        say(line.format(**values))


def status_word(path, item, sides, note):
    here, there = (side.get(path) for side in sides)
    if path in note:
        return note[path]
    answer = decide(item, here, there)
    if answer in (None, "adopt"):
        return "synced"
    return "online-only" if answer == "download" and not here else "sync pending"


def folded(words):
    """The word for a folder, from those of everything in it."""
    for word in ("uploading", "downloading"):
        if word in words:
            return word
    return words.pop() if len(words) == 1 else "sync pending"


def display_sync_status(settings, cloud, verbose):
    """A line for each entry of the top level, and one for each file below that is not in step.

    The real client answers one sentence about the whole folder; so every state of a row can be seen.
    """
    (say if verbose else dots)(f"Querying the change status of Drive ID: {sign_in.DRIVE}")
    pair = Pair(settings, settings.sync_dir, cloud)
    pair.load()
    sides, note = pair.scan(), read_note(settings)
    tops, below = {}, []
    for path in sorted({*sides[HERE], *sides[THERE]}):
        word = status_word(path, pair.items.get(path), sides, note)
        top, inside, _ = path.partition("/")
        tops.setdefault(top, set()).add(word)
        is_file = (sides[HERE].get(path) or sides[THERE][path])[0] == "f"
        if inside and is_file and word != "synced":
            below.append((path, word))
    for path, word in [(top, folded(words)) for top, words in tops.items()] + below:
        say(f"{path}: {word}")


def ready_pair(settings, cloud):
    """Both folders, existing. Nothing can have been deleted in a local folder that had to be made."""
    local = settings.sync_dir
    pair = Pair(settings, local, cloud)
    pair.load()
    try:
        if not os.path.isdir(local):
            pair.forget_all()
            os.makedirs(local)
        os.listdir(local)
    except OSError as error:
        say_vacuum()
        reason = errno.ENOTDIR if error.errno == errno.EEXIST else error.errno
        say(f"std.file.FileException@/usr/include/d/std/file.d(2909): {local}: {os.strerror(reason)}")
        raise Ended(1) from error
    remove_partials(pair.roots)
    return pair


def say_vacuum():
    say("Attempting to perform a database vacuum to optimise database")
    say("Database vacuum is complete")


def be_the_only_one(settings):
    if not settings.take_lock():
        say()
        say(
            "ERROR: The 'onedrive' application is already running - please check system process list for "
            "active application instances"
        )
        say(" - Use 'sudo ps aufxw | grep onedrive' to potentially determine active running process")
        say()
        raise Ended(1)


def start_sync(settings, options, clock, cloud):
    """Everything up to a sync engine that may work: configuration accepted, signed in, alone."""
    if "--resync" in options:
        say("Deleting the saved application sync status ...")
        settings.write_first_config()
    if "--synchronize" in options:
        say()
        say("DEPRECIATION WARNING: --synchronize has been deprecated in favour of --sync or -s")
        say("DEPRECIATION WARNING: Deprecated commands will be removed in a future release.")
        say()
    sign_in.reach_service(settings, clock, "--verbose" in options, used_bytes(cloud))
    be_the_only_one(settings)
    settings.accept()
    pair = ready_pair(settings, cloud)
    if "--resync" in options:
        pair.forget_all()
    return Sync(settings, clock, pair)


def monitor(sync, clock):
    clock.guard()
    say("OneDrive synchronisation interval (seconds): 300")
    say("Initialising filesystem inotify monitoring ...")
    say("Performing initial synchronisation to ensure consistent local state ...")
    clock.step()
    sync.first_pass()
    sync.watch()


def synchronise(sync, clock, single):
    clock.guard()
    if single is None:
        sync.first_pass()
        say_vacuum()
        return
    path = os.path.normpath(single)
    if path.startswith(("/", "..")):
        say("ERROR: --single-directory takes a path below the sync folder")
        raise Ended(1)
    sync.pair.within = path
    say(
        "The OneDrive Client was asked to search for this directory online and create it if it's not "
        f"located: ./{path}"
    )
    local, online = (sync.pair.on_disk(side, path) for side in (HERE, THERE))
    if not os.path.lexists(local) and not os.path.isfile(online):
        say(
            "WARNING: The requested path for --single-directory does not exist locally. "
            f"Creating requested path within {sync.pair.roots[HERE]}"
        )
        os.makedirs(local)
    if os.path.isdir(local):
        os.makedirs(online, exist_ok=True)
    sync.single_pass()
    say_vacuum()


def sync_until_ended(settings, options, clock, cloud):
    sync = start_sync(settings, options, clock, cloud)
    try:
        if "--monitor" in options:
            monitor(sync, clock)
        else:
            synchronise(sync, clock, options.get("--single-directory"))
    except Terminated as asked:
        say_vacuum()
        time.sleep(0.6)
        raise Ended(asked.number) from asked
    finally:
        sync.pair.save()
        settings.release_lock()


def one_shot(settings, options, clock, cloud):
    """The commands that work beside a running monitor."""
    sign_in.reach_service(settings, clock, "--verbose" in options, used_bytes(cloud))
    if "--display-sync-status" in options:
        display_sync_status(settings, cloud, "--verbose" in options)
    elif "--display-quota" in options:
        sign_in.say_quota(used_bytes(cloud))
    elif "--reauth" in options:
        say()
        say(
            "The application has been successfully authorised, "
            "but no extra command options have been specified."
        )
        say()
    if not options.keys() & {"--display-sync-status", "--display-quota"}:
        say("Please use 'onedrive --help' for further assistance in regards to running this application.")
        say()


def forget_token(settings, text):
    say("Deleting the saved authentication status ..." + text)
    if settings.token() is not None:
        os.unlink(settings.path("refresh_token"))


def run(options):
    if "--version" in options:
        say(sign_in.VERSION)
        return
    settings = Settings(options.get("--syncdir"))
    if "--display-config" in options:
        display_config(settings)
        return
    syncs = bool(options.keys() & {"--monitor", "--synchronize", "--sync"})
    sign_in.say_found_config(settings, "--verbose" in options)
    say("D-Bus message bus daemon is available; GUI notifications are now enabled")
    if options.keys() & {"--reauth", "--logout"}:
        forget_token(settings, " re-authentication requested" if "--reauth" in options else "")
        if "--logout" in options:
            return
    elif "--resync" not in options:
        sign_in.check_accepted(settings, syncs)
    clock = Clock()
    (sync_until_ended if syncs else one_shot)(settings, options, clock, cloud_folder())


def main(arguments):
    try:
        run(parse(arguments))
    except Ended as end:
        return end.code
    except KeyError as missing:
        say(f"ERROR: the environment variable {missing} is not set")
        return 1
    except OSError as error:
        # Whatever the disk refuses: an unreadable configuration, a cloud folder that cannot be made.
        say(f"ERROR: {error}")
        return 1
    return 0
