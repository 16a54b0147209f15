# SPDX-License-Identifier: MIT
"""What each command line does."""
import os

from .console import Ended, dots, say, step
from .folders import HERE, THERE, Pair, decide
from .settings import DEFAULT_SYNC_DIR, Settings, read
from .sync import DRIVE, Sync, contact

FLAGS = ("--monitor", "--synchronize", "--resync", "--resync-auth", "--display-sync-status", "--display-config",
         "--display-quota", "--reauth", "--verbose")
WITH_VALUE = ("--syncdir", "--single-directory")


def parse(arguments):
    """The options as a dictionary; flags map to True."""
    options, rest = {}, list(arguments)
    while rest:
        name = rest.pop(0)
        if name in FLAGS:
            options[name] = True
        elif name in WITH_VALUE and rest:
            options[name] = rest.pop(0)
        else:
            say(f"Unrecognized option {name}")
            raise Ended(1)
    return options


def cloud_folder():
    chosen = os.environ.get("PLAYED_CLIENT_CLOUD") or os.path.expanduser("~/.cache/skyfold-demo/cloud")
    os.makedirs(chosen, exist_ok=True)
    return os.path.abspath(chosen)


def say_found_config(settings):
    if settings.text is not None:
        say(f"Reading configuration file: {settings.path('config')}", "Configuration file successfully loaded")


def display_config(settings):
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


def display_sync_status(pair):
    """A line for each entry of the top level, and one for each file below that is not in step.

    The real client answers one sentence about the whole folder; so every state of a row can be seen.
    """
    dots(f"Querying the change status of Drive ID: {DRIVE}")
    here, there = pair.scan()
    tops, below = {}, []
    for path in sorted({*here, *there}):
        answer = decide(pair.items.get(path), here.get(path), there.get(path))
        word = "synced" if answer is None else "sync pending"
        if answer == "download" and path not in here:
            word = "online-only"
        top, inside, _ = path.partition("/")
        tops.setdefault(top, set()).add(word)
        if inside and answer and (here.get(path) or there[path])[0] == "f":
            below.append((path, word))
    folded = [(top, words.pop() if len(words) == 1 else "sync pending") for top, words in tops.items()]
    say(*(f"{path}: {word}" for path, word in folded + below))


def reach_service(settings):
    say("Using IPv4 and IPv6 (if configured) for all network operations")
    step(0.5)
    contact()
    say("Configuring Global Azure AD Endpoints")
    if not os.path.exists(settings.path("refresh_token")):
        say("", f"ERROR: nobody signs in to a played client; any text in {settings.path('refresh_token')} will do", "")
        raise Ended(1)


def monitor(sync):
    say("OneDrive synchronisation interval (seconds): 300", "Initialising filesystem inotify monitoring ...",
        "Performing initial synchronisation to ensure consistent local state ...")
    step()
    sync.first_pass()
    sync.watch()


def single(sync, path):
    """The pass over one entry, which is made where it is nowhere."""
    path = os.path.normpath(path)
    if path.startswith(("/", "..")):
        say("ERROR: --single-directory takes a path below the sync folder")
        raise Ended(1)
    sync.pair.within = path
    say("The OneDrive Client was asked to search for this directory online and create it if it's not "
        f"located: ./{path}")
    local, online = (sync.pair.on_disk(side, path) for side in (HERE, THERE))
    if not os.path.lexists(local) and not os.path.isfile(online):
        say("WARNING: The requested path for --single-directory does not exist locally. "
            f"Creating requested path within {sync.pair.roots[HERE]}")
        os.makedirs(local)
    if os.path.isdir(local):
        os.makedirs(online, exist_ok=True)
    sync.single_pass()


def synchronise(settings, options):
    """Everything up to a configuration accepted, signed in and alone; then the work."""
    if "--resync" in options:
        say("Deleting the saved application sync status ...")
        settings.write_first_config()
    if "--synchronize" in options:
        say("", "DEPRECIATION WARNING: --synchronize has been deprecated in favour of --sync or -s",
            "DEPRECIATION WARNING: Deprecated commands will be removed in a future release.", "")
    reach_service(settings)
    settings.be_the_only_one()
    settings.accept()
    pair = Pair(settings, cloud_folder())
    if "--resync" in options or not os.path.isdir(settings.sync_dir):
        pair.forget()  # nothing can have been deleted in a local folder that has to be made
    os.makedirs(settings.sync_dir, exist_ok=True)
    sync = Sync(pair)
    if "--monitor" in options:
        monitor(sync)
    elif "--single-directory" in options:
        single(sync, options["--single-directory"])
    else:
        sync.first_pass()
    say("Attempting to perform a database vacuum to optimise database", "Database vacuum is complete")


def run(options):
    settings = Settings(options.get("--syncdir"))
    say_found_config(settings)
    if "--display-config" in options:
        display_config(settings)
        return
    say("D-Bus message bus daemon is available; GUI notifications are now enabled")
    syncs = bool(options.keys() & {"--monitor", "--synchronize"})
    if "--resync" not in options:
        settings.check_accepted(syncs)
    if syncs:
        synchronise(settings, options)
        return
    reach_service(settings)
    if "--display-sync-status" in options:
        display_sync_status(Pair(settings, cloud_folder()))


def main(arguments):
    try:
        run(parse(arguments))
    except Ended as end:
        return end.code
    except (KeyError, OSError, ValueError) as error:
        # No HOME, a pace that is no number, or whatever the disk refuses.
        say(f"ERROR: {type(error).__name__}: {error}")
        return 1
    return 0
