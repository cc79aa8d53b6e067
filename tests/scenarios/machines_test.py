#!/usr/bin/python3
"""Proves that each machine of machines/ keeps what its first comment promises: a run, its exit status, and texts of its
log. The whole outcome of that run is in machines/NAME.txt beside this file: the exit status, the log and the changes.
If the same is tried on the machine that it is like, the file has the differences from that one's outcome.

Usage: machines_test.py PROJECT-FOLDER, or with --write after it, which writes these files anew."""

import difflib
import json
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "packaging"), str(ROOT / "tests" / "support")]

from builds import NATIVE  # noqa: E402 (after the folder that it is in)
from machine_description import parse  # noqa: E402 (after the folder that it is in)

OUTCOMES = "tests/scenarios/machines"
# The comment that a description begins with.
PROMISE = re.compile(r"// Try (--export SRK_Auth_Change|/.*?): exit status (\d)((?:.*\n//)*.*)\n\{")
HEADER = re.compile(r"^\d{4}/\d\d/\d\d \S+ TZ-?\d+ \[\d+\] ")
SHOWN_VALUES = ("registry", "events")  # areas of which the changes are shown with their values


def outcome(project, machine, tried):
    """The lines that describe a run on a machine."""
    done = subprocess.run([NATIVE / "kelo-rehearse", "--json", *shlex.split(words_of(machine, tried))],
                          cwd=project, capture_output=True, text=True, check=False)
    if not done.stdout:
        return [done.stderr.strip()]
    report = json.loads(done.stdout)
    return [f"exit status {done.returncode}", "log", *log_lines(report), "changes", *changes(report)]


def words_of(machine, tried):
    """The end of the command that tries an export or an action on a machine."""
    return f"{tried} {machine}" if tried.startswith("--") else f"{machine} -- {tried}"


def log_lines(report):
    repeats = {repeat["first"]: repeat for repeat in report["repeatedLines"]}
    for number, line in enumerate(report["log"]):
        if number in repeats:
            yield f"  the next {repeats[number]['length']} lines {repeats[number]['times']} times:"
        yield "  " + HEADER.sub("", line)


def changes(report):
    for change in report["changes"]:
        value = ": " + json.dumps(change["after"]) if change["area"] in SHOWN_VALUES and change["after"] else ""
        yield f"  {change['kind']} {change['area']} {change['item']}{value}"


def expected_text(project, machine, outcomes, promises):
    """The content of a machine's file."""
    tried = promises[machine][0]
    model = parse(machine.read_text("utf-8")).get("like")
    model = model and machine.parent / model
    whole = outcomes[machine]
    command = "$ kelo-rehearse " + words_of(machine.relative_to(project), tried)
    if model in promises and promises[model][0] == tried:
        differences = list(difflib.unified_diff(outcomes[model], whole, n=0, lineterm=""))[2:]
        whole = min(whole, [f"as on {model.relative_to(project)}, but", *differences], key=len)
    return "\n".join([command, *whole, ""])


def check_promise(promise, lines):
    _, status, text = promise
    if lines[0] != f"exit status {status}":
        yield f"not exit status {status}, but {lines[0]}"
    said = re.sub(r"\s*//\s*", " ", text)
    for quoted in re.findall(r'"([^"]+)"', said):
        if not any(quoted in line for line in lines):
            yield f"no line has the text {quoted}"


def check(project, is_writing):
    machines = sorted(path for path in (project / "machines").glob("*.json") if path.name != "machine.schema.json")
    promises = {}
    for machine in machines:
        found = PROMISE.match(machine.read_text("utf-8"))
        if not found:
            yield f"{machine.name}: does not begin with \"// Try ARGUMENTS: exit status N\""
            continue
        promises[machine] = found.groups()
    outcomes = {machine: outcome(project, machine, promise[0]) for machine, promise in promises.items()}
    for machine, promise in promises.items():
        yield from (f"{machine.name}: {complaint}" for complaint in check_promise(promise, outcomes[machine]))
        file = project / OUTCOMES / f"{machine.stem}.txt"
        seen = expected_text(project, machine, outcomes, promises)
        expected = file.read_text("utf-8") if file.exists() else ""
        if is_writing:
            file.write_text(seen, "utf-8")
        yield from difflib.unified_diff(expected.splitlines(), seen.splitlines(), f"{OUTCOMES}/{file.name}", "seen",
                                        lineterm="")
    stems = {machine.stem for machine in machines}
    for file in (project / OUTCOMES).glob("*.txt"):
        if file.stem not in stems:
            yield f"{OUTCOMES}/{file.name} is the outcome of no machine"


def main():
    complaints = list(check(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:] == ["--write"]))
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
