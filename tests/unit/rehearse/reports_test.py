#!/usr/bin/python3
"""Proves what kelo-rehearse shows: whole reports of several machines; that the first screen of any rehearsal tells
whether it worked, what failed first, how much changed and how long it waited; and that a report fits the terminal.

Each file of reports/ is a command with its output at 80 columns and its exit status.

Usage: reports_test.py PROJECT-FOLDER, or with --write after it, which writes the files anew."""

import difflib
import fcntl
import json
import os
import pathlib
import pty
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import termios

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "support"))

from builds import NATIVE  # noqa: E402 (after the folder that it is in)

REHEARSE = NATIVE / "kelo-rehearse"
REPORTS = "tests/unit/rehearse/reports"
SCREEN_LINES, SCREEN_WIDTH = 24, 80
COLOUR = re.compile(r"\033\[[\d;]*m")

# Rehearsals besides those of the described machines. They cover each way of ending.
OTHERS = [
    "machines/windows-7-toolkit.json",
    "machines/windows-7-toolkit.json -- /Nonsense",
    "--export SRK_Auth_Change machines/srk-upgrade.json",
    "--fault MsiGetPropertyW=6 --export SRK_Auth_Change machines/srk-upgrade.json",
    f"{REPORTS}/no_log.json -- /Commit",
    f"--fault RegCreateKeyExA=5 {REPORTS}/no_log.json -- /Commit",
    f"{REPORTS}/hang.json -- /Setup",
    "--fault RegCreateKeyExA=5 machines/windows-10-toolkit.json -- /Commit",
    "--fault StartServiceW=1068 --fault OpenSCManagerW#3=5 --fault DeleteFileA=5 --fault RegSetValueExA=5 "
    "--fault stkprobe.dll!DetectTSS=1 machines/windows-7-toolkit.json -- /Setup",
    "--fault CreateProcessW=740 machines/windows-8-card-installed.json -- /Uninstall",
]
FIRST_PROBLEM = re.compile(r"  (Why|First failure|First missing|First warning|Its last line)  +\S")


def run(project, words, **options):
    done = subprocess.run([REHEARSE, *words], cwd=project, capture_output=True, text=True, check=False, **options)
    return done.stdout + done.stderr, done.returncode


def recorded(project, command):
    """The content of a file of reports/ for a command."""
    output, status = run(project, shlex.split(command))
    return f"$ kelo-rehearse {command}\n{output}(exit status {status})\n"


def check_reports(project, is_writing):
    files = sorted((project / REPORTS).glob("*.txt"))
    for file in files:
        expected = file.read_text("utf-8")
        command = expected.splitlines()[0].removeprefix("$ kelo-rehearse ")
        seen = recorded(project, command)
        if is_writing:
            file.write_text(seen, "utf-8")
        yield from difflib.unified_diff(expected.splitlines(), seen.splitlines(), f"{REPORTS}/{file.name}", "seen",
                                        lineterm="")
    if len(files) < 10:
        yield f"only {len(files)} reports in {REPORTS}"


def rehearsals(project):
    for machine in sorted(project.glob("machines/windows-*.json")):
        for action in ("/Setup", "/Commit", "/Rollback", "/Uninstall"):
            yield f"{machine.relative_to(project)} -- {action}"
    # The other machines are like these.
    for machine in sorted(project.glob("machines/*.json")):
        if not machine.name.startswith(("windows-", "machine.schema")):
            yield f"{machine.relative_to(project)} -- /Setup"
    yield from OTHERS


