#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Signing in end to end: the built program, the real web engine, and a double of the identity host over HTTPS. It runs
itself again in mounts and a network of its own, where the host's name leads to the loopback, and trusts one authority.
"""
import base64
import hashlib
import http.server
import os
import re
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest
from urllib.parse import quote

from driver import HANG, TRAYER, DrivenProgram, clients, main

HOST = "login.microsoftonline.com"
AUTHORISE, NATIVE, TOKEN = (f"/common/oauth2/{end}" for end in ("v2.0/authorize", "nativeclient", "v2.0/token"))
CODE = "M.C5%21x*"
REDIRECT = f"https://{HOST}{NATIVE}?code={CODE}&session_state=7"
ADDRESS = f"https://{HOST}{AUTHORISE}?client_id=d50c-83f&redirect_uri={quote(f'https://{HOST}{NATIVE}', safe='')}"
SIGN_IN, RENEW = ["--display-quota", "--verbose"], ["--reauth", "--verbose"]
SYNC = ["--monitor", "--syncdir", "{home}/OneDrive"]
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
        self.server.seen.append((self.command, self.path, self.headers, body))
        status, text, location = self.server.answers.get(self.path.partition("?")[0], (404, "", ""))
        if status is None:
            return  # the connection ends without a word
        self.send_response(status)
        self.send_header("Content-Type", "text/html")
        self.send_header("Location", location)
        self.end_headers()
        self.wfile.write(text.encode())

    do_POST = do_GET


@unittest.skipUnless("AUTHORITY" in os.environ, "no namespaces are allowed here, or there is no /etc/hosts to cover")
class SignInTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        self.spawn(*TRAYER)  # else the main window comes in between, by itself
        self.double = http.server.ThreadingHTTPServer(("127.0.0.1", 443), Answer)
        self.double.daemon_threads = True  # the engine keeps connections for later
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(f"{os.environ['AUTHORITY']}/{HOST}", f"{os.environ['AUTHORITY']}/{HOST}.key")
        # Hands are shaken by the first read, in a connection's own thread: a silent one holds up no other.
        self.double.socket = context.wrap_socket(self.double.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=self.double.serve_forever).start()
        self.addCleanup(self.double.server_close)
        self.addCleanup(self.double.shutdown)

    def sign_in_by(self, answers, address, *steps, more=()):
        """Starts it with a client that prints the address, then has those steps; `more` are calls of it after that."""
        self.double.answers, self.double.seen = {AUTHORISE: (302, "", REDIRECT), **answers}, []
        self.expect_calls((SIGN_IN, [{"print": f"Visit:\n\n{address}\n\n"}, *steps], "cut_short"), *more,
                          (SYNC, [{"print": "Syncing\n"}, HANG], "optional"))
        return self.start()

    def note_requests(self, case=""):
        """What the host was asked, but for what is made anew each time; that must fit together."""
        challenges = []
        for command, path, headers, body in self.double.seen:
            challenges += re.findall("(?<=code_challenge=)[-_A-Za-z0-9]{43}(?=&|$)", path)
            for verifier in re.findall("(?<=code_verifier=).*", body):
                redeemed = base64.urlsafe_b64encode(hashlib.sha256(verifier.encode()).digest()).decode().rstrip("=")
                self.assertEqual(redeemed, challenges[-1], "the challenge that the verifier belongs to")
            text = re.sub("(?<=code_challenge=|.code_verifier=)[-_.~A-Za-z0-9]{43,}", "(one of its own)", f"{path}\n{body}")
            told = ("User-Agent", "Accept", "Cookie", "Authorization", "Content-Type") if command == "POST" else ()
            if path.startswith(("/common", "/elsewhere")):
                text += "".join(f"\n{name}: {headers[name]}" for name in told if name in headers)
                self.note(f"request{case}", f"{command} {text}\n")

    def finish(self, program):
        """The sync runs; ends the program."""
        self.do("activate push button | Start Sync", "assert_says [SYNC] Syncing")
        program.terminate()
        self.note_requests()
        self.assert_day(program, ["client", "program"])

    def await_page(self, times):
        self.await_that("the page", lambda: [path for _, path, *_ in self.double.seen].count("/drawn") >= times)

    def test_own_exchange_and_a_second_sign_in(self):
        """The first one ever, with a client that does not want to end."""
        os.rmdir(self.home / ".config/onedrive")
        reply = '{"token_type": "Bearer", "refresh_token" : "M.R3-\u00e9*!", "scope": ""}'
        stubborn = [{"ignore": "SIGTERM"}, {"wait_for": "{home}/go"}, {"exit": 1}]
        refused = (SYNC, [{"print": "AADSTS70000\n"}, {"exit": 1}])
        program = self.sign_in_by({AUTHORISE: (200, PAGE, ""), TOKEN: (200, reply, "")}, ADDRESS, *stubborn,
                                  more=[refused, (RENEW, [{"print": ADDRESS + "&prompt=login\n"}, HANG], "cut_short")])
        self.await_page(1)
        self.do("click frame | OneDrive Login", "find push button | Start Sync", "look signed in", "write go")
        self.await_that("the client's end", lambda: not clients())
        self.double.answers[TOKEN] = (200, '{"refresh_token":"second"}', "")
        self.activate("push button", "Start Sync")
        self.await_page(2)
        self.do("click frame | OneDrive Login", "find push button | Start Sync")
        self.finish(program)

    def test_hand_back_to_the_client(self):
        # Neither what only names the redirect nor one without an answer is captured, and the right one is not loaded.
        way = {AUTHORISE: (302, "", f"/elsewhere?to={REDIRECT}"),
               "/elsewhere": (200, f"<script>location='{NATIVE}?state=1'</script>", ""),
               NATIVE: (200, f"<script>location='{REDIRECT}'</script>", "")}
        program = self.sign_in_by(way, ADDRESS + "&code_challenge=its-own", {"stdin": REDIRECT + "\n"},
                                  {"write": {"{home}/got": ""}}, {"wait_for": "{home}/go"}, OWN_TOKEN)
        self.await_that("the redirect at the client", (self.home / "got").exists)
        self.do("assert_gone frame | OneDrive Login", "write go", "find push button | Start Sync")
        self.finish(program)

    def test_closing_the_window_gives_up(self):
        program = self.sign_in_by({AUTHORISE: (200, PAGE, "")}, ADDRESS, HANG)
        self.do("find frame | OneDrive Login", "close OneDrive Login")
        self.assert_day(program)

    def test_page_that_moves_on_after_the_client_has_signed_in_counts_no_more(self):
        late = f"const ask = async () => (await fetch('/late')).ok ? location = '{REDIRECT}' : setTimeout(ask, 50)"
        program = self.sign_in_by({AUTHORISE: (200, f"<script>{late}; ask()</script>", "")}, ADDRESS,
                                  {"wait_for": "{home}/go"}, OWN_TOKEN)
        self.do("find frame | OneDrive Login", "write go", "find push button | Start Sync")
        self.double.answers["/late"] = (200, "", "")
        self.assert_says("DEBUG: Captured valid Redirect URI: ")
        self.finish(program)

    def test_sign_in_that_is_refused(self):
        """By the person, by the host, and by a network that is not there any more."""
        reply = '{"error": "invalid_grant",\n "error_description": "AADSTS70008: <old> & expired"}'
        for case, answers in [("denied", {AUTHORISE: (302, "", f"https://{HOST}{NATIVE}?error=access_denied")}),
                              ("expired", {TOKEN: (400, reply, "")}), ("cut off", {TOKEN: (None, "", "")})]:
            program = self.sign_in_by(answers, ADDRESS, HANG)
            self.do("find_active alert | Login Error", f"look {case}", "dismiss Login Error")
            self.assert_ends(program, 0)
            self.note_printed(f", {case}")
            self.note_requests(f", {case}")
        self.assert_recorded()


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
    main()
