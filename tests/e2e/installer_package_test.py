"""The real installer installs the sample package, rolls it back, repairs it, replaces it and removes it, with the
predicted effects on the machine."""

import re
import unittest

from machines.parts import GERMAN
from package import tables
from package.packaged_machine import (DESCRIPTION, EVENT_TEXT, FAIL, VERBOSE_LOG, WITHOUT_STACK, WITHOUT_TPM,
                                      PackagedMachine, effects)
from package.predicted_effects import Rehearsal, brought_by_package, files_of_package
from package.rehearsed_machine import RehearsedMachine
from package.tables import PERMANENT, SAMPLE
from paths import ROOT
from product import (CARD_NOTED, CHOICES_KEY, COMMON_KEY, EVENT_SOURCE, INCORRECT_TPM, LOG, PROGRAM, REASON_KEY,
                     REINSTALLED, SERVICE, SRK_TOOL, SYSTEM, TSPI)
from reading import registry
from reading.notes import runs_of
from setup.reg_file import section
from standins.names import RUNS

INFORMATION = "The authorization of the TPM has to be brought up to date."
PASSWORD = "Tr0ub4dor&3"
OPTIONS = ("/qn", "TPM_VSC=1", f"TPM_OWNER_PASSWORD={PASSWORD}")

# The type of an action: an installed program, run elevated in the script.
DEFERRED_PROGRAM = 0xC12

FAILURE = 1603  # the exit code of msiexec after a failed action of a library or a failed launch condition
PROGRAM_FAILURE = 1627  # and under Wine after a failed program
RESTART_NEEDED = 3010

SWITCHED_OFF = ("The TPM is not enabled and activated, or the library of its software stack cannot be used. Enable and "
                "activate the TPM in the firmware settings, check the installed TCG software stack and run the "
                "installation again.")


def asked_for(TSS_VENDOR="KELO", TPM_VSC="1", TPM_WIN8=""):
    """The arguments with which the package starts the program for a set-up."""
    return ("/Setup", f"/TSS_VENDOR={TSS_VENDOR}", f"/TPM_VSC={TPM_VSC}", f"/TPM_WIN8={TPM_WIN8}",
            "/ProductType=Enterprise")


SETUP = asked_for()

# The installer's own change of the machine before a set-up is repeated.
SERVICE_STOPPED = {"services": {SERVICE: {"state": "stopped"}}}

QUOTED_PROGRAM = f'"{PROGRAM}"'
VIRTUAL_CARD_NOTED = f"{COMMON_KEY} [{CARD_NOTED}]".lower()


def broken(action, data, command_line):
    """The change to a package that makes an action run another command line."""
    return f"UPDATE `CustomAction` SET `Target`='{data}{command_line}' WHERE `Action`='{action}Data'"


def documented_effects(column):
    """The changes and items that a column of docs/what_stays.md lists."""
    lines = (ROOT / "docs" / "what_stays.md").read_text(encoding="utf-8").splitlines()
    header, *rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines if line.startswith("|")]
    stays = [row for row in rows[1:] if row[header.index(column)] == "stays"]
    return {(row[header.index("Change")], item.lower()) for row in stays for item in re.findall("`(.+?)`", row[0])}


def property_set(name, value):
    """The change to a package that sets a property, also to a value that no command line can."""
    return f"INSERT INTO `Property` (`Property`, `Value`) VALUES ('{name}', '{value}')"


# The changes to a package that add a failing action: after all of the fragment's actions, or after the removal's.
FAILING_ACTION = (
    "INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) "
    f"VALUES ('FailingAction', {DEFERRED_PROGRAM}, 'TpmKeyFixer.exe', '{FAIL}')",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) "
    "VALUES ('FailingAction', 'NOT REMOVE', 5990)")
FAILING_REMOVAL = (
    FAILING_ACTION[0],
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) "
    "VALUES ('FailingAction', 'REMOVE', 1590)")

# The change to a package that leaves no stack to set up unless somebody chooses one.
NO_STACK = ("DELETE FROM `Property` WHERE `Property`='KeloTssVendor'",)

