"""Reads the report of the proof kit: a line for each step, with a checksum (proof/report.h). Its texts come from
another machine: they are compared and shown, and nothing else is done with them."""

import dataclasses
import json
import pathlib
import re
import zlib

FORM = 1
MOST_BYTES = 200 * 1024 * 1024
LINE = re.compile(rb"([0-9a-f]{8}) (\{.*\})")


class ReportError(Exception):
    """The file is no report, or damaged; the text says where."""


@dataclasses.dataclass(frozen=True)
class Run:
    """A run of the installer in prove.cmd, between two captures."""

    name: str
    mode: str
    package: str
    properties: tuple
    before: str  # the moments of the captures
    after: str


SAMPLE, FAILING = "kelo_toolkit_sample.msi", "kelo_toolkit_failing.msi"
RUNS = (
    Run("install", "install", SAMPLE, ("TPM_VSC=1",), "start", "installed"),
    Run("repair", "repair", SAMPLE, ("REINSTALL=ALL",), "installed", "repaired"),
    Run("remove", "remove", SAMPLE, (), "repaired", "removed"),
    Run("fail", "install", FAILING, ("TPM_VSC=1",), "removed", "rolled back"),
)
MOMENTS = ("start", *(run.after for run in RUNS))
SWITCHES = {"install": "/i", "repair": "/i", "remove": "/x"}

_TEXTS, _RECORDS, _MACHINE = "texts", "records", "machine"
# The members of each kind of line, with their types; those of a step that could not be carried out are left out.
MEMBERS = {
    "begin": {"time": str, "steps": int, "form": int, "kit": {"program": str},
              "windows": {"version": str, "build": int, "servicePack": int, "isServer": bool}},
    "tests": {"results": _RECORDS, "leftOut": _RECORDS},
    "capture": {"moment": str, "machine": _MACHINE},
    "installer": {"switch": str, "package": str, "properties": _TEXTS, "exitCode": int, "actions": _TEXTS,
                  "log": _TEXTS},
    "clean": {"removed": _TEXTS},
    "end": {"time": str, "lines": int},
}
RESULTS = ("passed", "failed", "skipped")
# The areas of a machine that KeloDescribe writes. Any other could name a file to read, or make a rehearsal long.
AREAS = {"title", "notes", "windows", "clock", "process", "folders", "environment", "registry", "files", "libraries",
         "pendingMoves", "token", "services", "processes", "smartCards", "cng", "wmi"}


@dataclasses.dataclass
class Report:
    """What a kit brought back."""

    begin: dict
    tests: dict = dataclasses.field(default_factory=dict)  # their results, by name: each a pair of result and text
    left_out: dict = dataclasses.field(default_factory=dict)  # patterns of tests, and the reason for each
    machines: dict = dataclasses.field(default_factory=dict)  # the captured machine at each moment
    runs: dict = dataclasses.field(default_factory=dict)  # the line of each run of the installer, by its name
    removed: list = dataclasses.field(default_factory=list)
    errors: list = dataclasses.field(default_factory=list)  # of steps that could not be carried out

    @property
    def is_wines(self):
        return "wine" in self.begin["windows"]


def read(path):
    """The report in a file. Raises ReportError and OSError."""
    file = pathlib.Path(path)
    if file.stat().st_size > MOST_BYTES:
        raise ReportError("too large for a report")
    lines = [_parsed(number, line) for number, line in enumerate(file.read_bytes().splitlines(), 1)]
    if not lines or lines[0]["step"] != "begin":
        raise ReportError("not a report of the proof kit")
    if lines[0]["form"] != FORM:
        raise ReportError(f"a report of the form {lines[0]['form']}, and this reads the form {FORM}")
    if lines[-1]["step"] != "end" or lines[-1]["lines"] != len(lines):
        raise ReportError("the end is missing: the file was cut off, or prove.cmd did not come to its end")
    report = Report(lines[0])
    for number, line in enumerate(lines[1:-1], 2):
        _add(report, number, line)
    if missing := lines[0]["steps"] - (len(lines) - 2):
        report.errors.append(("prove.cmd", f"{missing} of {lines[0]['steps']} steps left no line"))
    return report


def _parsed(number, line):
    match = LINE.fullmatch(line)
    if match is None:
        raise ReportError(f"line {number} is no line of a report")
    if int(match[1], 16) != zlib.crc32(match[2]):
        raise ReportError(f"line {number} is damaged: its checksum is another")
    try:
        parsed = json.loads(match[2])
    except (ValueError, RecursionError):
        raise ReportError(f"line {number} is damaged: no JSON") from None
    kind = parsed.get("step")
    if not isinstance(kind, str) or kind not in MEMBERS:
        raise ReportError(f"line {number} is of no known kind")
    if isinstance(parsed.get("error"), str) and kind not in ("begin", "end"):
        return parsed
    for name, form in MEMBERS[kind].items():
        if not _has_form(parsed.get(name), form):
            raise ReportError(f"line {number}: {name} is missing, or not what it should be")
    return parsed


def _has_form(value, form):
    if form is _TEXTS:
        return isinstance(value, list) and all(isinstance(text, str) for text in value)
    if form is _RECORDS:
        return isinstance(value, list) and all(
            isinstance(record, dict) and all(isinstance(text, str) for text in record.values()) for record in value)
    if form is _MACHINE:
        return isinstance(value, dict) and value.keys() <= AREAS
    if isinstance(form, dict):
        return isinstance(value, dict) and all(_has_form(value.get(name), inner) for name, inner in form.items())
    return isinstance(value, form) and (form is bool or not isinstance(value, bool))


def _add(report, number, line):
    kind = line["step"]
    if "error" in line:
        report.errors.append((kind, line["error"]))
    elif kind == "tests":
        for result in line["results"]:
            if result.get("result") not in RESULTS or "test" not in result:
                raise ReportError(f"line {number}: a test without a result")
            report.tests[result["test"]] = result["result"], result.get("text", "")
        report.left_out = {tests.get("tests", ""): tests.get("reason", "") for tests in line["leftOut"]}
    elif kind == "capture" and line["moment"] in MOMENTS:
        report.machines[line["moment"]] = line["machine"]
    elif kind == "installer":
        report.runs[_run_of(number, line).name] = line
    elif kind == "clean":
        report.removed = line["removed"]
    else:
        raise ReportError(f"line {number}: a step that prove.cmd does not have")


def _run_of(number, line):
    given = line["switch"], line["package"], tuple(line["properties"])
    for run in RUNS:
        if given == (SWITCHES[run.mode], run.package, run.properties):
            return run
    raise ReportError(f"line {number}: a run of the installer that prove.cmd does not have")
