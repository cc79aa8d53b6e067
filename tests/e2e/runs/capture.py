"""Has KeloDescribe capture a machine under Wine."""

import json

import paths
from setup.files import copy
from setup.system_libraries import SYSTEM_LIBRARIES, overrides
from standins.names import FOLDER

PROGRAM = paths.WINDOWS / "KeloDescribe.exe"
PLACE = FOLDER + r"\KeloDescribe.exe"
CAPTURED = FOLDER + r"\captured.json"


def prepare(prefix):
    """Puts KeloDescribe on a machine, where it meets the same stand-ins for Windows' libraries as the program."""
    copy(PROGRAM, prefix, PLACE)
    prefix.import_registry(overrides(PLACE, SYSTEM_LIBRARIES))


def capture(prefix, *options):
    """Has KeloDescribe read the machine that it was put on. Returns the description and the program's last line."""
    status, output = prefix.wine(PLACE, *options, CAPTURED)
    if status != 0:
        raise AssertionError(f"KeloDescribe ended with {status}: {output.decode(errors='replace')}")
    file = prefix.path(CAPTURED)
    description = json.loads(file.read_text(encoding="utf-8"))
    file.unlink()
    return description, output.decode().splitlines()[-1]