# Windows sets these in some runs, and Wine never does: here the package sets them for every run.
RUN_BY_A_USER = (property_set("RestrictedUserControl", "1"),)
ROLLBACK_DISABLED = (property_set("RollbackDisabled", "1"),)


def kept_in_rollback():
    """The changes to a package that keep its files and registry values in a rollback.

    Wine 8 takes these back before it runs the script's rollback actions, when the program would be gone before
    "/Rollback". Windows goes through the whole script backwards. With these changes the files stay because their
    components are permanent. The values stay because they are on the machine before and not in the package: Wine
    removes also those of permanent components."""
    permanent = [f"UPDATE `Component` SET `Attributes`={int(row['Attributes']) | PERMANENT} "
                 f"WHERE `Component`='{row['Component']}'" for row in tables.table(SAMPLE, "Component")]
    return [*permanent, f"UPDATE `Component` SET `Attributes`={PERMANENT}, `KeyPath`='' WHERE `Component`='Settings'",
            "DELETE FROM `Registry` WHERE `Component_`='Settings'"]


class InstallerRun(unittest.TestCase):
    """Runs of the real installer on a machine."""

    description = DESCRIPTION

    def setUp(self):
        self.maxDiff = None
        self.machine = self.enterContext(RehearsedMachine(self.description))

    def install_to_fail(self, *options, changes=()):
        self.machine.write_settings()
        return self.machine.install(*options, changes=[*changes, *kept_in_rollback()])


class EffectsRun(InstallerRun):
    """Runs after which the whole machine is compared."""

    def setUp(self):
        super().setUp()
        self.before = self.machine.look()

    def effects(self):
        return effects(self.before, self.machine.look())

    def check_effects(self, expected):
        """Compares the whole machine; None is an effect with an unknown result."""
        seen = self.effects()
        self.assertEqual({effect: None if expected.get(effect, "") is None else self.plain(value)
                          for effect, value in seen.items()}, expected)

    def check_taken_back(self, predicted, documented):
        """Compares the whole machine after a rollback: it has the package's files (kept_in_rollback), and the program's
        documented effects with their predicted results."""
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
        """Compares an installation, and then the removal. Returns the effects of the installation."""
        predicted = Rehearsal(SETUP, ("/Commit",), session="", machine=self.description)
        setup, commit, srk_change = predicted.logs
        expected = {**predicted.effects(), **brought_by_package(TSS_VENDOR="KELO", TPM_VSC="1")}
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

    def test_failure_after_the_set_up_rolls_back(self):
        predicted = Rehearsal(SETUP, ("/Rollback",), session="")
        setup, rollback, srk_change = predicted.logs
        self.assertEqual(self.install_to_be_rolled_back(*OPTIONS, changes=FAILING_ACTION),
                         (PROGRAM_FAILURE, setup + srk_change + rollback, predicted.exit_codes))
        self.check_taken_back(predicted, "Rollback")


class EffectsWithoutTpm(EffectsRun):
    description = WITHOUT_TPM

    def test_failed_set_up_ends_the_installation(self):
        predicted = Rehearsal(asked_for(TSS_VENDOR=""), ("/Rollback",), machine=self.description)
        self.assertEqual(self.install_to_be_rolled_back(*OPTIONS, changes=NO_STACK),
                         (FAILURE, sum(predicted.logs, []), predicted.exit_codes))
        self.check_taken_back(predicted, "Failed set-up")


class EffectsWithoutStack(EffectsRun):
    description = WITHOUT_STACK

    def test_shim_is_installed_and_removed(self):
        self.assertIn(("added", TSPI.lower()), self.install_and_remove())


class FailedRemoval(EffectsRun):
    """A removal that is rolled back sets up again. It fails before the package's files and registry values are removed,
    because Wine's rollback does not restore them."""

    def test_set_up_is_put_back_with_its_choices(self):
        self.machine.install(*OPTIONS, "TSS_VENDOR=NTRU12", changes=FAILING_REMOVAL)
        installed = self.effects()
        setup = asked_for(TSS_VENDOR="NTRU12")
        predicted = Rehearsal(setup, ("/Commit",), ("/Uninstall",), setup)
        self.assertEqual(self.machine.remove("TSS_VENDOR=KELO"),
                         (PROGRAM_FAILURE, sum(predicted.logs[2:], []), predicted.exit_codes[2:]))
        # Wine takes a product off its list for good as soon as a removal begins.
        del installed["changed", "installed products"]
        put_back = self.effects()
        self.assertEqual(put_back.pop(("added", VIRTUAL_CARD_NOTED)), 1)
        del installed["added", LOG.lower()], put_back["added", LOG.lower()]
        self.assertEqual({effect: self.plain(value) for effect, value in put_back.items()},
                         {effect: self.plain(value) for effect, value in installed.items()})


