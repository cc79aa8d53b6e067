"""A machine under Wine on which the real installer installs the sample package, rolls it back and removes it."""

import pathlib
import re

import paths
from comparison.scope import CAPTURED_SERVICES, SERVICE_PIPE, WINES_DEVICES, WINES_OWN_SERVICES
from machines.descriptions import complete, merged, service_members
from machines.parts import RUNS_AT_ONCE, detections, device_installer, tasks
from package import tables
from package.tables import SAMPLE
from product import (BEGINS, BLOCKED_COMMANDS, BLOCKED_COMMANDS_KEY, CARD_SERVICES, KELO_STACK, LOG, PACKAGES,
                     PROGRAM_FILES, RUN_KEY, SRK_TOOL)
from reading import files, registry
from reading.notes import task_calls
from runs.log_lines import comparable, parse
from runs.program import Machine
from setup.reg_file import section
from setup.services import create
from standins import names
from wine.notes import EXIT, code_given, exit_code

EVENT_TEXT = paths.WINDOWS / "event_text.exe"
PACKAGE = r"C:\Packages\toolkit.msi"
NEWER_PACKAGE = r"C:\Packages\newer.msi"
VERBOSE_LOG = r"C:\Packages\install.log"

OTHER_EVENT_SOURCE = r"HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Contoso"
PRODUCTS = r"hklm\software\microsoft\windows\currentversion\uninstall"

UPGRADE, USER_CANCELLED = -5 & 0xFFFFFFFF, -8 & 0xFFFFFFFF  # answers of the SRK tool
FAIL = "fail"  # what it is told to fail with

# A machine with a software stack, on which the user declines the change of the SRK authorization.
DESCRIPTION = merged({
    "registry": {BLOCKED_COMMANDS_KEY: {"values": {str(n): "" for n in (*BLOCKED_COMMANDS, 99)}}, RUN_KEY: {}},
    "services": {KELO_STACK: {"displayName": "Kelo TSS Core Service", "state": "running",
                              "binaryPath": rf'"{PROGRAM_FILES}\TSS\tcsd_x86.exe"'}},
    "programs": {**device_installer()["programs"], SRK_TOOL: {"runs": [
        {"arguments": "/V", "exitCode": UPGRADE}, {"arguments": FAIL, "exitCode": 1}, {"exitCode": USER_CANCELLED}]}},
    "libraries": tasks()["libraries"],
}, detections())

# The same machine with the TPM switched off, and also without a software stack.
WITHOUT_TPM = merged(DESCRIPTION, detections(isEnabled=0))
WITHOUT_STACK = {**WITHOUT_TPM, "services": {}}

# What no effect of an installation is, in lower case: the installer's own records, the pipe's number and devices of
# Wine, what the stand-ins need and note, and the services' registry keys; the service manager is asked about services.
NOT_OF_CONCERN = re.compile("|".join((*map(re.escape, (
    r"hklm\software\microsoft\windows\currentversion\installer", r"hklm\software\classes\installer", PRODUCTS,
    r"c:\windows\installer", r"c:\packages", r"c:\standins",
    names.FOLDER.lower(), "hklm\\" + names.KEY.lower(),
    # The same key as the one for 64-bit programs.
    r"hklm\software\wow6432node\microsoft\windows\currentversion\app paths",
    *(rf"hklm\system\currentcontrolset\services\{name}" for name in CAPTURED_SERVICES))),
    rf"hklm\\system\\currentcontrolset\\({SERVICE_PIPE}|{WINES_DEVICES})")))

NOTES = (names.RUNS, names.FOLDERS, names.PROBE_NOTES, names.WITNESS_NOTES)


