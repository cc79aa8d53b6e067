"""Runs kelo-rehearse on described machines that are like Wine where they say nothing."""

import json
import pathlib
import subprocess
import tempfile

import paths
from machines.descriptions import as_on_wine, without_vain_nulls
from runs.run import Run
from wine.commands import MOST_SECONDS

REHEARSE = paths.NATIVE / "kelo-rehearse"

USAGE_ERROR, ENDLESS, DEATH = 2, 3, 4  # its exit statuses


class DescriptionError(Exception):
    """A machine that kelo-rehearse does not accept; the text is its message."""


class NoResult(AssertionError):
    """A rehearsal without a result: why, and kelo-rehearse's exit status."""


def rehearse(description, *arguments):
    """The predicted run of the program."""
    report = report_of(description, *words(arguments))
    return Run(report["exitCode"], report["stdout"], report["log"])


def words(arguments):
    """How kelo-rehearse is told of a run with these arguments; an export is called by "--export" and its name."""
    return arguments if arguments[:1] == ("--export",) else ("--", *arguments)


def report_of(description, *arguments):
    """The JSON report of one rehearsal."""
    return rehearse_and_save(as_on_wine(description), *arguments)[0]


def rehearse_and_save(machine, *arguments):
    """The JSON report of a rehearsal on just this machine, and the machine as it is left."""
    with tempfile.TemporaryDirectory() as folder:
        before, after = pathlib.Path(folder, "before.json"), pathlib.Path(folder, "after.json")
        before.write_text(json.dumps(without_vain_nulls(machine)), encoding="utf-8")
        done = subprocess.run([REHEARSE, "--json", "--save", after, before, *arguments], capture_output=True,
                              text=True, check=False, timeout=MOST_SECONDS)
        if done.returncode == USAGE_ERROR:
            raise DescriptionError(done.stderr.strip().removeprefix("kelo-rehearse: ").removeprefix(f"{before}: "))
        report = json.loads(done.stdout)
        if report["noResult"]:
            raise NoResult(report["noResult"], done.returncode)
        if done.returncode != int(report["exitCode"] != 0):
            raise AssertionError(f"{REHEARSE} ended with {done.returncode}, and reports {report['exitCode']}")
        return report, json.loads(after.read_text(encoding="utf-8"))
