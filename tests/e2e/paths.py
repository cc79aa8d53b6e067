"""This checkout and its builds; whoever imports this can import the modules of tests/support, packaging and
proof too."""

import pathlib
import sys

_TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(_TESTS / "support"), str(_TESTS.parent / "packaging"), str(_TESTS.parent / "proof")]

from builds import NATIVE, ROOT, WINDOWS  # noqa: E402,F401 (after the folder that it is in)
