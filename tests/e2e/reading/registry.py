"""The values of the registry below HKEY_LOCAL_MACHINE: all of a key's, not only those that the program asks for."""

from machines.registry_values import described_value
from wine import machine_tool

ROOT = "HKLM\\"


def values(prefix, key):
    """The described values of a key, by their names; none when there is no such key."""
    return values_below(prefix, key).get(key, {})


def values_below(prefix, *keys):
    """The described values of keys and of all keys below them, by key and name."""
    [told] = machine_tool.ask(prefix, [listing(*map(below_root, keys))])
    return {ROOT + key: {name: described_value(kind, bytes.fromhex(data)) for name, (kind, data) in found.items()}
            for key, found in told.items()}


def below_root(key):
    """A key's name without its root, HKLM."""
    return key.removeprefix(ROOT)


def listing(*keys):
    """The line of a script for the values of keys, named without their root, and of all keys below them. A key with a
    "-" before its name is passed over."""
    return machine_tool.line("registry", *keys)
