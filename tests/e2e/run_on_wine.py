"""Runs the real program on a described machine under Wine and has kelo-rehearse show what it did, like a rehearsal.

Usage: run_on_wine.py [--verbose] MACHINE.json ARGUMENT..."""

import json
import pathlib
import subprocess
import sys
import tempfile

from comparison.changes import changes_between
from comparison.items import Snapshot, of_simulated, states_of
from machines.descriptions import as_on_wine, complete, load, merged, settled
from machines.parts import PLAIN
from runs.program import Machine
from runs.rehearsal import ENDLESS, REHEARSE, USAGE_ERROR, DescriptionError, NoResult, rehearse_and_save
from wine.commands import Hung
from wine.folders import wine_version

VERBOSE = "--verbose"


def run(description, arguments):
    """Runs the program. Returns what it left, in the form that kelo-rehearse shows."""
    _, after = rehearse_and_save(as_on_wine(description), "--", *arguments)  # refuses a bad description
    predicted = [of_simulated(complete(settled(machine))) for machine in (as_on_wine(description), after)]
    with Machine(description) as machine:
        before = Snapshot(machine, states_of(predicted[0]))
        done = machine.run(*arguments)
        # Wine has the processes of a plain machine in its own way.
        plain = of_simulated(complete({}))
        processes = {name[1] for items in predicted for name in items if name[0] == "process" and name not in plain}
        states = dict.fromkeys(states_of(predicted[0])) | states_of(predicted[1])
        seen = {"exitCode": done.exit_code, "log": done.log,
                "changes": changes_between(before, Snapshot(machine, states), processes),
                "facts": [["Under", wine_version()]]}
        if done.exit_code is None:
            seen |= {"end": "death", "noResult": "the program did not end by itself"}
        if machine.missing:
            seen["facts"].append(["Not set up", ", ".join(map(str, machine.missing))])
    return seen


def without_result(reason, end):
    return {"exitCode": None, "end": end, "noResult": reason, "log": [], "changes": [],
            "facts": [["Under", wine_version()]]}


def show(seen, path, options, arguments):
    """Has kelo-rehearse show a run. Returns its exit status."""
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "run.json")
        file.write_text(json.dumps(seen), encoding="utf-8")
        return subprocess.run([REHEARSE, "--seen", file, *options, path, "--", *arguments], check=False).returncode


def main():
    options = sys.argv[1:2] if sys.argv[1:2] == [VERBOSE] else []
    path, *arguments = sys.argv[1 + len(options):]
    try:
        description = load(path)
    except OSError as error:
        return usage_error(f"{path}: {error.strerror}")
    except ValueError as error:
        return usage_error(f"{path}: {error}")
    try:
        seen = run(merged(PLAIN, description), arguments)
    except DescriptionError as error:
        return usage_error(f"{path}: {error}")
    except NoResult as error:
        reason, status = error.args
        seen = without_result(f"{reason} (rehearsed, and not run under Wine)",
                              "endless" if status == ENDLESS else "death")
    except Hung as hung:
        print(*hung.args, *getattr(hung, "__notes__", []), sep="\n", file=sys.stderr)
        seen = without_result("the program did not end", "endless")
    except KeyboardInterrupt:
        return 130
    return show(seen, path, options, arguments)


def usage_error(text):
    print(f"run: {text}", file=sys.stderr)
    return USAGE_ERROR


if __name__ == "__main__":
    sys.exit(main())
