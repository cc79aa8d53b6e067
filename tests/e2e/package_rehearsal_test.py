"""The rehearsal of an installer package: its rules for conditions and command lines, its output, and its rollbacks.
installer_package_test compares it with the real installer in every test."""

import json
import subprocess
import tempfile
import unittest
from pathlib import Path

from machines.descriptions import as_on_wine, merged
from machines.parts import detection, detections
from package import tables
from package.packaged_machine import DESCRIPTION
from package.predicted_effects import with_package
from package.tables import SAMPLE
from paths import ROOT, WINDOWS
from product import CHOICES_KEY, KELO_STACK, NTRU_STACK, PROGRAM, REASON_KEY, SERVICE, SRK_TOOL
from runs.rehearsal import REHEARSE

# In packaging/, which paths.py lets be found.
from installer_rehearsal import DONE, FAILED, RESTART_NEEDED, Package, Rehearsal, split_command_line
from msi_condition import ConditionError, holds

# A machine with the other stack, found usable, whose service restarts in each set-up.
NTRU = merged({**DESCRIPTION, "services": {NTRU_STACK: {"displayName": "NTRU TSS", "state": "running",
                                                        "binaryPath": r'"C:\NTRU\bin\tcsd_win32.exe"'}}},
              detection("KELO", DetectTSS=2))


class Conditions(unittest.TestCase):
    PROPERTIES = {"A": "1", "B": "text", "C": "TEXT", "Zero": "0", "Quote": '"', "UILevel": "2", "$Files": "3"}
    TRUE = ("", "A", "B", "NOT Missing", "A AND B", "Missing OR A", "A=1", "A<>2", 'B="text"', 'B<>"TEXT"', 'B~="TEXT"',
            "B~=C", 'B><"ex"', 'B<<"te"', 'B>>"xt"', 'B~>>"XT"', "UILevel<5", "UILevel>=2", "(A OR Missing) AND B",
            "Missing AND A OR B", "NOT A OR B", "Missing IMP A", "A EQV B", "A XOR Missing", "$Files=3", 'Missing=""',
            'NOT (B><Quote OR B>>"\\")', 'not Missing and a<>B', 'B<5 OR B<>5')
    FALSE = ("Missing", "NOT A", "Zero", "A AND Missing", 'B="TEXT"', "A IMP Missing", "A XOR B", "UILevel>5",
             'B><"EX"', "NOT (A AND B)", "$Files=2", "b")
    NONE = ("A AND", "(A", "A)", "A B", "= 1", 'A="x', "A ! B")

    def test_that_hold(self):
        for condition in self.TRUE:
            with self.subTest(condition):
                self.assertTrue(holds(condition, self.PROPERTIES))

    def test_that_do_not_hold(self):
        for condition in self.FALSE:
            with self.subTest(condition):
                self.assertFalse(holds(condition, self.PROPERTIES))

    def test_that_are_none(self):
        for condition in self.NONE:
            with self.subTest(condition), self.assertRaises(ConditionError):
                holds(condition, self.PROPERTIES)

    def test_of_the_package_are_conditions(self):
        for name in ("InstallExecuteSequence", "LaunchCondition"):
            for row in tables.table(SAMPLE, name):
                holds(row["Condition"], {})


class CommandLines(unittest.TestCase):
    # As CommandLineToArgvW is documented.
    ARGUMENTS = {
        r'"C:\a b\p.exe" /Setup "/A=b c"': [r"C:\a b\p.exe", "/Setup", "/A=b c"],
        r'p "a\\b" c': ["p", r"a\\b", "c"],
        r'p "a\\" c': ["p", "a\\", "c"],
        r'p "a\" c': ["p", 'a" c'],
        r'p "a\\\"b" c': ["p", 'a\\"b', "c"],
        'p a""b "c""d"': ["p", "ab", 'c"d'],
        'p   a\tb  ': ["p", "a", "b"],
        'p "" b': ["p", "", "b"],
        r"p \a\ b": ["p", "\\a\\", "b"],
        "p": ["p"],
    }

    def test_are_split_as_windows_does(self):
        for command_line, arguments in self.ARGUMENTS.items():
            with self.subTest(command_line):
                self.assertEqual(split_command_line(command_line), arguments)


