"""Machine descriptions: loads and merges them, and completes them to whole machines."""

import functools
import json

from machines.names import with_numbers
from paths import ROOT
from product import PROGRAM

# In packaging/, which paths.py lets be found.
import machine_description
from machine_description import merged

PLAIN_WINDOWS = ROOT / "winsim" / "plain_windows_10.json"

# Where Wine differs from a plain machine: what Wine has, as a description.
WINE = {
    "clock": {"zoneBias": 0, "daylightBias": -60},
    "folders": {"windows": r"C:\windows", "system": r"C:\windows\system32"},
    "environment": {"windir": r"C:\windows", "SystemRoot": r"C:\windows"},
    "services": {"TBS": None, "SCardSvr": None, "CertPropSvc": None},
}


def load(path):
    """The description in a JSON file, together with those that it is like, with numbers in place of names."""
    return with_numbers(machine_description.load(path))


def complete(description):
    """The whole machine that a description, a patch on a plain Windows 10, stands for."""
    return _patched(_plain(), description)


def _plain():
    """The plain machine with the program, for each caller to change."""
    return json.loads(_plain_text())


@functools.cache
def _plain_text():
    return json.dumps(merged(load(PLAIN_WINDOWS), {"process": {"path": PROGRAM}}))


def _patched(target, patch):
    """A JSON merge patch."""
    if not isinstance(patch, dict):
        return patch
    patched = dict(target) if isinstance(target, dict) else {}
    for name, value in patch.items():
        if value is None:
            patched.pop(name, None)
        else:
            patched[name] = _patched(patched.get(name), value)
    return patched


def as_on_wine(description):
    """The description of a machine that is like Wine wherever the given description says nothing."""
    return merged(WINE, description)


def without_vain_nulls(description, base=None):
    """The description without the nulls that take nothing away from a plain machine: merging leaves them, and
    kelo-rehearse refuses them."""
    base = _plain() if base is None else base
    return {name: without_vain_nulls(value, base.get(name) if isinstance(base.get(name), dict) else {})
            if isinstance(value, dict) and name != "effects" else value
            for name, value in description.items() if value is not None or name in base}


def service_members(name, service):
    """The members of a described service that do not change by themselves, and its state, with those that its
    description leaves out."""
    state = service.get("state", "stopped")
    usual = {"displayName": name, "description": "", "state": state,
             "controlsAccepted": 1 if state in ("running", "paused") else 0, "type": 0x10, "start": "demand",
             "errorControl": 1, "binaryPath": "", "loadOrderGroup": "", "dependencies": [], "account": "LocalSystem"}
    return {member: service.get(member, value) for member, value in usual.items()}


def settled(machine):
    """A machine as kelo-rehearse saves it, some time later: its services have gone through the states ahead of them."""
    described = machine.get("services", {})
    return {**machine, "services": {name: _settled_service(service) for name, service in described.items()}}


def _settled_service(service):
    if not (service or {}).get("states"):
        return service
    status = ("state", "controlsAccepted", "exitCode", "serviceExitCode", "checkPoint", "waitHint")
    rest = {name: value for name, value in service.items() if name not in (*status, "states")}
    return {**rest, **{name: value for name, value in service["states"][-1].items() if name in status}}
