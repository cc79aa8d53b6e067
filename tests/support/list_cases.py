"""Lists the test cases of a folder, one a line, by the names that `python3 -m unittest` accepts there."""

import sys
import unittest


def cases(suite):
    for item in suite:
        if isinstance(item, unittest.TestSuite):
            yield from cases(item)
        else:
            yield item.id()


print("\n".join(cases(unittest.defaultTestLoader.discover(sys.argv[1], "*_test.py"))))
