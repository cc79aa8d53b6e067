"""A machine under Wine on which the real installer works, and the rehearsal of each package that it is given: after
every run of the installer the two are compared."""

import re

from machines.descriptions import as_on_wine, merged, settled
from package.packaged_machine import NEWER_PACKAGE, PACKAGE, PackagedMachine
from package.predicted_effects import with_package
from product import BEGINS
from runs.log_lines import comparable
from runs.rehearsal import REHEARSE

# In packaging/, which paths.py lets be found.
import installer_rehearsal
from wix_source import ROLLBACK

# The programs and libraries of a package are described with what they do; copies made in the rehearsal would do
# nothing.
BEHAVIOUR = ("programs", "libraries")

FAILING_ACTION = "FailingAction"  # the one that packages of the tests fail with

ACTION_STARTS = re.compile(r"Action start [\d:]+: (\w+)\.$")
BRACKETS = re.compile(r"\[[^]]*\]")

# The library image writes these lines itself: they are not passed on to the installer's log.
OF_SRK_CHANGE = re.compile(r"(SRK Auth and TPM Owner Auth must be upgraded|User Cancelled)$")

UI_LEVELS = {"/qn": "2", "/qb": "3", "/passive": "3"}
FAILED = {1603, 1627}  # Wine has the second for a failed program


class RehearsedMachine(PackagedMachine):
    """A packaged machine whose every run of the installer is compared with the package's rehearsal."""

    def __init__(self, description):
        super().__init__(description)
        self._rehearsed = as_on_wine(with_package(description))
        self._behaviour = {area: self._rehearsed[area] for area in BEHAVIOUR}

    def install(self, *options, changes=()):
        seen = super().install(*options, changes=changes)
        self._rehearsed = merged(self._rehearsed, self._behaviour)
        return self._compared("install", options, seen)

    def upgrade(self, version, *options):
        seen = super().upgrade(version, *options)
        self._rehearsed = merged(self._rehearsed, self._behaviour)
        older = installer_rehearsal.Package(self.prefix.path(PACKAGE))
        return self._compared("install", options, seen, NEWER_PACKAGE, older)

    def repair(self, *options):
        return self._compared("repair", ("/qn", *options), super().repair(*options))

    def remove(self, *options):
        return self._compared("remove", ("/qn", *options), super().remove(*options))

    def _compared(self, mode, options, seen, path=PACKAGE, installed=None):
        given = dict(option.split("=", 1) for option in options if "=" in option)
        given["UILevel"] = next(level for switch, level in UI_LEVELS.items() if switch in options)
        package = installer_rehearsal.Package(self.prefix.path(path))
        outcome = installer_rehearsal.Rehearsal(package, REHEARSE, self._rehearsed, mode, given, [FAILING_ACTION],
                                                installed).run()
        self._rehearsed = settled(outcome.machine)
        status, log, exit_codes = seen
        predicted = (FAILED if outcome.status in FAILED else {outcome.status},
                     [line for run in outcome.runs for line in comparable(run.log)],
                     [run.exit_code for run in outcome.runs if run.action != "SRK_Auth_Change"])
        if status not in predicted[0] or (log, exit_codes) != predicted[1:]:
            raise AssertionError(f"{mode} {' '.join(options)}: the rehearsal predicts {predicted}, not {seen}")
        types = {row["Action"]: int(row["Type"]) for row in package.table("CustomAction")}
        self._compare_verbose_log(outcome, types)
        return seen

    def _compare_verbose_log(self, outcome, types):
        """The installer's own log has the same actions in the same order, and the program's lines in theirs."""
        lines = self.verbose_log().splitlines()
        actions = [match[1] for match in map(ACTION_STARTS.match, lines) if match and match[1] in outcome.order]
        # Wine runs every rollback action, Windows those before the action that failed.
        script = [action for action in reversed(outcome.order) if types[action] & ROLLBACK and outcome.rolled_back]
        predicted = [*outcome.order, *script]
        if actions != predicted:
            raise AssertionError(f"the rehearsal predicts the actions {predicted}, not {actions}")
        if missing := [text for text in outcome.told if text not in lines]:
            raise AssertionError(f"the rehearsal predicts {missing} in the installer's log")
        # Wine takes what is in brackets out of every text that it is handed: the thread, and numbers of arguments.
        logged = [BRACKETS.sub("", line) for line in self.log_lines() if not OF_SRK_CHANGE.search(line)]
        if any(step.action == "RemoveExistingProducts" for step in outcome.steps):
            # Wine has another msiexec remove the older version, and that one writes no log.
            logged = logged[[place for place, line in enumerate(logged) if line.endswith(BEGINS)][1]:]
        passed_on = [line for line in lines if line in logged]
        if passed_on != logged:
            raise AssertionError(f"the installer's log has {passed_on}, not {logged}")
