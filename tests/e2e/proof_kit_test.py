"""The proof kit under Wine: unpacked into a prefix, started with Wine's cmd, and its report read as on any machine."""

import json
import re
import subprocess
import sys
import unittest
import zipfile

from machines.descriptions import merged
from machines.parts import PLAIN, WINDOWS_10, blocked
from paths import ROOT, WINDOWS
from product import BLOCKED_COMMANDS, KELO_STACK
from reading import registry, services
from setup.provision import provision
from wine import machine_tool
from wine.prefix import Prefix

KIT = WINDOWS / "proof_kit.zip"
FOLDER = "C:\\users\\Zo\u00eb M\u00fcller\\a proof"
PROVE = FOLDER + r"\kelo_proof\prove.cmd"
REPORT = FOLDER + r"\kelo_proof\kelo_proof_report.txt"
SECONDS = 240

# A machine without the toolkit. Its services' programs are not where the tests of the kit have theirs.
MACHINE = merged(WINDOWS_10, blocked(*BLOCKED_COMMANDS), {"services": {
    name: {"binaryPath": rf"C:\Services\{name}.exe", **service} for name, service in PLAIN["services"].items()}})

NEAR_THE_TOP = ("drive_c/*", "drive_c/Program*/*", "drive_c/users/*/Temp/*")

# A key of the system's own. On Windows the kit takes ownership of it to remove it; Wine lets nobody do that against the
# key's list.
LEFT_ON_WINE = {r"SOFTWARE\KeloProtected"}

# What a removed package leaves: the maker's folders and keys, and the installer's own key.
OF_PACKAGES = re.compile(r"Kelo Systems Corp|Classes\\Installer$")

STEPS = ("running the conformance tests", "describing the machine", "installing the sample package",
         "describing the machine", "repairing it", "describing the machine", "removing it", "describing the machine",
         "installing a package that fails and is rolled back", "describing the machine", "cleaning up")


def machine_with_kit(test, description=MACHINE):
    prefix = test.enterContext(Prefix())
    prefix.zone = "America/New_York"  # the conformance tests' own
    test.assertEqual(provision(prefix, description), [])
    with zipfile.ZipFile(KIT) as kit:
        kit.extractall(prefix.path(FOLDER))
    return prefix


def prove(prefix):
    """Runs prove.cmd. Returns its exit code and the lines on the screen."""
    status, output = prefix.wine("cmd", "/c", PROVE, timeout=SECONDS)
    return status, output.decode().splitlines()


def places(prefix):
    """What the kit could leave behind: files and folders near the top, keys of the software, services."""
    found = {str(path.relative_to(prefix.folder)) for pattern in NEAR_THE_TOP for path in prefix.folder.glob(pattern)}
    [known] = machine_tool.ask(prefix, [services.LISTING, *registry.saving("SOFTWARE")])
    return found | {key for key in registry.saved(prefix, "SOFTWARE") if key.count("\\") < 3} | set(known)


def read(*arguments):
    """Reads a report. Returns the exit status, the standard output and the standard error."""
    done = subprocess.run([sys.executable, "-B", ROOT / "proof" / "proof_report.py", *arguments], capture_output=True,
                          text=True, check=False)
    return done.returncode, done.stdout, done.stderr


class ProofKit(unittest.TestCase):
    maxDiff = None

    def test_carries_out_its_steps_and_all_is_as_predicted(self):
        prefix = machine_with_kit(self)
        before = places(prefix)
        status, screen = prove(prefix)
        report = prefix.path(REPORT)
        self.assertEqual([line for line in screen if " of 11: " in line],
                         [f"{number} of 11: {step} ..." for number, step in enumerate(STEPS, 1)])
        self.assertIn(f"    {REPORT}", screen)
        self.assertEqual([line for line in screen if "msiexec" in line],
                         [f"    msiexec ended with {code}" for code in (0, 0, 0, 1603)])
        self.assertEqual(status, 0, screen)
        status, text, errors = read(report)
        self.assertEqual((status, errors), (0, ""), text)
        self.assertRegex(text.splitlines()[0], r"^Proof on Wine \S+ as Windows 10\.0\.18362$")
        self.assertEqual(text.splitlines()[1], "  WINE PROVES NO ROW; ALL IS AS PREDICTED")
        told = json.loads(read(report, "--json")[1])
        self.assertEqual({row["status"] for row in told["rows"]}, {"open", "not here"})
        self.assertGreater(sum(test["result"] == "passed" for test in told["tests"].values()), 200)
        self.assert_tells_no_names(report.read_text(encoding="ascii"))
        left = {place for place in places(prefix) - before if not OF_PACKAGES.search(place)}
        self.assertEqual(left, LEFT_ON_WINE)

    def assert_tells_no_names(self, report):
        found = [name for name in (r"Zo\u00eb", r"M\u00fcller", "a proof", "users", "drive_c") if name in report]
        self.assertEqual(found, [])

    def test_goes_on_after_steps_that_cannot_be_carried_out(self):
        prefix = machine_with_kit(self)
        before = places(prefix)
        for name in ("KeloDescribe.exe", r"conformance\winsim_conformance.exe"):
            prefix.path(rf"{FOLDER}\kelo_proof\{name}").unlink()
        status, screen = prove(prefix)
        self.assertEqual(status, 1)
        self.assertIn("Done, but 6 steps could not be carried out. The report is", screen)
        status, text, _ = read(prefix.path(REPORT))
        self.assertEqual(status, 1)
        self.assertIn("  WINE PROVES NO ROW; 6 FAILED STEPS\n", text)
        self.assertIn("tests: the machine of the tests cannot be set up: error 2\n", text)
        self.assertRegex(text, r'capture: "<kit>\\KeloDescribe.exe" "<temp>\S+" cannot be started: error 2\n')
        self.assert_tells_no_names(prefix.path(REPORT).read_text(encoding="ascii"))
        self.assertIn("Installer      install 0, repair 0, remove 0, fail 1603\n", text)
        self.assertEqual({place for place in places(prefix) - before if not OF_PACKAGES.search(place)}, set())

    def test_does_not_begin_where_the_toolkit_is(self):
        described = merged(MACHINE, {"services": {KELO_STACK: {"binaryPath": r"C:\Services\stack.exe"}}})
        prefix = machine_with_kit(self, described)
        before = places(prefix)
        status, screen = prove(prefix)
        self.assertEqual((status, screen), (2, [
            f"The toolkit is on this machine (the service {KELO_STACK}), and the proof would change it. Use a virtual "
            "machine without the toolkit.", "Nothing was changed."]))
        self.assertFalse(prefix.path(REPORT).exists())
        self.assertEqual(places(prefix), before)
