"""The registry is read as it is: each type of value, each kind of name, and all keys."""

import unittest

from machines.numbers import VALUE_TYPES
from machines.registry_values import utf16
from reading import registry
from wine import machine_tool
from wine.prefix import Prefix

KEY = r"SOFTWARE\Odd [names]"

# Values by their names: types and bytes.
VALUES = {
    "": (VALUE_TYPES["REG_SZ"], utf16("default")),
    'a\\b"c]=': (VALUE_TYPES["REG_SZ"], utf16('C:\\d\\"e"')),
    "empty": (VALUE_TYPES["REG_SZ"], utf16("")),
    "nothing": (VALUE_TYPES["REG_SZ"], b""),
    "controls": (VALUE_TYPES["REG_SZ"], utf16("\a1\b\t\n\v\f\r\x1b\x018\x02a\x7f")),
    "Käse": (VALUE_TYPES["REG_EXPAND_SZ"], utf16("%ä%1é日本\U0001f000")),
    "half a character": (VALUE_TYPES["REG_SZ"], b"a\0b"),
    "two ends": (VALUE_TYPES["REG_SZ"], utf16("a\0")),
    "list": (VALUE_TYPES["REG_MULTI_SZ"], utf16("a\0b\0")),
    "empty list": (VALUE_TYPES["REG_MULTI_SZ"], utf16("")),
    "number": (VALUE_TYPES["REG_DWORD"], bytes.fromhex("010203f4")),
    "short number": (VALUE_TYPES["REG_DWORD"], b"\1\2"),
    "long number": (VALUE_TYPES["REG_QWORD"], bytes(range(8))),
    "bytes": (VALUE_TYPES["REG_BINARY"], bytes(range(256)) * 9),
    "no bytes": (VALUE_TYPES["REG_BINARY"], b""),
    "no type": (0, b"\1"),
    "unknown type": (0x12345, b"\1"),
}


def read(prefix, *keys):
    machine_tool.do(prefix, registry.saving(*keys))
    return registry.saved(prefix, *keys)


class RegistryReading(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.prefix = self.enterContext(Prefix())

    def make(self, *keys):
        machine_tool.do(self.prefix, [machine_tool.line("key", key) for key in keys])

    def test_each_type_of_value_and_each_kind_of_name(self):
        self.make(KEY)
        machine_tool.do(self.prefix, [machine_tool.line("value", KEY, name, kind, data.hex())
                                      for name, (kind, data) in VALUES.items()])
        self.assertEqual(read(self.prefix, KEY), {KEY: VALUES})

    def test_keys_without_values_are_there(self):
        names = [KEY, rf"{KEY}\above", rf"{KEY}\above\below", rf"{KEY}\Käse \[x]"]
        self.make(rf"{KEY}\above\below", rf"{KEY}\Käse \[x]")
        self.assertEqual(set(read(self.prefix, KEY)), {*names, rf"{KEY}\Käse "})

    def test_a_missing_key_is_not_there(self):
        self.assertEqual(read(self.prefix, KEY, "SYSTEM\\Select").keys(), {"SYSTEM\\Select"})
