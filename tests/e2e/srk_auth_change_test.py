"""The export of the library image, called with an install session of the real installer, runs the SRK tool."""

import re
import unittest

from machines.cases import LEFT_OUT
from machines.descriptions import load
from paths import ROOT
from product import EXPORT, LOG, LOGON_TASK, RUN_KEY
from product import SRK_TOOL as TOOL
from reading.notes import runs_of
from runs.program import Machine
from runs.rehearsal import rehearse
from runs.table import Table

UPGRADE = -5
DONE = 0

# The tool's answers to the check and to the change, and the message that each is logged as.
VERIFY_LINES = {
    -7: "TPM Not Enabled",
    -6: "TPM Not Activated",
    -5: "SRK Auth and TPM Owner Auth must be upgraded",
    -4: "Unable to load Resource file",
    0: "SRK and TPM Owner Auth is OK",
    1: "Unable to get Process Exit code assume must change SRK Auth.",
    2: "Unable to launch process!",
    -8: "Something other error",
    3: "Something other error",
    -2147483648: "Something other error",
}
CHANGE_LINES = {
    -8: "User Cancelled",
    -7: "TPM Not Enabled",
    -6: "TPM Not Activated",
    -5: "Something other error",
    -4: "Unable to load Resource file",
    0: "SRK and TPM Owner Auth is now OK",
    1: "Unable to get Process Exit code assume must change SRK Auth.",
    2: "Unable to launch process!",
    3: "Something other error",
    2147483647: "Something other error",
}


def machine_with(data="", verify=UPGRADE, change=DONE, tool=True):
    description = {"installer": {"properties": {"CustomActionData": data}},
                   "registry": {RUN_KEY: {}}}
    if tool:
        description["programs"] = {TOOL: {"runs": [{"arguments": "/V", "exitCode": verify & 0xFFFFFFFF},
                                                   {"exitCode": change & 0xFFFFFFFF}]}}
    return description


class SrkAuthChange(Table, unittest.TestCase):
    left_out = ""

    def check(self, description, lines, runs, at_logon):
        predicted = rehearse(description, *EXPORT)
        with Machine(description) as machine:
            self.assertEqual([item for item in machine.missing if not re.fullmatch(self.left_out, item)], [])
            run = machine.run(*EXPORT)
            # Wine puts an unquoted program name of a command line into quotation marks.
            seen = [line.replace(f'"{TOOL}"', TOOL, 1) for line in runs_of(machine.prefix, TOOL)]
            self.assertEqual(seen, [TOOL + arguments for arguments in runs])
            task = machine.captured()["registry"][RUN_KEY].get("values", {}).get(LOGON_TASK)
            self.log = machine.content(LOG) or b""
        self.assertEqual((run.exit_code, run.messages), (0, lines))
        self.assertEqual((run.exit_code, run.messages), (predicted.exit_code, predicted.messages))
        self.assertEqual(task, LOGON_TASK if at_logon else None)

    row = check


CHECK, CHECK_AND_CHANGE = [" /V"], [" /V", ' /T:"NTRU" /Y']  # how the tool is run


class EachAnswer(SrkAuthChange):
    """Each answer of the tool, with its code in the test's name."""

    ROWS = {
        **{f"verify_{code}".replace("-", "minus_"):
           (machine_with(verify=code), [line, CHANGE_LINES[DONE]] if code in (-5, 1) else [line],
            CHECK_AND_CHANGE if code in (-5, 1) else CHECK, False) for code, line in VERIFY_LINES.items()},
        **{f"change_{code}".replace("-", "minus_"):
           (machine_with(change=code), [VERIFY_LINES[UPGRADE], line], CHECK_AND_CHANGE, code != DONE)
           for code, line in CHANGE_LINES.items()},
    }


class EachShapeOfData(SrkAuthChange):
    def row(self, data, arguments):
        self.check(machine_with(data), [VERIFY_LINES[UPGRADE], CHANGE_LINES[DONE]], [" /V", arguments], False)

    ROWS = {
        "none": ("", ' /T:"NTRU" /Y'),
        "verify_first": ("/VERIFY /CAPTION=Setup", ' /C:"Setup" /T:"NTRU" /V /Y'),
        "verify_later_is_not_seen": ("/CAPTION=Setup /VERIFY", ' /C:"Setup" /T:"NTRU" /Y'),
        "silent_in_another_case": ("/silent /INFO=i", ' /I:"i" /T:"NTRU" /S /Y'),
        "values_keep_their_blanks": ("/CAPTION=My Tool /INFO=x", ' /C:"My Tool" /I:"x" /T:"NTRU" /Y'),
        "empty_vendor_is_left_out": ("/TSS_VENDOR=", " /Y"),
        "other_vendor": ("/TSS_VENDOR=KELO", ' /T:"KELO" /Y'),
        "text_outside_the_code_page": ("/CAPTION=中é", ' /C:"中é" /T:"NTRU" /Y'),
    }

    def test_password_reaches_the_tool_and_nothing_else(self):
        self.row("/PASSWORD=Tr0ub4dor&3 /INFO=i", ' /I:"i" /P:"Tr0ub4dor&3" /T:"NTRU" /Y')
        self.assertNotIn(b"Tr0ub4dor", self.log)


class DescribedMachine(SrkAuthChange):
    left_out = LEFT_OUT

    def test_user_who_cancels(self):
        data = ' /C:"Kelo Toolkit" /I:"The TPM has to be prepared." /P:"correct horse battery" /T:"NTRU" /Y'
        self.check(load(ROOT / "machines" / "srk-upgrade.json"), [VERIFY_LINES[UPGRADE], CHANGE_LINES[-8]],
                   [" /V", data], True)


class WithoutTheTool(SrkAuthChange):
    def test_ends_without_a_task_at_logon(self):
        self.check(machine_with(tool=False), [VERIFY_LINES[2]], [], False)