class NextInstallation(InstallerRun):
    def test_next_installation_brings_the_virtual_smart_card_back(self):
        self.machine.install(*OPTIONS)
        self.machine.remove()
        predicted = Rehearsal(SETUP, ("/Commit",), ("/Uninstall",), asked_for(TPM_VSC=""), ("/Commit",), session="")
        *_, setup, commit, srk_change = predicted.logs
        self.assertIn("TZ01 " + REINSTALLED, setup)
        self.assertEqual(self.machine.install("/qn"), (0, setup + srk_change + commit, predicted.exit_codes[3:]))


class NewerVersion(InstallerRun):
    def test_takes_the_place_of_the_older_and_keeps_the_choices(self):
        self.machine.install(*OPTIONS, "TSS_VENDOR=NTRU12")
        setup = asked_for(TSS_VENDOR="NTRU12")
        predicted = Rehearsal(setup, ("/Commit",), ("/Uninstall",), setup, ("/Commit",), session="")
        *_, removal, setup, commit, srk_change = predicted.logs
        self.assertIn("TZ01 " + REINSTALLED, setup)
        self.assertEqual(self.machine.upgrade("2.0.0", "/qn"),
                         (0, removal + setup + srk_change + commit, predicted.exit_codes[2:]))
        self.assertEqual(self.machine.look()["installed products"], ["Kelo Toolkit Sample"])
        self.assertTrue(self.machine.prefix.path(PROGRAM).exists())

    def test_is_not_replaced_by_an_older_one(self):
        self.machine.install("/qn")
        self.assertEqual(self.machine.upgrade("0.9.0", "/qn"), (FAILURE, [], []))


class Repair(InstallerRun):
    """A repair sets up again with the earlier choices. Before that the installer stops the toolkit's service, so that
    the stack's service can be stopped."""

    description = WITHOUT_TPM  # the options decide whether a set-up fails

    def check(self, status, *options, changes=(), **set_up):
        """Compares the repair of a toolkit that was installed with the other stack."""
        self.machine.install(*OPTIONS, "TSS_VENDOR=NTRU12", changes=changes)
        actions = [asked_for(**set_up), *([("/Commit",)] if status == 0 else [])]
        predicted = Rehearsal(asked_for(TSS_VENDOR="NTRU12"), ("/Commit",), SERVICE_STOPPED, *actions, session="",
                              machine=self.description)
        setup, *commit, srk_change = predicted.logs[2:]
        log = [*setup, *srk_change, *commit[0]] if status == 0 else setup
        self.assertEqual(self.machine.repair(*options), (status, log, predicted.exit_codes[2:]))

    def test_keeps_the_choices(self):
        self.check(0, TSS_VENDOR="NTRU12")

    def test_takes_an_administrator_s_choices(self):
        self.check(0, "TSS_VENDOR=KELO", "TPM_WIN8=yes", TSS_VENDOR="KELO", TPM_WIN8="yes")
        values = registry.values(self.machine.prefix, CHOICES_KEY)
        self.assertEqual((values["TSS_VENDOR"], values["TPM_WIN8"]), ("KELO", "yes"))

    def test_takes_no_choices_from_a_user(self):
        self.check(0, "TSS_VENDOR=KELO", "TPM_WIN8=yes", f"TPM_OWNER_PASSWORD={PASSWORD}", "KELO_FORGET_CHOICES=1",
                   changes=RUN_BY_A_USER, TSS_VENDOR="NTRU12")
        # Its first run was the installation's, and not a user's.
        self.assertEqual([PASSWORD in run for run in runs_of(self.machine.prefix, SRK_TOOL)],
                         [False, True, False, False])

    def test_fails_when_its_set_up_does(self):
        self.check(FAILURE, "KELO_FORGET_CHOICES=1", changes=NO_STACK, TSS_VENDOR="", TPM_VSC="")


