"""Holds a captured machine against the description that its prefix was set up from: what the program does on both."""

import copy

from comparison.scope import WINES_OWN_SERVICES
from machines.descriptions import complete, settled
from machines.numbers import READ_ONLY
from product import LOG, PROBE_LIBRARY, SYSTEM, SYSTEM_PROBE, USABLE_ANSWERS
from runs.log_lines import LINE, without_numbers
from runs.rehearsal import rehearse_and_save, words
from setup.libraries import TEXT_LIBRARY

# What KeloDescribe does not read: areas, and keys of services, library functions and files.
NOT_READ = ("programs", "installer", "events", "faults")
NOT_READ_OF_SERVICES = ("states", "onStart", "onStop", "grantsEveryRight", "markedForDeletion")
CONTENT = ("text", "bytes", "size")
NEVER_STARTED = 1077  # ERROR_SERVICE_NEVER_STARTED, a new service's exit code
SECURITY = ("owner", "access", "protected")
NUMBERS = ("processId",)  # that Windows chooses

# Copied to the system folder and not loaded there: KeloDescribe reads it as a file.
COPIED_LIBRARIES = [("libraries", path.lower()) for path in (SYSTEM_PROBE, SYSTEM + r"\stkprobe.bk1")]

LOOKED_FOR = ("patchagent.exe", "vaultcourier.exe")  # the programs whose processes are ended


def completed(captured, described):
    """The captured machine with what KeloDescribe does not read, or a prefix does not have, from the description."""
    whole = complete(described)
    machine = copy.deepcopy(captured)
    for area in NOT_READ:
        if area in whole:
            machine[area] = whole[area]
    _complete_services(machine["services"], whole["services"])
    _complete_libraries(machine["libraries"], whole["libraries"])
    _complete_files(machine, whole)
    return machine


def differences(captured, described, runs):
    """What the program does differently on the captured machine, in runs with these arguments: a line each."""
    described = settled(described)
    machine = completed(captured, described)
    for arguments in sorted(set(runs)):
        action = arguments[0]
        expected, expected_after = rehearse_and_save(described, *words(arguments))
        seen, seen_after = rehearse_and_save(machine, *words(arguments))
        for name in ("exitCode", "stdout"):
            if seen[name] != expected[name]:
                yield f"{action}: {name}: described {expected[name]!r}, captured {seen[name]!r}"
        yield from (f"{action}: log: {line}" for line in _log_differences(expected["log"], seen["log"]))
        yield from (f"{action}: {line}" for line in _change_differences(
            _changes(expected, expected_after), _changes(seen, seen_after)))


def _complete_services(captured, described):
    for name, service in captured.items():
        like = described.get(name)
        if service is None or like is None:
            continue
        if name.lower() in WINES_OWN_SERVICES:
            captured[name] = like
            continue
        service.update({key: like[key] for key in NOT_READ_OF_SERVICES if key in like})
        if service.get("exitCode") == NEVER_STARTED and "exitCode" not in like:
            del service["exitCode"]
        if not like.get("binaryPath"):
            service.pop("binaryPath", None)  # there has to be a stand-in


def _complete_libraries(captured, described):
    like = {path.lower(): library for path, library in described.items()}
    for path, library in captured.items():
        if library is None:
            continue
        exports = like.get(path.lower(), {}).get("exports", {})
        asked = _asked_functions(exports) if path.endswith(PROBE_LIBRARY) else ()
        for name, answer in library.get("exports", {}).items():
            expected = exports[name]
            if name not in asked:
                library["exports"][name] = expected
            elif isinstance(expected, dict) and "effects" in expected:
                library["exports"][name] = {**(answer if isinstance(answer, dict) else {"result": answer}),
                                            "effects": expected["effects"]}


