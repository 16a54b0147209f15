# SPDX-License-Identifier: MIT
"""What the tests and the soak run do alike on the desktop around the program: wait, read the screen as a screen reader
does, find the icon. Works inside the walls of scripts/isolate only.
"""
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402  pylint: disable=wrong-import-position


def turn_until(done, seconds=40):
    """Waits for `done()` to be true, serving the bus meanwhile; returns its last value."""
    end = time.monotonic() + seconds
    while not (result := done()) and time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        time.sleep(0.02)
    return result


def search(node, role, name, state):
    # A newer accessibility service says "button" for "push button".
    if (node.get_role_name() in (role, role.replace("push ", "")) and name in (None, node.get_name())
            and (state is None or node.get_state_set().contains(state))):
        return node
    found = (search(node.get_child_at_index(i), role, name, state) for i in range(node.get_child_count()))
    return next(filter(None, found), None)


def accessible(role, name=None, state=Atspi.StateType.SHOWING, below=None):
    """The accessible of that role, name and state in the program, or in a part of it; None where there is none."""
    desktop = Atspi.get_desktop(0)
    desktop.clear_cache()
    programs = (desktop.get_child_at_index(i) for i in range(desktop.get_child_count()))
    try:
        nodes = [below] if below else [one for one in programs if one and one.get_name() == "skyfold"]
        return next(filter(None, (search(node, role, name, state) for node in nodes)), None)
    except (AttributeError, GLib.Error):  # it went while it was read
        return None


def make_home(home, settings=None):
    """The folders of the settings; with those of a person who has signed in."""
    for name in ("skyfold", "onedrive"):
        (home / ".config" / name).mkdir(parents=True, exist_ok=True)
    if settings is not None:
        (home / ".config/onedrive/refresh_token").write_text("t")
        (home / ".config/skyfold/config").write_text(settings)


def start_trayer():
    return subprocess.Popen(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def find_icon():
    """The number of the icon's window. It can be told while nothing else shows under the program's name, be it a window
    or the icon's tooltip."""
    def alone():
        shown = subprocess.run(["xdotool", "search", "--onlyvisible", "--classname", "^skyfold$"], text=True,
                               stdout=subprocess.PIPE, check=False).stdout.split()
        return shown[0] if len(shown) == 1 else None
    return turn_until(alone)
