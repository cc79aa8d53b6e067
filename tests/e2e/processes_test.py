"""The program finds real processes by the names of their files and ends them, and finds services' programs."""

import unittest

from runs.program import Machine
from runs.table import Table
from setup.services import start_sleeper

FOUND = "  found process: <PatchAgent.exe>"
TRIED = "Try to kill process: PatchAgent.exe"
KILLED = "Killed process: PatchAgent.exe"
NOT_FOUND = "Cannot find this process: PatchAgent.exe"


class KillProcessByName(unittest.TestCase):
    def test_of_two_processes_one_is_ended_at_a_time(self):
        with Machine({}) as machine:
            for folder in ("A", "B"):
                start_sleeper(machine.prefix, f"C:\\{folder}\\PatchAgent.exe")
            for _ in range(2):
                self.assertEqual(machine.call("KillProcessByName", "PatchAgent.exe"), ("true", [TRIED, FOUND, KILLED]))
            self.assertEqual(machine.call("KillProcessByName", "PatchAgent.exe"), ("false", [TRIED, NOT_FOUND]))

    def test_name_in_another_case(self):
        with Machine({}) as machine:
            start_sleeper(machine.prefix, r"C:\A\PatchAgent.exe")
            self.assertEqual(machine.call("KillProcessByName", "PATCHAGENT.EXE"),
                             ("true", ["Try to kill process: PATCHAGENT.EXE", "  found process: <PATCHAGENT.EXE>",
                                       "Killed process: PATCHAGENT.EXE"]))
            self.assertEqual(machine.call("FindProcessByName", "PatchAgent.exe"), ("false", []))

    def test_find_leaves_the_process_alone(self):
        with Machine({}) as machine:
            start_sleeper(machine.prefix, r"C:\A\PatchAgent.exe")
            for _ in range(2):
                self.assertEqual(machine.call("FindProcessByName", "PatchAgent.exe"), ("true", [FOUND]))


class GetServiceBinaryPath(Table, unittest.TestCase):
    ROWS = {
        "quoted": (r'"C:\Program Files\X\svc.exe" -Service', r"C:\Program Files\X"),
        "unquoted": (r"C:\Standins\svc.exe", r":\Standins"),
        "configuration_of_more_than_4096_bytes": (r'"C:\Standins\svc.exe" ' + 2000 * "x", "(none) (untouched)"),
        "unknown": (None, "(none) (untouched)"),
    }

    def row(self, binary_path, result):
        with Machine({"services": {"Some": {"binaryPath": binary_path}} if binary_path else {}}) as machine:
            self.assertEqual(machine.call("GetServiceBinaryPath", "Some"), (result, []))
