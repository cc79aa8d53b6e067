"""The changes of a Wine prefix between two snapshots, in the form of a rehearsal's: area, item, and the states before
and after in the words of a description."""

from comparison.items import CARD_READERS, CNG_PROVIDERS, KEY_STORAGE_PROVIDERS, PENDING_MOVES, PROVISIONING
from comparison.scope import SERVICE_FIELDS, WINES_OWN_SERVICES, usual_service
from machines.numbers import INHERITED
from machines.registry_values import described_value
from product import LOG
from reading.files import DIRECTORY
from reading.registry import ROOT
from setup.system_libraries import KEY_STORAGE_FUNCTION

WRITTEN = "written"  # when a file was written, which is not told


def changes_between(before, after, processes):
    """The changes from a snapshot to a later one of the same prefix, in the order of a rehearsal. Only processes with
    the given names, in lower case, count: Wine has others of its own."""
    seen = _Look(before, processes), _Look(after, processes)
    changes = []
    for area in ("registry", "files", "pendingMoves", "services", "processes", "smartCards", "cng", "wmi"):
        was, now = (look.areas.get(area, {}) for look in seen)
        for item in sorted(was.keys() | now.keys(), key=str.lower):
            if was.get(item) != now.get(item):
                changes.append({"area": area, "kind": _kind(was, now, item), "item": item,
                                **_told(was.get(item), now.get(item))})
    return changes


def _told(was, now):
    """An item before and after; of a file that was written anew, not when."""
    before, after = ({name: value for name, value in state.items() if name != WRITTEN} if isinstance(state, dict) else
                     state for state in (was, now))
    if before == after:
        after = {**after, "content": "another"}
    return {"before": before, "after": after}


def _kind(was, now, item):
    return "added" if item not in was else "removed" if item not in now else "changed"


class _Look:
    """The items of a snapshot by area and name, as descriptions have them."""

    def __init__(self, snapshot, processes):
        self.areas = {}
        self.processes = processes
        for name, value in snapshot.items.items():
            self._add(snapshot, name, value)
        if snapshot.log_size is not None:
            self._put("files", LOG, {"size": snapshot.log_size})

    def _put(self, area, item, value):
        self.areas.setdefault(area, {})[item] = value

    def _add(self, snapshot, name, value):
        if name == CARD_READERS:
            self._put("smartCards", "readers", value)
        elif name == CNG_PROVIDERS:
            self._put("cng", "providers", {provider: {} for provider in value})
        elif name == KEY_STORAGE_PROVIDERS:
            self._put("cng", "contextFunctions",
                      [{name: KEY_STORAGE_FUNCTION[name] for name in ("context", "function")} | {"providers": value}])
        elif name == PROVISIONING:
            self._put("wmi", "autoProvisioning", value)
        elif name == PENDING_MOVES:
            for source, target in value:
                self._put("pendingMoves", source, {"from": source} | ({"to": target} if target else {}))
        else:
            self._add_named(snapshot, name, value)

    def _add_named(self, snapshot, name, value):
        kind, path, *rest = name
        spelt = snapshot.spelling.get(name, path)
        if kind == "key":
            self._put("registry", ROOT + spelt, _security(snapshot.items, path))
        elif kind == "value":
            key = snapshot.spelling["key", path]
            self._put("registry", f"{ROOT}{key} [{spelt or '(default)'}]", described_value(*value))
        elif kind == "file":
            self._put("files", spelt, {"directory": True} if value == DIRECTORY else
                      {"size": value[0], WRITTEN: value[1]})
        elif kind == "service":
            if path not in WINES_OWN_SERVICES:
                self._put("services", spelt, _unusual(spelt, value))
        elif kind == "process" and path in self.processes:
            for number in range(value):
                self._put("processes", f"#{path} {number}", {"name": path})


def _unusual(name, service):
    """The members of a service that are not as usual, its names first."""
    usual = usual_service(name, service["state"])
    return {member: service[member] for member in dict.fromkeys(("displayName", "description", *SERVICE_FIELDS))
            if member in ("state", "start") or service[member] != usual[member]}


def _security(items, key):
    """Owner and access list of a key, where they are known."""
    security = {}
    if items.get(("owner", key)):
        security["owner"] = items["owner", key]
    if ("access", key) in items:
        security["access"] = [{"trustee": trustee, "mask": mask, "inheritance": flags & ~INHERITED, "type": kind} |
                              ({"inherited": True} if flags & INHERITED else {})
                              for trustee, mask, flags, kind in items["access", key]]
    return security
