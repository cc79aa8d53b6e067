"""The changes of a Wine prefix between two snapshots, in the form of a rehearsal's: area, item, and the states before
and after in the words of a description."""

from comparison.scope import WINES_OWN_SERVICES
from machines.descriptions import service_members
from machines.registry_values import described_value
from product import LOG
from reading.files import DIRECTORY
from reading.registry import ROOT

WRITTEN = "written"  # when a file was written, which is not told


def changes_between(before, after, processes):
    """The changes from a snapshot to a later one of the same prefix, in the order of a rehearsal. Only processes with
    the given names, in lower case, count: Wine has others of its own."""
    changes = []
    areas_before, areas_after = (_areas(snapshot, processes) for snapshot in (before, after))
    for area, was in areas_before.items():
        now = areas_after[area]
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


def _areas(snapshot, processes):
    """The items of a snapshot by area and name, as descriptions have them."""
    captured = snapshot.captured
    security = {key.lower(): {member: described[member] for member in ("owner", "access") if member in described}
                for key, described in captured["registry"].items()}
    areas = {
        "registry": {}, "files": {}, "pendingMoves": {move["from"]: move for move in captured["pendingMoves"]},
        "services": {name: _unusual(name, service) for name, service in captured["services"].items()
                     if name.lower() not in WINES_OWN_SERVICES},
        "processes": {}, "smartCards": {"readers": captured["smartCards"].get("readers", [])}, "cng": captured["cng"],
        "wmi": {"autoProvisioning": captured["wmi"]["autoProvisioning"]}}
    for name, value in snapshot.items.items():
        spelt = snapshot.spelling.get(name)
        if name[0] == "key":
            areas["registry"][ROOT + spelt] = security.get((ROOT + spelt).lower(), {})
        elif name[0] == "value":
            key = snapshot.spelling["key", name[1]]
            areas["registry"][f"{ROOT}{key} [{spelt or '(default)'}]"] = described_value(*value)
        elif name[0] == "file":
            areas["files"][spelt] = {"directory": True} if value == DIRECTORY else {"size": value[0], WRITTEN: value[1]}
        elif name[0] == "process" and name[1] in processes:
            areas["processes"] |= {f"#{name[1]} {number}": {"name": name[1]} for number in range(value)}
    if snapshot.log_size is not None:
        areas["files"][LOG] = {"size": snapshot.log_size}
    return areas


def _unusual(name, service):
    """The members of a service that are not as usual."""
    usual = service_members(name, {"state": service.get("state", "stopped")})
    return {member: value for member, value in service_members(name, service).items()
            if member in ("state", "start") or value != usual[member]}