class Installations(unittest.TestCase):
    """On a machine on which the toolkit's programs are described, but none of its files and values are installed
    yet."""

    def setUp(self):
        self.package = Package(SAMPLE)
        self.machine = as_on_wine(with_package(DESCRIPTION))
        for path in self.package.files:
            self.machine["files"].pop(path.replace("Windows", "windows"), None)
        del self.machine["registry"][CHOICES_KEY]

    def rehearse(self, mode, machine=None, failing=(), **given):
        return Rehearsal(self.package, REHEARSE, machine or self.machine, mode, given, failing).run()

    def runs(self, outcome):
        return [(run.part, run.action, run.exit_code) for run in outcome.runs]

    def test_installation_brings_files_and_choices(self):
        outcome = self.rehearse("install", TPM_VSC="1")
        self.assertEqual((outcome.status, self.runs(outcome)), (DONE, [
            ("script", "KeloSetup", 0), ("script", "SRK_Auth_Change", 0), ("commit", "KeloCommit", 0)]))
        self.assertIn(PROGRAM, outcome.machine["files"])
        self.assertEqual(outcome.machine["registry"][CHOICES_KEY]["values"],
                         {"TSS_VENDOR": "KELO", "TPM_VSC": "1", "TPM_WIN8": "", "ProductType": "Enterprise"})

    def test_failure_is_followed_into_the_rollback(self):
        outcome = self.rehearse("install", failing=["SRK_Auth_Change"])
        self.assertEqual((outcome.status, self.runs(outcome)), (FAILED, [
            ("script", "KeloSetup", 0), ("script", "SRK_Auth_Change", 0), ("rollback", "KeloRollback", 0)]))
        self.assertNotIn(PROGRAM, outcome.machine["files"])
        self.assertNotIn(CHOICES_KEY, outcome.machine["registry"])

    def test_wine_takes_files_and_values_back_first_and_leaves_the_keys(self):
        outcome = Rehearsal(self.package, REHEARSE, self.machine, "install", failing=["SRK_Auth_Change"],
                            is_wines=True).run()
        self.assertEqual((outcome.status, self.runs(outcome)), (FAILED, [
            ("script", "KeloSetup", 0), ("script", "SRK_Auth_Change", 0)]))
        self.assertEqual([step.text.split(":")[0] for step in outcome.steps if step.action == "KeloRollback"],
                         ["cannot be started", "The installer is told"])
        self.assertEqual(outcome.machine["registry"][CHOICES_KEY]["values"], {})

    def test_a_removal_takes_keys_with_their_last_values(self):
        outcome = self.rehearse("remove", self.rehearse("install").machine)
        self.assertNotIn(CHOICES_KEY, outcome.machine["registry"])
        self.assertIn(r"HKLM\SOFTWARE", outcome.machine["registry"])

    def test_programs_and_libraries_come_with_their_files(self):
        description = self.machine["programs"].pop(SRK_TOOL)
        brought = {"programs": {SRK_TOOL: description}}
        installed = Rehearsal(self.package, REHEARSE, self.machine, "install", brought=brought).run().machine
        self.assertEqual(installed["programs"][SRK_TOOL]["runs"], description["runs"])
        self.assertGreater(installed["files"][SRK_TOOL]["size"], 0)

    def test_failed_removal_puts_everything_back(self):
        installed = self.rehearse("install", TSS_VENDOR="NTRU12").machine
        outcome = self.rehearse("remove", installed, ["RemoveFiles"], TSS_VENDOR="KELO")
        self.assertEqual((outcome.status, self.runs(outcome)), (FAILED, [
            ("script", "KeloUninstall", 0), ("rollback", "KeloUninstallRollback", 0)]))
        self.assertIn('"/TSS_VENDOR=NTRU12"', outcome.runs[-1].text)
        self.assertEqual(outcome.machine["files"].keys() - installed["files"].keys(), set())
        self.assertEqual(installed["files"].keys() - outcome.machine["files"].keys(), set())
        self.assertEqual(outcome.machine["registry"][CHOICES_KEY], installed["registry"][CHOICES_KEY])
        self.assertIn(SERVICE, outcome.machine["services"])

    def test_removal_leaves_what_is_permanent(self):
        outcome = self.rehearse("remove", self.rehearse("install").machine)
        left = {path.lower() for path in outcome.machine["files"]}
        self.assertEqual({path for path in self.package.files if path.lower() in left},
                         {r"C:\Windows\system32\KeloKSP.dll"})

    def test_repair_needs_the_service_to_be_stopped(self):
        # Otherwise Windows refuses to stop the stack's service, on which the toolkit's depends, and it cannot be
        # restarted.
        machine = as_on_wine(with_package(NTRU))
        del machine["registry"][CHOICES_KEY]
        installed = self.rehearse("install", machine, KELO_FORGET_CHOICES="1").machine
        for outcome, is_refused in ((self.rehearse("repair", installed), False),
                                    (self.rehearse_without_stop(installed), True)):
            log = " ".join(outcome.runs[0].log)
            self.assertEqual(f"Cannot stop {NTRU_STACK} service" in log, is_refused)

    def rehearse_without_stop(self, machine):
        with tempfile.TemporaryDirectory() as folder:
            variant = Path(folder, "variant.msi")
            tables.variant(SAMPLE, variant, "DELETE FROM `ServiceControl`")
            return Rehearsal(Package(variant), REHEARSE, machine, "repair").run()

    def test_wizard_asks_and_nothing_else_does(self):
        for level in ("2", "3", "4", "5"):
            data = self.rehearse("install", UILevel=level).runs[1].text
            self.assertEqual(data.startswith("/SILENT"), level != "5", level)

    def test_password_of_a_user_s_repair_is_not_taken(self):
        installed = self.rehearse("install").machine
        for given, text in (({}, "/PASSWORD=****"), ({"RestrictedUserControl": "1"}, "/PASSWORD=")):
            outcome = self.rehearse("repair", installed, TPM_OWNER_PASSWORD="x", **given)
            self.assertTrue(outcome.runs[1].text.endswith(text))

    def test_repair_stops_the_service_first(self):
        outcome = self.rehearse("repair", self.rehearse("install").machine)
        self.assertEqual([step.action for step in outcome.steps if step.part == "script"],
                         ["StopServices", "WriteRegistryValues", "KeloSetup", "SRK_Auth_Change"])
        self.assertEqual(outcome.status, DONE)

    def upgrade(self, version, failing=()):
        installed = self.rehearse("install", TSS_VENDOR="NTRU12").machine
        with tempfile.TemporaryDirectory(dir=WINDOWS) as folder:
            tables.build(Path(folder, "other.msi"), version)
            other = Package(Path(folder, "other.msi"))
            return installed, Rehearsal(other, REHEARSE, installed, "install", {}, failing, self.package).run()

    def test_newer_version_replaces_the_older(self):
        _, outcome = self.upgrade("2.0.0")
        self.assertEqual((outcome.status, self.runs(outcome)), (DONE, [
            ("script", "KeloUninstall", 0), ("script", "KeloSetup", 0), ("script", "SRK_Auth_Change", 0),
            ("commit", "KeloCommit", 0)]))
        self.assertIn('"/TSS_VENDOR=NTRU12"', outcome.runs[1].text)

    def test_newer_version_that_fails_leaves_the_older(self):
        installed, outcome = self.upgrade("2.0.0", failing=["InstallFiles"])
        self.assertEqual((outcome.status, self.runs(outcome)), (FAILED, [
            ("script", "KeloUninstall", 0), ("rollback", "KeloUninstallRollback", 0)]))
        self.assertEqual(outcome.machine["registry"][CHOICES_KEY], installed["registry"][CHOICES_KEY])
        self.assertEqual(installed["files"].keys() - outcome.machine["files"].keys(), set())

    def test_older_version_does_not_replace_the_newer(self):
        _, outcome = self.upgrade("0.9.0")
        self.assertEqual((outcome.status, outcome.runs), (FAILED, []))
        self.assertEqual(outcome.reason, "A newer version of the Kelo Toolkit is installed.")

    def test_failed_set_up_tells_its_reason_alone(self):
        machine = merged(self.machine, {"registry": {REASON_KEY: {"values": {"": "an old reason"}}}},
                         detections(isEnabled=0))
        machine["services"].pop(KELO_STACK)
        with tempfile.TemporaryDirectory() as folder:
            variant = Path(folder, "variant.msi")
            tables.variant(SAMPLE, variant, "DELETE FROM `Property` WHERE `Property`='KeloTssVendor'")
            outcome = Rehearsal(Package(variant), REHEARSE, machine, "install", {"TPM_VSC": ""}).run()
        self.assertEqual([run.action for run in outcome.runs], ["KeloSetup", "KeloRollback"])
        self.assertEqual(len(outcome.told), 1)
        self.assertIn("TPM is not enabled", outcome.told[0])

    def test_disabled_rollback_takes_nothing_back(self):
        outcome = self.rehearse("install", failing=["SRK_Auth_Change"], DISABLEROLLBACK="1")
        self.assertEqual(self.runs(outcome), [("script", "KeloSetup", 0), ("script", "SRK_Auth_Change", 0)])
        self.assertIn(PROGRAM, outcome.machine["files"])

    def test_refused_values_change_nothing(self):
        for given in ({"TSS_VENDOR": "x"}, {"TPM_VSC": 'a"b'}, {"TPM_OWNER_PASSWORD": "a /b"}):
            outcome = self.rehearse("install", **given)
            self.assertEqual((outcome.status, outcome.runs, outcome.machine), (FAILED, [], self.machine))
            self.assertIn(next(iter(given)) if "TPM_OWNER" not in str(given) else "password", outcome.reason)

    def test_pending_moves_ask_for_a_restart(self):
        in_use = {"files": {r"C:\windows\system32\KeloVReaderBody.dll": {"text": "x", "inUse": True}}}
        outcome = self.rehearse("install", merged(self.machine, in_use))
        self.assertEqual(outcome.status, DONE)
        self.assertEqual(self.rehearse("repair", outcome.machine, TPM_VSC="1").status, RESTART_NEEDED)


