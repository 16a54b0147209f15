#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Signing in end to end: the built program, the real web engine, and a double of the identity host over HTTPS.

Usage: test_sign_in.py RUNNER
Runs RUNNER over the cases here, within mounts, a network and a session bus of its own where the host's name leads to the
loopback and a throwaway authority is trusted. Where the system does not allow that, the cases are skipped.
"""
import base64
import fcntl
import hashlib
import http.server
import json
import os
import pathlib
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.parse

import gi

import test_program
from test_program import turn_until

gi.require_version("Gdk", "3.0")
from gi.repository import Gdk  # noqa: E402

HOST = "login.microsoftonline.com"
AUTHORISE, NATIVE, TOKEN = (f"/common/oauth2/{end}" for end in ("v2.0/authorize", "nativeclient", "v2.0/token"))
REDIRECT = f"https://{HOST}{NATIVE}?code=M.C5%21x*&session_state=7"
ADDRESS = (f"https://{HOST}{AUTHORISE}?client_id=d50ca740-c83f&scope=Files.ReadWrite%20offline_access&response_type=code"
           f"&redirect_uri={urllib.parse.quote(f'https://{HOST}{NATIVE}', safe='')}")
GREEN = bytes([32, 112, 64])
PAGE = f"""<button onclick="location='{REDIRECT}'" style="position:fixed; inset:0; width:100%; border:0; color:white;
background:rgb{tuple(GREEN)}; font:9vmin sans-serif">Sign in<br><br>as anyone</button>"""
CERTIFY = f"""cd "$AUTHORITY"; KEY="-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes"; openssl req -x509 $KEY -subj /CN=throwaway -keyout ca.key -out ca.pem &&
openssl req -x509 $KEY -subj /CN={HOST} -CA ca.pem -CAkey ca.key -addext subjectAltName=DNS:{HOST} \
-addext basicConstraints=CA:FALSE -keyout host.key -out host.pem && echo 127.0.0.1 localhost {HOST} >hosts &&
mount --bind hosts /etc/hosts && mount --bind ca.pem /etc/ssl/certs/ca-certificates.crt"""


class Answer(http.server.BaseHTTPRequestHandler):
    timeout = 20

    def do_GET(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0))).decode()
        self.server.seen.append((self.command, self.path, self.headers["Content-Type"], body))
        status, text, *location = self.server.answers.get(self.path.partition("?")[0], (404, ""))
        self.send_response(status)
        self.send_header("Content-Type", "text/html")
        for address in location:
            self.send_header("Location", address)
        self.end_headers()
        self.wfile.write(text.encode())

    do_POST = do_GET


