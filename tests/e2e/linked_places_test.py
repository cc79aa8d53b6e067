"""The program follows no link that somebody put below the common application data before an administrator runs it:
whatever a link leads to keeps its mode and its content, or stays missing.

Wine 8 treats links differently from Windows: a call that should open the link itself opens what it leads to, and a link
to nothing is a missing file. The simulated machine shows the rest (tests/faults/hostile_user_test.cpp): that an opened
link tells that it is one and who made it, and that nobody can swap a place between two calls."""

import unittest
from pathlib import Path

from product import COMMON_DATA, CONFIGURATION, DATA, LOG, LOG_FOLDER, POLICIES
from runs.program import Machine
from runs.rehearsal import rehearse
from runs.table import Table

VICTIM_FOLDER = r"C:\Victim"
VICTIM_FILES = {VICTIM_FOLDER + name: b"what only administrators may change\r\n"
                for name in (r"\Kelo_Config.ini", r"\kelo_install_log.txt", r"\victim.dat")}
VICTIM_FILE = VICTIM_FOLDER + r"\victim.dat"
MISSING_FILE = VICTIM_FOLDER + r"\planted.dat"
MODES = {"file": 0o644, "folder": 0o755}

# The beginnings of messages about the policies and the configuration file.
ACCESS_LINES = ("GetNamedSecurityInfoW error: ", "SHCreateDirectoryExW error: ", "SetNamedSecurityInfo call failed: ",
                "Successfully changed DACL for ", "Unable to Set ")


def others(lines):
    """The messages that are not about the policies and the configuration file."""
    return [line for line in lines if not line.startswith(ACCESS_LINES)]


class LinkedPlaces(Table, unittest.TestCase):
    def setUp(self):
        machine = Machine({})
        self.machine = self.enterContext(machine)
        for path, content in VICTIM_FILES.items():
            self.path(path).parent.mkdir(exist_ok=True)
            self.path(path).write_bytes(content)
            self.path(path).chmod(MODES["file"])
        (self.path(VICTIM_FOLDER) / "policies").mkdir()
        for folder in (self.path(VICTIM_FOLDER), self.path(VICTIM_FOLDER) / "policies"):
            folder.chmod(MODES["folder"])

    def path(self, name):
        return self.machine.prefix.path(name)

    def victims(self):
        """All files in the folder of victims, with their modes and contents."""
        top = self.path(VICTIM_FOLDER)
        return {str(path.relative_to(top)): (oct(path.stat().st_mode), path.read_bytes() if path.is_file() else None)
                for path in [top, *top.rglob("*")]}

    def row(self, place, target, make_link=Path.symlink_to):
        """A set-up changes no victim and has the usual exit code. Whatever is linked is left out: the policies and the
        configuration file, of which the log tells, or the log itself, which then gets no line."""
        self.path(place).parent.mkdir(parents=True, exist_ok=True)
        make_link(self.path(place), self.path(target))
        before, predicted = self.victims(), rehearse({}, "/Setup")
        seen = self.machine.run("/Setup")
        self.assertEqual(self.victims(), before)
        self.assertEqual(seen.exit_code, predicted.exit_code)
        if LOG.startswith(place):
            self.assertEqual(seen.log, [])
        else:
            self.assertEqual(others(seen.messages), others(predicted.messages))

    ROWS = {
        "linked_folder_of_both": (COMMON_DATA, VICTIM_FOLDER),
        "linked_policies": (POLICIES, VICTIM_FOLDER),
        "linked_configuration_file": (CONFIGURATION, VICTIM_FILE),
        "configuration_file_that_is_a_link_to_a_folder": (CONFIGURATION, VICTIM_FOLDER),
        "configuration_file_that_is_a_link_to_nothing": (CONFIGURATION, MISSING_FILE),
        "configuration_file_with_another_name": (CONFIGURATION, VICTIM_FILE, Path.hardlink_to),
        "linked_log_folder": (LOG_FOLDER, VICTIM_FOLDER),
        "log_folder_that_is_a_link_to_nothing": (LOG_FOLDER, MISSING_FILE),
        "linked_log_file": (LOG, VICTIM_FILE),
        "log_file_that_is_a_link_to_nothing": (LOG, MISSING_FILE),
        "log_file_with_another_name": (LOG, VICTIM_FILE, Path.hardlink_to),
        "linked_folder_of_everything": (DATA, VICTIM_FOLDER),
    }
