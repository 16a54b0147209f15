# SPDX-License-Identifier: MIT
"""The lines every start prints, up to the point where the client is signed in and ready."""
import os
import re
import time

from .console import say, write
from .settings import write_private

VERSION = "onedrive v2.5.4-1"
DRIVE = "66d53be8a5056eca"
AUTHORISE_ADDRESS = (
    "https://login.microsoftonline.com/common/oauth2/v2.0/authorize"
    "?client_id=d50ca740-c83f-4d1b-b616-12c519384f0c"
    "&scope=Files.ReadWrite%20Files.ReadWrite.All%20Sites.ReadWrite.All%20offline_access"
    "&response_type=code&prompt=login"
    "&redirect_uri=https://login.microsoftonline.com/common/oauth2/nativeclient"
)
PROMPT = (
    "Configuring Global Azure AD Endpoints\nAuthorise this application by visiting:\n\n"
    f"{AUTHORISE_ADDRESS}\n\nEnter the response uri from your browser: "
)
TOTAL_BYTES = 5 << 30


class Ended(Exception):
    """The client stops here, with this exit code."""

    def __init__(self, code):
        super().__init__(code)
        self.code = code


def say_found_config(settings, verbose=False):
    if settings.text is not None:
        say(f"Reading configuration file: {settings.path('config')}")
        say("Configuration file successfully loaded")
    elif verbose:
        say("No user or system config file found, using application defaults")
    if verbose:
        say(f"Using 'user' configuration path for application config and state data: {settings.folder}")


def check_accepted(settings, syncs):
    """End with 126 where a resync is due. That nothing was accepted yet matters only to starts that sync."""
    edited = settings.text != settings.accepted or settings.needs_resync()
    if not edited or (settings.accepted is None and not syncs):
        return
    say("Application configuration file has been updated, checking if --resync needed")
    if settings.accepted is None:
        say("WARNING: no backup config file was found, unable to validate if any changes made")
    if settings.needs_resync():
        settings.write_first_config()
        say()
        say("An application configuration change has been detected where a --resync is required")
        say()
        raise Ended(126)


def contact():
    say("Attempting to contact Microsoft OneDrive Login Service")
    say("Successfully reached Microsoft OneDrive Login Service")


def random_id():
    return re.sub(r"(.{8})(.{4})(.{4})(.{4})(.{12})", r"\1-\2-\3-\4-\5", os.urandom(16).hex())


def say_refused():
    now = time.strftime("%Y-%m-%d %H:%M:%SZ", time.gmtime())
    say()
    say(
        "AADSTS70000: The request was denied because one or more scopes requested are unauthorized or "
        "expired. The user must first sign in and grant the client application access to the requested "
        "scope. "
        f"Trace ID: {random_id()} Correlation ID: {random_id()} Timestamp: {now}"
    )
    say()
    say("ERROR: You will need to issue a --reauth and re-authorise this client to obtain a fresh auth token.")
    say()


def read_line():
    """One line of standard input without its end, byte by byte so that nothing behind it is swallowed."""
    line = b""
    while (byte := os.read(0, 1)) not in (b"", b"\n"):
        line += byte
    return line.decode("utf-8", "replace")


def ask_for_redirect(settings):
    """The sign-in conversation: a code in the redirect is worth a token, one with "bad-code" is refused."""
    write(PROMPT.encode())
    code = re.search(r"[?&]code=([^&\s]+)", read_line())
    if not code:
        say("An empty or invalid response uri was entered")
        say("The OneDrive API could not be initialised")
        raise Ended(1)
    if "bad-code" in code.group(1):
        say_refused()
        raise Ended(1)
    write_private(settings.path("refresh_token"), "M.C523_BAY.0.U." + os.urandom(26).hex())


def size_text(count):
    return f"{count / (1 << 30):.2f} GB ({count} bytes)"


def say_account(used):
    say(f"Application Version:  {VERSION}")
    say("Account Type:         personal")
    say(f"Default Drive ID:     {DRIVE}")
    say(f"Default Root ID:      {DRIVE.upper()}!101")
    say(f"Remaining Free Space: {size_text(TOTAL_BYTES - used)}")
    say("Sync Engine Initialised with new Onedrive API instance")


def say_quota(used):
    say(f"Microsoft OneDrive quota information as reported for this Drive ID: {DRIVE}")
    say()
    say(f"Deleted:   {size_text(0)}")
    say(f"Remaining: {size_text(TOTAL_BYTES - used)}")
    say("State:     normal")
    say(f"Total:     {size_text(TOTAL_BYTES)}")
    say(f"Used:      {size_text(used)}")
    say()


def reach_service(settings, clock, verbose, used):
    """From the first look at the network to a working sign-in; `used` is the cloud's size in bytes."""
    say("Using IPv4 and IPv6 (if configured) for all network operations")
    clock.step(0.5)
    contact()
    if verbose:
        say("Checking Application Version ...")
        say("Attempting to initialise the OneDrive API ...")
    if settings.token() is None:
        ask_for_redirect(settings)
    else:
        say("Configuring Global Azure AD Endpoints")
    if verbose:
        say("The OneDrive API was initialised successfully")
        say("Opening the item database ...")
    if settings.token_refused():
        say_refused()
        raise Ended(1)
    if verbose:
        say_account(used)