class RollbackDisabled(InstallerRun):
    """Then the installer runs neither rollback nor commit actions, and takes nothing back."""

    description = WITHOUT_TPM

    def check(self, status, action, *texts, changes=(), **set_up):
        """Compares an installation, and finds texts in the installer's log."""
        session = {"session": ""} if status == 0 else {}
        predicted = Rehearsal(asked_for(**set_up), (action,), machine=self.description, **session)
        setup, then, *srk_change = predicted.logs
        self.assertEqual(self.machine.install("/qn", "TPM_VSC=1", changes=[*changes, *ROLLBACK_DISABLED]),
                         (status, sum([setup, *srk_change, then], []), predicted.exit_codes))
        log = self.machine.verbose_log()
        for text in ("Rollback is disabled. The toolkit's set-up is committed with the installation", *texts):
            self.assertIn(text, log)

    def test_commit_is_done_within_the_script(self):
        self.check(0, "/Commit", ": KeloCommitNow")

    def test_failed_set_up_is_taken_back_at_once(self):
        self.check(FAILURE, "/Rollback", "Rollback is disabled. The program takes back what the failed set-up did.",
                   changes=NO_STACK, TSS_VENDOR="")


# The beginning of a program's line there. Wine drops everything in brackets from the texts that it gets, here the
# thread.
LINE_IN_LOG = re.compile(r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3} TZ-?\d+  ")


class VerboseLog(InstallerRun):
    """The installer's own log of a set-up."""

    description = WITHOUT_TPM

    def test_has_each_line_and_what_the_window_shows_of_it(self):
        # Every run of the installer is compared line by line; here the window's text is, too.
        self.machine.install(*OPTIONS)
        lines = self.machine.verbose_log().splitlines()
        passed_on = [(line, shown) for line, shown in zip(lines, lines[1:]) if LINE_IN_LOG.match(line)]
        self.assertGreater(len(passed_on), 100)
        self.assertEqual([shown for _, shown in passed_on], [LINE_IN_LOG.sub("", line) for line, _ in passed_on])

    def leave_reason(self, text):
        self.machine.prefix.import_registry(section(REASON_KEY, {"": text}))

    def test_holds_the_reason_of_a_failure(self):
        self.leave_reason(SWITCHED_OFF)  # of an earlier run; the same reason is reported again
        self.install_to_fail("/qn", changes=NO_STACK)
        log = self.machine.verbose_log().splitlines()
        self.assertIn(SWITCHED_OFF, log)
        self.assertEqual([line for line in log if re.search(r"\b1722\b", line)], [])

    def test_tells_each_failure_for_itself(self):
        self.install_to_fail("/qn", changes=[*NO_STACK, broken("KeloRollback", "", QUOTED_PROGRAM + " /Unknown")])
        log = self.machine.verbose_log().splitlines()
        self.assertEqual(log.count(SWITCHED_OFF), 1)
        self.assertIn(f"The Kelo Toolkit's installer program ended with -1: {QUOTED_PROGRAM} /Unknown", log)

    def test_tells_why_a_program_did_not_start(self):
        self.install_to_fail("/qn", changes=[broken("KeloSetup", "TakeBack=|", r'"C:\Missing.exe" /Setup')])
        self.assertIn("The Kelo Toolkit's installer program could not be started, error 2: "
                      r'"C:\Missing.exe" /Setup', self.machine.verbose_log())

    def test_holds_no_reason_of_an_earlier_run(self):
        self.leave_reason("an old reason")
        self.install_to_fail("/qn", changes=[broken("KeloSetup", "TakeBack=|", QUOTED_PROGRAM + " /Unknown")])
        log = self.machine.verbose_log()
        self.assertNotIn("an old reason", log)
        self.assertIn(f"The Kelo Toolkit's installer program ended with -1: {QUOTED_PROGRAM} /Unknown", log)


