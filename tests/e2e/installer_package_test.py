"""The sample package, made from the authoring that installer authors include: what its tables say, and what becomes of
a machine when the real installer installs it, rolls it back and removes it again."""

import re
import unittest

import installer
from installer import PERMANENT, SAMPLE
from packaged_machine import (DESCRIPTION, EVENT_TEXT, FAIL, SRK_TOOL, TOOLKIT, VERBOSE_LOG, WITHOUT_STACK,
                              WITHOUT_TPM, PackagedMachine, effects)
from packaged_rehearsal import Rehearsal, brought_by_package, files_of_package
from program import LOG
from standins import runs_of
from wine import ROOT

INFORMATION = "The authorization of the TPM has to be brought up to date."
PASSWORD = "Tr0ub4dor&3"
REINSTALLED = "TZ01 When Toolkit was last uninstalled... the VSC was present, so must reinstall..."
OPTIONS = ("/qn", "TPM_VSC=1", f"TPM_OWNER_PASSWORD={PASSWORD}")

# An action's type: a program that the package installs, in the script, elevated; and a bit of any type.
DEFERRED_PROGRAM = 0xC12
HIDE_TARGET = 0x2000

INSTALL_FAILURE = 1627  # what Wine's msiexec ends with when an action has failed


def asked_for(TSS_VENDOR="KELO", TPM_VSC="1"):
    """What the package starts the program with for a set-up."""
    return "/Setup", f"/TSS_VENDOR={TSS_VENDOR}", f"/TPM_VSC={TPM_VSC}", "/TPM_WIN8=", "/ProductType=Enterprise"


SETUP = asked_for()


def documented_effects(column):
    """What docs/what_stays.md lists in a column: changes and items."""
    lines = (ROOT / "docs" / "what_stays.md").read_text(encoding="utf-8").splitlines()
    header, *rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines if line.startswith("|")]
    stays = [row for row in rows[1:] if row[header.index(column)] == "stays"]
    return {(row[header.index("Change")], item.lower()) for row in stays for item in re.findall("`(.+?)`", row[0])}


def documented_actions():
    """The actions as docs/installer_package.md lists them: type, sequence and condition of each."""
    text = (ROOT / "docs" / "installer_package.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| `(\w+)` +\| (\d+) +\| (\d+) +\| `(.+)` +\|$", text, re.MULTILINE)
    return {action: (int(kind), int(sequence), condition) for action, kind, sequence, condition in rows}


class Authoring(unittest.TestCase):
    """What the tables of the package say."""

    def setUp(self):
        self.types = {row["Action"]: int(row["Type"]) for row in installer.table(SAMPLE, "CustomAction")}
        self.sequence = {row["Action"]: row for row in installer.table(SAMPLE, "InstallExecuteSequence")}

    def order(self, *actions):
        self.assertEqual(sorted(actions, key=lambda action: int(self.sequence[action]["Sequence"])), list(actions))

    def test_actions_are_as_documented(self):
        seen = {action: (kind, int(self.sequence[action]["Sequence"]), self.sequence[action]["Condition"])
                for action, kind in self.types.items()}
        self.assertEqual(seen, documented_actions())

    def test_removal_comes_before_everything_that_it_needs_is_removed(self):
        self.order("InstallInitialize", "KeloUninstall", "RemoveRegistryValues", "RemoveFiles")

    def test_set_up_comes_behind_its_files_and_values_and_in_front_of_the_srk_change(self):
        self.order("InstallFiles", "WriteRegistryValues", "KeloRollback", "KeloSetup", "KeloSrkSilent", "KeloSrkData",
                   "SRK_Auth_Change", "InstallFinalize")

    def test_only_a_first_installation_is_taken_back(self):
        # Nothing that the installer does under Wine 8 shows it: a repair that fails is not rolled back at all there.
        self.assertEqual(self.sequence["KeloRollback"]["Condition"], "NOT Installed")

    def test_files_that_are_only_copied_differ_in_size(self):
        # By their sizes the tests tell which was copied.
        sizes = [path.stat().st_size for path in (ROOT / "packaging" / "sample" / "stand_ins").iterdir()]
        self.assertEqual(len(set(sizes)), len(sizes))

    def test_password_is_hidden_on_its_way(self):
        data = next(row for row in installer.table(SAMPLE, "CustomAction") if row["Action"] == "KeloSrkData")
        self.assertIn("/PASSWORD=[TPM_OWNER_PASSWORD]", data["Target"])
        self.assertEqual(data["Source"], "SRK_Auth_Change")
        self.assertLessEqual({"TPM_OWNER_PASSWORD", data["Source"]}, installer.hidden_properties(SAMPLE))
        for action in ("KeloSrkData", "SRK_Auth_Change"):
            self.assertTrue(self.types[action] & HIDE_TARGET, action)


