"""The program runs as predicted in surroundings that are not as they should be."""

import shutil

from machines.numbers import READ_ONLY
from paths import WINDOWS
from product import LOG, LOG_FOLDER, PROBE_LIBRARY, SYSTEM, TOOLKIT, VENDORS, probe, text_library
from runs.log_lines import without_stamps
from runs.prediction import PredictedRuns
from runs.program import Machine
from runs.rehearsal import rehearse
from standins.names import PROBE_NOTES

TEXT_LIBRARY = "Internationalization_en.dll"
LINE_LIMIT = 32000  # characters of a command line, close to Windows' limit

ACTIONS = ["/Setup", "/Commit", "/Rollback", "/Uninstall"]


class HostileSurroundings(PredictedRuns):
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
        # Such a message spans two lines, so the whole text is compared.
        argument = "/X=first\nsecond"
        predicted = rehearse({}, "/Commit", argument)
        with Machine({}) as machine:
            seen = machine.run("/Commit", argument)
            text = machine.content(LOG).decode(machine.encoding)
        self.assertEqual(seen.exit_code, predicted.exit_code)
        self.assertEqual(without_stamps(text), without_stamps("".join(line + "\r\n" for line in predicted.log)))

    def test_libraries_in_the_current_folder(self):
        # A failing set-up loads every library that the program names without a folder. The stand-in notes that it was
        # loaded. Wine 8 always takes its own of these two, and looks for the library of texts in the current folder
        # whatever SetDllDirectoryW was told; only Windows heeds that. The next test shows that the program calls it in
        # time.
        with Machine({}) as machine:
            planted = machine.prefix.path(r"C:\Planted")
            planted.mkdir()
            for name in ("bcrypt.dll", "kernel32.dll"):
                shutil.copy(WINDOWS / PROBE_LIBRARY, planted / name)
            machine.prefix.current_folder = planted
            self.assertEqual(machine.run("/Setup").exit_code, -1)
            self.assertFalse((planted / PROBE_NOTES).exists())

            # From the program's own folder it is loaded, and leaves its mark there.
            own = machine.prefix.path(TOOLKIT)
            shutil.copy(WINDOWS / PROBE_LIBRARY, own / TEXT_LIBRARY)
            self.assertEqual(machine.run("/Setup").exit_code, -1)
            self.assertTrue((own / PROBE_NOTES).exists())
            self.assertFalse((planted / PROBE_NOTES).exists())

    def test_current_folder_is_not_searched_for_any_library(self):
        with Machine({}) as machine:
            calls = machine.calls(["SetDllDirectoryW", "LoadLibraryA", "LoadLibraryW", "LoadLibraryExA",
                                   "LoadLibraryExW"], "/Setup")
        kernel = ("LoadLibraryA", "kernel32.dll")
        texts = [("LoadLibraryA", text_library("en", folder)) for folder in (TOOLKIT, SYSTEM)]
        # Functions that not every Windows has are looked up for the process, for the log, for the policies' folder and
        # for the configuration file.
        self.assertEqual(calls, [
            ("SetDllDirectoryW", ""),
            *[kernel] * 2,
            ("LoadLibraryExW", rf"{SYSTEM}\bcrypt.dll"),
            ("LoadLibraryExW", rf"{SYSTEM}\bcrypt.dll"),
            ("LoadLibraryExW", rf"{SYSTEM}\ole32.dll"),
            *[kernel] * 2,
            ("LoadLibraryExW", rf"{SYSTEM}\psapi.dll"),
            *(("LoadLibraryA", probe(vendor)) for vendor in VENDORS),
            kernel,
            *texts * 2,
            ("LoadLibraryExW", rf"{SYSTEM}\user32.dll"),
        ])

    def test_long_command_line(self):
        self.check({}, "/Commit", "/X=" + LINE_LIMIT * "x")

    def test_arguments_with_quotation_marks_and_percent_signs(self):
        self.check({}, "/Commit", '/A="x"', "/C=%n%s%PATH%", "/D=100%")

    def test_arguments_outside_the_code_page(self):
        self.check({}, "/Commit", "/X=Zoë-日本-Ω")
