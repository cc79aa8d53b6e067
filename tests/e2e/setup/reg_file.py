"""The text of .reg files."""

from machines.registry_values import REG_DWORD, typed_bytes

ROOT_KEYS = {"HKLM": "HKEY_LOCAL_MACHINE", "HKCU": "HKEY_CURRENT_USER", "HKCR": "HKEY_CLASSES_ROOT",
             "HKU": "HKEY_USERS"}


def section(key, values=()):
    """A key, named with a short root such as HKLM, with described values by their names; None deletes a value."""
    lines = [f"{_quoted(name) if name else '@'}={_data(value)}\n" for name, value in dict(values).items()]
    return f"\n[{_in_full(key)}]\n" + "".join(lines)


def deletion(key):
    return f"\n[-{_in_full(key)}]\n"


def _in_full(key):
    root, slash, below = key.partition("\\")
    return ROOT_KEYS[root.upper()] + slash + below


def _data(value):
    if value is None:
        return "-"
    kind, data = typed_bytes(value)
    if kind == REG_DWORD and len(data) == 4:
        return f"dword:{int.from_bytes(data, 'little'):08x}"
    return f"hex({kind:x}):{data.hex(',')}"


def _quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'
