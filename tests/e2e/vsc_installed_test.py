"""A set-up reads the value that tells whether the virtual smart card was installed before."""

import unittest

from product import CARD_NOTED, COMMON_KEY
from product import REINSTALLED as REINSTALL
from runs.program import Machine

NOT_INSTALLED = "VSC was not previously fully installed"


class VscInstalled(unittest.TestCase):
    def lines_about_it(self, values):
        with Machine({"registry": {COMMON_KEY: {"values": values}}}) as machine:
            messages = machine.run("/Setup").messages
        return [message for message in messages if message in (NOT_INSTALLED, REINSTALL)]

    def test_one_reinstalls(self):
        self.assertEqual(self.lines_about_it({CARD_NOTED: 1}), [REINSTALL])

    def test_zero_changes_nothing(self):
        self.assertEqual(self.lines_about_it({CARD_NOTED: 0}), [])

    def test_text_is_no_number(self):
        self.assertEqual(self.lines_about_it({CARD_NOTED: "1"}), [NOT_INSTALLED])

    def test_key_without_the_value_was_not_installed(self):
        self.assertEqual(self.lines_about_it({}), [NOT_INSTALLED])

    def test_missing_key_is_passed_over(self):
        with Machine({}) as machine:
            messages = machine.run("/Setup").messages
        self.assertEqual(set(messages) & {NOT_INSTALLED, REINSTALL}, set())
