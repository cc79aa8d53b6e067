"""The real program does what kelo-rehearse predicts: the same log, output and exit code on the same machine."""

from machines.descriptions import load
from paths import ROOT
from runs.prediction import PredictedRuns
from setup.provision import WINE_VERSIONS

# The toolkit's files only: programs that cannot be started and libraries that cannot be loaded.
TOOLKIT = {area: described for area, described in load(ROOT / "machines" / "windows-7-toolkit.json").items()
           if area not in ("libraries", "programs", "services", "registry")}


class EachAction(PredictedRuns):
    def test_setup(self):
        self.check(TOOLKIT, "/Setup")

    def test_setup_with_every_option(self):
        self.check(TOOLKIT, "/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1", "/ProductType=Enterprise")

    def test_commit(self):
        self.check(TOOLKIT, "/Commit")

    def test_rollback(self):
        self.check(TOOLKIT, "/Rollback")

    def test_uninstall(self):
        self.check(TOOLKIT, "/Uninstall")


class EachWindowsVersion(PredictedRuns):
    """Setup, with the version's number in the test's name."""


for _version in WINE_VERSIONS:
    setattr(EachWindowsVersion, "test_setup_on_" + _version.replace(".", "_"),
            lambda self, version=_version: self.check({"windows": {"version": version}}, "/Setup"))


class CommandLine(PredictedRuns):
    def test_no_switch(self):
        self.assertEqual(self.check({}).exit_code, -1)

    def test_unknown_switch(self):
        seen = self.check({}, "/Repair")
        self.assertEqual(seen.exit_code, -1)
        self.assertEqual(seen.messages[-1], "invalid command line arg provided")
        self.assertEqual(seen.stdout, "")

    def test_switch_in_another_case_is_unknown(self):
        seen = self.check({}, "/setup")
        self.assertEqual(seen.exit_code, -1)
        self.assertEqual(seen.messages[-1], "invalid command line arg provided")

    def test_argument_is_no_format(self):
        self.assertIn("command line argv[2]: /X=%s%n", self.check({}, "/Commit", "/X=%s%n").messages)

    def test_arguments_with_quotes_blanks_and_backslashes(self):
        self.check({}, "/Commit", 'a "b" c', "", "ends in\\", 'x\\"y', "\\\\server\\share name\\")

    def test_argument_outside_ascii(self):
        self.assertIn("command line argv[2]: /X=Zoë", self.check({}, "/Commit", "/X=Zoë").messages)

    def test_done_is_all_that_standard_output_gets(self):
        self.assertEqual(self.check({}, "/Commit").stdout, "Done!")
