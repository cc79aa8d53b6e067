"""Real programs and libraries of the toolkit under Wine: stand-ins that do what a description says."""

import re
import shutil

import services
from registry_values import typed_bytes
from wine import ROOT

BUILD = ROOT / "build" / "windows"
FOLDER = r"C:\KeloStandIns"
STANDINS = r"SOFTWARE\KeloStandIns"
KEY = rf"HKEY_LOCAL_MACHINE\{STANDINS}"

# The libraries that there is a stand-in for, and the functions that each offers.
LIBRARIES = {"CertJobPlanner.dll": {"AreTasksInstalled", "InstallAutoEnrollmentTasks", "RemoveAutoEnrollmentTasks"}}
FOREVER = 0xFFFFFFFF  # milliseconds
RESOURCE_LIBRARY = re.compile(r"Internationalization_[A-Za-z-]+\.dll")


def place_library(prefix, path, library):
    """Puts a described library where it is to be. Returns the registry text that its stand-in goes by; None when there
    is no stand-in that could be so."""
    name = path.rpartition("\\")[2]
    exports = library.get("exports", {})
    are_answers = all(isinstance(result, int) or result.keys() == {"throws"} for result in exports.values())
    if RESOURCE_LIBRARY.fullmatch(name) and library == {}:
        copy(BUILD / name, prefix, path)
        return ""
    if exports.keys() != LIBRARIES.get(name) or library.keys() != {"exports"} or not are_answers:
        return None
    copy(BUILD / name, prefix, path)
    thrown = {function: result["throws"] for function, result in exports.items() if isinstance(result, dict)}
    answers = {function: 0 if function in thrown else result for function, result in exports.items()}
    return numbers(name, answers) + "".join(
        f'"{function} throws"="{what.replace(" ", "-")}"\n' for function, what in thrown.items())


def place_program(prefix, path, program):
    """The same for a described program, which may change services, registry values and the smart-card readers."""
    name = path.rpartition("\\")[2]
    runs = program.get("runs", [])
    fits_all = [i for i, run in enumerate(runs) if "arguments" not in run]
    if fits_all and fits_all[0] != len(runs) - 1:
        return None
    copy(BUILD / "described_program.exe", prefix, path)
    copy(BUILD / "machine_tool.exe", prefix, rf"{FOLDER}\machine_tool.exe")
    # Of two runs with the same arguments the first counts.
    first = {run.get("arguments", ""): run for run in reversed(runs)}
    registry = numbers(name, {arguments: run.get("exitCode", 0) for arguments, run in first.items()})
    for i, (arguments, run) in enumerate(first.items()):
        if "effects" in run:
            script = rf"{FOLDER}\{name}.{i}.txt"
            prefix.path(script).write_text(effects_script(prefix, run["effects"]), encoding="utf-8")
            registry += f'"{_escaped(arguments + " effects")}"="{_escaped(script)}"\n'
    return registry


def times(path, program):
    """The registry text by which the stand-in of a described program takes the time that its runs are to take. Tests
    whose log does not show the time do without."""
    runs = program.get("runs", [])
    return numbers(path.rpartition("\\")[2], {
        run.get("arguments", "") + " runMs": FOREVER if run.get("neverEnds") else run["runMs"]
        for run in reversed(runs) if run.keys() & {"runMs", "neverEnds"}})


def left_out_of_program(program):
    """The paths in a program's description of what its stand-in does not do."""
    for i, run in enumerate(program.get("runs", [])):
        for member in run.keys() - {"arguments", "exitCode", "effects"}:
            yield "runs", i, member
        effects = run.get("effects", {})
        for area in effects.keys() - {"services", "registry", "smartCards"}:
            yield "runs", i, "effects", area
        for member in effects.get("smartCards", {}).keys() - {"readers"}:
            yield "runs", i, "effects", "smartCards", member


def effects_script(prefix, effects):
    """What machine_tool has to do for effects on a machine."""
    lines = []
    if "readers" in effects.get("smartCards", {}):
        lines.append(_value_line(rf"{STANDINS}\winscard.dll", "readers", 7,
                                 _multi_string(effects["smartCards"]["readers"])))
    for path, key in effects.get("registry", {}).items():
        for name, value in key["values"].items():
            lines.append(_value_line(path.partition("\\")[2], name, *typed_bytes(value)))
    for name, service in effects.get("services", {}).items():
        if service is None:
            lines.append(f"delete\t{name}")
        else:
            services.prepare(prefix, name, service)
            lines.append(services.creation(name, service))
    return "".join(line + "\n" for line in lines)


def _value_line(key, name, kind, data):
    return f"value\t{key}\t{name}\t{kind}\t{data.hex()}"


def folders_of(prefix, program):
    """The folders that a described program was started in."""
    return _lines(prefix, program, "folders.txt")


def runs_of(prefix, program):
    """The command lines that a described program was started with."""
    return _lines(prefix, program, "runs.txt")


def _lines(prefix, program, name):
    noted = prefix.path(program.rpartition("\\")[0] + "\\" + name)
    return noted.read_text(encoding="utf-8").splitlines() if noted.exists() else []


def calls_of(prefix, library):
    """How often each function of a described library was called."""
    text = prefix.export_registry(f"{KEY}\\{library}")
    return {name: int(count, 16) for name, count in re.findall(r'"(\w+) calls"=dword:([0-9a-f]{8})', text)}


def copy(file, prefix, path):
    """Puts a file of the build on a machine."""
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.unlink(missing_ok=True)  # prefixes share Wine's own files
    shutil.copyfile(file, target)


def list_line(name, texts):
    """The line for a list of texts, behind those of its key."""
    return f'"{_escaped(name)}"=hex(7):{_multi_string(texts).hex(",")}\n'


def _multi_string(texts):
    return "".join(text + "\0" for text in [*texts, ""]).encode("utf-16-le")


def _escaped(name):
    return name.replace("\\", "\\\\").replace('"', '\\"')


def numbers(name, values):
    """The registry key of a stand-in, with these numbers."""
    lines = [f"\n[{KEY}\\{name}]\n"]
    for value, number in values.items():
        quoted = f'"{_escaped(value)}"' if value else "@"
        lines.append(f"{quoted}=dword:{number & 0xFFFFFFFF:08x}\n")
    return "".join(lines)
