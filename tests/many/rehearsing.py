"""Runs kelo-rehearse on many machines for the tests of this folder."""

import contextlib
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import typing
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))
from builds import NATIVE  # noqa: E402 (after the folder that it is in)

PROGRAM = NATIVE / "kelo-rehearse"


class Run(typing.NamedTuple):
    output: str
    errors: str
    status: int

    def lines(self):
        return [json.loads(line) for line in self.output.splitlines()]


def rehearse(*words, lines=None, program=PROGRAM, folder=ROOT):
    """A run with these words, and these lines on standard input."""
    given = "" if lines is None else "".join(line + "\n" for line in lines)
    done = subprocess.run([program, *words], cwd=folder, input=given, capture_output=True, text=True, check=False)
    return Run(done.stdout, done.stderr, done.returncode)


def children(process):
    """The processes that a process has started, from any of its threads."""
    numbers = []
    for path in pathlib.Path(f"/proc/{process}/task").glob("*/children"):
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            numbers += [int(number) for number in path.read_text("ascii").split()]
    return numbers


class InFolder(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, **files):
        """Writes descriptions; two underscores in a name stand for a folder's slash."""
        for name, description in files.items():
            path = self.folder / (name.replace("__", "/") + ".json")
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(description if isinstance(description, str) else json.dumps(description), "utf-8")

    def ending_program(self):
        """kelo-rehearse beside a program that ends in the way that a machine's environment asks for."""
        shutil.copy(PROGRAM, self.folder)
        shutil.copy(NATIVE / "ending_program.so", self.folder / "KeloCustomAction.so")
        return self.folder / PROGRAM.name


def ending(way, **others):
    return json.dumps({"environment": {"KELO_END_WAY": way, "KELO_END_MOMENT": "body"}, **others})