class PackagedMachine:
    """A described machine without anything that the package brings, for the length of a `with` statement."""

    def __init__(self, description):
        self._machine = Machine(description)

    def __enter__(self):
        self._machine.__enter__()
        try:
            self._prepare()
        except BaseException as error:
            self._machine.__exit__(type(error), error, None)
            raise
        return self

    def __exit__(self, *error):
        return self._machine.__exit__(*error)

    def _prepare(self):
        self.prefix = self._machine.prefix
        if self._machine.missing:
            raise AssertionError(f"not like the description: {self._machine.missing}")
        for path in tables.files(SAMPLE):
            self.prefix.path(path).unlink(missing_ok=True)
        for folder in (PACKAGES, SRK_TOOL.rpartition("\\")[0]):
            self.prefix.path(folder).rmdir()
        create(self.prefix, {name: RUNS_AT_ONCE for name in CARD_SERVICES})
        # As on Windows, where the toolkit's event source is not the only one.
        self.prefix.import_registry(section(OTHER_EVENT_SOURCE))
        self.prefix.path(PACKAGE).parent.mkdir()

    def install(self, *options, changes=()):
        """Installs the package, with its tables changed. Returns msiexec's exit code, the lines that the program
        logged, and the exit code of each of its runs."""
        tables.variant(SAMPLE, self.prefix.path(PACKAGE), *changes)
        return self._msiexec("/i", PACKAGE, *options)

    def upgrade(self, version, *options):
        """Installs another version of the package over it."""
        tables.build(self.prefix.path(NEWER_PACKAGE), version)
        return self._msiexec("/i", NEWER_PACKAGE, *options)

    def remove(self, *options):
        return self._msiexec("/x", PACKAGE, "/qn", *options)

    def repair(self, *options):
        return self._msiexec("/i", PACKAGE, "/qn", "REINSTALL=ALL", *options)

    def write_settings(self):
        """Writes the registry values that the package writes for the program to read."""
        written = ((*item.removesuffix("]").split(" [", 1), value)
                   for item, value in tables.registry_values(SAMPLE, "Settings").items())
        self.prefix.import_registry("".join(section(key, {name: value}) for key, name, value in written))

    def look(self):
        """All that is there and of concern, by names in lower case."""
        captured = complete(self._machine.captured())
        found = self._files()
        for key, values in registry.values_below(self.prefix, "SOFTWARE", "SYSTEM").items():
            found[key] = ""
            found |= {f"{key} [{name or '(default)'}]": value for name, value in values.items()}
        for name, service in captured["services"].items():
            if name.lower() not in WINES_OWN_SERVICES:
                found |= {f"service {name} [{member}]": value
                          for member, value in service_members(name, service).items()}
        found |= {f"access list of {BLOCKED_COMMANDS_KEY}": {**captured["registry"][BLOCKED_COMMANDS_KEY],
                                                             "values": None},
                  "installed products": [value for item, value in found.items()
                                         if item.lower().startswith(PRODUCTS) and item.endswith("[DisplayName]")],
                  "auto-enrollment tasks": _tasks(self.prefix), "key storage providers": captured["cng"],
                  "smart-card readers": captured["smartCards"]["readers"],
                  "automatic provisioning": "on" if captured["wmi"]["autoProvisioning"] else "off"}
        return {name.lower(): value for name, value in found.items() if not NOT_OF_CONCERN.match(name.lower())}

    def _files(self):
        """All files but the notes of stand-ins, and the folders but those with nothing else in them."""
        found = {file.path: ("", 0) if file.fingerprint == files.DIRECTORY else
                 (f"{file.fingerprint[0]} bytes", file.fingerprint[1]) for file in files.below(self.prefix, "C:\\")}
        notes = [path for path in found if path.endswith(NOTES)]
        for note in notes:
            del found[note]
        for folder in {note.rpartition("\\")[0] for note in notes}:
            if not any(path.startswith(folder + "\\") for path in found):
                del found[folder]
        return found

    def _msiexec(self, *arguments):
        before = len(self._log())
        status, _, calls = self.prefix.calls(EXIT, "msiexec", *arguments, "/l*v", VERBOSE_LOG)
        log = self._last_log = self._log()[before:]
        ends = {call.thread: code_given(call) for call in calls}
        runs = [int(parse(line)["thread"]) for line in log if line.endswith(BEGINS)]
        return exit_code(status, calls), comparable(log), [ends.get(thread) for thread in runs]

    def log_lines(self):
        """The lines that the program logged in the installer's last run."""
        return self._last_log

    def _log(self):
        log = self.prefix.path(LOG)
        return log.read_bytes().decode("cp1252").splitlines() if log.is_file() else []

    def files_with(self, text):
        """The files that hold a text, in either of Windows' encodings, but those of Wine's that all prefixes share."""
        encoded = [text.encode(encoding) for encoding in ("utf-8", "utf-16-le")]
        places = {file.path: pathlib.Path(file.place) for file in files.below(self.prefix, "C:\\")}
        return {path for path, place in places.items() if place.is_file() and place.stat().st_nlink == 1
                and any(one in place.read_bytes() for one in encoded)}

    def verbose_log(self):
        """The installer's own log of its last run, as Windows would have written it."""
        log = self.prefix.path(VERBOSE_LOG).read_bytes()
        return tables.without_hidden(SAMPLE, log.decode("utf-16" if log.startswith(b"\xff\xfe") else "cp1252"))


def _tasks(prefix):
    calls = task_calls(prefix)
    return calls.get("InstallAutoEnrollmentTasks", 0) - calls.get("RemoveAutoEnrollmentTasks", 0)


def effects(before, after):
    """What two looks at a machine differ in, and what there is then: by kinds of change and names."""
    return leaves({**{("removed", item): before[item] for item in before.keys() - after.keys()},
                   **{("added", item): after[item] for item in after.keys() - before.keys()},
                   **{("changed", item): after[item] for item in before.keys() & after.keys()
                      if before[item] != after[item]}})


def leaves(found):
    """Effects without the folders and keys that were added for what was added in them."""
    added = [item for kind, item in found if kind == "added"]
    holders = {("added", holder) for holder in added
               if any(item.startswith((holder + "\\", holder + " [")) for item in added)}
    return {effect: value for effect, value in found.items() if effect not in holders}
