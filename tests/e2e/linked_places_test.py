"""The program follows no link that somebody put below the common application data before an administrator runs it:
whatever a link leads to keeps its mode and its content, or stays missing.

Wine 8 treats links differently from Windows: a call that should open the link itself opens what it leads to, and a link
to nothing is a missing file. The simulated machine shows the rest (tests/faults/hostile_user_test.cpp): that an opened
link tells that it is one and who made it, and that nobody can swap a place between two calls."""

import unittest

from product import COMMON_DATA, CONFIGURATION, DATA, LOG, LOG_FOLDER, POLICIES
from runs.program import Machine
from runs.rehearsal import rehearse

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


class LinkedPlaces(unittest.TestCase):
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

    def place(self, name):
        """The misused place, in a folder that exists."""
        self.path(name).parent.mkdir(parents=True, exist_ok=True)
        return self.path(name)

    def check(self):
        """A set-up changes no victim and has the usual exit code. Returns the run."""
        before = self.victims()
        seen = self.machine.run("/Setup")
        self.assertEqual(self.victims(), before)
        self.assertEqual(seen.exit_code, rehearse({}, "/Setup").exit_code)
        return seen

    def check_access(self):
        """The same for the policies and the configuration file: all other messages are logged."""
        self.assertEqual(others(self.check().messages), others(rehearse({}, "/Setup").messages))

    def check_silence(self):
        """The same for the log: no line is written."""
        self.assertEqual(self.check().log, [])

    def test_linked_folder_of_both(self):
        self.place(COMMON_DATA).symlink_to(self.path(VICTIM_FOLDER))
        self.check_access()

    def test_linked_policies(self):
        self.place(POLICIES).symlink_to(self.path(VICTIM_FOLDER))
        self.check_access()

    def test_linked_configuration_file(self):
        self.place(CONFIGURATION).symlink_to(self.path(VICTIM_FILE))
        self.check_access()

    def test_configuration_file_that_is_a_link_to_a_folder(self):
        self.place(CONFIGURATION).symlink_to(self.path(VICTIM_FOLDER))
        self.check_access()

    def test_configuration_file_that_is_a_link_to_nothing(self):
        self.place(CONFIGURATION).symlink_to(self.path(MISSING_FILE))
        self.check_access()

    def test_configuration_file_with_another_name(self):
        self.place(CONFIGURATION).hardlink_to(self.path(VICTIM_FILE))
        self.check_access()

    def test_linked_log_folder(self):
        self.place(LOG_FOLDER).symlink_to(self.path(VICTIM_FOLDER))
        self.check_silence()

    def test_log_folder_that_is_a_link_to_nothing(self):
        self.place(LOG_FOLDER).symlink_to(self.path(MISSING_FILE))
        self.check_silence()

    def test_linked_log_file(self):
        self.place(LOG).symlink_to(self.path(VICTIM_FILE))
        self.check_silence()

    def test_log_file_that_is_a_link_to_nothing(self):
        self.place(LOG).symlink_to(self.path(MISSING_FILE))
        self.check_silence()

    def test_log_file_with_another_name(self):
        self.place(LOG).hardlink_to(self.path(VICTIM_FILE))
        self.check_silence()

    def test_linked_folder_of_everything(self):
        self.place(DATA).symlink_to(self.path(VICTIM_FOLDER))
        self.check_silence()
