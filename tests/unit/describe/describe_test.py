#!/usr/bin/python3
"""Proves that KeloDescribe reads what it has to, and nothing else: each field of a description is read or named as not
read; each key, file, service and function that the program asks for in a rehearsal is among those that are read, and the
other way round; docs/describe.md lists them all.
Usage: describe_test.py PROJECT-FOLDER DESCRIBE-NAMES-PROGRAM [--write]: with --write, writes the document's tables."""

import collections
import json
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

from machines.cases import CASES  # noqa: E402 (after the folder that it is in)
from machines.descriptions import without_vain_nulls  # noqa: E402

# Machines besides the shipped ones, on which the program asks for more.
MORE_MACHINES = ("few providers", "no stack, a third wanted", "XP where no stack is usable",
                 "readers, the toolkit's among them")

ACTIONS = (["/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1"], ["/Setup", "/TSS_VENDOR=NTRU12", "/TPM_VSC=1"],
           ["/Setup"], ["/Rollback"], ["/Commit"], ["/Uninstall"])
EXPORT = ["--export", "SRK_Auth_Change"]

# Calls with the parameters that name files. A path without a drive is no file of the program's choice.
FILE_CALLS = {
    "CopyFileA": ("lpExistingFileName", "lpNewFileName"), "CopyFileW": ("lpExistingFileName", "lpNewFileName"),
    "MoveFileA": ("lpExistingFileName", "lpNewFileName"), "MoveFileExW": ("lpExistingFileName", "lpNewFileName"),
    "DeleteFileA": ("lpFileName",), "DeleteFileW": ("lpFileName",), "CreateFileW": ("lpFileName",),
    "GetFileAttributesA": ("lpFileName",), "GetFileAttributesW": ("lpFileName",), "_fsopen": ("filename",),
    "GetFileVersionInfoW": ("lptstrFilename",), "CreateDirectoryW": ("lpPathName",), "LoadLibraryA": ("lpLibFileName",),
    "LoadLibraryExA": ("lpLibFileName",), "SetNamedSecurityInfoW": ("pObjectName",), "CreateProcessW": (
        "lpApplicationName",)}

# The folders of a machine have names here; that of the program files has a blank in it, where Windows may end a path that
# has no quotation marks.
MISLEADING = {"c:\\program", "c:\\program.exe"}

# Read, although no rehearsal of these machines gets there: the reasons.
NOT_REACHED = {
    "HKLM\\SYSTEM": "a machine without it is none",
    "HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common": "the card's removal asks for it without a location of its own",
}


def run(*command):
    return subprocess.run(command, check=False, capture_output=True, encoding="utf-8").stdout


class Asked:
    """What the program asks for in rehearsals, in lower case, with the folders of the machine by their names."""

    def __init__(self):
        self.keys = collections.defaultdict(set)
        self.files, self.services, self.functions, self.variables = set(), set(), set(), set()

    def add(self, report, places):
        keys, libraries = {}, {}
        for call in report["calls"]:
            name, given = call["call"], call["in"]
            if name in ("RegOpenKeyExA", "RegOpenKeyExW", "RegCreateKeyExA"):
                path = "hklm\\" + given["lpSubKey"].lower()
                self.keys[path]
                keys[(call.get("out") or {}).get("phkResult")] = path
            elif "lpValueName" in given:
                self.keys[keys[given["hKey"]]].add((given["lpValueName"] or "").lower())
            elif name == "OpenServiceW":
                self.services.add(given["lpServiceName"].lower())
            elif name == "GetEnvironmentVariableA":
                self.variables.add(given["lpName"].lower())
            elif name == "GetProcAddress":
                self.functions.add((libraries[given["hModule"]], given["lpProcName"]))
            if name.startswith("LoadLibrary"):
                libraries[call["result"]] = given["lpLibFileName"].rpartition("\\")[2].lower()
            for parameter in FILE_CALLS.get(name, ()):
                path = given.get(parameter) or ""
                if path[1:2] == ":":
                    self.files.add(by_place(path, places))


def by_place(path, places):
    path = re.sub(r"\\+", r"\\", path).rstrip("\\").lower()
    for name, folder in places:
        if path == folder or path.startswith(folder + "\\"):
            return f"<{name}>{path[len(folder):]}".lower()
    return path


def places_of(machine):
    folders = machine["folders"]
    stack = machine["services"].get("tcsd_win32.exe") or {}
    places = [("toolkit", machine["process"]["path"].rpartition("\\")[0])]
    if stack.get("binaryPath", "").startswith('"'):
        places.append(("stack", stack["binaryPath"][1:].rpartition("\\")[0]))
    # A machine's system folder is below that of Windows.
    places += [(name, folders[name]) for name in ("system", "windows", "programFiles", "commonAppData")
               if folders.get(name)]
    return [(name, folder.lower()) for name, folder in places]


