"""What the sample package is to do to a machine: what a rehearsal predicts for the program, and what the package itself
brings."""

import installer
from comparison import settled
from installer import SAMPLE
from log_lines import comparable
from packaged_machine import (CARD_SERVICES, DESCRIPTION, RUNS_AT_ONCE, SERVICE_MEMBERS, TOOLKIT, leaves,
                              registry_text)
from program import rehearsal, rehearse_and_save
from provision import as_on_wine
from services import STATES

START_TYPES = {"auto": 2, "demand": 3}

# What Wine has by itself, and what a stand-in of the package does.
MORE = {
    "services": {name: {"displayName": name, "start": "demand", **RUNS_AT_ONCE} for name in CARD_SERVICES},
    "programs": {TOOLKIT + r"\KlPCR.exe": {"runs": [{"arguments": "-Service", "effects": {"services": {"KlPCR": {
        "displayName": "Kelo PCR", "start": "demand", "binaryPath": f'"{TOOLKIT}\\KlPCR.exe"', **RUNS_AT_ONCE}}}}]}},
}


def with_package(description):
    """A described machine with what the package brings."""
    description = with_all(description, MORE)
    brought = {path: {"size": size} for path, size in installer.files(SAMPLE).items()}
    description = with_all(description, {"files": brought})
    for name, value in installer.registry_values(SAMPLE).items():
        key, _, value_name = name[:-1].partition(" [")
        value_name = "" if value_name == "(default)" else value_name
        description = with_all(description, {"registry": {key: {"values": {value_name: value}}}})
    return description


class Rehearsal:
    """Actions one after the other on the same machine, where the toolkit's files are: what they log, return and change.
    Between them may stand what happens to the machine, as a description."""

    def __init__(self, *runs, session=None, machine=None):
        description = with_package(machine or DESCRIPTION)
        actions = [run for run in runs if isinstance(run, tuple)]
        reports = list(_rehearse_each(description, runs))
        if session is not None:
            described = with_all(description, {"installer": {"properties": {"CustomActionData": session}}})
            reports.append(rehearsal(described, "--export", "SRK_Auth_Change"))
        self.logs = [comparable(report["log"]) for report in reports]
        self.exit_codes = [report["exitCode"] for report in reports[:len(actions)]]
        self.changes = [change for report in reports for change in report["changes"]]
        self.calls = [call["call"] for report in reports for call in report["calls"]]

    def effects(self):
        """The effects that all of them have, with what there is then; None where that is not predicted."""
        tasks = self.calls.count("CertJobPlanner.dll!InstallAutoEnrollmentTasks")
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
            machine = with_all(settled(machine), run)


def brought_by_package(**choices):
    """The effects of installing the package, with these choices, that are not the program's."""
    values = {("added", name.lower()): registry_text(value)
              for name, value in installer.registry_values(SAMPLE, **choices).items()}
    return files_of_package() | values | {("changed", "installed products"): ["Kelo Toolkit Sample"]}


def files_of_package():
    """Those of these effects that are files."""
    return {("added", path.lower()): f"{size} bytes" for path, size in installer.files(SAMPLE).items()}


def _registry_effects(change):
    if "[" not in change["item"]:
        has_list = "access" in (change["after"] or {})
        return {("changed", f"access list of {change['item']}".lower()): None} if has_list else {}
    is_plain = isinstance(change["after"], (int, str))
    return {(change["kind"], change["item"].lower()): registry_text(change["after"]) if is_plain else None}


def _file_effects(change):
    size = (change["after"] or {}).get("size")
    content = None if size is None else f"{size} bytes"
    return {} if change["kind"] == "changed" else {(change["kind"], change["item"].lower()): content}


def _service_effects(change):
    before, after = change["before"] or {}, change["after"] or {}
    name = change["item"].lower()
    return {("changed" if member in before else "added", f"service {name} [{member}]".lower()): _shown(after[member])
            for member in SERVICE_MEMBERS if member in after and before.get(member) != after[member]}


def _shown(value):
    """A member of a service as the service manager shows it."""
    return {**STATES, **START_TYPES}.get(value, value) if isinstance(value, str) else value


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


def with_all(description, more):
    """A description with the members of another."""
    if not isinstance(description, dict):
        return more
    return {**description, **{name: with_all(description.get(name), value) for name, value in more.items()}}
