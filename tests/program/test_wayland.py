#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The built program in a Wayland session, as one with an X server beside it, and as one without."""
import os
import random
import shutil
import subprocess
import unittest.mock

from driver import DrivenProgram, main


class WaylandTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        missing = [name for name in ("weston", "Xwayland") if shutil.which(name) is None]
        if missing:
            self.skipTest(f"not installed: {', '.join(missing)}")
        self.sync_folder("Cloud", "a")
        self.sign_in("sync_enabled=false")
        self.enterContext(unittest.mock.patch.dict(os.environ))
        socket = self.home / "wayland"
        server, log = self.spawn("weston", "--backend=headless-backend.so", "--socket=wayland", "--idle-time=0",
                                 env={**os.environ, "XDG_RUNTIME_DIR": str(self.home)})
        self.await_that("the compositor", lambda: socket.exists() or server.poll() is not None)
        self.assertTrue(socket.exists(), log.read_text())
        os.environ["WAYLAND_DISPLAY"] = str(socket)

    def test_the_x_server_is_preferred_and_takes_the_icon(self):
        # Not by the compositor, which looks for a free number and could take that of a person's display.
        _server, os.environ["DISPLAY"] = self.start_x_server("Xwayland", f":{random.randrange(100, 32000)}")
        self.start_beside_tray()
        self.click_tray()
        search = ["xdotool", "search", "--onlyvisible", "--name", "^Skyfold$"]
        self.await_that("a window under X", lambda: subprocess.call(search, stdout=subprocess.DEVNULL) == 0)
        self.do("send SIGTERM", "ends")

    def test_the_window_opens_where_no_icon_can_be(self):
        for command in ("env -u DISPLAY skyfold", "env GDK_BACKEND=wayland skyfold"):  # no X server, and one not wanted
            self.start(command)
            self.do("assert_says ERROR: Tray icon failed to embed after retry", "find frame | Skyfold")
            self.assertNotIn("Gtk-CRITICAL", self.said(), "what was printed")
            self.do("send SIGTERM", "ends")


if __name__ == "__main__":
    main()