@unittest.skipUnless("AUTHORITY" in os.environ, "this system allows no namespaces to play the identity host in")
class SignInTest(test_program.ProgramTest):
    def serve(self, answers):
        double = http.server.ThreadingHTTPServer(("127.0.0.1", 443), Answer)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*(os.path.join(os.environ["AUTHORITY"], name) for name in ("host.pem", "host.key")))
        # Hands are shaken by the first read, in the connection's own thread: a silent one holds up no other.
        double.socket = context.wrap_socket(double.socket, server_side=True, do_handshake_on_connect=False)
        double.answers, double.seen = answers, []
        thread = threading.Thread(target=double.serve_forever)
        thread.start()
        for clean_up in (double.server_close, thread.join, double.shutdown):
            self.addCleanup(clean_up)
        return double.seen

    def sign_in_by(self, answers, *steps, address=ADDRESS):
        """Starts the program over a client that prints `address`, then takes `steps`."""
        seen = self.serve(answers)
        calls = [{"args": ["--display-quota", "--verbose"], "cut_short": True,
                  "steps": [{"print": f"Authorise this application by visiting:\n\n{address}\n\n"}, *steps]},
                 {"args": ["--monitor", "--syncdir", "{home}/OneDrive"], "cut_short": True, "steps": [{"hang": True}]}]
        scenario = self.write("scenario", json.dumps({"calls": calls}))
        return self.start(PLAYED_CLIENT_SCENARIO=str(scenario)), seen

    def click_page(self):
        """Clicks the button that covers the page, once the engine has really drawn it."""
        root = Gdk.get_default_root_window()
        x, y = root.get_width() // 2, root.get_height() // 2
        drawn = turn_until(lambda: Gdk.pixbuf_get_from_window(root, x, y, 1, 1).get_pixels()[:3] == GREEN, 40)
        self.assertTrue(drawn, self.lines[-5:])
        subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "1"], check=True)

    def client_waits(self):
        return subprocess.run(["pgrep", "-f", "--", "--display-quota"], stdout=subprocess.DEVNULL).returncode == 0

    def assert_signed_in(self, token):
        start = self.find("push button", "Start Sync")
        self.assertEqual((self.home / ".config/onedrive/refresh_token").read_bytes(), token)
        self.assertTrue(turn_until(lambda: not self.client_waits()), "the client of the sign-in goes on")
        start.do_action(0)
        self.assert_says("DEBUG: Launching: ")
        check = [str(pathlib.Path(os.environ["SKYFOLD_ISOLATED"]) / "bin/onedrive-cli"), "--scenario-check"]
        fits = turn_until(lambda: subprocess.run([*check, str(self.home / "scenario")], check=False).returncode == 0)
        self.assertTrue(fits, self.lines[-5:])

    def assert_redeemed(self, seen):
        """The token request fits the address that the page was asked for, value by value and escape by escape."""
        address = next(path for command, path, _, _ in seen if command == "GET" and path.startswith(AUTHORISE))
        asked = dict(pair.split("=") for pair in address.partition("?")[2].split("&"))
        [(path, kind, body)] = [rest for command, *rest in seen if command == "POST"]
        start, verifier = body.rsplit("=", 1)
        known = {"client_id": asked["client_id"], "grant_type": "authorization_code", "code": "M.C5%21x*",
                 "redirect_uri": asked["redirect_uri"]}
        pairs = (f"{name}={urllib.parse.quote(value, safe='')}" for name, value in known.items())
        self.assertEqual((path, kind), (TOKEN, "application/x-www-form-urlencoded"))
        self.assertEqual(start, "&".join(pairs) + "&code_verifier")
        challenge = base64.urlsafe_b64encode(hashlib.sha256(verifier.encode()).digest()).decode().rstrip("=")
        self.assertEqual((asked["code_challenge_method"], asked["code_challenge"]), ("S256", challenge))

    def test_own_exchange(self):
        reply = '{"token_type": "Bearer", "refresh_token" : "M.R3-\u00e9*!", "scope": ""}'
        _, seen = self.sign_in_by({AUTHORISE: (200, PAGE), TOKEN: (200, reply)}, {"hang": True})
        self.click_page()
        self.assert_signed_in("M.R3-\u00e9*!".encode())
        self.assert_redeemed(seen)

    def test_hand_back_to_the_client(self):
        token = {"write": {"path": "{home}/.config/onedrive/refresh_token", "text": "own"}}
        _, seen = self.sign_in_by({AUTHORISE: (302, "", REDIRECT)}, {"stdin": REDIRECT + "\n"}, token, {"exit": 0},
                                  address=ADDRESS + "&code_challenge=own")
        self.assert_signed_in(b"own")
        self.assertEqual([command for command, *_ in seen if command == "POST"], [])

    def test_refused_exchange(self):
        reply = '{"error": "invalid_grant",\n "error_description": "AADSTS70008: <old> & expired"}'
        program, seen = self.sign_in_by({AUTHORISE: (302, "", REDIRECT), TOKEN: (400, reply)}, {"hang": True})
        self.find("alert", "Login Error")
        self.find("label", f"Token exchange failed (HTTP 400).\n\nServer response:\n{reply}")
        subprocess.run(["xdotool", "key", "Return"], check=True)
        self.assert_ends(program, 0)
        self.assertFalse((self.home / ".config/onedrive/refresh_token").exists())
        self.assert_redeemed(seen)


def load_tests(_loader, _tests, _pattern):
    """Only the cases of this file: those of the class they build on run elsewhere."""
    return unittest.TestSuite(map(SignInTest, [name for name in vars(SignInTest) if name.startswith("test_")]))


def main(runner, inside=False):
    if inside:
        os.environ["AUTHORITY"] = tempfile.mkdtemp()  # goes with all else that the isolated run leaves behind
        fcntl.ioctl(socket.socket(), 0x8914, struct.pack("16sh22x", b"lo", 1))  # SIOCSIFFLAGS, IFF_UP
        subprocess.run(["sh", "-c", CERTIFY], check=True)
        os.execvp("dbus-run-session", ["dbus-run-session", "--", runner, __file__])
    for more in ([], ["--user", "--map-root-user"]):
        walls = ["unshare", "--mount", "--net", *more]
        if subprocess.run([*walls, "mount", "--bind", "/etc/hosts", "/etc/hosts"], check=False).returncode == 0:
            os.execvp("unshare", [*walls, sys.executable, __file__, runner, "inside"])
    os.execv(runner, [runner, __file__])


if __name__ == "__main__":
    main(*sys.argv[1:])
