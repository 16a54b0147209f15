#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The built program in a Wayland session, as one with an X server beside it, and as one without."""
import os
import random
import shutil
import subprocess
import unittest
import unittest.mock

from driver import DrivenProgram, turn_until


class WaylandTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        missing = [name for name in ("weston", "Xwayland") if shutil.which(name) is None]
        if missing:
            self.skipTest(f"not installed: {', '.join(missing)}")
        self.sign_in(f"sync_dir={self.write('Cloud/a').parent}\nsync_enabled=false\n")
        # The program's are the variables of a session, whatever this one has.
        session = unittest.mock.patch.dict(os.environ)
        session.start()
        self.addCleanup(session.stop)
        os.environ.pop("GDK_BACKEND", None)
        self.start_compositor()

    def serve(self, *command, **options):
        log = self.write(f"{command[0]}.log")
        with log.open("w") as out:
            server = subprocess.Popen(command, stdout=out, stderr=out, **options)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        return server, log

    def start_compositor(self):
        socket = self.home / "wayland"
        server, log = self.serve("weston", "--backend=headless-backend.so", "--socket=wayland", "--idle-time=0",
                                 env={**os.environ, "XDG_RUNTIME_DIR": str(self.home)})
        self.assertTrue(turn_until(lambda: socket.exists() or server.poll() is not None))
        self.assertTrue(socket.exists(), log.read_text())
        os.environ["WAYLAND_DISPLAY"] = str(socket)

    def start_x_server(self):
        """Not by the compositor, which looks for a free number and could take that of a person's display."""
        os.environ["DISPLAY"] = f":{random.randrange(100, 32000)}"
        ready, told = os.pipe()
        _server, log = self.serve("Xwayland", os.environ["DISPLAY"], "-displayfd", str(told), pass_fds=[told])
        os.close(told)
        with open(ready, encoding="ascii") as number:
            self.assertEqual(f":{number.read().strip()}", os.environ["DISPLAY"], log.read_text())

    def test_the_x_server_is_preferred_and_takes_the_icon(self):
        self.start_x_server()
        self.start_trayer()
        program = self.start()
        self.assert_says("DEBUG: Tray icon setup complete! Tray should now be visible.")
        self.click_tray()
        search = ["xdotool", "search", "--onlyvisible", "--name", "^Skyfold$"]
        self.assertTrue(turn_until(lambda: subprocess.run(search, stdout=subprocess.DEVNULL).returncode == 0))
        program.terminate()
        self.assert_ends(program, 0)

    def test_the_window_opens_where_no_icon_can_be(self):
        for environment in ({"DISPLAY": None}, {"GDK_BACKEND": "wayland"}):  # no X server, and one not wanted
            with self.subTest(environment):
                self.lines.clear()
                program = self.start(**environment)
                self.assert_says("ERROR: Tray icon failed to embed after retry")
                self.find("frame", "Skyfold")
                self.assertEqual([line for line in self.lines if "Gtk-CRITICAL" in line], [])
                program.terminate()
                self.assert_ends(program, 0)


if __name__ == "__main__":
    unittest.main()
