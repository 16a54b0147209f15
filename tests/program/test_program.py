#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Whole days of the built program, with the scripted client behind it: its window and its icon, used as by a person, and
how it starts and ends. The days are in tests/approved; here are the steps that only these have.
"""
import os
import resource
import unittest.mock

from gi.repository import Gio, GLib

from driver import DrivenProgram, plays

NOTIFY = """<node><interface name="org.freedesktop.Notifications"><method name="Notify"><arg type="s"/><arg type="u"/>
<arg type="s"/><arg type="s"/><arg type="s"/><arg type="as"/><arg type="a{sv}"/><arg type="i"/><arg type="u" direction="out"/>
</method></interface></node>"""

UPDATED = "DEBUG: Async file status update complete."


@plays("life", "program", "rows", "wayland")
class ProgramTest(DrivenProgram):
    def leave_menu(self):
        self.do("press frame | Skyfold | Escape", "assert_gone menu item | Enable Sync")

    def flip(self, name, then):
        """Flips a setting by the mouse, and waits for what is then stored."""
        self.do("find_active frame | Skyfold", "click menu | Settings", f"click menu item | {name}",
                f"await_file .config/skyfold/config | {then}", "leave_menu")

    def act(self, row, name, by_menu=""):
        """Does one of a row's actions, by its button or by its menu and the keyboard, and waits for what comes of it."""
        def effects():
            desktop = self.home / "desktop"
            return self.said().count(UPDATED) + (desktop.read_bytes().count(b"\n") if desktop.exists() else 0)
        before = effects()
        if by_menu:
            self.find("list item", row).grab_focus()
            self.do("press frame | Skyfold | shift+F10", f"click menu item | {name}")
        else:
            self.do(f"point list item | {row}", f"click push button | {name}")
        self.await_that(f"the effect of {name!r}", lambda: effects() > before)

    def serve_notices(self):
        """Notes the notices: program, number of the one that is replaced, icon's file, title, text, icon."""
        def show(_bus, _sender, _path, _interface, _method, arguments, call):
            *told, _actions, hints, _timeout = arguments.unpack()
            self.notices.append(" | ".join(map(str, [*told, hints.get("image-path")])) + "\n")
            call.return_value(GLib.Variant("(u)", (len(self.notices),)))
        self.notices, bus = [], Gio.bus_get_sync(Gio.BusType.SESSION)
        notify = Gio.DBusNodeInfo.new_for_xml(NOTIFY).interfaces[0]
        self.addCleanup(bus.unregister_object, bus.register_object("/org/freedesktop/Notifications", notify, show))
        self.addCleanup(Gio.bus_unown_name, Gio.bus_own_name_on_connection(bus, "org.freedesktop.Notifications", 0))

    def see_notices(self, count):
        self.await_that(f"{count} notices", lambda: len(self.notices) >= int(count), outlived=True)
        self.outcome += "".join(self.notices)

    def set_mode(self, below, mode):
        (self.home / below).chmod(int(mode, 8))

    def allow_pipes(self, allowed):
        """Or let it have no descriptor for a pipe to a child."""
        used = os.listdir(f"/proc/{self.program.pid}/fd")
        free = next(number for number in range(1000) if str(number) not in used)
        most = resource.prlimit(self.program.pid, resource.RLIMIT_NOFILE)[1]
        resource.prlimit(self.program.pid, resource.RLIMIT_NOFILE, (most if allowed == "yes" else free, most))

    def start_on_own_display(self):
        self.start(f"env DISPLAY={self.start_x_server('Xvfb')} skyfold")

    def kill(self, name):
        getattr(self, name).kill()
        getattr(self, name).wait()

    def start_wayland(self):
        self.enterContext(unittest.mock.patch.dict(os.environ))
        _server, self.log = self.spawn("weston", "--backend=headless-backend.so", "--socket=wayland", "--idle-time=0",
                                       env={**os.environ, "XDG_RUNTIME_DIR": str(self.home)})
        self.await_file("wayland")
        os.environ["WAYLAND_DISPLAY"] = f"{self.home}/wayland"

    def start_x_in_wayland(self):
        os.environ["DISPLAY"] = self.start_x_server("Xwayland")


if __name__ == "__main__":
    unittest.main()
