"""Stand-ins of the TCG software stack under Wine: detection libraries, and libraries that are only looked at or kept
loaded."""

import struct
import time

import services
from standins import BUILD, copy

FUNCTIONS = {"DetectTSS", "isEnabled", "isActivated", "isOwned", "ValidSRKAuth"}

PROBE_LIBRARY = "stkprobe.dll"

# What a load fails with, and what stands in for a library that fails so.
ERROR_BAD_EXE_FORMAT = 193
LOAD_ERRORS = {ERROR_BAD_EXE_FORMAT: b"no library"}

VERSION_SIGNATURE = struct.pack("<I", 0xFEEF04BD)  # VS_FIXEDFILEINFO begins so


def place_probe(prefix, path, library):
    """Puts a described detection library where it is to be. Returns the registry text that it goes by, which is none;
    None when the stand-in could not be like it, or it is another library."""
    exports = library.get("exports", {})
    lines = [_answer(name, answer) for name, answer in exports.items()]
    error = library.get("loadError", 0)
    if not path.endswith("\\" + PROBE_LIBRARY) or library.keys() - {"exports", "loadError"} or (
            exports.keys() - FUNCTIONS or None in lines or error not in (0, *LOAD_ERRORS)):
        return None
    copy(BUILD / PROBE_LIBRARY, prefix, path)
    copy(BUILD / "exit_witness.dll", prefix, _beside(path, "exit_witness.dll"))
    placed = prefix.path(path)
    placed.write_bytes(LOAD_ERRORS[error] if error else _without(FUNCTIONS - exports.keys(), placed))
    _tell(prefix, path, lines)
    return ""


def handles(prefix, path, function, result, thrown):
    """Has a function of a detection library handle an exception by itself before it returns its result."""
    _tell(prefix, path, [_line(function, result, "handles", thrown)])


def notes_of(prefix, path):
    """What was done with a detection library, and the error mode that its process ended with."""
    return _lines(prefix, _beside(path, "stkprobe.log")), _lines(prefix, _beside(path, "exit_witness.log"))


def make_library(path, file):
    """Makes a file a library that can be loaded, with the described version and content behind its own."""
    data = (BUILD / "plain_library.dll").read_bytes()
    if "version" in file:
        major, minor, build, revision = map(int, file["version"].split("."))
        begin = data.index(VERSION_SIGNATURE) + 8
        words = struct.pack("<II", major << 16 | minor, build << 16 | revision)
        data = data[:begin] + words + data[begin + len(words):]
    path.write_bytes(data + path.read_bytes())


def keep_loaded(prefix, path, seconds=20):
    """Has a process load a library and keep it."""
    name = path.rpartition("\\")[2]
    loaded = prefix.path(rf"C:\Standins\{name}.loaded")
    services.start(prefix, rf"C:\Standins\Keeps {name}.exe", path)
    deadline = time.monotonic() + seconds
    while not loaded.exists():
        if time.monotonic() > deadline:
            raise AssertionError(f"{path} is not loaded")
        time.sleep(0.05)


def _answer(name, answer):
    if isinstance(answer, int):
        return _line(name, answer)
    if answer.keys() - {"result", "throws"}:
        return None
    thrown = answer.get("throws")
    return _line(name, answer.get("result", 0), *(["throws", thrown] if thrown else []))


def _line(name, result, *rest):
    return " ".join([name, str(result), *(word.replace(" ", "-") for word in rest)]) + "\n"


def _tell(prefix, path, lines):
    with open(prefix.path(_beside(path, "stkprobe.txt")), "a", encoding="ascii") as file:
        file.writelines(lines)


def _without(functions, library):
    """The library with other names for some of its functions. Their order, which a search goes by, stays."""
    data = library.read_bytes()
    for name in functions:
        data = data.replace(b"\0" + name.encode() + b"\0", b"\0" + name[:-1].encode() + b"_\0")
    return data


def _beside(path, name):
    return path.rpartition("\\")[0] + "\\" + name


def _lines(prefix, path):
    file = prefix.path(path)
    return file.read_text(encoding="ascii").splitlines() if file.exists() else []