def rehearsed(project, folder):
    asked = Asked()
    rehearse = pathlib.Path(sys.argv[2]).with_name("kelo-rehearse")
    saved = folder / "after.json"
    machines = [path for path in sorted((project / "machines").glob("*.json")) if path.name != "machine.schema.json"]
    for name in MORE_MACHINES:
        machines.append(folder / f"{name}.json")
        machines[-1].write_text(json.dumps(without_vain_nulls(CASES[name].description)), "utf-8")
    for machine in machines:
        for arguments in (*(["--", *action] for action in ACTIONS), EXPORT):
            report = json.loads(run(rehearse, "--json", "--save", saved, machine, *arguments))
            if saved.exists():
                asked.add(report, places_of(json.loads(saved.read_text("utf-8"))))
                saved.unlink()
    return asked


def asked_errors(names, asked):
    keys = {path.lower(): {value.lower() for value in values} for path, values in names["keys"].items()}
    files = {path.lower() for path in names["files"]} | MISLEADING
    folders = {path[:end.start()] for path in files for end in re.finditer(r"\\", path)}
    functions = {(path.rpartition("\\")[2].lower(), function)
                 for path, found in names["libraries"].items() for function in found}
    for path, values in asked.keys.items():
        for value in values - keys.get(path, set()):
            yield f"the program asks for the value {value!r} of {path}, which is not read"
        if path not in keys:
            yield f"the program asks for {path}, which is not read"
    yield from (f"the program asks for {path}, which is not read"
                for path in sorted(asked.files - files - folders - {"c:", "d:"}))
    yield from (f"the program asks for the service {name}, which is not read"
                for name in sorted(asked.services - {name.lower() for name in names["services"]}))
    yield from (f"the program asks for the function {function} of {library}, which is not read"
                for library, function in sorted(asked.functions - functions))
    yield from (f"the program asks for the variable {name}, which is not read"
                for name in sorted(asked.variables - {name.lower() for name in names["variables"]}))
    for path in keys.keys() - asked.keys.keys() - {name.lower() for name in NOT_REACHED}:
        yield f"{path} is read, and the program does not ask for it"


def fields_of(schema):
    fields = {("machine", area) for area in schema["properties"]}
    fields |= {("folders", name) for name in schema["properties"]["folders"]["properties"]}
    return fields | {(name, key) for name, described in schema["$defs"].items()
                     for key in described.get("properties", {})}


def field_errors(names, schema):
    known = collections.Counter((field["object"], field["key"]) for field in names["fields"])
    yield from (f"{'.'.join(field)} is neither read nor named as not read: a line in describe/captured_fields.cpp"
                for field in sorted(fields_of(schema) - known.keys()))
    yield from (f"{'.'.join(field)} is in describe/captured_fields.cpp and no field"
                for field in sorted(known.keys() - fields_of(schema)))
    yield from (f"{'.'.join(field)} is in describe/captured_fields.cpp twice"
                for field, count in known.items() if count > 1)


# --- The document ----------------------------------------------------------------------------------------------------

TABLE = re.compile(r"(<!-- (\w+) of KeloDescribe -->\n)((?:[|-] ?.*\n)*)")


def tables(names):
    """The text of each table by its name."""
    return {
        "keys": "| key | values |\n|---|---|\n" + "".join(
            f"| `{path}` | {', '.join(f'`{value}`' if value else 'its default value' for value in values)} |\n"
            for path, values in names["keys"].items()),
        "files": "".join(f"- `{path}`\n" for path in dict.fromkeys(names["files"])),
        "libraries": "| library | functions |\n|---|---|\n" + "".join(
            f"| `{path}` | {', '.join(f'`{function}`' for function in functions)} |\n"
            for path, functions in names["libraries"].items() if functions),
        "services": "".join(f"- `{name}`\n" for name in names["services"]),
        "processes": "".join(f"- `{name}`\n" for name in names["processes"]),
        "read": "| field | how it is read |\n|---|---|\n" + "".join(
            f"| `{field['object']}.{field['key']}` | {field['source']} |\n"
            for field in names["fields"] if "source" in field),
        "unread": "| field | why it is not read |\n|---|---|\n" + "".join(
            f"| `{field['object']}.{field['key']}` | {field['whyNotRead']} |\n"
            for field in names["fields"] if "whyNotRead" in field),
    }


def document_errors(document, expected):
    found = {name: rows for _, name, rows in TABLE.findall(document)}
    yield from (f"docs/describe.md: the table {name} is not as in describe/: --write writes it"
                for name, rows in expected.items() if found.get(name) != rows)


def main():
    project = pathlib.Path(sys.argv[1])
    names = json.loads(run(sys.argv[2]))
    schema = json.loads((project / "machines/machine.schema.json").read_text("utf-8"))
    path = project / "docs/describe.md"
    if sys.argv[3:] == ["--write"]:
        path.write_text(TABLE.sub(lambda found: found[1] + tables(names)[found[2]], path.read_text("utf-8")), "utf-8")
    with tempfile.TemporaryDirectory() as folder:
        asked = rehearsed(project, pathlib.Path(folder))
    errors = [*field_errors(names, schema), *document_errors(path.read_text("utf-8"), tables(names)),
              *asked_errors(names, asked)]
    print("\n".join(errors))
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
