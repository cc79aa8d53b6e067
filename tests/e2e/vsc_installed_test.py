"""A setup reads the value that says whether the virtual smart card was there before."""

import unittest

from program import Machine

NOT_INSTALLED = "VSC was not previously fully installed"
REINSTALL = "When Toolkit was last uninstalled... the VSC was present, so must reinstall..."


class VscInstalled(unittest.TestCase):
    def lines_about_it(self, values):
        with Machine({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": values}}}) as machine:
            messages = machine.run("/Setup").messages
        return [message for message in messages if message in (NOT_INSTALLED, REINSTALL)]

    def test_one_reinstalls(self):
        self.assertEqual(self.lines_about_it({"KlVSC Installed": 1}), [REINSTALL])

    def test_zero_changes_nothing(self):
        self.assertEqual(self.lines_about_it({"KlVSC Installed": 0}), [])

    def test_text_is_no_number(self):
        self.assertEqual(self.lines_about_it({"KlVSC Installed": "1"}), [NOT_INSTALLED])

    def test_key_without_the_value_was_not_installed(self):
        self.assertEqual(self.lines_about_it({}), [NOT_INSTALLED])

    def test_missing_key_is_passed_over(self):
        with Machine({}) as machine:
            messages = machine.run("/Setup").messages
        self.assertEqual(set(messages) & {NOT_INSTALLED, REINSTALL}, set())
