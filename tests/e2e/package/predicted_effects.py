"""The effects that the sample package should have on a machine: those that a rehearsal predicts for the program, and
those of the package itself."""

from machines.descriptions import as_on_wine, merged, service_members, settled
from machines.parts import RUNS_AT_ONCE, toolkit_service
from package import tables
from package.packaged_machine import DESCRIPTION, leaves
from package.tables import SAMPLE
from product import CARD_SERVICES, EXPORT, TASK_LIBRARY
from runs.log_lines import comparable
from runs.rehearsal import rehearse_and_save, report_of

# What Wine has by itself, and what a stand-in of the package does.
MORE = merged({"services": {name: {"displayName": name, "start": "demand", **RUNS_AT_ONCE} for name in CARD_SERVICES}},
              toolkit_service(**RUNS_AT_ONCE))


def with_package(description):
    """A described machine with what the package brings."""
    description = merged(description, MORE)
    brought = {path: {"size": size} for path, size in tables.files(SAMPLE).items()}
    description = merged(description, {"files": brought})
    for name, value in tables.registry_values(SAMPLE).items():
        key, _, value_name = name[:-1].partition(" [")
        value_name = "" if value_name == "(default)" else value_name
        description = merged(description, {"registry": {key: {"values": {value_name: value}}}})
    return description


class Rehearsal:
    """Actions one after the other on the same machine, where the toolkit's files are: what they log, return and change.
    Between them may stand what happens to the machine, as a description."""

    def __init__(self, *runs, session=None, machine=None):
        description = with_package(machine or DESCRIPTION)
        actions = [run for run in runs if isinstance(run, tuple)]
        reports = list(_rehearse_each(description, runs))
        if session is not None:
            described = merged(description, {"installer": {"properties": {"CustomActionData": session}}})
            reports.append(report_of(described, *EXPORT))
        self.logs = [comparable(report["log"]) for report in reports]
        self.exit_codes = [report["exitCode"] for report in reports[:len(actions)]]
        self.changes = [change for report in reports for change in report["changes"]]
        self.calls = [call["call"] for report in reports for call in report["calls"]]

    def effects(self):
        """The effects that all of them have, with what there is then; None where that is not predicted."""
        tasks = self.calls.count(f"{TASK_LIBRARY}!InstallAutoEnrollmentTasks")
        found = {("changed", "auto-enrollment tasks"): tasks} if tasks else {}
        for change in self.changes:
            found.update(EFFECTS[change["area"]](change))
        return leaves(found)


def _rehearse_each(description, runs):
    machine = as_on_wine(description)
    for run in runs:
        if isinstance(run, tuple):
            report, machine = rehearse_and_save(machine, "--", *run)
            yield report
        else:
            machine = merged(settled(machine), run)


def brought_by_package(**choices):
    """The effects of installing the package, with these choices, that are not the program's."""
    values = {("added", name.lower()): value
              for name, value in tables.registry_values(SAMPLE, **choices).items()}
    return files_of_package() | values | {("changed", "installed products"): ["Kelo Toolkit Sample"]}


def files_of_package():
    """Those of these effects that are files."""
    return {("added", path.lower()): f"{size} bytes" for path, size in tables.files(SAMPLE).items()}


def _registry_effects(change):
    if "[" not in change["item"]:
        has_list = "access" in (change["after"] or {})
        return {("changed", f"access list of {change['item']}".lower()): None} if has_list else {}
    is_plain = isinstance(change["after"], (int, str))
    return {(change["kind"], change["item"].lower()): change["after"] if is_plain else None}


def _file_effects(change):
    size = (change["after"] or {}).get("size")
    content = None if size is None else f"{size} bytes"
    return {} if change["kind"] == "changed" else {(change["kind"], change["item"].lower()): content}


def _service_effects(change):
    name = change["item"]
    before, after = (service_members(name, change[moment]) if change[moment] else {} for moment in ("before", "after"))
    return {("changed" if before else "added", f"service {name} [{member}]".lower()): value
            for member, value in after.items() if before.get(member) != value}


def _one_effect(name, value=None):
    return lambda _change: {("changed", name): value}


# What a predicted change is on the real machine, by its area.
EFFECTS = {
    "registry": _registry_effects,
    "files": _file_effects,
    "libraries": lambda _change: {},  # a library is a file too
    "services": _service_effects,
    "cng": _one_effect("key storage providers"),
    "smartCards": _one_effect("smart-card readers"),
    "wmi": _one_effect("automatic provisioning", "off"),
}
