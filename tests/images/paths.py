"""The builds of this checkout; whoever imports this can import the modules of tests/support too."""

import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from builds import ROOT, WINDOWS  # noqa: E402,F401 (after the folder that it is in)
