"""Shows what the proof kit brought back: which rows of docs/testing.md are now proved, on which Windows, and what
differed from winsim's prediction.

    proof_report.py FILE [--json]

Exit status: 0 all is as predicted; 1 something differs or was not carried out; 2 the file cannot be read.
"""

import dataclasses
import json
import pathlib
import signal
import sys
import textwrap

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "e2e"))

import paths  # noqa: E402,F401 (it lets the other modules be found)
from installer_rehearsal import RehearsalError  # noqa: E402
from make_kit import identity  # noqa: E402
from prediction import compare  # noqa: E402
from report import RUNS, ReportError, read  # noqa: E402
from rows import DIFFERS, IN_PART, PROVED, verdicts  # noqa: E402

TITLES = {"install": "the installation", "repair": "the repair", "remove": "the removal",
          "fail": "the installation that fails and is rolled back"}
WIDTH = 100
MOST_LINES = 6  # of one side of a difference


class Findings:
    """All that a report says."""

    def __init__(self, report):
        self.report = report
        self.differences, compared = compare(report)
        self.verdicts = verdicts(report, self.differences, compared)
        self.failed = {test: text for test, (result, text) in report.tests.items() if result == "failed"}

    @property
    def unexplained(self):
        return [difference for difference in self.differences if not difference.explained]

    @property
    def undone(self):
        """The steps that could not be carried out."""
        return [f"{step}: {error}" for step, error in self.report.errors]

    @property
    def is_as_predicted(self):
        return not (self.unexplained or self.failed or self.undone)

    def count(self, status):
        return sum(verdict.status == status for verdict in self.verdicts)

    def windows(self):
        begin = self.report.begin["windows"]
        name = f"Windows {begin.get('version')}.{begin.get('build')}"
        if begin.get("servicePack"):
            name += f" service pack {begin['servicePack']}"
        name += ", a server" if begin.get("isServer") else ""
        return f"Wine {begin['wine']} as {name}" if self.report.is_wines else name


def printable(text):
    """A text of another machine, without what a terminal would take for a command."""
    return "".join(c if c.isprintable() or c == "\n" else f"\\x{ord(c):02x}" for c in str(text))


def show(findings):
    print(f"Proof on {printable(findings.windows())}")
    print(f"  {headline(findings)}\n")
    for name, text in facts(findings):
        print(f"  {name:<14} {printable(text)}")
    print("\nRows of docs/testing.md, and what only a real Windows can show")
    for verdict in findings.verdicts:
        show_text(f"  {verdict.status:<9} ", f"{verdict.row.what}: {verdict.row.claim}")
        show_text("            ", printable(verdict.reason))
    show_failed_tests(findings)
    show_differences("Differences from the prediction", findings.unexplained)
    show_explained(findings)


def headline(findings):
    if findings.report.is_wines:
        text = "WINE PROVES NO ROW"
    else:
        text = f"{counted(findings.count(PROVED), 'ROW')} PROVED, {findings.count(IN_PART)} IN PART"
        if differs := findings.count(DIFFERS):
            text += f", {differs} DIFFERENT"
    if findings.is_as_predicted:
        return f"{text}; ALL IS AS PREDICTED"
    parts = [(findings.unexplained, "DIFFERENCE"), (findings.failed, "FAILED TEST"),
             (findings.undone, "FAILED STEP")]
    return f"{text}; " + ", ".join(counted(len(found), what) for found, what in parts if found)


def counted(count, what):
    return f"{count} {what}{'' if count == 1 else 'S'}"


def facts(findings):
    begin, results = findings.report.begin, [result for result, _ in findings.report.tests.values()]
    start = findings.report.machines.get("start", {}).get("windows")
    if isinstance(start, dict):
        yield "Windows", ", ".join(f"{name} {start[name]}" for name in ("uiLanguage", "userLanguage", "codePage")
                                   if name in start)
    own = begin["kit"]["program"] == identity()["program"]
    yield "Program", f"{begin['kit']['program']}, " + (
        "that of this build" if own else
        f"not that of this build, {identity()['program']}: differences may come from that")
    yield "Begun", begin["time"]
    yield "Tests", ", ".join(f"{results.count(result)} {result}" for result in ("passed", "failed", "skipped"))
    for pattern, reason in findings.report.left_out.items():
        yield "Left out", f"{pattern}: {reason}"
    yield "Installer", ", ".join(f"{run.name} {findings.report.runs[run.name]['exitCode']}" for run in RUNS
                                 if run.name in findings.report.runs)
    for text in findings.undone:
        yield "Not done", text
    if findings.report.removed:
        yield "Cleaned up", ", ".join(findings.report.removed)


def show_failed_tests(findings):
    if findings.failed:
        print("\nConformance tests that failed")
    for test, text in findings.failed.items():
        print(f"  {printable(test)}")
        show_text("      ", printable(text.replace("|", "\n")))


def show_differences(title, differences):
    if differences:
        print(f"\n{title}")
    for difference in differences:
        print(f"  {TITLES[difference.run]}: {difference.part}: {printable(difference.item)}")
        for name, text in (("predicted", difference.predicted), ("seen", difference.seen)):
            show_text(f"    {name:<10}", printable(text))


def show_explained(findings):
    reasons = {}
    for difference in findings.differences:
        if difference.explained:
            reasons.setdefault(difference.explained, []).append(f"{difference.run} {difference.item}")
    if reasons:
        print("\nDifferences of Wine's own")
    for reason, items in reasons.items():
        print(f"  {reason} ({counted(len(items), 'item').lower()})")


def show_text(beginning, text):
    """Shows a text indented under its beginning; nothing of an empty one but a beginning with a name."""
    lines = [part for line in text.splitlines() for part in textwrap.wrap(line, WIDTH - len(beginning)) or [""]]
    if not lines and not beginning.strip():
        return
    for place, line in enumerate(lines[:MOST_LINES] or ["nothing"]):
        print(f"{beginning if place == 0 else ' ' * len(beginning)}{line}")
    if len(lines) > MOST_LINES:
        print(f"{' ' * len(beginning)}... {len(lines) - MOST_LINES} more lines (--json has all)")


def as_json(findings):
    return {"windows": findings.report.begin["windows"], "isWine": findings.report.is_wines,
            "isAsPredicted": findings.is_as_predicted,
            "rows": [{"what": verdict.row.what, "claim": verdict.row.claim, "status": verdict.status,
                      "reason": verdict.reason} for verdict in findings.verdicts],
            "tests": {test: {"result": result, "text": text} for test, (result, text) in findings.report.tests.items()},
            "differences": [dataclasses.asdict(difference) for difference in findings.differences],
            "notDone": findings.undone}


def cannot(file, why):
    print(f"run: {printable(file)}: {printable(why)}", file=sys.stderr)
    return 2


def main(arguments):
    words = [word for word in arguments if word != "--json"]
    if "--help" in words:
        print(__doc__.strip())
        return 0
    if len(words) != 1:
        print("run: proof-report needs the file that the kit brought back (--help tells more)", file=sys.stderr)
        return 2
    try:
        findings = Findings(read(words[0]))
    except OSError as error:
        return cannot(words[0], error.strerror)
    except ReportError as error:
        return cannot(words[0], error)
    except (RehearsalError, AttributeError, KeyError, TypeError, ValueError) as error:
        # The lines are whole, but a captured machine is no description.
        return cannot(words[0], f"a captured machine cannot be rehearsed: {error}")
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # whoever reads this may stop reading
    if "--json" in arguments:
        print(json.dumps(as_json(findings), indent=2))
    else:
        show(findings)
    return 0 if findings.is_as_predicted else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
