"""What tests share that hold a run under Wine against a rehearsal."""

import contextlib
import unittest

from runs.program import Machine
from runs.rehearsal import rehearse


class PredictedRuns(unittest.TestCase):
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

    def check_on(self, machine, description, *arguments):
        """Messages, standard output and exit code are as predicted."""
        predicted = rehearse(description, *arguments)
        seen = machine.run(*arguments)
        self.assertEqual(seen.messages, predicted.messages)
        self.assertEqual((seen.exit_code, seen.stdout), (predicted.exit_code, predicted.stdout))
        return seen
