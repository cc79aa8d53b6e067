"""A set-up reads the value that tells whether the virtual smart card was installed before."""

import unittest

from product import CARD_NOTED, COMMON_KEY
from product import REINSTALLED as REINSTALL
from runs.program import Machine
from runs.table import Table

NOT_INSTALLED = "VSC was not previously fully installed"


class VscInstalled(Table, unittest.TestCase):
    ROWS = {
        "one_reinstalls": ({CARD_NOTED: 1}, [REINSTALL]),
        "zero_changes_nothing": ({CARD_NOTED: 0}, []),
        "text_is_no_number": ({CARD_NOTED: "1"}, [NOT_INSTALLED]),
        "key_without_the_value_was_not_installed": ({}, [NOT_INSTALLED]),
        "missing_key_is_passed_over": (None, []),
    }

    def row(self, values, lines):
        """The lines about it, with these values of the key, or without the key."""
        with Machine({} if values is None else {"registry": {COMMON_KEY: {"values": values}}}) as machine:
            messages = machine.run("/Setup").messages
        self.assertEqual([message for message in messages if message in (NOT_INSTALLED, REINSTALL)], lines)
