"""A place below the common application data that somebody made a link, before an administrator runs the program, leads
nowhere: what the link leads to keeps its mode, its content and its absence.

Wine 8 shows links less well than Windows does: a call that is to open a link itself opens what it leads to, and a link
that leads nowhere is a missing file. That an opened link says that it is one, who made it, and that nobody can swap a
place between two calls are for the simulated machine to show (tests/faults/hostile_user_test.cpp)."""

import unittest

from program import LOG, Machine, rehearse

DATA = r"C:\ProgramData\Kelo Systems Corp"
COMMON = DATA + r"\Common"
POLICIES = COMMON + r"\policies"
CONFIG = COMMON + r"\Kelo_Config.ini"
LOG_FOLDER = LOG.rpartition("\\")[0]

VICTIM_FOLDER = r"C:\Victim"
VICTIM_FILES = {VICTIM_FOLDER + name: b"what only administrators may change\r\n"
                for name in (r"\Kelo_Config.ini", r"\kelo_install_log.txt", r"\victim.dat")}
VICTIM_FILE = VICTIM_FOLDER + r"\victim.dat"
MISSING_FILE = VICTIM_FOLDER + r"\planted.dat"
MODES = {"file": 0o644, "folder": 0o755}

# What the operations on the policies and the configuration file log.
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
        """Everything in the folder of victims, with its mode and content."""
        top = self.path(VICTIM_FOLDER)
        return {str(path.relative_to(top)): (oct(path.stat().st_mode), path.read_bytes() if path.is_file() else None)
                for path in [top, *top.rglob("*")]}

    def place(self, name):
        """The place that is misused; what it lies in is there."""
        self.path(name).parent.mkdir(parents=True, exist_ok=True)
        return self.path(name)

    def check(self):
        """A set-up leaves the victims alone and comes to the same end. Returns it."""
        before = self.victims()
        seen = self.machine.run("/Setup")
        self.assertEqual(self.victims(), before)
        self.assertEqual(seen.exit_code, rehearse({}, "/Setup").exit_code)
        return seen

    def check_access(self):
        """The same for the places of the policies and the configuration file: all else is logged."""
        self.assertEqual(others(self.check().messages), others(rehearse({}, "/Setup").messages))

    def check_silence(self):
        """The same for the places of the log: no line is written."""
        self.assertEqual(self.check().log, [])

    def test_linked_folder_of_both(self):
        self.place(COMMON).symlink_to(self.path(VICTIM_FOLDER))
        self.check_access()

    def test_linked_policies(self):
        self.place(POLICIES).symlink_to(self.path(VICTIM_FOLDER))
        self.check_access()

    def test_linked_configuration_file(self):
        self.place(CONFIG).symlink_to(self.path(VICTIM_FILE))
        self.check_access()

    def test_configuration_file_that_is_a_link_to_a_folder(self):
        self.place(CONFIG).symlink_to(self.path(VICTIM_FOLDER))
        self.check_access()

    def test_configuration_file_that_is_a_link_to_nothing(self):
        self.place(CONFIG).symlink_to(self.path(MISSING_FILE))
        self.check_access()

    def test_configuration_file_with_another_name(self):
        self.place(CONFIG).hardlink_to(self.path(VICTIM_FILE))
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


if __name__ == "__main__":
    unittest.main()