class VerboseLogInGerman(unittest.TestCase):
    # Wine's own lines are German there, too: they are not compared.
    DESCRIPTION = {**WITHOUT_TPM, **GERMAN}

    def test_holds_the_reason_in_the_user_s_language(self):
        strings = (ROOT / "resources" / "strings" / "de.txt").read_text(encoding="utf-8")
        with PackagedMachine(self.DESCRIPTION) as machine:
            self.assertEqual(machine.install("/qn", changes=NO_STACK)[0], FAILURE)
            self.assertIn(re.search("^5036\t(.*)$", strings, re.MULTILINE)[1], machine.verbose_log().splitlines())


class LinkedLog(unittest.TestCase):
    def test_is_not_read_out(self):
        # By making the log a link a user could read another file's new lines in the installer's log.
        with PackagedMachine(WITHOUT_TPM) as machine:
            victim, log = machine.prefix.path(r"C:\windows\victim.txt"), machine.prefix.path(LOG)
            victim.write_text("a line of the victim\n", encoding="ascii")
            log.parent.mkdir(parents=True, exist_ok=True)
            log.unlink(missing_ok=True)
            log.hardlink_to(victim)
            self.assertEqual(machine.install("/qn")[0], 0)
            self.assertNotIn("Custom Action <-End", machine.verbose_log())


class Restart(InstallerRun):
    description = {**DESCRIPTION, "files": {rf"{SYSTEM}\KeloVReaderBody.dll": {"text": "x", "inUse": True}}}

    def test_is_asked_for_when_files_wait_for_it(self):
        self.assertEqual(self.machine.install("/qn")[0], 0)
        self.assertEqual(self.machine.repair("TPM_VSC=1")[0], RESTART_NEEDED)


class ResultsOfActions(InstallerRun):
    """The installer's reaction to failing actions: here each fails because its switch is unknown."""

    def install_with_failing(self, action, data=""):
        return self.install_to_fail("/qn", changes=[broken(action, data, QUOTED_PROGRAM + " /Unknown")])[0]

    def test_set_up(self):
        self.assertEqual(self.install_with_failing("KeloSetup", "TakeBack=|"), FAILURE)

    def test_commit(self):
        self.assertEqual(self.install_with_failing("KeloCommit"), 0)

    def test_removal(self):
        unknown = broken("KeloUninstall", "", QUOTED_PROGRAM + " /Unknown")
        self.assertEqual(self.machine.install("/qn", changes=[unknown])[0], 0)
        self.assertEqual(self.machine.remove()[0], 0)
        self.assertFalse(self.machine.prefix.path(PROGRAM).exists())


class HostileValues(InstallerRun):
    """Values that try to become another option, or end in a forbidden character. The package sets them, because no
    command line can pass a quotation mark to Wine's installer; the installer uses both alike."""

    REFUSED = {
        "TSS_VENDOR": ('KELO" "/TPM_WIN8=1', "KELO\\", "IFX", "KELO /TPM_VSC=1", "NTRU"),
        "TPM_VSC": ('1" "/ProductType=Enterprise', "1\\", "\\\\", "/ProductType=Enterprise", "[TPM_OWNER_PASSWORD]",
                    '"'),
        "TPM_WIN8": ('1" "/ProductType=Enterprise', "C:\\", "/ProductType=Enterprise", "[ProductName]"),
        "TPM_OWNER_PASSWORD": ('a" /T:"KELO', "secret\\", "a /TSS_VENDOR=KELO", "a /SILENT"),
    }
    # All other characters with a meaning for a shell, a format or a command-line parser.
    ODD = r"a b  c\\d\ %PATH% ^&|<>();=,~$`{1}"

    def test_are_refused_before_anything_is_changed(self):
        for name, values in self.REFUSED.items():
            for value in values:
                with self.subTest(f"{name}={value}"):
                    refused = self.machine.install("/qn", changes=[property_set(name, value)])
                    self.assertEqual(refused, (FAILURE, [], []))
        self.assertEqual(runs_of(self.machine.prefix, SRK_TOOL), [])

    def test_that_are_taken_stay_in_their_option(self):
        changes = [property_set("TPM_VSC", self.ODD), property_set("TPM_WIN8", self.ODD)]
        predicted = Rehearsal(("/Setup", "/TSS_VENDOR=KELO", f"/TPM_VSC={self.ODD}", f"/TPM_WIN8={self.ODD}",
                               "/ProductType=Enterprise"), ("/Commit",), session="")
        setup, commit, srk_change = predicted.logs
        self.assertEqual(self.machine.install("/qn", changes=changes),
                         (0, setup + srk_change + commit, predicted.exit_codes))

    def test_that_are_too_long_are_refused(self):
        for name in ("TPM_VSC", "TPM_WIN8"):
            self.assertEqual(self.machine.install("/qn", changes=[property_set(name, "x" * 4096)]), (FAILURE, [], []))
            self.assertIn("A property of the command line is too long.", self.machine.verbose_log())

    def test_password_is_the_tool_s_alone(self):
        password = r"/SILENT/VERIFY/CAPTION=x/TSS_VENDOR=KELO \d %PATH%"
        self.machine.install("/qn", changes=[property_set("TPM_OWNER_PASSWORD", password)])
        self.assertTrue(runs_of(self.machine.prefix, SRK_TOOL)[-1].endswith(
            f' /C:"Kelo Toolkit Sample" /I:"{INFORMATION}" /P:"{password}" /T:"NTRU" /S /Y'))


