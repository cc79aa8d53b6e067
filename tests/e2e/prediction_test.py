"""The real program does what kelo-rehearse predicts: the same log, output and exit code on the same machine."""

from machines.descriptions import load
from paths import ROOT
from runs.prediction import PredictedRuns
from setup.provision import WINE_VERSIONS

# The toolkit's files only: programs that cannot be started and libraries that cannot be loaded.
TOOLKIT = {area: described for area, described in load(ROOT / "machines" / "windows-7-toolkit.json").items()
           if area not in ("libraries", "programs", "services", "registry")}


class EachAction(PredictedRuns):
    ROWS = {
        "setup": (TOOLKIT, "/Setup"),
        "setup_with_every_option": (TOOLKIT, "/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1",
                                    "/ProductType=Enterprise"),
        "commit": (TOOLKIT, "/Commit"),
        "rollback": (TOOLKIT, "/Rollback"),
        "uninstall": (TOOLKIT, "/Uninstall"),
    }


class EachWindowsVersion(PredictedRuns):
    """Setup, with the version's number in the test's name."""

    ROWS = {f"setup_on_{version}": ({"windows": {"version": version}}, "/Setup") for version in WINE_VERSIONS}


class CommandLine(PredictedRuns):
    def row(self, arguments, exit_code=0, stdout="Done!", message=None):
        """A run as predicted, with this end, and a message if one is given."""
        seen = self.check({}, *arguments)
        self.assertEqual((seen.exit_code, seen.stdout), (exit_code, stdout))
        if message is not None:
            self.assertIn(message, seen.messages)

    ROWS = {
        "no_switch": ([], -1, ""),
        "unknown_switch": (["/Repair"], -1, "", "invalid command line arg provided"),
        "switch_in_another_case_is_unknown": (["/setup"], -1, "", "invalid command line arg provided"),
        "argument_is_no_format": (["/Commit", "/X=%s%n"], 0, "Done!", "command line argv[2]: /X=%s%n"),
        "arguments_with_quotes_blanks_and_backslashes": (
            ["/Commit", 'a "b" c', "", "ends in\\", 'x\\"y', "\\\\server\\share name\\"],),
        "argument_outside_ascii": (["/Commit", "/X=Zoë"], 0, "Done!", "command line argv[2]: /X=Zoë"),
        "done_is_all_that_standard_output_gets": (["/Commit"],),
    }
