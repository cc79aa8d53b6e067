"""No heap of a program under Wine grows to the memory that Wine needs."""

import pathlib
import unittest

from runs.program import Machine
from setup.services import start_sleeper

SLEEPER = "Sleeper.exe"


def _maps_of(name):
    """The lines of a running program's memory map."""
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if name in (process / "cmdline").read_text(errors="replace"):
                return (process / "maps").read_text().splitlines()
        except OSError:  # it has just ended
            continue
    raise AssertionError(f"{name} does not run")


class HeapGuard(unittest.TestCase):
    def test_no_program_has_a_heap(self):
        with Machine({}) as machine:
            name = machine.prefix.folder.name + SLEEPER  # other tests may run sleepers
            start_sleeper(machine.prefix, rf"C:\A\{name}")
            maps = _maps_of(name)
            self.assertTrue(any("libheap_guard" in line for line in maps))
            self.assertEqual([line for line in maps if line.endswith("[heap]")], [])