def _asked_functions(exports):
    """The functions of a detection library that are called: each answer decides whether the next one is."""
    answers = {name: answer if isinstance(answer, int) else None if answer.get("throws") else answer.get("result", 0)
               for name, answer in exports.items()}
    asked = ["DetectTSS"]
    if answers.get("DetectTSS") == USABLE_ANSWERS["DetectTSS"]:
        asked.append("isEnabled")
        if answers.get("isEnabled") == USABLE_ANSWERS["isEnabled"]:
            asked.append("isActivated")
            if answers.get("isActivated") is not None:
                asked.append("isOwned")
                if answers.get("isOwned") == USABLE_ANSWERS["isOwned"]:
                    asked.append("ValidSRKAuth")
    return asked


def _complete_files(machine, described):
    like = {path.lower(): file for path, file in described["files"].items() if file is not None}
    libraries = {path.lower() for path in described["libraries"]}
    images = {path.lower() for area in ("libraries", "programs") for path in described[area]}
    images |= {path for path, file in like.items() if "version" in file or file.get("inUse")}
    images.add(described["process"]["path"].lower())
    for path, file in machine["files"].items():
        if file is None or "hardLinkTo" in file:
            continue
        expected = like.get(path.lower(), {})
        is_stand_in = path.lower() in images or TEXT_LIBRARY.fullmatch(path.rpartition("\\")[2])
        if is_stand_in or file.get("size") == _size(expected):
            file.pop("size", None)
            file.update({key: expected[key] for key in CONTENT if key in expected})
        if not file.get("directory") and file.get("attributes", 0) & READ_ONLY:
            # Wine makes the list of what Unix permits, and moves the file nevertheless.
            file["attributes"] = expected.get("attributes")
            for key in SECURITY:
                file.pop(key, None)
        if is_stand_in and "version" not in expected:
            file.pop("version", None)
        elif path.lower() in libraries and "version" in expected:
            file["version"] = expected["version"]  # a stand-in has none


def _size(file):
    if "size" in file:
        return file["size"]
    return len(file["bytes"]) if "bytes" in file else len(file.get("text", "").encode())


def _log_differences(expected, seen):
    def comparable(log):
        return [(match["zone"], without_numbers(match["message"])) for match in map(LINE.fullmatch, log)]

    expected, seen = comparable(expected), comparable(seen)
    if expected != seen:
        first = next((i for i, (one, other) in enumerate(zip(expected, seen)) if one != other),
                     min(len(expected), len(seen)))
        yield f"from line {first + 1} on: described {expected[first:first + 2]}, captured {seen[first:first + 2]}"


def _changes(report, after):
    """What a run changed, by area and item: how, and what it became. Of processes, which have numbers, the names that are
    left. The log is compared by itself."""
    changes = {}
    for change in report["changes"]:
        name = change["area"], change["item"].lower()
        if change["area"] == "processes" or name[1] == LOG.lower() or name in COPIED_LIBRARIES:
            continue
        # A name that is spelled in another way goes and comes.
        kind = "changed" if name in changes else change["kind"]
        changes[name] = kind, change["after"] or changes.get(name, (None, None))[1]
    changes["processes", "names"] = "left", sorted(process["name"].lower() for process in after["processes"]
                                                   if process.get("name", "").lower() in LOOKED_FOR)
    return changes


def _change_differences(expected, seen):
    for name in sorted(expected.keys() | seen.keys()):
        one, other = (changes.get(name, ("unchanged", None)) for changes in (expected, seen))
        like = one[1] if isinstance(one[1], dict) else {}
        if (one[0], comparable_state(one[1], like)) != (other[0], comparable_state(other[1], like)):
            yield f"{' '.join(name)}: described {str(one):.400}, captured {str(other):.400}"


def comparable_state(state, described):
    """What of an item is compared. A key or file that is described without an owner or a list is one for which these do
    not matter; a real one always has them, and lists from above."""
    if not isinstance(state, dict):
        return state
    known = {name: value for name, value in state.items()
             if name not in (*SECURITY, *NUMBERS) or name in described and name not in NUMBERS}
    if "access" in known:
        known["access"] = [entry for entry in known["access"] if not entry.get("inherited")]
    return known or None  # as _changes has an item of which nothing is said
