#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Whole days of the built program, with the scripted client behind it: its window and its icon, used as by a person, and
how it starts and ends. The days are in tests/approved; here are the steps that only these have.
"""
import json
import os
import re
import resource

from driver import DrivenProgram, main, plays

UPDATED = "DEBUG: Async file status update complete."


@plays("life", "program", "rows")
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

    def watch_notices(self):
        _monitor, self.notices = self.spawn("dbus-monitor", "interface=org.freedesktop.Notifications")

    def see_notices(self, count):
        sent = 'string "org.skyfold"'
        self.await_that(f"{count} notices", lambda: self.notices.read_text(errors="replace").count(sent) >= int(count))
        self.outcome += "".join(re.findall(r'^   string "[^:].*\n', self.notices.read_text(errors="replace"), re.M))

    def set_mode(self, below, mode):
        (self.home / below).chmod(int(mode, 8))

    def then_print(self, times, text):
        self.then(f"print {json.dumps(text * int(times))}")

    def allow_pipes(self, allowed):
        """Or let it have no descriptor for a pipe to a child."""
        used = os.listdir(f"/proc/{self.program.pid}/fd")
        free = next(number for number in range(1000) if str(number) not in used)
        most = resource.prlimit(self.program.pid, resource.RLIMIT_NOFILE)[1]
        resource.prlimit(self.program.pid, resource.RLIMIT_NOFILE, (most if allowed == "yes" else free, most))

    def start_on_own_display(self):
        self.server, number = self.start_x_server("Xvfb")
        self.start(f"env DISPLAY={number} skyfold")

    def lose_display(self):
        self.server.kill()


if __name__ == "__main__":
    main()
