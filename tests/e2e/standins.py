"""Real programs and libraries of the toolkit under Wine: stand-ins that do what a description says."""

import re
import shutil

from wine import ROOT

BUILD = ROOT / "build" / "windows"
KEY = r"HKEY_LOCAL_MACHINE\SOFTWARE\KeloStandIns"

# The libraries that there is a stand-in for, and the functions that each offers.
LIBRARIES = {"CertJobPlanner.dll": {"AreTasksInstalled", "InstallAutoEnrollmentTasks", "RemoveAutoEnrollmentTasks"}}
RESOURCE_LIBRARY = re.compile(r"Internationalization_[A-Za-z-]+\.dll")


def place_library(prefix, path, library):
    """Puts a described library where it is to be. Returns the registry text that its stand-in goes by; None when there
    is no stand-in that could be so."""
    name = path.rpartition("\\")[2]
    exports = library.get("exports", {})
    are_numbers = all(isinstance(result, int) for result in exports.values())
    if RESOURCE_LIBRARY.fullmatch(name) and library == {}:
        copy(BUILD / name, prefix, path)
        return ""
    if exports.keys() != LIBRARIES.get(name) or library.keys() != {"exports"} or not are_numbers:
        return None
    copy(BUILD / name, prefix, path)
    return numbers(name, exports)


def place_program(prefix, path, program):
    """The same for a described program, which may change the smart-card readers."""
    runs = program.get("runs", [])
    if any(run.keys() - {"arguments", "exitCode", "effects"} or not _has_known_effects(run) for run in runs):
        return None
    copy(BUILD / "described_program.exe", prefix, path)
    # Of two runs with the same arguments the first counts.
    codes = {run.get("arguments", ""): run.get("exitCode", 0) for run in reversed(runs)}
    readers = "".join(list_line(run["arguments"] + " readers", run["effects"]["smartCards"]["readers"])
                      for run in runs if "effects" in run)
    return numbers(path.rpartition("\\")[2], codes) + readers


def folders_of(prefix, program):
    """The folders that a described program was started in."""
    return _lines(prefix, program, "folders.txt")


def runs_of(prefix, program):
    """The command lines that a described program was started with."""
    return _lines(prefix, program, "runs.txt")


def _lines(prefix, program, name):
    noted = prefix.path(program.rpartition("\\")[0] + "\\" + name)
    return noted.read_text(encoding="utf-8").splitlines() if noted.exists() else []


def _has_known_effects(run):
    effects = run.get("effects")
    return effects is None or ("arguments" in run and effects.keys() == {"smartCards"}
                               and effects["smartCards"].keys() == {"readers"})


def calls_of(prefix, library):
    """How often each function of a described library was called."""
    text = prefix.export_registry(f"{KEY}\\{library}")
    return {name: int(count, 16) for name, count in re.findall(r'"(\w+) calls"=dword:([0-9a-f]{8})', text)}


def copy(file, prefix, path):
    """Puts a file of the build on a machine."""
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(file, target)


def list_line(name, texts):
    """The line for a list of texts, behind those of its key."""
    data = "".join(text + "\0" for text in [*texts, ""]).encode("utf-16-le")
    return f'"{_escaped(name)}"=hex(7):{data.hex(",")}\n'


def _escaped(name):
    return name.replace("\\", "\\\\").replace('"', '\\"')


def numbers(name, values):
    """The registry key of a stand-in, with these numbers."""
    lines = [f"\n[{KEY}\\{name}]\n"]
    for value, number in values.items():
        quoted = f'"{_escaped(value)}"' if value else "@"
        lines.append(f"{quoted}=dword:{number & 0xFFFFFFFF:08x}\n")
    return "".join(lines)
