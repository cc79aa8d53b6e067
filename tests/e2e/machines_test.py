"""One description, two machines: on each described machine the program logs, returns and changes the same under Wine as
in a rehearsal, in all of its actions one after the other. And a third: KeloDescribe captures the machine under Wine, and
on the captured machine each action does the same in a rehearsal as on the described one."""

import re
import unittest

from comparison.captured import differences as captured_differences
from machines.cases import CASES, LEFT_TO_WINSIM, all_cases
from machines.descriptions import as_on_wine
from machines.limits import LeftOut, without
from paths import ROOT
from runs.prediction import PredictedRuns
from runs.program import Machine


class EachMachine(PredictedRuns):
    """A test for each machine, with the machine's name in its own."""

    ROWS = {name: (case,) for name, case in all_cases()}

    def row(self, case):
        with Machine(case.description) as machine:
            self.assertEqual([item for item in machine.missing if not re.fullmatch(case.left_out, item)], [])
            # What the prefix cannot be, the simulated machine is not either.
            simulated = as_on_wine(without(case.description, machine.missing))
            captured = machine.captured("--probe")
            self.assertEqual(list(captured_differences(captured, simulated, case.runs)), [],
                             "rehearsed on the captured machine")
            for _ in self.check_each(machine, simulated, case.runs, captured):
                pass


class MachinesLeftToWinsim(unittest.TestCase):
    def test_are_shipped_and_name_cases(self):
        for name, reason in LEFT_TO_WINSIM.items():
            with self.subTest(name):
                self.assertTrue((ROOT / "machines" / f"{name}.json").is_file())
                self.assertLessEqual(set(re.findall(r'"(.*)"', reason)), CASES.keys())


class Limits(unittest.TestCase):
    def test_a_part_without_a_reason_is_named(self):
        with self.assertRaisesRegex(KeyError, r"services\.X\.color: a prefix is not like it, and LIMITS .* no reason"):
            LeftOut("services", "X", "color")
