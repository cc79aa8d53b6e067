"""No heap of a program under Wine grows to the memory that Wine needs."""

import os
import pathlib
import subprocess
import unittest

import paths
from runs.program import Machine
from setup.services import start_sleeper

SLEEPER = "Sleeper.exe"
UNLUCKY = paths.NATIVE / "unlucky_heap"  # its heap begins there; its exit status says whether that is free
ANOTHER_PLACE = 2


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

    def test_a_heap_that_begins_there_goes_elsewhere(self):
        def status(**environment):
            return subprocess.run([UNLUCKY], env={**os.environ, **environment}, check=False).returncode

        if (unguarded := status()) == ANOTHER_PLACE:
            self.skipTest("this system places heaps at random")
        self.assertEqual(unguarded, 1)
        self.assertEqual(status(LD_PRELOAD=str(paths.NATIVE / "libheap_guard.so")), 0)
