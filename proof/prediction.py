"""Holds what a kit saw against what winsim predicts for the captured machine: the exit code, the log and the actions of
each run of the installer, and the next captured machine."""

import dataclasses
import difflib
import json
import re
import subprocess

from paths import NATIVE, WINDOWS
from report import RUNS

# In tests/e2e and packaging, as paths lets them be found.
import installer_rehearsal
from comparison.captured import NOT_READ_OF_SERVICES, SECURITY, comparable_state
from machines.descriptions import merged, settled
from machines.parts import RUNS_AT_ONCE, detections, tasks, toolkit_service
from product import LOG, SRK_TOOL, STAGER
from runs.log_lines import comparable, unpredicted_waits
from wix_source import ROLLBACK

REHEARSE = NATIVE / "kelo-rehearse"
NAMES = NATIVE / "describe_names"

# What the stand-ins of the sample package do where nobody tells them more. The detection libraries find a software
# stack and a TPM that is switched off.
STAND_INS = merged(toolkit_service(**RUNS_AT_ONCE),
                   {"libraries": {**detections(isEnabled=0, isActivated=0, isOwned=0)["libraries"],
                                  **tasks()["libraries"]},
                    "programs": {STAGER: {"runs": [{"exitCode": 0}]}, SRK_TOOL: {"runs": [{"exitCode": 0}]}}})
SERVICE_PROGRAM = next(path for path in STAND_INS["programs"] if path.endswith("KlPCR.exe"))

# On Windows the installer runs the program as LocalSystem; KeloDescribe ran as the user who started prove.cmd.
LOCAL_SYSTEM = {"user": "S-1-5-18", "groups": ["S-1-5-32-544", "S-1-1-0", "S-1-5-11"]}

AREAS = ("registry", "files", "services", "cng", "others")
PARTS = ("exit code", "actions", "log", *AREAS)

LOOKED_FOR = ("patchagent.exe", "vaultcourier.exe")  # the programs whose processes are ended
MOST_LINES = 20  # of a log's differences
# Of a service: what depends on the moment, and what KeloDescribe does not read.
PASSING = ("processId", "checkPoint", "waitHint", "exitCode", *NOT_READ_OF_SERVICES)


@dataclasses.dataclass
class Difference:
    run: str  # the name of a Run
    part: str  # one of PARTS
    item: str
    predicted: str
    seen: str
    explained: str = ""  # why Wine differs from Windows here


def compare(report):
    """The differences in a report, and the parts that were compared: pairs of a run's name and a part."""
    asked = json.loads(subprocess.run([NAMES], capture_output=True, check=True).stdout)
    differences, compared, choices = [], set(), None
    for run in RUNS:
        before, after, seen = (report.machines.get(run.before), report.machines.get(run.after),
                               report.runs.get(run.name))
        if before is None or seen is None:
            continue
        predicted = predict(run, before, choices, report.is_wines)
        choices = choices_of(predicted)
        compared |= {(run.name, part) for part in ("exit code", "actions", "log")}
        differences += _of_run(run, predicted, seen, report.is_wines)
        if after is not None:
            compared |= {(run.name, area) for area in AREAS}
            differences += _of_machine(run, _Items(before, asked), _Items(settled(predicted.machine), asked),
                                       _Items(after, asked), report.is_wines)
    return differences, compared


def package_of(run):
    return installer_rehearsal.Package(WINDOWS / run.package)


def choices_of(outcome):
    """The remembered choices after a run; None if there are none."""
    return outcome.machine.get("registry", {}).get(installer_rehearsal.CHOICES_KEY)


def predict(run, machine, choices, is_wines):
    """The rehearsed run on a captured machine, with the remembered choices, which KeloDescribe does not read. Raises
    RehearsalError if the machine is none."""
    if not is_wines and isinstance(machine.get("token"), dict):
        machine = {**machine, "token": {**machine["token"], **LOCAL_SYSTEM}}
    if choices:
        machine = merged(machine, {"registry": {installer_rehearsal.CHOICES_KEY: choices}})
    if SERVICE_PROGRAM.lower() in map(str.lower, machine.get("files") or {}):
        machine = merged(machine, STAND_INS)
    given = dict(text.split("=", 1) for text in run.properties)
    return installer_rehearsal.Rehearsal(package_of(run), REHEARSE, machine, run.mode, given, brought=STAND_INS,
                                         is_wines=is_wines).run()


def _of_run(run, predicted, seen, is_wines):
    if seen["exitCode"] != predicted.status:
        yield Difference(run.name, "exit code", "msiexec", str(predicted.status), str(seen["exitCode"]))
    actions = _actions(run, predicted, is_wines)
    own = [action for action in seen["actions"] if action in actions]
    if own != actions:
        yield Difference(run.name, "actions", "the package's actions", " ".join(actions), " ".join(own))
    yield from _of_log(run, [line for one in predicted.runs for line in one.log], seen["log"])


def _actions(run, predicted, is_wines):
    """The package's actions as the installer's log names them: Windows when each begins, Wine also when it is run."""
    if not is_wines:
        return list(dict.fromkeys(predicted.order))
    types = {row["Action"]: int(row["Type"]) for row in package_of(run).table("CustomAction")}
    undone = [action for action in reversed(predicted.order) if types[action] & ROLLBACK and predicted.rolled_back]
    return [*predicted.order, *undone]