class SrkData(InstallerRun):
    """The data for the SRK tool, which nobody else gets."""

    def changes_asked_for(self):
        # Wine puts an unquoted program name of a command line into quotation marks.
        runs = [line.replace(f'"{SRK_TOOL}"', SRK_TOOL, 1) for line in runs_of(self.machine.prefix, SRK_TOOL)]
        return [run.removeprefix(SRK_TOOL) for run in runs]

    CHANGE = f' /C:"Kelo Toolkit Sample" /I:"{INFORMATION}"'

    def test_without_interface_nobody_is_asked(self):
        self.machine.install(*OPTIONS)
        self.assertEqual(self.changes_asked_for(), [" /V", f'{self.CHANGE} /P:"{PASSWORD}" /T:"NTRU" /S /Y'])

    def test_without_wizard_nobody_is_asked(self):
        for level in ("/qb", "/passive"):
            self.machine.install(level)
            self.machine.remove()
        self.assertEqual(self.changes_asked_for(), [" /V", f'{self.CHANGE} /T:"NTRU" /S /Y'] * 2)

    def test_author_decides_otherwise_but_for_a_repair(self):
        self.machine.install("/qn", changes=[property_set("KeloSrkFlag", "/ASK")])
        self.machine.repair()
        self.assertEqual(self.changes_asked_for(), [" /V", f'{self.CHANGE} /T:"NTRU" /Y',
                                                    " /V", f'{self.CHANGE} /T:"NTRU" /S /Y'])

    def test_verification_stays_one(self):
        self.machine.install("/qn", changes=[property_set("KeloSrkFlag", "/VERIFY")])
        self.machine.repair()
        self.assertEqual(self.changes_asked_for(), [" /V", f'{self.CHANGE} /T:"NTRU" /V /Y'] * 2)

    def test_password_is_nowhere_else(self):
        self.machine.install(*OPTIONS)
        verbose_log = self.machine.verbose_log()
        self.assertIn("TSS_VENDOR = KELO", verbose_log)
        self.assertNotIn(PASSWORD, verbose_log)
        for key in ("HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER"):
            self.assertNotIn(PASSWORD, self.machine.prefix.export_registry(key))
        self.assertEqual(self.machine.files_with(PASSWORD), {SRK_TOOL.rpartition("\\")[0] + "\\" + RUNS, VERBOSE_LOG})


class EventSource(InstallerRun):
    """The program's entries as the event viewer shows them."""

    def text_of(self, kind, *words):
        return self.machine.prefix.wine(EVENT_TEXT, EVENT_SOURCE, kind, *words)

    def test_texts_are_in_a_file_without_code(self):
        self.machine.install("/qn")
        self.assertEqual(self.text_of("EventMessageFile", "1018", INCORRECT_TPM),
                         (0, f"{INCORRECT_TPM}\r\r\n".encode()))
        self.assertEqual(self.text_of("CategoryMessageFile", "2"), (0, b"Platform\r\r\n"))
