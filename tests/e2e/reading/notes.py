"""What stand-ins have noted: how programs were started, and how libraries were used."""

import json

from product import TASK_LIBRARY
from reading import registry
from standins.names import CALLS_ENDING, FOLDERS, KEY, NOTED_CALLS, PROBE_NOTES, RUNS, WITNESS_NOTES


def runs_of(prefix, program):
    """The command lines that a described program was started with."""
    return _lines_beside(prefix, program, RUNS)


def folders_of(prefix, program):
    """The folders that a described program was started in."""
    return _lines_beside(prefix, program, FOLDERS)


def notes_of_probe(prefix, library):
    """What was done with a detection library, and the error mode that its process ended with."""
    return _lines_beside(prefix, library, PROBE_NOTES), _lines_beside(prefix, library, WITNESS_NOTES)


def task_calls(prefix):
    """How often each function of the task library was called."""
    values = registry.values(prefix, rf"HKLM\{KEY}\{TASK_LIBRARY}")
    return {name.removesuffix(CALLS_ENDING): count for name, count in values.items() if name.endswith(CALLS_ENDING)}


def system_calls(prefix):
    """The calls of the stand-ins for system libraries since this was last asked, as a rehearsal records calls."""
    notes = prefix.path(NOTED_CALLS)
    if not notes.exists():
        return []
    calls = [json.loads(line) for line in notes.read_text(encoding="ascii").splitlines()]
    notes.unlink()
    return calls


def _lines_beside(prefix, path, name):
    noted = prefix.path(path.rpartition("\\")[0] + "\\" + name)
    return noted.read_text(encoding="utf-8").splitlines() if noted.exists() else []