def _of_log(run, predicted, seen):
    try:
        lines = comparable(predicted), comparable(seen)
        waits = unpredicted_waits(predicted, seen)
    except AssertionError as error:  # a line that is none of the program's
        yield Difference(run.name, "log", "a line", "", str(error))
        return
    for kind, first, last, begin, end in difflib.SequenceMatcher(None, *lines, autojunk=False).get_opcodes():
        if kind != "equal":
            yield Difference(run.name, "log", f"from line {begin + 1} on", "\n".join(lines[0][first:last][:MOST_LINES]),
                             "\n".join(lines[1][begin:end][:MOST_LINES]))
    yield from (Difference(run.name, "log", "a wait", "", message) for message in waits)


# --- Machines ---------------------------------------------------------------------------------------------------------


class _Items:
    """What KeloDescribe reads of a machine, each part by its area and name in lower case."""

    def __init__(self, machine, asked):
        self.states = {}
        self._add_registry(machine.get("registry") or {}, asked["keys"])
        self._add_files(machine.get("files") or {}, _places(machine), asked["files"])
        names = {name.lower() for name in asked["services"]}
        for name, service in (machine.get("services") or {}).items():
            if service is not None and name.lower() in names:
                self._add("services", name, {key: value for key, value in service.items() if key not in PASSING})
        cng = machine.get("cng") or {}
        for name, provider in (cng.get("providers") or {}).items():
            self._add("cng", name, provider)
        for function in cng.get("contextFunctions") or []:
            self._add("cng", f"providers of {function.get('function')}", function)
        self._add("others", "smart-card readers", (machine.get("smartCards") or {}).get("readers") or [])
        self._add("others", "automatic provisioning", (machine.get("wmi") or {}).get("autoProvisioning"))
        self._add("others", "moves at the next start", machine.get("pendingMoves") or [])
        self._add("others", "processes", sorted(process["name"].lower() for process in machine.get("processes") or []
                                                if process.get("name", "").lower() in LOOKED_FOR))

    def _add(self, area, name, state):
        if state is not None:
            self.states[area, name.lower()] = state

    def _add_registry(self, registry, keys):
        asked = {key.lower(): {value.lower() for value in values} for key, values in keys.items()}
        for path, key in registry.items():
            if key is None or not any((name + "\\").startswith(path.lower() + "\\") for name in asked):
                continue
            self._add("registry", path, {name: value for name, value in key.items() if name != "values"})
            for name, value in (key.get("values") or {}).items():
                if name.lower() in asked.get(path.lower(), ()):
                    self._add("registry", f"{path} [{name or '(default)'}]", value)

    def _add_files(self, files, places, asked):
        names = [re.sub("<.*?>", lambda place: places.get(place[0], place[0]), name).lower() for name in asked]
        for path, file in files.items():
            if file is not None and path.lower() != LOG.lower() and any(
                    (name + "\\").startswith(path.lower() + "\\") for name in names):
                self._add("files", path, _file(file))


def _places(machine):
    folders = machine.get("folders") or {}
    program = (machine.get("process") or {}).get("path", "")
    return {"<toolkit>": program.rpartition("\\")[0], **{f"<{name}>": path for name, path in folders.items()}}


def _file(file):
    """A file with the size of its content."""
    known = {name: value for name, value in file.items() if name not in ("text", "bytes")}
    if file.get("directory") or "size" in known:
        return known
    return {**known, "size": len(file.get("bytes", file.get("text", "").encode()))}


def _of_machine(run, before, predicted, seen, is_wines):
    for name in sorted(before.states.keys() | predicted.states.keys() | seen.states.keys()):
        was, expected, found = (items.states.get(name) for items in (before, predicted, seen))
        if was == expected == found or _are_alike(expected, found):
            continue
        yield Difference(run.name, *name, _shown(expected, found), _shown(found, expected),
                         _reason_on_wine(name[0], expected, found) if is_wines else "")


def _are_alike(expected, found):
    like = expected if isinstance(expected, dict) else {}
    return comparable_state(expected, like) == comparable_state(found, like)


def _shown(state, other):
    """A state as text; of two that have members, those that are not the same."""
    if isinstance(state, dict) and isinstance(other, dict):
        state = {name: value for name, value in state.items() if other.get(name) != value}
    return "nothing" if state is None else json.dumps(state, sort_keys=True)


# What Wine has in its own way: members of the items of an area, and the reason.
WINES_OWN = {
    "registry": (SECURITY, "Wine's keys have lists of their own and hand nothing down"),
    "files": (SECURITY, "Wine keeps a file's owner and access list as Unix permissions"),
}


def _reason_on_wine(area, expected, found):
    """Why an item differs on Wine; empty if Wine is no reason."""
    members, reason = WINES_OWN.get(area, ((), ""))
    if not isinstance(expected, dict) or not isinstance(found, dict):
        return ""
    both = ({name: value for name, value in state.items() if name not in members} for state in (expected, found))
    return reason if _are_alike(*both) else ""
