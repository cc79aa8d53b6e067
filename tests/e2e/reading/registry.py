"""The registry below HKEY_LOCAL_MACHINE: all values, not only those that the program asks for.

Wine's server writes keys to a file as text. That takes one request, where asking for each value would take thousands.
Volatile keys are not among them: the program makes none, and winsim has none."""

import functools
import re

from machines.numbers import VALUE_TYPES
from machines.registry_values import REG_DWORD, REG_SZ, described_value, utf16
from wine import machine_tool

ROOT = "HKLM\\"
SAVED = "C:\\saved_{}.txt"

# How the text of a key begins: its name below the one that was asked for, and when it was changed.
KEY_BEGINS = "\n\n["
KEY = re.compile(r"((?:[^]\\]|\\.)*)\] ")
LINK = "#link"

CONTINUED = "\\\n  "
VALUE = re.compile(r'(?:@|"((?:[^"\\]|\\.)*)")=(?:dword:(\w+)|hex(?:\((\w+)\))?:(.*)|(?:str\((\w+)\):)?"(.*)")')
ESCAPED = re.compile(r"\\(?:x([0-9a-f]{1,4})|([0-7]{1,3})|(.))")
CONTROLS = dict(zip("abtnvfre", "\a\b\t\n\v\f\r\x1b"))


def values(prefix, key):
    """The described values of a key, by their names; none when there is no such key."""
    return values_below(prefix, key).get(key, {})


def values_below(prefix, *keys):
    """The described values of keys and of all keys below them, by key and name."""
    keys = [below_root(key) for key in keys]
    machine_tool.do(prefix, saving(*keys))
    return {ROOT + key: {name: _described(value) for name, value in found.items()}
            for key, found in saved(prefix, *keys).items()}


@functools.cache
def _described(value):
    return described_value(*value)


def below_root(key):
    """A key's name without its root, HKLM."""
    return key.removeprefix(ROOT)


def saving(*keys):
    """The lines of a script that write keys, named without their root, and all keys below them to files."""
    return [machine_tool.line("save", key, SAVED.format(number)) for number, key in enumerate(keys)]


def saved(prefix, *keys):
    """What the lines have written: type and bytes of each value, by the names of its key and of itself. Links are passed
    over."""
    found = {}
    for number, key in enumerate(keys):
        file = prefix.path(SAVED.format(number))
        if not file.exists():
            continue
        found[key] = {}
        for text in file.read_text(encoding="ascii").split(KEY_BEGINS)[1:]:
            _add(found, key, *_parsed(text))
        file.unlink()
    return found


def _add(found, top, name, values_found):
    """Adds a key, unless it is a link, and those above it that have no text of their own."""
    if values_found is not None:
        found[f"{top}\\{name}" if name else top] = values_found
    while name := name.rpartition("\\")[0]:
        found.setdefault(f"{top}\\{name}", {})


@functools.cache
def _parsed(text):
    """A key's name, and its values by their names; None for a link. Most keys never change."""
    first, *lines = text.replace(CONTINUED, "").rstrip("\n").split("\n")
    name = _plain(KEY.match(first)[1])
    if LINK in lines:
        return name, None
    return name, dict(_value(line) for line in lines if not line.startswith("#"))


def _value(line):
    name, *data = VALUE.fullmatch(line).groups()
    return _plain(name or ""), _typed(*data)


def _typed(number, kind, data, text_kind, text):
    """The type and the bytes of a value."""
    if number is not None:
        return REG_DWORD, int(number, 16).to_bytes(4, "little")
    if data is not None:
        return int(kind, 16) if kind else VALUE_TYPES["REG_BINARY"], bytes.fromhex(data.replace(",", ""))
    return int(text_kind, 16) if text_kind else REG_SZ, utf16(_plain(text))


def _plain(text):
    return ESCAPED.sub(_character, text) if "\\" in text else text


def _character(match):
    hexadecimal, octal, character = match.groups()
    if hexadecimal:
        return chr(int(hexadecimal, 16))
    return chr(int(octal, 8)) if octal else CONTROLS.get(character, character)
