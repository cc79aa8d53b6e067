"""Has KeloDescribe capture a machine under Wine: what the program may ask of Windows, as a description."""

import json

import paths
from standins.names import FOLDER

PROGRAM = paths.WINDOWS / "KeloDescribe.exe"
CAPTURED = FOLDER + r"\captured.json"


def capture(prefix, *options):
    """Has KeloDescribe read a machine that was set up. Returns the description and the program's last line."""
    status, output = prefix.wine(PROGRAM, *options, CAPTURED)
    if status != 0:
        raise AssertionError(f"KeloDescribe ended with {status}: {output.decode(errors='replace')}")
    file = prefix.path(CAPTURED)
    description = json.loads(file.read_text(encoding="utf-8"))
    file.unlink()
    return description, output.decode().splitlines()[-1]
