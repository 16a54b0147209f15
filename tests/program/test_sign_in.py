#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Signing in end to end: the built program, the real web engine, and a double of the identity host over HTTPS. It runs
itself again in mounts and a network of its own, where the host's name leads to the loopback, and trusts one authority.
The days are in tests/approved.
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

from driver import DrivenProgram, plays

HOST = "login.microsoftonline.com"
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
        status, text = self.server.answers.get(self.path.partition("?")[0], (404, ""))
        if status is None:
            return  # the connection ends without a word
        self.send_response(status)
        self.send_header("Content-Type", "text/html")
        if status == 302:
            self.send_header("Location", text)
        self.end_headers()
        self.wfile.write(text.encode())

    do_POST = do_GET


@plays("sign-in")
@unittest.skipUnless("AUTHORITY" in os.environ, "no namespaces are allowed here, or there is no /etc/hosts to cover")
class SignInTest(DrivenProgram):
    def setUp(self):
        super().setUp()
        self.start_tray()  # else the main window comes in between, by itself
        self.double = http.server.ThreadingHTTPServer(("127.0.0.1", 443), Answer)
        self.double.answers, self.double.seen = {}, []
        self.double.daemon_threads = True  # the engine keeps connections for later
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(f"{os.environ['AUTHORITY']}/{HOST}", f"{os.environ['AUTHORITY']}/{HOST}.key")
        # Hands are shaken by the first read, in a connection's own thread: a silent one holds up no other.
        self.double.socket = context.wrap_socket(self.double.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=self.double.serve_forever).start()
        self.addCleanup(self.double.server_close)
        self.addCleanup(self.double.shutdown)

    def answer(self, path, status="", text=""):
        """What the host answers: a page, the place that it leads to, or nothing."""
        self.double.answers[path] = (int(status) if status else None), text

    def await_page(self, times="1"):
        """A page of these days tells when it is drawn."""
        self.await_that("the page", lambda: [path for _, path, *_ in self.double.seen].count("/drawn") >= int(times))

    def requests(self):
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
                self.outcome += f"==== {command} {text}\n"
        self.double.seen.clear()


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
