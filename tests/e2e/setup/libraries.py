"""Stand-ins for libraries of the toolkit and of its software stacks: the task library, detection libraries, libraries
of texts, and libraries that are only looked at or kept loaded."""

import re
import struct
import time

import paths
from product import NO_TASKS, PROBE_LIBRARY, TASK_LIBRARY, USABLE_ANSWERS
from setup import services
from setup.files import copy
from setup.programs import settings
from standins.names import ANSWERS, LOADED_ENDING, THROWS_ENDING, WITNESS

TEXT_LIBRARY = re.compile(r"Internationalization_[A-Za-z-]+\.dll")

FUNCTIONS = USABLE_ANSWERS.keys()  # of a detection library

# The errors with which a load can fail, and the content of a file that fails so.
ERROR_BAD_EXE_FORMAT = 193
LOAD_ERRORS = {ERROR_BAD_EXE_FORMAT: b"no library"}

VERSION_SIGNATURE = struct.pack("<I", 0xFEEF04BD)  # VS_FIXEDFILEINFO begins so


def place(prefix, path, library):
    """Puts a described library where it is to be. Returns the registry text that its stand-in reads; None when no
    stand-in could be like it."""
    name = path.rpartition("\\")[2]
    if name == PROBE_LIBRARY:
        return _place_probe(prefix, path, library)
    if TEXT_LIBRARY.fullmatch(name) and library == {}:
        copy(paths.WINDOWS / name, prefix, path)
        return ""
    if name == TASK_LIBRARY:
        return _place_task_library(prefix, path, library)
    return None


def handles(prefix, path, function, result, thrown):
    """Has a function of a detection library handle an exception by itself before it returns its result."""
    _tell(prefix, path, [_line(function, result, "handles", thrown)])


def make_library(path, file):
    """Makes a file a library that can be loaded, with the described version, and its content after the library's
    own."""
    data = (paths.WINDOWS / "plain_library.dll").read_bytes()
    if "version" in file:
        major, minor, build, revision = map(int, file["version"].split("."))
        begin = data.index(VERSION_SIGNATURE) + 8
        words = struct.pack("<II", major << 16 | minor, build << 16 | revision)
        data = data[:begin] + words + data[begin + len(words):]
    path.write_bytes(data + path.read_bytes())


def keep_loaded(prefix, path, seconds=20):
    """Has a process load a library and keep it."""
    name = path.rpartition("\\")[2]
    loaded = prefix.path(rf"C:\Standins\{name}{LOADED_ENDING}")
    services.start_sleeper(prefix, rf"C:\Standins\Keeps {name}.exe", path)
    deadline = time.monotonic() + seconds
    while not loaded.exists():
        if time.monotonic() > deadline:
            raise AssertionError(f"{path} is not loaded")
        time.sleep(0.05)


def _place_task_library(prefix, path, library):
    exports = library.get("exports", {})
    are_answers = all(isinstance(result, int) or result.keys() == {"throws"} for result in exports.values())
    if exports.keys() != NO_TASKS.keys() or library.keys() != {"exports"} or not are_answers:
        return None
    copy(paths.WINDOWS / TASK_LIBRARY, prefix, path)
    thrown = {function: result["throws"] for function, result in exports.items() if isinstance(result, dict)}
    return settings(TASK_LIBRARY, {
        **{function: 0 if function in thrown else result for function, result in exports.items()},
        **{function + THROWS_ENDING: what.replace(" ", "-") for function, what in thrown.items()}})


def _place_probe(prefix, path, library):
    exports = library.get("exports", {})
    lines = [_answer(name, answer) for name, answer in exports.items()]
    error = library.get("loadError", 0)
    if library.keys() - {"exports", "loadError"} or exports.keys() - FUNCTIONS or None in lines or (
            error not in (0, *LOAD_ERRORS)):
        return None
    placed = copy(paths.WINDOWS / PROBE_LIBRARY, prefix, path)
    copy(paths.WINDOWS / WITNESS, prefix, path.removesuffix(PROBE_LIBRARY) + WITNESS)
    placed.write_bytes(LOAD_ERRORS[error] if error else _without(FUNCTIONS - exports.keys(), placed))
    _tell(prefix, path, lines)
    return ""


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
    with open(prefix.path(path.removesuffix(PROBE_LIBRARY) + ANSWERS), "a", encoding="ascii") as file:
        file.writelines(lines)


def _without(functions, library):
    """The library with other names for some of its functions. They stay in order, which a search relies on."""
    data = library.read_bytes()
    for name in functions:
        data = data.replace(b"\0" + name.encode() + b"\0", b"\0" + name[:-1].encode() + b"_\0")
    return data
