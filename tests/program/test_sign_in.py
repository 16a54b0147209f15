#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Signing in end to end: the built program, the real web engine, and a double of the identity host over HTTPS. It runs
itself again in mounts and a network of its own, where the host's name leads to the loopback, and trusts one authority.
"""
import base64
import hashlib
import http.server
import os
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest
from urllib.parse import quote

from driver import HANG, DrivenProgram, clients, turn_until

HOST = "login.microsoftonline.com"
AUTHORISE, NATIVE, TOKEN = (f"/common/oauth2/{end}" for end in ("v2.0/authorize", "nativeclient", "v2.0/token"))
CODE = "M.C5%21x*"
REDIRECT = f"https://{HOST}{NATIVE}?code={CODE}&session_state=7"
ADDRESS = f"https://{HOST}{AUTHORISE}?client_id=d50c-83f&redirect_uri={quote(f'https://{HOST}{NATIVE}', safe='')}"
OWN_TOKEN = {"write": {"{home}/.config/onedrive/refresh_token": "its own"}}  # a step of the client
# Tells when it is drawn, and takes a click anywhere.
PAGE = f"""<body style="height:100vh" onload="requestAnimationFrame(() => fetch('/drawn'))"
onclick="location='{REDIRECT}'">"""

# A resolver asked for usable addresses leaves IPv4 out where 127.0.0.1 is the only address of the machine.
BUILD = f"""set -e; cd "$AUTHORITY"; ip link set lo up; ip address add 127.0.0.2/8 dev lo
new() {{ openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj "/CN=$1" -keyout "$1.key" -out "$@"; }}
new authority
new {HOST} -CA authority -CAkey authority.key -addext subjectAltName=DNS:{HOST} -addext basicConstraints=CA:FALSE
echo 127.0.0.1 localhost {HOST} >hosts
mount --bind hosts /etc/hosts
mount --bind authority /etc/ssl/certs/ca-certificates.crt"""


class Answer(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0))).decode()
        self.server.seen.append((self.command, self.path, dict(self.headers), body))
        status, text, location = self.server.answers.get(self.path.partition("?")[0], (404, "", ""))
        self.send_response(status)
        self.send_header("Content-Type", "text/html")
        self.send_header("Location", location)
        self.end_headers()
        self.wfile.write(text.encode())

    do_POST = do_GET


@unittest.skipUnless("AUTHORITY" in os.environ, "no namespaces are allowed here, or there is no /etc/hosts to cover")
class SignInTest(DrivenProgram):
    def sign_in_by(self, answers, address, *steps):
        double = http.server.ThreadingHTTPServer(("127.0.0.1", 443), Answer)
        double.answers, double.seen = answers, []
        answers.setdefault(AUTHORISE, (302, "", REDIRECT))
        double.daemon_threads = True  # the engine keeps connections for later
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(f"{os.environ['AUTHORITY']}/{HOST}", f"{os.environ['AUTHORITY']}/{HOST}.key")
        # Hands are shaken by the first read, in a connection's own thread: a silent one holds up no other.
        double.socket = context.wrap_socket(double.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=double.serve_forever).start()
        self.addCleanup(double.server_close)
        self.addCleanup(double.shutdown)
        self.expect_calls(
            (["--display-quota", "--verbose"], [{"print": f"Visit:\n\n{address}\n\n"}, *steps], "cut_short"),
            (["--monitor", "--syncdir", "{home}/OneDrive"], [{"print": "Syncing\n"}, HANG], "optional"))
        return self.start(), double.seen

    def assert_signed_in(self, program, token=b"its own"):
        start = self.find("push button", "Start Sync")
        self.assertEqual((self.home / ".config/onedrive/refresh_token").read_bytes(), token)
        self.assertTrue(turn_until(lambda: not clients()), "the client outlives the sign-in")
        start.do_action(0)
        self.assert_says("Syncing")
        program.terminate()
        self.assert_ends(program, 0)

    def assert_refused(self, text, answers):
        program, seen = self.sign_in_by(answers, ADDRESS, HANG)
        self.find("label", text)
        self.dismiss("Login Error")
        self.assert_ends(program, 0)
        self.assertFalse((self.home / ".config/onedrive/refresh_token").exists())
        return seen

    def assert_redeemed(self, seen):
        address = next(path for _, path, _, _ in seen if path.startswith(AUTHORISE))
        asked = dict(pair.split("=") for pair in address.partition("?")[2].split("&"))
        [(path, headers, body)] = [rest for command, *rest in seen if command == "POST"]
        self.assertEqual((path, headers["Content-Type"]), (TOKEN, "application/x-www-form-urlencoded"))
        self.assertFalse({"User-Agent", "Accept", "Cookie", "Authorization"} & set(headers))
        head, verifier = body.rsplit("=", 1)
        self.assertEqual(head, f"client_id={asked['client_id']}&grant_type=authorization_code&code={quote(CODE, safe='')}"
                               f"&redirect_uri={quote(asked['redirect_uri'], safe='')}&code_verifier")
        challenge = base64.urlsafe_b64encode(hashlib.sha256(verifier.encode()).digest()).decode().rstrip("=")
        self.assertEqual((asked["code_challenge_method"], asked["code_challenge"]), ("S256", challenge))

    def test_own_exchange(self):
        reply = '{"token_type": "Bearer", "refresh_token" : "M.R3-\u00e9*!", "scope": ""}'
        program, seen = self.sign_in_by({AUTHORISE: (200, PAGE, ""), TOKEN: (200, reply, "")}, ADDRESS, HANG)
        self.assertTrue(turn_until(lambda: "/drawn" in [path for _, path, *_ in seen]), self.said()[-500:])
        self.click("frame", "OneDrive Login")
        self.assert_signed_in(program, "M.R3-\u00e9*!".encode())
        self.assert_redeemed(seen)

    def test_hand_back_to_the_client(self):
        # Neither what only names the redirect nor one without an answer is captured, and the right one is not loaded.
        way = {AUTHORISE: (302, "", f"/elsewhere?to={REDIRECT}"),
               "/elsewhere": (200, f"<script>location='{NATIVE}?state=1'</script>", ""),
               NATIVE: (200, f"<script>location='{REDIRECT}'</script>", "")}
        program, seen = self.sign_in_by(way, ADDRESS + "&code_challenge=its-own", {"stdin": REDIRECT + "\n"},
                                        {"write": {"{home}/got": ""}}, {"wait_for": "{home}/go"}, OWN_TOKEN)
        self.assertTrue(turn_until((self.home / "got").exists))
        self.assert_gone("frame", "OneDrive Login")
        self.write("go")
        self.assert_signed_in(program)
        self.assertEqual([path.partition("?")[2][:4] for command, path, *_ in seen if path != "/favicon.ico"],
                         ["clie", "to=h", "stat"])

    def test_closing_the_window_gives_up(self):
        program, _seen = self.sign_in_by({AUTHORISE: (200, PAGE, "")}, ADDRESS, HANG)
        self.close("OneDrive Login")
        self.assert_ends(program, 0)

    def test_page_that_moves_on_after_the_client_has_signed_in_counts_no_more(self):
        late = f"async () => {{ if ((await fetch('/late')).ok) location = '{REDIRECT}' }}"
        answers = {AUTHORISE: (200, f"<script>setInterval({late}, 50)</script>", "")}
        program, seen = self.sign_in_by(answers, ADDRESS, {"wait_for": "{home}/go"}, OWN_TOKEN)
        self.find("frame", "OneDrive Login")
        self.write("go")
        self.find("push button", "Start Sync")
        answers["/late"] = (200, "", "")
        self.assert_says("DEBUG: Captured valid Redirect URI: ")
        self.assert_signed_in(program)
        self.assertNotIn("POST", [command for command, *_ in seen])

    def test_refused_exchange(self):
        reply = '{"error": "invalid_grant",\n "error_description": "AADSTS70008: <old> & expired"}'
        text = f"Token exchange failed (HTTP 400).\n\nServer response:\n{reply}"
        self.assert_redeemed(self.assert_refused(text, {TOKEN: (400, reply, "")}))

    def test_refused_sign_in(self):
        self.assert_refused("Could not extract authorization code from redirect URL.",
                            {AUTHORISE: (302, "", f"https://{HOST}{NATIVE}?error=access_denied")})


def enter_walls(arguments):
    """Runs this file again where the authority is trusted and the host is this machine."""
    for more in ([], ["--user", "--map-root-user"]):
        walls = ["unshare", "--mount", "--net", *more]
        if subprocess.run([*walls, "mount", "--bind", "/etc/hosts", "/etc/hosts"], check=False).returncode == 0:
            os.environ["AUTHORITY"] = tempfile.mkdtemp()  # the isolated run clears it away
            os.execvp(walls[0], [*walls, "sh", "-c", BUILD + '\nexec "$@"', "sh", "dbus-run-session", "--", sys.executable,
                                 __file__, *arguments])


if __name__ == "__main__":
    if "AUTHORITY" not in os.environ:
        enter_walls(sys.argv[1:])
    unittest.main()
