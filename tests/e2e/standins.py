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
    numbers = all(isinstance(result, int) for result in exports.values())
    if RESOURCE_LIBRARY.fullmatch(name) and library == {}:
        _copy(BUILD / name, prefix, path)
        return ""
    if exports.keys() != LIBRARIES.get(name) or library.keys() != {"exports"} or not numbers:
        return None
    _copy(BUILD / name, prefix, path)
    return _numbers(name, exports)


def place_program(prefix, path, program):
    """The same for a described program."""
    runs = program.get("runs", [])
    if any(run.keys() - {"arguments", "exitCode"} for run in runs):
        return None
    _copy(BUILD / "described_program.exe", prefix, path)
    # Of two runs with the same arguments the first counts.
    codes = {run.get("arguments", ""): run.get("exitCode", 0) for run in reversed(runs)}
    return _numbers(path.rpartition("\\")[2], codes)


def runs_of(prefix, program):
    """The command lines that a described program was started with."""
    noted = prefix.path(program.rpartition("\\")[0] + r"\runs.txt")
    return noted.read_text(encoding="utf-8").splitlines() if noted.exists() else []


def calls_of(prefix, library):
    """How often each function of a described library was called."""
    text = prefix.export_registry(f"{KEY}\\{library}")
    return {name: int(count, 16) for name, count in re.findall(r'"(\w+) calls"=dword:([0-9a-f]{8})', text)}


def _copy(file, prefix, path):
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(file, target)


def _numbers(name, numbers):
    lines = [f"\n[{KEY}\\{name}]\n"]
    for value, number in numbers.items():
        quoted = '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"' if value else "@"
        lines.append(f"{quoted}=dword:{number & 0xFFFFFFFF:08x}\n")
    return "".join(lines)
