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


class SrkAuthChange(unittest.TestCase):
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


class EachAnswer(SrkAuthChange):
    """Each answer of the tool, with its code in the test's name."""

    def check_verify(self, code):
        goes_on = code in (-5, 1)
        lines = [VERIFY_LINES[code]] + ([CHANGE_LINES[DONE]] if goes_on else [])
        self.check(machine_with(verify=code), lines, [" /V"] + ([' /T:"NTRU" /Y'] if goes_on else []), False)

    def check_change(self, code):
        self.check(machine_with(change=code), [VERIFY_LINES[UPGRADE], CHANGE_LINES[code]], [" /V", ' /T:"NTRU" /Y'],
                   code != DONE)


for _code in VERIFY_LINES:
    setattr(EachAnswer, f"test_verify_{_code}".replace("-", "minus_"),
            lambda self, code=_code: self.check_verify(code))
for _code in CHANGE_LINES:
    setattr(EachAnswer, f"test_change_{_code}".replace("-", "minus_"),
            lambda self, code=_code: self.check_change(code))


class EachShapeOfData(SrkAuthChange):
    def check_data(self, data, arguments):
        self.check(machine_with(data), [VERIFY_LINES[UPGRADE], CHANGE_LINES[DONE]], [" /V", arguments], False)

    def test_none(self):
        self.check_data("", ' /T:"NTRU" /Y')

    def test_verify_first(self):
        self.check_data("/VERIFY /CAPTION=Setup", ' /C:"Setup" /T:"NTRU" /V /Y')

    def test_verify_later_is_not_seen(self):
        self.check_data("/CAPTION=Setup /VERIFY", ' /C:"Setup" /T:"NTRU" /Y')

    def test_silent_in_another_case(self):
        self.check_data("/silent /INFO=i", ' /I:"i" /T:"NTRU" /S /Y')

    def test_values_keep_their_blanks(self):
        self.check_data("/CAPTION=My Tool /INFO=x", ' /C:"My Tool" /I:"x" /T:"NTRU" /Y')

    def test_empty_vendor_is_left_out(self):
        self.check_data("/TSS_VENDOR=", " /Y")

    def test_other_vendor(self):
        self.check_data("/TSS_VENDOR=KELO", ' /T:"KELO" /Y')

    def test_text_outside_the_code_page(self):
        self.check_data("/CAPTION=中é", ' /C:"中é" /T:"NTRU" /Y')

    def test_password_reaches_the_tool_and_nothing_else(self):
        self.check_data("/PASSWORD=Tr0ub4dor&3 /INFO=i", ' /I:"i" /P:"Tr0ub4dor&3" /T:"NTRU" /Y')
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
