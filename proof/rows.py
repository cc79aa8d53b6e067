"""Which rows of docs/testing.md the kit proves: for each row whose last column says what only a real Windows can show,
the tests and comparisons that show it there, or why the kit cannot."""

import dataclasses
import fnmatch

PROVED, IN_PART, DIFFERS, OPEN, NOT_BY_KIT = "proved", "in part", "DIFFERS", "open", "not here"

FIRST_WINDOWS_11 = 22000  # its build


@dataclasses.dataclass(frozen=True)
class Row:
    what: str  # the row's first cell
    claim: str  # and its last
    tests: tuple = ()  # the conformance tests, all of which have to run and pass
    compared: tuple = ()  # pairs of a run of the installer and a part of it that have to be as predicted
    windows: tuple = ()  # pairs of a part of the claim and whether a Windows shows it by being there
    rest: str = ""  # what the kit does not show of the claim, and why


@dataclasses.dataclass
class Verdict:
    row: Row
    status: str
    reason: str = ""


def _is_windows_11(windows):
    return windows["build"] >= FIRST_WINDOWS_11 and not windows["isServer"]


ROWS = (
    Row("links and hard links that a user made before a run", "that a link is recognized as a link",
        tests=("Links.AreOpenedThemselvesWithTheFlag", "Links.AttributesAreTheLinksOwn",
               "Links.AreDeletedAndMovedThemselves")),
    Row("the same made between two calls, and redirection trust", "yes",
        rest="another user would have to act between two calls of the program"),
    Row("access lists of keys, and the way to them by ownership", "the privilege to take ownership",
        tests=("Access.ThePrivilegeToTakeOwnershipLeadsToAKeyThatDeniesEverything",),
        compared=(("install", "registry"), ("repair", "registry"))),
    Row("access lists of files and folders", "who has access",
        tests=("Access.AFilesListDecidesWhoOpensIt", "Inheritance.ANewFileGetsWhatItsDirectoryHandsToFiles",
               "Inheritance.ANewDirectoryGetsWhatItsDirectoryHandsToDirectoriesAndHandsItOn",
               "Inheritance.AListThatIsNotProtectedIsFollowedByWhatIsInherited"),
        compared=(("install", "files"), ("repair", "files"))),
    Row("services: states, configuration, waits", "the account's rights",
        tests=("OpenServiceW.GivesTheRightsAskedForAlone",),
        compared=tuple((run, part) for run in ("install", "repair", "remove") for part in ("log", "services"))),
    Row("a dependency that is missing or stopped at a start", "yes",
        tests=("StartServiceW.FailsForAServiceThatDependsOnAMissingOne",
               "StartServiceW.WaitsForWhatTheServiceDependsOn")),
    Row("a dependency that is starting, or fails to, at a start", "yes",
        tests=("StartServiceW.WaitsForWhatIsOnItsWay",
               "StartServiceW.FailsWhenWhatTheServiceDependsOnStopsOrHangsWhileItStarts")),
    Row("a stop while others depend on the service", "yes",
        tests=("ControlService.FailsForAServiceThatARunningOneNeeds",)),
    Row("probe libraries, task library, device installer, service program", "the toolkit's own, and its drivers",
        rest="the kit brings stand-ins; the toolkit's own need its package"),
    Row("smart-card readers, CNG configuration, WMI of the TPM", "yes",
        compared=tuple((run, part) for run in ("install", "repair", "remove") for part in ("cng", "others")),
        rest="readers and the WMI of a TPM, where a machine has none"),
    Row("the event log's entry", "that it is written and shown",
        tests=("ReportEventW.TakesAnEventOfARegisteredSource", "ReportEventW.WritesAnEntryThatCanBeReadBack"),
        rest="that it is shown: somebody has to look at the event viewer"),
    Row("files in use, moves at the next start", "that they happen", rest="Windows would have to start again"),
    Row("Windows versions", "11, server editions, that 5.2 loads the images",
        compared=(("install", "exit code"), ("install", "log")),
        windows=(("11", _is_windows_11), ("server editions", lambda windows: windows["isServer"]),
                 ("5.2", lambda windows: windows["version"] == "5.2"))),
    Row("the package in the installer",
        "elevation, the rollback of files and registry values, the user interface, whether a user sees the SRK tool "
        "that an elevated action starts",
        compared=tuple((run, part) for run in ("install", "repair", "remove", "fail")
                       for part in ("exit code", "actions", "log")) + (("fail", "files"), ("fail", "registry")),
        rest="the user interface, and whether a user sees the SRK tool: somebody has to look"),
    Row("a TPM, and the toolkit at work", "yes", rest="it takes a TPM, and the toolkit's own programs"),
)


def verdicts(report, differences, compared):
    """What a report says on each row."""
    different = {(difference.run, difference.part) for difference in differences if not difference.explained}
    return [_verdict(row, report, different, compared) for row in ROWS]


def _verdict(row, report, different, compared):
    if not row.tests and not row.compared:
        return Verdict(row, NOT_BY_KIT, row.rest)
    failed = [test for test in row.tests if report.tests.get(test, ("",))[0] == "failed"]
    unlike = [" ".join(pair) for pair in row.compared if pair in different]
    if failed or unlike:
        return Verdict(row, DIFFERS, ", ".join([*failed, *unlike]))
    missing = [f"{test} {_why_not_run(report, test)}" for test in row.tests
               if report.tests.get(test, ("",))[0] != "passed"]
    missing += [f"{run}: {part} was not compared" for run, part in row.compared if (run, part) not in compared]
    if report.is_wines:
        return Verdict(row, OPEN, "this was Wine")
    if missing:
        return Verdict(row, OPEN, ", ".join(missing))
    return _verdict_of_windows(row, report.begin["windows"]) if row.windows else (
        Verdict(row, IN_PART, f"not shown: {row.rest}") if row.rest else Verdict(row, PROVED))


def _verdict_of_windows(row, windows):
    shown = [part for part, is_shown in row.windows if is_shown(windows)]
    if not shown:
        return Verdict(row, OPEN, "this Windows is none of them")
    left = [part for part, _ in row.windows if part not in shown]
    return Verdict(row, IN_PART, f"shown: {', '.join(shown)}; not shown: {', '.join(left)}")


def _why_not_run(report, test):
    result, text = report.tests.get(test, ("", ""))
    if result == "skipped":
        return f"was skipped: {text}"
    return next((f"was left out: {reason}" for pattern, reason in report.left_out.items()
                 if fnmatch.fnmatchcase(test, pattern)), "did not run")