class Tool(unittest.TestCase):
    """What `./run package` shows."""

    def run_tool(self, *words, machine=ROOT / "machines" / "windows-7-toolkit.json", package=SAMPLE):
        return subprocess.run([ROOT / "packaging" / "rehearse_package", REHEARSE, package, machine, *words],
                              capture_output=True, text=True, check=False)

    def test_shows_the_whole_as_one_report(self):
        done = self.run_tool("install", "TPM_OWNER_PASSWORD=Tr0ub4dor", "--fail", "SRK_Auth_Change")
        self.assertEqual((done.returncode, done.stderr), (1, ""))
        self.assertNotIn("Tr0ub4dor", done.stdout)
        headings = [line for line in done.stdout.splitlines() if line and not line.startswith(" ")]
        self.assertEqual(headings[3:], ["Sequence:", "Script:", "Rollback:", "Result: failed; msiexec ends with 1603"])
        self.assertIn("Command: msiexec /i kelo_toolkit_sample.msi TPM_OWNER_PASSWORD=****", headings)

    def test_saves_the_machine_for_the_next_one(self):
        with tempfile.TemporaryDirectory() as folder:
            saved = Path(folder, "installed.json")
            self.assertEqual(self.run_tool("install", "--save", saved).returncode, 0)
            self.assertIn(SERVICE, json.loads(saved.read_text(encoding="utf-8"))["services"])
            self.assertEqual(self.run_tool("remove", machine=saved).returncode, 0)

    def test_tells_what_cannot_be_rehearsed(self):
        for arguments, text in (((["install"]), None), (["instal"], "install, repair or remove"),
                                (["install", "TSS_VENDOR"], "PROPERTY=value")):
            done = self.run_tool(*arguments)
            self.assertEqual(done.returncode, 0 if text is None else 2)
            self.assertIn(text or "", done.stderr)
        self.assertIn("not an installer package", self.run_tool("install", package=ROOT / "README.md").stderr)
        self.assertIn("No such file", self.run_tool("install", machine="missing.json").stderr)