# A package in which an action behind all of the fragment's fails.
FAILING_ACTION = (
    "INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) "
    f"VALUES ('FailingAction', {DEFERRED_PROGRAM}, 'TpmKeyFixer.exe', '{FAIL}')",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('FailingAction', 5990)")


# The package of a newer version, with the older one removed first as docs/installer_package.md says.
NEWER_VERSION = (
    "UPDATE `Property` SET `Value`='{3F0D2C1C-5F0A-4D7C-8F53-1B0E6B1F6A52}' WHERE `Property`='ProductCode'",
    "UPDATE `Property` SET `Value`='2.0.0' WHERE `Property`='ProductVersion'",
    "INSERT INTO `Upgrade` (`UpgradeCode`, `VersionMax`, `Attributes`, `ActionProperty`) "
    "VALUES ('{C5C1C4B5-2F0B-4E8E-8D8F-8D5D0B5B4E02}', '2.0.0', 0, 'OLDER_VERSION')",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('FindRelatedProducts', 25)",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveExistingProducts', 1450)")


def kept_in_rollback():
    """The changes to a package whose files and registry values stay in a rollback.

    Wine 8 takes those back before it comes to the script's own rollback actions: the installed program would be gone
    when "/Rollback" is to be run. Windows goes through the whole script backwards. Here the files stay because their
    components are permanent, and the values because they are on the machine before and not in the package: Wine also
    removes those of permanent components."""
    permanent = [f"UPDATE `Component` SET `Attributes`={int(row['Attributes']) | PERMANENT} "
                 f"WHERE `Component`='{row['Component']}'" for row in installer.table(SAMPLE, "Component")]
    return [*permanent, f"UPDATE `Component` SET `Attributes`={PERMANENT}, `KeyPath`='' WHERE `Component`='Settings'",
            "DELETE FROM `Registry` WHERE `Component_`='Settings'"]


class InstallerRun(unittest.TestCase):
    """What the real installer makes of the package."""

    description = DESCRIPTION

    def setUp(self):
        self.maxDiff = None
        self.machine = self.enterContext(PackagedMachine(self.description))


class EffectsRun(InstallerRun):
    """What is on the whole machine after each run of the installer."""

    def setUp(self):
        super().setUp()
        self.before = self.machine.look()

    def effects(self):
        return effects(self.before, self.machine.look())

    def check_effects(self, expected):
        """Compares the whole machine; None is an effect of which it is not known what there is then."""
        seen = self.effects()
        self.assertEqual({effect: None if expected.get(effect, "") is None else self.plain(value)
                          for effect, value in seen.items()}, expected)

    def check_taken_back(self, predicted, documented):
        """Compares the whole machine after a rollback: the package's files are there (kept_in_rollback), and of the
        program's effects those that are documented, with what is predicted to be there then."""
        seen = {effect: self.plain(value) for effect, value in self.effects().items()}
        kept = files_of_package()
        self.assertEqual({effect: seen.pop(effect, None) for effect in kept}, kept)
        self.assertEqual(set(seen), documented_effects(documented))
        known = {effect: value for effect, value in predicted.effects().items() if effect in seen and value is not None}
        self.assertEqual({effect: seen[effect] for effect in known}, known)

    def plain(self, value):
        """A file's size without its time of change."""
        return value[0] if isinstance(value, tuple) else value

    def install_and_remove(self):
        """Compares what comes of an installation, and then of the removal. Returns the effects of the installation."""
        predicted = Rehearsal(SETUP, ("/Commit",), session="", machine=self.description)
        setup, commit, srk_change = predicted.logs
        expected = {**predicted.effects(), **brought_by_package()}
        self.assertEqual(self.machine.install(*OPTIONS), (0, setup + srk_change + commit, predicted.exit_codes))
        self.check_effects(expected)
        installed = self.effects()

        predicted = Rehearsal(SETUP, ("/Commit",), ("/Uninstall",), machine=self.description)
        self.assertEqual(self.machine.remove(), (0, predicted.logs[-1], predicted.exit_codes[-1:]))
        left = self.effects()
        self.assertEqual(set(left), documented_effects("Removal"))
        stayed = installed.keys() & left.keys() - {("added", LOG.lower())}
        self.assertEqual({effect: left[effect] for effect in stayed}, {effect: installed[effect] for effect in stayed})
        return expected

    def install_to_be_rolled_back(self, *options, changes=()):
        self.machine.write_settings()
        self.before = self.machine.look()
        return self.machine.install(*options, changes=[*changes, *kept_in_rollback()])


class Effects(EffectsRun):
    def test_installation_and_removal(self):
        self.install_and_remove()

    def test_failure_behind_the_set_up_rolls_back(self):
        predicted = Rehearsal(SETUP, ("/Rollback",), session="")
        setup, rollback, srk_change = predicted.logs
        self.assertEqual(self.install_to_be_rolled_back(*OPTIONS, changes=FAILING_ACTION),
                         (INSTALL_FAILURE, setup + srk_change + rollback, predicted.exit_codes))
        self.check_taken_back(predicted, "Rollback")


class EffectsWithoutTpm(EffectsRun):
    description = WITHOUT_TPM

    def test_failed_set_up_ends_the_installation(self):
        predicted = Rehearsal(asked_for(TSS_VENDOR=""), ("/Rollback",), machine=self.description)
        self.assertEqual(self.install_to_be_rolled_back(*OPTIONS, "TSS_VENDOR="),
                         (INSTALL_FAILURE, sum(predicted.logs, []), predicted.exit_codes))
        self.check_taken_back(predicted, "Failed set-up")


class EffectsWithoutStack(EffectsRun):
    description = WITHOUT_STACK

    def test_shim_is_installed_and_removed(self):
        self.assertIn(("added", r"c:\windows\system32\tspi_x64.dll"), self.install_and_remove())


class NextInstallation(InstallerRun):
    def test_next_installation_brings_the_virtual_smart_card_back(self):
        self.machine.install(*OPTIONS)
        self.machine.remove()
        predicted = Rehearsal(SETUP, ("/Commit",), ("/Uninstall",), asked_for(TPM_VSC=""), ("/Commit",), session="")
        *_, setup, commit, srk_change = predicted.logs
        self.assertIn(REINSTALLED, setup)
        self.assertEqual(self.machine.install("/qn"), (0, setup + srk_change + commit, predicted.exit_codes[3:]))

    def test_newer_version_takes_the_place_of_the_older(self):
        self.machine.install(*OPTIONS)
        predicted = Rehearsal(SETUP, ("/Commit",), ("/Uninstall",), asked_for(TPM_VSC=""), ("/Commit",), session="")
        *_, removal, setup, commit, srk_change = predicted.logs
        self.assertIn(REINSTALLED, setup)
        self.assertEqual(self.machine.install("/qn", changes=NEWER_VERSION),
                         (0, removal + setup + srk_change + commit, predicted.exit_codes[2:]))
        self.assertEqual(self.machine.look()["installed products"], ["Kelo Toolkit Sample"])


class Repair(InstallerRun):
    description = WITHOUT_TPM  # it is the options that decide whether a set-up fails

    def check(self, status, *options, **set_up):
        """Compares what comes of repairing an installed toolkit whose service is stopped: while it runs, Windows does
        not stop the stack's service, on which it depends, and Wine does."""
        self.machine.install(*OPTIONS)
        self.assertEqual(self.machine.prefix.wine("net", "stop", "KlPCR")[0], 0)
        actions = [asked_for(TPM_VSC="", **set_up), *([("/Commit",)] if status == 0 else [])]
        predicted = Rehearsal(SETUP, ("/Commit",), {"services": {"KlPCR": {"state": "stopped"}}}, *actions, session="",
                              machine=self.description)
        setup, *commit, srk_change = predicted.logs[2:]
        log = [*setup, *srk_change, *commit[0]] if status == 0 else setup
        self.assertEqual(self.machine.repair(*options), (status, log, predicted.exit_codes[2:]))

    def test_repair_sets_up_again(self):
        self.check(0)

    def test_repair_fails_when_its_set_up_does(self):
        self.check(INSTALL_FAILURE, "TSS_VENDOR=", TSS_VENDOR="")


class ResultsOfActions(InstallerRun):
    """What the installer makes of an action that fails, which each does here because its switch is unknown."""

    def install_with_failing(self, action):
        broken = f"UPDATE `CustomAction` SET `Target`='/Unknown' WHERE `Action`='{action}'"
        return self.machine.install("/qn", changes=[broken])[0]

    def test_set_up(self):
        self.assertEqual(self.install_with_failing("KeloSetup"), INSTALL_FAILURE)

    def test_commit(self):
        self.assertEqual(self.install_with_failing("KeloCommit"), 0)

    def test_removal(self):
        self.assertEqual(self.install_with_failing("KeloUninstall"), 0)
        self.assertEqual(self.machine.remove()[0], 0)
        self.assertFalse(self.machine.prefix.path(TOOLKIT + r"\KeloCustomAction.exe").exists())


class SrkData(InstallerRun):
    """What the SRK tool and nobody else gets of the data."""

    def changes_asked_for(self):
        # Wine puts the program's name into quotation marks when it finds it in a command line without.
        runs = [line.replace(f'"{SRK_TOOL}"', SRK_TOOL, 1) for line in runs_of(self.machine.prefix, SRK_TOOL)]
        return [run.removeprefix(SRK_TOOL) for run in runs]

    def test_without_interface_nobody_is_asked(self):
        self.machine.install(*OPTIONS)
        self.assertEqual(self.changes_asked_for(), [
            " /V", f' /C:"Kelo Toolkit Sample" /I:"{INFORMATION}" /P:"{PASSWORD}" /T:"NTRU" /S /Y'])

    def test_with_an_interface_the_user_is_asked(self):
        self.machine.install("/qb", "KELO_SRK_VENDOR=KELO")
        self.assertEqual(self.changes_asked_for(), [
            " /V", f' /C:"Kelo Toolkit Sample" /I:"{INFORMATION}" /T:"KELO" /Y'])

    def test_password_is_nowhere_else(self):
        self.machine.install(*OPTIONS)
        verbose_log = self.machine.verbose_log()
        self.assertIn("TSS_VENDOR = KELO", verbose_log)
        self.assertNotIn(PASSWORD, verbose_log)
        for key in ("HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER"):
            self.assertNotIn(PASSWORD, self.machine.prefix.export_registry(key))
        self.assertEqual(self.machine.files_with(PASSWORD), {SRK_TOOL.rpartition("\\")[0] + r"\runs.txt", VERBOSE_LOG})


class EventSource(InstallerRun):
    """What the event viewer shows of the program's entries."""

    TEXT = "The TPM is in an incorrect state. The TPM must be reset to support use by Kelo Software"

    def text_of(self, kind, *words):
        return self.machine.prefix.wine(EVENT_TEXT, "Kelo Platform Security", kind, *words)

    def test_texts_are_in_the_installed_program(self):
        self.machine.install("/qn")
        self.assertEqual(self.text_of("EventMessageFile", "1018", self.TEXT), (0, f"{self.TEXT}\r\r\n".encode()))
        self.assertEqual(self.text_of("CategoryMessageFile", "2"), (0, b"Platform\r\r\n"))
