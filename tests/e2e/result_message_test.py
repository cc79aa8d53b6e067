"""A failure leaves its text in the user's language where the installer looks for it."""

import re
import unittest

from program import Machine, rehearsal
from wine import ROOT

FOLDER = "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\"
INSTALLER_KEY = r"HKEY_LOCAL_MACHINE\SOFTWARE\Kelo Systems Corp.\Installer"
LANGUAGES = {1033: "en", 1031: "de", 1041: "ja", 1044: "no", 1046: "pt-BR", 2052: "zh-CHS", 1028: "zh-CHT", 1042: "ko",
             1036: "fr"}
CODE_PAGES = {1041: 932, 2052: 936, 1028: 950, 1042: 949, 1045: 1250}

# The identifiers of the texts for what the tests let fail.
NOT_USABLE = 5036
FUNCTION_MISSING = 5037


def texts(table):
    lines = (ROOT / "resources" / "strings" / f"{table}.txt").read_text(encoding="utf-8").splitlines()
    return dict((int(number), text) for number, text in (line.split("\t") for line in lines if line[0] != "#"))


def machine_in(language, libraries=True):
    """A machine on which no software stack can be used: it has none."""
    description = {"windows": {"uiLanguage": language, "userLanguage": language,
                               "codePage": CODE_PAGES.get(language, 1252)}}
    if libraries:
        description["libraries"] = {f"{FOLDER}Internationalization_{table}.dll": {} for table in LANGUAGES.values()}
    return description


def message_left(machine):
    """The text that the installer finds; None when there is none."""
    match = re.search(r'^@="(.*)"$', machine.prefix.export_registry(INSTALLER_KEY), re.MULTILINE)
    return match and match[1].replace('\\"', '"').replace("\\\\", "\\")


class ResultMessage(unittest.TestCase):
    def check(self, description, expected):
        report = rehearsal(description, "--", "/Setup")
        with Machine(description) as machine:
            self.assertEqual(machine.missing, [])
            run = machine.run("/Setup")
            left = message_left(machine)
        self.assertEqual(run.exit_code, -1)
        self.assertEqual(left, expected)
        predicted = [change["after"] for change in report["changes"]
                     if change["item"].endswith(r"Kelo Systems Corp.\Installer [(default)]")]
        self.assertEqual(predicted, [expected])

    def test_language_without_a_library_gets_english(self):
        self.check(machine_in(1045), texts("en")[NOT_USABLE])

    def test_no_library_at_all_leaves_an_empty_text(self):
        for language in (1033, 1031, 1041):
            with self.subTest(language=language):
                self.check(machine_in(language, libraries=False), "")

    def test_library_without_functions_is_told_from_none(self):
        for language in (1033, 1031, 1041):
            with self.subTest(language=language):
                description = machine_in(language)
                with Machine(description) as machine:
                    for vendor in ("KELO", "NTRU12"):
                        folder = machine.prefix.path(FOLDER + vendor)
                        folder.mkdir(parents=True)
                        source = machine.prefix.path(f"{FOLDER}Internationalization_en.dll")
                        (folder / "stkprobe.dll").write_bytes(source.read_bytes())
                    run = machine.run("/Setup")
                    self.assertEqual(run.exit_code, -1)
                    self.assertEqual(message_left(machine), texts(LANGUAGES[language])[FUNCTION_MISSING])

    def test_removal_and_successful_commit_leave_none(self):
        with Machine(machine_in(1033)) as machine:
            for action in ("/Commit", "/Rollback", "/Uninstall"):
                machine.run(action)
                self.assertIsNone(message_left(machine))


class EachLanguage(ResultMessage):
    """The text of a language's own library, with the library's name in the test's name."""


for _language, _table in LANGUAGES.items():
    setattr(EachLanguage, "test_" + _table.replace("-", "_"),
            lambda self, language=_language, table=_table: self.check(machine_in(language), texts(table)[NOT_USABLE]))
