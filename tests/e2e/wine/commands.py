"""Runs Wine's commands: the environment they get, what they begin with, the time they may take."""

import os
import shlex
import subprocess
import sys
import tempfile
import time

import paths
from wine import children
from wine.notes import ERRORS, without_notes

MOST_SECONDS = 120  # that a program may take
MOST_ERRORS = 10000  # characters of its errors that are shown when it takes longer
REGEDIT = r"C:\windows\regedit.exe"  # without its folder, Wine would start another program to find it
FONTS = "fonts.conf"  # of a prefix: lists none, because every program with windows would look at all fonts
LOCALE, ZONE = "C.UTF-8", "UTC"  # unless a prefix has others

# The server of a prefix ends with the test, whatever ends the test, and all programs of the prefix with the server.
TIED = ["setpriv", "--pdeathsig", "INT", "--"]


class Hung(AssertionError):
    """A program did not end in time; whatever ran in its prefix was ended."""


def environment(prefix, locale=LOCALE, zone=ZONE, debug=ERRORS):
    """The same everywhere, and nothing of the user's."""
    return {
        "PATH": os.environ.get("PATH", os.defpath),
        "HOME": "/nonexistent",
        "LC_ALL": locale,
        "TZ": zone,
        "TMPDIR": str(prefix / "tmp"),  # where the server keeps its socket
        "WINEPREFIX": str(prefix),
        "WINEARCH": "win64",
        "FONTCONFIG_SYSROOT": str(prefix),  # where there are no settings to choose from, which would all be read
        "FONTCONFIG_FILE": f"/{FONTS}",
        "LD_PRELOAD": str(paths.NATIVE / "libheap_guard.so"),
        "WINEDEBUG": debug,
        "WINEDLLOVERRIDES": "winemenubuilder.exe=d;mscoree=;mshtml=",
    }


def run(prefix, command, timeout=MOST_SECONDS, locale=LOCALE, zone=ZONE, cwd=None, debug=ERRORS):
    """Runs a command. Returns its exit code, its standard output, and its standard error. Both are files, because
    Wine's own processes stay for a while and keep a pipe open. Errors go to the test's standard error too. Raises
    Hung."""
    errors_file = prefix / "tmp" / "errors.txt"
    with tempfile.TemporaryFile(dir=prefix / "tmp") as output, open(errors_file, "ab") as errors:
        size_before = errors.tell()

        def said():
            return errors_file.read_bytes()[size_before:].decode(errors="replace")
        try:
            status = children.wait(children.start(command, env=environment(prefix, locale, zone, debug),
                                                  cwd=cwd or prefix, stdout=output, stderr=errors), timeout)
        except subprocess.TimeoutExpired:
            end_processes(prefix)
            output.seek(0)
            raise Hung(f"{shlex.join(map(str, command))} did not end within {timeout} seconds. It wrote "
                       f"{output.read()!r} and, as errors, {without_notes(said())[-MOST_ERRORS:]!r}") from None
        all_said = said()
        if errors_said := without_notes(all_said):
            print(f"{shlex.join(map(str, command))} ended with {status}. It or Wine said: {errors_said}",
                  file=sys.stderr)
        output.seek(0)
        return status, output.read(), all_said


def start(prefix, command, locale=LOCALE, zone=ZONE, cwd=None):
    """Starts a program without a time limit. Returns the process."""
    return children.start(["wine", *command], env=environment(prefix, locale, zone), cwd=cwd or prefix,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def serve(prefix, *options, notes=subprocess.DEVNULL):
    """Starts Wine's server. It stays while no program runs, and the services stay with it."""
    return children.start([*TIED, "wineserver", "-f", "-p", *options], env=environment(prefix), stdout=notes,
                          stderr=notes)


def has_server(prefix):
    """Whether there is a server, or a killed one has left its socket."""
    return any((prefix / "tmp").glob("*/server-*/socket"))


def wait_for_server(prefix, server):
    """A program that finds no server would start one of its own."""
    while not has_server(prefix):
        if server.poll() is not None:
            raise RuntimeError(f"wineserver ended with {server.returncode}")
        time.sleep(0.01)


def end_processes(prefix):
    """Ends whatever runs in a prefix."""
    children.wait(children.start(["wineserver", "-k"], env=environment(prefix), stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL), MOST_SECONDS)


def wine_version(folder):
    """Such as "wine-8.0"."""
    version = subprocess.run(["wine", "--version"], env=environment(folder), capture_output=True, text=True, check=True)
    return version.stdout.split()[0]
