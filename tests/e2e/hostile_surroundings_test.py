"""The program goes on as predicted where its surroundings are not what they should be."""

import shutil
import unittest

from log_lines import STAMP
from program import LOG, Machine, rehearse
from provision import READ_ONLY
from standins import BUILD

TOOLKIT = r"C:\Program Files\Kelo Systems Corp\Toolkit"
TEXT_LIBRARY = "Internationalization_en.dll"
MARK = "stkprobe.log"
LOG_FOLDER = LOG.rpartition("\\")[0]
LINE_LIMIT = 32000  # characters of a command line, near the most that Windows takes

ACTIONS = ["/Setup", "/Commit", "/Rollback", "/Uninstall"]


def without_stamps(log):
    """The text of a log without its times, zones and threads."""
    return STAMP.sub("", log)


class HostileSurroundings(unittest.TestCase):
    def check(self, description, *arguments):
        """The whole log, standard output and exit status are as predicted. Returns the run."""
        predicted = rehearse(description, *arguments)
        with Machine(description) as machine:
            self.assertEqual(machine.missing, [])
            seen = machine.run(*arguments)
        self.assertEqual(seen.messages, predicted.messages)
        self.assertEqual((seen.exit_code, seen.stdout), (predicted.exit_code, predicted.stdout))
        return seen

    def test_log_folder_that_is_a_file(self):
        seen = self.check({"files": {LOG_FOLDER: {"text": "no folder"}}}, "/Commit")
        self.assertEqual(seen.log, [])

    def test_log_file_that_is_read_only(self):
        description = {"files": {LOG: {"text": "", "attributes": READ_ONLY}}}
        seen = self.check(description, "/Commit")
        self.assertEqual(seen.log, [])

    def test_no_toolkit_files_at_all(self):
        for action in ACTIONS:
            with self.subTest(action):
                self.check({}, action)

    def test_argument_with_a_newline(self):
        # The log is compared as a whole: such a line lies across two.
        argument = "/X=first\nsecond"
        predicted = rehearse({}, "/Commit", argument)
        with Machine({}) as machine:
            seen = machine.run("/Commit", argument)
            text = machine.content(LOG).decode(machine.encoding)
        self.assertEqual(seen.exit_code, predicted.exit_code)
        self.assertEqual(without_stamps(text), without_stamps("".join(line + "\r\n" for line in predicted.log)))

    def test_libraries_in_the_current_folder(self):
        # A failing set-up loads all that the program asks for by name alone. The stand-in notes that it was loaded.
        # Wine 8 always takes its own of these two, and looks for the library of texts in the current folder all the
        # same: that SetDllDirectoryW ends that, only Windows can show. The next test shows that it is called in time.
        with Machine({}) as machine:
            planted = machine.prefix.path(r"C:\Planted")
            planted.mkdir()
            for name in ("bcrypt.dll", "kernel32.dll"):
                shutil.copy(BUILD / "stkprobe.dll", planted / name)
            machine.prefix.current_folder = planted
            self.assertEqual(machine.run("/Setup").exit_code, -1)
            self.assertFalse((planted / MARK).exists())

            # From the program's own folder it is loaded, and leaves its mark there.
            own = machine.prefix.path(TOOLKIT)
            shutil.copy(BUILD / "stkprobe.dll", own / TEXT_LIBRARY)
            self.assertEqual(machine.run("/Setup").exit_code, -1)
            self.assertTrue((own / MARK).exists())
            self.assertFalse((planted / MARK).exists())

    def test_current_folder_is_not_searched_for_any_library(self):
        with Machine({}) as machine:
            calls = machine.calls(["SetDllDirectoryW", "LoadLibraryA", "LoadLibraryW", "LoadLibraryExA",
                                   "LoadLibraryExW"], "/Setup")
        kernel = ("LoadLibraryA", "kernel32.dll")
        texts = [("LoadLibraryA", TOOLKIT + "\\" + TEXT_LIBRARY),
                 ("LoadLibraryA", r"C:\windows\system32" + "\\" + TEXT_LIBRARY)]
        # Functions that not every Windows has are looked up for the process, for each of the eight logs, for the policy
        # directory and for the configuration file.
        self.assertEqual(calls, [
            ("SetDllDirectoryW", ""),
            *[kernel] * 9,
            ("LoadLibraryExW", r"C:\windows\system32\bcrypt.dll"),
            ("LoadLibraryExW", r"C:\windows\system32\bcrypt.dll"),
            ("LoadLibraryExW", r"C:\windows\system32\ole32.dll"),
            *[kernel] * 2,
            ("LoadLibraryExW", r"C:\windows\system32\psapi.dll"),
            ("LoadLibraryA", TOOLKIT + r"\KELO\stkprobe.dll"),
            ("LoadLibraryA", TOOLKIT + r"\NTRU12\stkprobe.dll"),
            kernel,
            *texts * 2,
            ("LoadLibraryExW", r"C:\windows\system32\user32.dll"),
        ])

    def test_long_command_line(self):
        self.check({}, "/Commit", "/X=" + LINE_LIMIT * "x")

    def test_arguments_with_quotation_marks_and_percent_signs(self):
        self.check({}, "/Commit", '/A="x"', "/C=%n%s%PATH%", "/D=100%")

    def test_arguments_outside_the_code_page(self):
        self.check({}, "/Commit", "/X=Zoë-日本-Ω")
