"""What tests share that hold a run under Wine against a rehearsal."""

import contextlib
import unittest

from comparison.comparison import Comparison
from machines.descriptions import settled
from runs.log_lines import comparable, unpredicted_waits, without_numbers
from runs.program import Machine
from runs.rehearsal import rehearse, rehearse_and_save, words
from runs.table import Table


class PredictedRuns(Table, unittest.TestCase):
    maxDiff = None

    @contextlib.contextmanager
    def machine_like(self, description):
        """A machine under Wine with all that is described, for the length of a `with` statement."""
        with Machine(description) as machine:
            self.assertEqual(machine.missing, [])
            yield machine

    def enter(self, description):
        """The same until the test ends."""
        return self.enterContext(self.machine_like(description))

    def check(self, description, *arguments, folder=None):
        """Runs the program on such a machine, in a folder, as a rehearsal predicts. Returns the run."""
        with self.machine_like(description) as machine:
            if folder is not None:
                machine.prefix.current_folder = machine.prefix.path(folder)
            return self.check_on(machine, description, *arguments)

    row = check

    def check_on(self, machine, description, *arguments):
        """Messages, standard output and exit code are as predicted."""
        predicted = rehearse(description, *arguments)
        seen = machine.run(*arguments)
        self.assertEqual(*(list(map(without_numbers, run.messages)) for run in (seen, predicted)))
        self.assertEqual((seen.exit_code, seen.stdout), (predicted.exit_code, predicted.stdout))
        return seen

    def check_each(self, machine, simulated, runs, captured=None):
        """Runs one after the other, each with its arguments, are as predicted, and so is the whole machine after each.
        The description that KeloDescribe has made of it need not be made again. Yields the report of each rehearsal,
        and the run."""
        comparison = Comparison(machine, simulated, captured)
        self.assertEqual(comparison.differences(), [], "before the first run")
        for number, arguments in enumerate(runs, 1):
            report, simulated = rehearse_and_save(settled(simulated), *words(arguments))
            seen = machine.run(*arguments)
            with self.subTest(run=number, arguments=arguments):
                self.assertEqual(comparable(seen.log), comparable(report["log"]))
                self.assertEqual(unpredicted_waits(report["log"], seen.log), [])
                self.assertEqual((seen.exit_code, seen.stdout), (report["exitCode"], report["stdout"]))
                self.assertEqual(comparison.differences_after(simulated), [])
            yield report, seen
