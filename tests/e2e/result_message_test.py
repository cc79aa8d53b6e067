"""A failure leaves its reason, in the user's language, where the installer looks for it."""

from machines.parts import speaking, texts
from paths import ROOT
from product import REASON_KEY, VENDORS, probe, text_library
from runs.prediction import PredictedRuns
from runs.program import Machine
from runs.rehearsal import report_of

LANGUAGES = {1033: "en", 1031: "de", 1041: "ja", 1044: "no", 1046: "pt-BR", 2052: "zh-CHS", 1028: "zh-CHT", 1042: "ko",
             1036: "fr"}
CODE_PAGES = {1041: 932, 2052: 936, 1028: 950, 1042: 949, 1045: 1250}

# The identifiers of the texts for the failures below.
NOT_USABLE = 5036
FUNCTION_MISSING = 5037


def string_table(table):
    lines = (ROOT / "resources" / "strings" / f"{table}.txt").read_text(encoding="utf-8").splitlines()
    return dict((int(number), text) for number, text in (line.split("\t") for line in lines if line[0] != "#"))


def machine_in(language, libraries=True):
    """A machine without a software stack, on which a set-up fails."""
    return {**speaking(language, CODE_PAGES.get(language, 1252)), **(texts(*LANGUAGES.values()) if libraries else {})}


def message_left(machine):
    """The text that the installer finds; None when there is none."""
    key = machine.captured()["registry"].get(REASON_KEY, {})
    return key.get("values", {}).get("")


class ResultMessage(PredictedRuns):
    def check_message(self, description, expected):
        machine = self.enter(description)
        self.assertEqual(machine.run("/Setup").exit_code, -1)
        self.assertEqual(message_left(machine), expected)
        predicted = [change["after"] for change in report_of(description, "--", "/Setup")["changes"]
                     if change["item"] == f"{REASON_KEY} [(default)]"]
        self.assertEqual(predicted, [expected])

    def test_language_without_a_library_gets_english(self):
        self.check_message(machine_in(1045), string_table("en")[NOT_USABLE])

    def test_no_library_at_all_leaves_an_empty_text(self):
        for language in (1033, 1031, 1041):
            with self.subTest(language=language):
                self.check_message(machine_in(language, libraries=False), "")

    def test_library_without_functions_is_told_from_none(self):
        for language in (1033, 1031, 1041):
            with self.subTest(language=language):
                description = machine_in(language)
                with Machine(description) as machine:
                    for vendor in VENDORS:
                        machine.place(machine.prefix.path(text_library("en")), probe(vendor))
                    run = machine.run("/Setup")
                    self.assertEqual(run.exit_code, -1)
                    self.assertEqual(message_left(machine), string_table(LANGUAGES[language])[FUNCTION_MISSING])

    def test_removal_and_successful_commit_leave_none(self):
        with Machine(machine_in(1033)) as machine:
            for action in ("/Commit", "/Rollback", "/Uninstall"):
                machine.run(action)
                self.assertIsNone(message_left(machine))


class EachLanguage(ResultMessage):
    """The text of a language's own library, with the library's name in the test's name."""

    row = ResultMessage.check_message
    ROWS = {table: (machine_in(language), string_table(table)[NOT_USABLE]) for language, table in LANGUAGES.items()}
