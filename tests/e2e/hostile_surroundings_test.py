"""The program goes on as predicted where its surroundings are not what they should be."""

import unittest

from program import LOG, Machine, rehearse

LOG_FOLDER = LOG.rpartition("\\")[0]
LINE_LIMIT = 32000  # characters of a command line, near the most that Windows takes


class HostileSurroundings(unittest.TestCase):
    def check(self, description, *arguments):
        """The whole log, standard output and exit status are as predicted. Returns the run."""
        predicted = rehearse(description, *arguments)
        with Machine(description) as machine:
            self.assertEqual(machine.missing, [])
            seen = machine.run(*arguments)
        self.assertEqual(seen.messages, predicted.messages)
        self.assertEqual((seen.exit_status, seen.stdout), (predicted.exit_status, predicted.stdout))
        return seen

    def test_log_folder_that_is_a_file(self):
        seen = self.check({"files": {LOG_FOLDER: {"text": "no folder"}}}, "/Commit")
        self.assertEqual(seen.log, [])

    def test_long_command_line(self):
        self.check({}, "/Commit", "/X=" + LINE_LIMIT * "x")

    def test_arguments_with_quotation_marks_and_percent_signs(self):
        self.check({}, "/Commit", '/A="x"', "/C=%n%s%PATH%", "/D=100%")

    def test_arguments_outside_the_code_page(self):
        self.check({}, "/Commit", "/X=Zoë-日本-Ω")
