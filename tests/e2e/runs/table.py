"""Tests that differ in their data alone: a table, and a test with its own name for each row."""

import re


class Table:
    """A class of tests with a table: ROWS has the arguments of `row`, which checks one, by the names of the tests."""

    ROWS = {}

    def __init_subclass__(cls, **rest):
        super().__init_subclass__(**rest)
        for name, arguments in vars(cls).get("ROWS", {}).items():
            setattr(cls, "test_" + re.sub(r"\W+", "_", name), lambda self, row=arguments: self.row(*row))