def check_first_screens(project):
    seen = set()
    for command in rehearsals(project):
        output, status = run(project, shlex.split(command))
        screen = output.splitlines()[:SCREEN_LINES]
        headline = screen[1].strip()
        seen.add(headline.split()[0])
        for label in ("Result", "Waits", "Changes"):
            if not any(line.startswith(f"  {label} ") for line in screen):
                yield f"{command}: the first screen has no {label}"
        if headline != "SUCCEEDED" and not headline.startswith("FAILED: the command line names no action"):
            place = [number for number, line in enumerate(screen) if FIRST_PROBLEM.match(line)]
            if not place or place[0] + 1 >= SCREEN_LINES or not screen[place[0] + 1].strip():
                yield f"{command}: the first screen does not name the first failure"
        if (status == 0) != headline.startswith(("SUCCEEDED", "ENDED WITH 0", "NOT DONE")):
            yield f"{command}: exit status {status}, and the report says {headline}"
        yield from (f"{command}: too long: {line}" for line in too_long(output, SCREEN_WIDTH))
    for beginning in ("SUCCEEDED", "SUCCEEDED,", "FAILED:", "ENDED", "NO", "NOT"):
        if beginning not in seen:
            yield f"no first screen begins with {beginning}"


def too_long(output, width):
    """The lines that are longer than necessary: a word without blanks is not broken."""
    for line in output.splitlines():
        words = COLOUR.sub("", line).split()
        if len(COLOUR.sub("", line)) > width and max(map(len, words)) < width - 30:
            yield line


def on_terminal(project, words, width, environment):
    """The output on a terminal of the given width."""
    child, terminal = pty.fork()
    if child == 0:
        fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", SCREEN_LINES, width, 0, 0))
        os.chdir(project)
        os.execve(REHEARSE, [REHEARSE.name, *words], environment)
    output = b""
    try:
        while piece := os.read(terminal, 65536):
            output += piece
    except OSError:
        pass  # Linux reports a closed other end in this way
    os.waitpid(child, 0)
    os.close(terminal)
    return output.decode().replace("\r\n", "\n")


def check_terminals(project):
    words = shlex.split("--trace --verbose --fault StartServiceW=1068 machines/windows-7-toolkit.json -- /Setup")
    plain = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
    piped, _ = run(project, words, env=plain)
    if COLOUR.search(piped):
        yield "there are colours in a pipe"
    for width, narrowest in ((40, 60), (60, 60), (80, 80), (200, 140)):
        coloured = on_terminal(project, words, width, plain)
        colourless = on_terminal(project, words, width, {**plain, "NO_COLOR": "1"})
        if not COLOUR.search(coloured):
            yield f"no colours on a terminal of {width} columns"
        if COLOUR.search(colourless) or COLOUR.sub("", coloured) != colourless:
            yield f"NO_COLOR changes more than the colours, or not those, at {width} columns"
        if (width == 80) != (colourless == piped):
            yield f"a pipe has not 80 columns, or a terminal of {width} has"
        yield from (f"{width} columns: too long: {line}" for line in too_long(colourless, narrowest))


EXAMPLE = re.compile(r"^    \$ (\./run (?!package|--wine).*)\n((?:(?:    (?!\./run).*)?\n)*)", re.MULTILINE)

# The failure whose log the documents explain.
EXPLAINED_LOG = "--json --fault StartServiceW=1068 machines/windows-7-toolkit.json -- /Setup"


def shown_by(project, command):
    """The output of an example's command."""
    with tempfile.TemporaryDirectory() as folder:
        log = pathlib.Path(folder, "kelo_install_log.txt")
        log.write_text("\n".join(json.loads(run(project, shlex.split(EXPLAINED_LOG))[0])["log"]), "utf-8")
        words = [str(log) if word == log.name else word for word in shlex.split(command)]
        return subprocess.run(words, cwd=project, capture_output=True, text=True, check=False).stdout


def check_examples(project):
    """The reports and explanations in documents are real, except for the parts that they leave out at "..."."""
    count = 0
    for name in ("README.md", "docs/rehearsal.md"):
        for command, block in EXAMPLE.findall((project / name).read_text("utf-8")):
            rest = iter(shown_by(project, command).splitlines())
            shown = (line.removeprefix("    ") for line in block.splitlines() if line.strip() not in ("", "..."))
            yield from (f"{name}: {command}: does not show, or not there: {line}" for line in shown if line not in rest)
            count += 1
    if count != 3:
        yield f"{count} examples in the documents"


def main():
    project = pathlib.Path(sys.argv[1]).resolve()
    errors = [*check_reports(project, "--write" in sys.argv), *check_first_screens(project), *check_terminals(project),
              *check_examples(project)]
    print("\n".join(errors))
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
