"""The images' own parts of the C++ runtime work like the toolchain's, which they replace."""

import unittest

from paths import WINDOWS
from wine.prefix import Prefix

THREADS, ROUNDS = 4, 500  # of thrown_in_image.exe
KINDS = ["memory", "array", "length", "place", "vector"]


class ImageRuntime(unittest.TestCase):
    def test_each_exception_is_caught_in_each_thread(self):
        with Prefix() as prefix:
            status, output = prefix.wine(WINDOWS / "thrown_in_image.exe")
        self.assertEqual((status, output.decode().split()),
                         (0, [word for kind in KINDS for word in (kind, str(THREADS * ROUNDS))]
                          + ["nested", str(len(KINDS) * THREADS * ROUNDS)]))
