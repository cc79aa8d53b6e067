"""Lists the end-to-end test cases, a line each, as `python3 -m unittest` takes them."""

import pathlib
import unittest


def cases(suite):
    for item in suite:
        if isinstance(item, unittest.TestSuite):
            yield from cases(item)
        else:
            yield item.id()


print("\n".join(cases(unittest.defaultTestLoader.discover(pathlib.Path(__file__).parent, "*_test.py"))))
