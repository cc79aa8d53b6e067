"""The registry below HKEY_LOCAL_MACHINE: values, owners and access lists."""

import re

from machines.numbers import (ADMINISTRATORS, ENTRY_FLAGS, EVERYONE, GENERIC_ALL, GENERIC_READ, KEY_ALL_ACCESS,
                              KEY_READ, LOCAL_SYSTEM, USERS)
from machines.registry_values import described_value
from wine import machine_tool

ROOT = "HKLM\\"

# The short names of the security descriptor definition language.
SIDS = {"BU": USERS, "BA": ADMINISTRATORS, "SY": LOCAL_SYSTEM, "WD": EVERYONE}
SDDL_RIGHTS = {"GA": GENERIC_ALL, "GX": 0x20000000, "GW": 0x40000000, "GR": GENERIC_READ,
               "KA": KEY_ALL_ACCESS, "KR": KEY_READ, "KW": 0x20006, "KX": 0x20019,
               "CC": 1, "DC": 2, "LC": 4, "SW": 8, "RP": 0x10, "WP": 0x20, "DT": 0x40, "LO": 0x80, "CR": 0x100,
               "SD": 0x10000, "RC": 0x20000, "WD": 0x40000, "WO": 0x80000}


def values(prefix, key):
    """The described values of a key, by their names; none when there is no such key."""
    return values_below(prefix, key).get(key, {})


def values_below(prefix, *keys):
    """The described values of keys and of all keys below them, by key and name."""
    [told] = machine_tool.ask(prefix, [listing(*map(below_root, keys))])
    return described(told)


def described(told):
    """The described values by key and name, from what machine_tool tells."""
    return {ROOT + key: {name: described_value(kind, bytes.fromhex(data)) for name, (kind, data) in found.items()}
            for key, found in told.items()}


def access_list(prefix, key):
    """The owner and the access list of a key."""
    [told] = machine_tool.ask(prefix, [security_of(below_root(key))])
    return security(told[below_root(key)])


def below_root(key):
    """A key's name without its root, HKLM."""
    return key.removeprefix(ROOT)


def listing(*keys):
    """The line of a script for the values of keys, named without their root, and of all keys below them. A key with a
    "-" before its name is passed over."""
    return machine_tool.line("registry", *keys)


def security_of(*keys):
    """The line of a script for owners and access lists of keys, named without their root."""
    return machine_tool.line("security", *keys)


def security(sddl):
    """The owner and the access list that a text in the security descriptor definition language tells. The entries are
    as in a description."""
    owner = re.match(r"O:(S-[\d-]+|[A-Z]{2})", sddl)
    flags = re.search(r"D:(\w*)", sddl)
    return {"owner": owner and SIDS.get(owner[1], owner[1]), "protected": bool(flags) and flags[1].startswith("P"),
            "access": [_entry(*entry.split(";")) for entry in re.findall(r"\(([^)]*)\)", sddl)]}


def _entry(kind, flags, mask, _object, _inherited_object, trustee):
    return {"type": {"A": "allow", "D": "deny"}[kind], "mask": _mask(mask), "trustee": SIDS.get(trustee, trustee),
            "flags": sum(ENTRY_FLAGS[name] for name in _pairs(flags))}


def _mask(text):
    return int(text, 16) if text.startswith("0x") else sum(SDDL_RIGHTS[name] for name in _pairs(text))


def _pairs(text):
    return [text[i:i + 2] for i in range(0, len(text), 2)]
