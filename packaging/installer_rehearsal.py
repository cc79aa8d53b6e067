"""Rehearses Windows Installer on a described machine: finds the actions of a package that run, in order, with their
command lines. Each run of the installer program is rehearsed on the machine that the previous run left."""

import copy
import dataclasses
import json
import pathlib
import re
import subprocess
import tempfile

import msi_condition
from wix_source import COMMIT, IN_SCRIPT, INSTALLED_PROGRAM, LIBRARY_FUNCTION, ROLLBACK, SET_PROPERTY

PROGRAM = "KeloCustomAction.exe"
CHOICES_KEY = r"HKLM\SOFTWARE\Kelo Systems Corp\Common\Choices"
REASON_KEY = r"HKLM\SOFTWARE\Kelo Systems Corp.\Installer"
ERROR_FILE_NOT_FOUND = 2
LOGON_TASK = ("registry", r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run", "values", "ChangeTPMAuth")
# The properties that are remembered, and the property with the package's own choice for each.
CHOICES = {"TSS_VENDOR": "KeloTssVendor", "TPM_VSC": "", "TPM_WIN8": "", "ProductType": ""}
LONGEST_VALUE = 4095  # the longest value of a property that KeloPackage.dll accepts, in characters
AREAS_OF_FILES = ("files", "libraries", "programs")

DONE, FAILED, RESTART_NEEDED = 0, 1603, 3010
MOST_SECONDS = 600  # that the rehearsal of one run of the program may take

KIND_OF_ACTION = 0x3F
CONTINUES = 0x40

# The properties that the installer sets before the first action, for each mode.
MODES = {"install": {}, "repair": {"Installed": "00:00:00", "REINSTALL": "ALL"},
         "remove": {"Installed": "00:00:00", "REMOVE": "ALL"}}
WINDOWS_OWN = {"UILevel": "2", "Privileged": "1", "ALLUSERS": "1"}
NEWEST_VERSION = 603  # the newest version of Windows that the installer reports to a package

STANDARD_FOLDERS = {"TARGETDIR": "C:\\", "ProgramFiles64Folder": "C:\\Program Files\\",
                    "ProgramFilesFolder": "C:\\Program Files (x86)\\", "CommonAppDataFolder": "C:\\ProgramData\\",
                    "System64Folder": "C:\\Windows\\system32\\", "SystemFolder": "C:\\Windows\\SysWOW64\\",
                    "WindowsFolder": "C:\\Windows\\"}
PERMANENT = 16  # a component's attribute
ONLY_DETECT, LOWER_INCLUDED, UPPER_INCLUDED = 0x2, 0x100, 0x200  # of a row of the Upgrade table
ROOTS = {"-1": "HKLM", "0": "HKCR", "1": "HKCU", "2": "HKLM", "3": "HKU"}
STOP_AT_INSTALLATION, STOP_AT_REMOVAL = 2, 32


class RehearsalError(Exception):
    """The package or machine cannot be rehearsed; the text says why."""


@dataclasses.dataclass
class Step:
    """An action that ran, and its result."""

    part: str  # "sequence", "script", "rollback" or "commit"
    action: str
    text: str = ""
    log: list = dataclasses.field(default_factory=list)
    changes: list = dataclasses.field(default_factory=list)
    exit_code: int = None  # of the installer program; None for any other action


@dataclasses.dataclass
class Outcome:
    """The result of one run of the installer."""

    status: int  # the exit code of msiexec
    steps: list
    machine: dict  # after the run
    order: list  # the package's actions in order; those of the script occur twice: when written and when run
    told: list  # reasons of failures, as the installer's log and window show them
    rolled_back: list  # the package's actions that ran in the rollback, in order
    reason: str = ""  # why the run was refused

    @property
    def runs(self):
        """The runs of the installer program and of its library, in order."""
        return [step for step in self.steps if step.exit_code is not None]


class Package:
    """The tables of a package, read with msiinfo."""

    def __init__(self, path):
        self.path = pathlib.Path(path).absolute()
        self.properties = {row["Property"]: row["Value"] for row in self.table("Property")}
        self.hidden = set(self.properties.get("MsiHiddenProperties", "").split(";"))
        self.folders = self._folders()
        self.components = {row["Component"]: row for row in self.table("Component")}
        self.files = {self.folders[self.components[row["Component_"]]["Directory_"]] + row["FileName"].split("|")[-1]:
                      row for row in self.table("File")}

    def table(self, name):
        """The rows of a table, each a dictionary of its columns; empty if there is no such table."""
        with tempfile.TemporaryDirectory() as folder:  # msiinfo writes the streams of a table here, if it has any
            done = subprocess.run(["msiinfo", "export", self.path, name], cwd=folder, capture_output=True, text=True,
                                  check=False)
        if done.returncode != 0 or not done.stdout:
            if name == "Property":
                raise RehearsalError(f"{self.path}: not an installer package")
            return []
        head, _types, _keys, *rows = [line.split("\t") for line in done.stdout.splitlines()]
        return [dict(zip(head, row)) for row in rows]

    def _folders(self):
        rows = {row["Directory"]: row for row in self.table("Directory")}

        def path(name):
            if name in STANDARD_FOLDERS:
                return STANDARD_FOLDERS[name]
            own = rows[name]["DefaultDir"].split(":")[0].split("|")[-1]
            return path(rows[name]["Directory_Parent"]) + ("" if own == "." else own + "\\")
        return {name: path(name) for name in rows}


class Rehearsal:
    """One run of the installer."""

    def __init__(self, package, kelo_rehearse, machine, mode, given=(), failing=(), installed=None, brought=None,
                 is_wines=False):
        """`machine` is a whole description. `given` are the properties on the command line, `failing` the names of the
        script's actions that are made to fail, and `installed` is the package of the version that the machine already
        has. `brought` describes the programs and libraries of the package. Wine's installer, unlike Windows', takes
        files and registry values back before the package's rollback actions run, and leaves the keys."""
        self.package, self._tool, self._failing = package, kelo_rehearse, set(failing)
        self.machine = copy.deepcopy(machine)
        self._described = {area: {**(machine.get(area) or {}), **(brought or {}).get(area, {})}
                           for area in AREAS_OF_FILES}
        self.is_wines = is_wines
        self.mode = mode
        self._installed, self._replaced = installed, None
        version = _version_of_windows(machine)
        self.properties = {**WINDOWS_OWN, "VersionNT": version, "VersionNT64": version, **package.properties,
                           **package.folders, **MODES[mode], **dict(given)}
        if self.properties.get("DISABLEROLLBACK"):
            self.properties["RollbackDisabled"] = "1"
        self._actions = {row["Action"]: row for row in package.table("CustomAction")}
        self._script, self._steps, self._order, self._told, self._rolled_back = [], [], [], [], []

    def run(self):
        moves_before = len(self.machine.get("pendingMoves", []))
        rows = [row for row in self.package.table("InstallExecuteSequence") if int(row["Sequence"] or 0) > 0]
        status = DONE
        for row in sorted(rows, key=lambda row: int(row["Sequence"])):
            if not msi_condition.holds(row["Condition"], self.properties):
                continue
            if row["Action"] == "FindRelatedProducts":
                self._find_related_product()
            if row["Action"] == "LaunchConditions" and (refusal := self._refusal()):
                self.note("sequence", row["Action"], refusal)
                return self._outcome(FAILED, refusal)
            if row["Action"] == "InstallFinalize" and not self._run_script():
                return self._outcome(FAILED)
            if row["Action"] in self._actions:
                if not self._begin(self._actions[row["Action"]]):
                    return self._outcome(FAILED, self._steps[-1].text)
            elif row["Action"] in STANDARD_ACTIONS:
                self._script.append((row["Action"], _StandardAction(STANDARD_ACTIONS[row["Action"]])))
            elif row["Action"] == "RemoveExistingProducts" and self._replaced:
                self._script.append((row["Action"], _RemovalOfOlder(self._replaced)))
        moved = len(self.machine.get("pendingMoves", [])) > moves_before
        if moved and any(step.text == "AskForRestart" for step in self._steps):
            status = RESTART_NEEDED
        return self._outcome(status)

    def _outcome(self, status, reason=""):
        return Outcome(status, self._steps, self.machine, self._order, self._told, self._rolled_back, reason)

    # --- The sequence: each action is run at once or written into the script -----------------------------------------

    def _refusal(self):
        """The message of the first launch condition that does not hold; empty if all hold."""
        return next((row["Description"] for row in self.package.table("LaunchCondition")
                     if not msi_condition.holds(row["Condition"], self.properties)), "")

    def _find_related_product(self):
        """Sets the properties of the Upgrade table if the installed product matches, and notes its removal."""
        for row in self.package.table("Upgrade") if self._installed and self.mode == "install" else ():
            if row["UpgradeCode"] == self._installed.properties["UpgradeCode"] and _is_in_range(
                    self._installed.properties["ProductVersion"], row):
                self.properties[row["ActionProperty"]] = self._installed.properties["ProductCode"]
                self.note("sequence", "FindRelatedProducts", f"{row['ActionProperty']}: version "
                                                             f"{self._installed.properties['ProductVersion']}")
                if not int(row["Attributes"]) & ONLY_DETECT:
                    self._replaced = self._installed

    def _begin(self, action):
        """Begins an action. Returns whether the installer continues."""
        kind = int(action["Type"])
        name = action["Action"]
        self._order.append(name)
        if kind & KIND_OF_ACTION == SET_PROPERTY:
            self.properties[action["Source"]] = self.formatted(action["Target"])
            self.note("sequence", name, f"{action['Source']} = {self._shown(action['Source'])}")
        elif kind & IN_SCRIPT:
            self._script.append((name, self._command(action, kind)))
        elif action["Target"] == "FindChoices":
            return self._find_choices(name)
        else:
            self.note("sequence", name, action["Target"])
        return True

    def formatted(self, text):
        return re.sub(r"\[(\w+)\]", lambda match: self.properties.get(match[1], ""), text)

    def _shown(self, name):
        return "****" if name in self.package.hidden else self.properties[name]

    def _find_choices(self, action):
        """Does the same as FindChoices in KeloPackage.dll. Returns whether it succeeds."""
        registry = self.machine.get("registry", {})
        key = registry.get(_same_name(registry, CHOICES_KEY)) or {}
        values = {name.lower(): value for name, value in key.get("values", {}).items()}
        is_refused = bool(self.properties.get("REMOVE") or
                          (self.properties.get("Installed") and self.properties.get("RestrictedUserControl")))
        is_forgotten = not is_refused and bool(self.properties.get("KELO_FORGET_CHOICES"))
        for name, of_package in CHOICES.items():
            own = "" if is_refused and name.isupper() else self.properties.get(name, "")
            if len(own) > LONGEST_VALUE:
                self.note("sequence", action, "A property of the command line is too long.")
                return False
            remembered = "" if is_forgotten else str(values.get(name.lower(), ""))
            self.properties[name] = own or remembered or self.properties.get(of_package, "")
        if is_refused:
            self.properties["TPM_OWNER_PASSWORD"] = ""
        self.note("sequence", action, ", ".join(f"{name}={self.properties[name]}" for name in CHOICES))
        return True

    def _command(self, action, kind):
        """The object that runs an action of the script."""
        data = self.properties.get(action["Action"], "")
        moment = "rollback" if kind & ROLLBACK else "commit" if kind & COMMIT else "script"
        ignored = bool(kind & CONTINUES)
        if kind & KIND_OF_ACTION == LIBRARY_FUNCTION and action["Target"] in ("RunProgram", "RunSetup"):
            is_setup = action["Target"] == "RunSetup"
            head, _, command_line = data.partition("|") if is_setup else ("", "", data)
            return _ProgramRun(moment, ignored, command_line, is_setup=is_setup,
                               takes_back=bool(head.partition("=")[2]), tells=True)
        if kind & KIND_OF_ACTION == LIBRARY_FUNCTION and action["Target"] == "SRK_Auth_Change":
            return _ExportCall(moment, ignored, data)
        if kind & KIND_OF_ACTION == LIBRARY_FUNCTION and action["Target"] == "ForgetLogonTask":
            return _ForgetLogonTask(moment, ignored)
        path = next((path for path, row in self.package.files.items() if row["File"] == action["Source"]), "")
        if kind & KIND_OF_ACTION == INSTALLED_PROGRAM and path.endswith("\\" + PROGRAM):
            return _ProgramRun(moment, ignored, f'"{path}" {self.formatted(action["Target"])}')
        return _Unknown(moment, ignored)

    def note(self, part, action, text):
        self._steps.append(Step(part, action, text))

    # --- The script ---------------------------------------------------------------------------------------------------

    def _run_script(self):
        """Runs the script, and rolls it back if an action fails. Returns whether it succeeded."""
        is_kept = bool(self.properties.get("RollbackDisabled"))
        for place, (name, command) in enumerate(self._script):
            if command.moment == "script" and not (self._run(command, "script", name) and name not in self._failing):
                if name in self._failing:
                    self.note("script", name, "fails")
                if not is_kept:
                    self._roll_back(place)
                return False
        for name, command in self._script:
            if command.moment == "commit" and not is_kept:
                self._run(command, "commit", name)
        return True

    def _run(self, command, part, name):
        if name in self._actions:
            self._order.append(name)
        return command.run(self, part, name)

    def _roll_back(self, place):
        done = self._script[place::-1]
        for name, command in sorted(done, key=_is_rollback_action) if self.is_wines else done:
            if command.moment == "rollback":
                self._rolled_back.append(name)
                command.run(self, "rollback", name)
            else:
                command.take_back(self, name)

    def rehearse(self, part, name, text, *arguments, description=None):
        """Rehearses a run of the program, or a call of its export, and notes it. Returns the exit code."""
        with tempfile.TemporaryDirectory() as folder:
            before, after = pathlib.Path(folder, "before.json"), pathlib.Path(folder, "after.json")
            before.write_text(json.dumps(description or self.machine), encoding="utf-8")
            try:
                done = subprocess.run([self._tool, "--json", "--save", after, before, *arguments], capture_output=True,
                                      text=True, check=False, timeout=MOST_SECONDS)
            except subprocess.TimeoutExpired:
                raise RehearsalError(f"{text}: the rehearsal did not end within {MOST_SECONDS} seconds") from None
            if not done.stdout:
                raise RehearsalError(done.stderr.strip().removeprefix("kelo-rehearse: ").replace(f"{before}: ", ""))
            report = json.loads(done.stdout)
            if report["noResult"]:
                raise RehearsalError(f"{text}: {report['noResult']}")
            self.machine = json.loads(after.read_text(encoding="utf-8"))
        self._steps.append(Step(part, name, text, report["log"], report["changes"], report["exitCode"]))
        return report["exitCode"]

    def remove_other(self, package):
        """Removes another product within this run. Returns its rehearsal, which can undo the removal, and whether it
        succeeded."""
        given = {"UPGRADINGPRODUCTCODE": self.package.properties["ProductCode"], "UILevel": "2"}
        removal = Rehearsal(package, self._tool, self.machine, "remove", given)
        outcome = removal.run()
        self.take_over(removal)
        return removal, outcome.status != FAILED

    def take_over(self, other):
        """Continues with the machine and the steps of another rehearsal."""
        self.machine = other.machine
        self._steps += [step for step in other._steps if step.part != "sequence"]
        other._steps.clear()

    def put_back(self, machine):
        """Rolls back a complete successful run, on the given present machine."""
        self.machine = machine
        self._roll_back(len(self._script) - 1)

    def reason(self):
        """The reason of a failure that the program has left for the installer; empty if there is none."""
        registry = self.machine.get("registry", {})
        key = registry.get(_same_name(registry, REASON_KEY)) or {}
        return str(key.get("values", {}).get("", ""))

    def forget_reason(self):
        if self.reason():
            _put(self.machine, ("registry", REASON_KEY, "values", ""), None)

    def tell(self, part, action, text):
        self._told.append(text)
        self.note(part, action, f"The installer is told: {text}")

    def described(self, path):
        """The entries for a path in the original description, by area. A program or library that is installed again
        behaves as they say."""
        found = {area: (entries, _same_name(entries, path)) for area, entries in self._described.items()}
        return {area: copy.deepcopy(entries[name]) for area, (entries, name) in found.items() if name is not None}

    def has_file(self, path):
        areas = [self.machine.get(area) or {} for area in AREAS_OF_FILES]
        return any(entries.get(_same_name(entries, path)) is not None for entries in areas)


def _is_rollback_action(named):
    return named[1].moment == "rollback"


@dataclasses.dataclass
class _CustomAction:
    """An action of the package in the installer's script."""

    moment: str  # "script", "rollback" or "commit"
    ignored: bool  # whether the installer continues after a failure

    def take_back(self, rehearsal, name):
        """Does nothing: the package has rollback actions for this."""


@dataclasses.dataclass
class _ProgramRun(_CustomAction):
    command_line: str
    is_setup: bool = False
    takes_back: bool = False  # whether the library undoes a failed run
    tells: bool = False  # whether the library reports the reason of a failure

    def run(self, rehearsal, part, name):
        if self.is_setup:
            rehearsal.forget_reason()
        old_reason = rehearsal.reason()
        exit_code = self._start(rehearsal, part, name, self.command_line)
        if exit_code != 0 and self.tells:
            reason = rehearsal.reason()
            rehearsal.tell(part, name, reason if reason not in ("", old_reason) else
                           f"The Kelo Toolkit's installer program {self._failure(rehearsal, exit_code)}: "
                           f"{self.command_line}")
        if exit_code != 0 and self.takes_back:
            self._start(rehearsal, part, name, f'"{split_command_line(self.command_line)[0]}" /Rollback')
        return exit_code == 0 or self.ignored

    def _failure(self, rehearsal, exit_code):
        if rehearsal.has_file(split_command_line(self.command_line)[0]):
            return f"ended with {exit_code}"
        return f"could not be started, error {ERROR_FILE_NOT_FOUND}"

    @staticmethod
    def _start(rehearsal, part, name, command_line):
        program, *arguments = split_command_line(command_line)
        if not rehearsal.has_file(program):
            rehearsal.note(part, name, f"cannot be started: {command_line}")
            return FAILED
        rehearsal.machine.setdefault("process", {})["path"] = program
        return rehearsal.rehearse(part, name, command_line, "--", *arguments)


@dataclasses.dataclass
class _ExportCall(_CustomAction):
    data: str

    def run(self, rehearsal, part, name):
        described = copy.deepcopy(rehearsal.machine)
        described.setdefault("installer", {}).setdefault("properties", {})["CustomActionData"] = self.data
        shown = re.sub(r"/PASSWORD=.*", lambda match: match[0] if match[0] == "/PASSWORD=" else "/PASSWORD=****",
                       self.data)
        exit_code = rehearsal.rehearse(part, name, shown, "--export", name, description=described)
        rehearsal.machine.get("installer", {}).get("properties", {}).pop("CustomActionData", None)
        return exit_code == 0 or self.ignored


class _RemovalOfOlder:
    """The removal of the older version within the transaction of the newer one."""

    moment, ignored = "script", False

    def __init__(self, package):
        self._package, self._removal = package, None

    def run(self, rehearsal, part, name):
        rehearsal.note(part, name, f"removes version {self._package.properties['ProductVersion']}:")
        self._removal, is_removed = rehearsal.remove_other(self._package)
        return is_removed

    def take_back(self, rehearsal, name):
        if self._removal:
            self._removal.put_back(rehearsal.machine)
            rehearsal.take_over(self._removal)


class _ForgetLogonTask(_CustomAction):
    def run(self, rehearsal, part, name):
        left = _put(rehearsal.machine, LOGON_TASK, None)
        rehearsal.note(part, name, "nothing is left" if left is None else "deletes ChangeTPMAuth below Run")
        return True


class _Unknown(_CustomAction):
    def run(self, rehearsal, part, name):
        rehearsal.note(part, name, "not rehearsed: an action of the package's own")
        return True


class _StandardAction:
    """One of the installer's own actions, which changes the machine and can undo its changes."""

    moment, ignored = "script", False

    def __init__(self, changes):
        self._changes, self._done = changes, []

    def run(self, rehearsal, part, name):
        for keys, value in self._changes(rehearsal):
            self._done.append((keys, _put(rehearsal.machine, keys, value)))
        if self._done:
            rehearsal.note(part, name, f"{len(self._done)} changes")
        return True

    def take_back(self, rehearsal, name):
        for keys, before in reversed(self._done):
            is_new_key = len(keys) == 2 and keys[0] == "registry" and before is None
            if not is_new_key or (_is_empty_key(rehearsal.machine, keys[1]) and not rehearsal.is_wines):
                _put(rehearsal.machine, keys, before)
        if self._done:
            rehearsal.note("rollback", name, f"{len(self._done)} changes taken back")


def _put(machine, keys, value):
    """Sets the entry at a path of keys to a value; None removes the entry. Returns the previous value."""
    *path, last = keys
    for key in path:
        name = _same_name(machine, key) or key
        if machine.get(name) is None:  # null in a description also means that there is nothing
            machine[name] = {}
        machine = machine[name]
    name = _same_name(machine, last)
    before = None if name is None else machine.pop(name)
    if value is not None:
        machine[last if name is None else name] = value
    return before


# Each of these yields the changes of one of the installer's own actions: the path of keys to an entry of the machine,
# and the entry's new value.


def _stop_services(rehearsal):
    event = STOP_AT_REMOVAL if rehearsal.mode == "remove" else STOP_AT_INSTALLATION
    services = _settled(rehearsal.machine)
    for row in rehearsal.package.table("ServiceControl"):
        name = _same_name(services, row["Name"])
        if int(row["Event"]) & event and name and services[name].get("state") == "running":
            yield ("services", name), {**services[name], "state": "stopped", "controlsAccepted": 0}


def _install_files(rehearsal):
    if rehearsal.mode != "remove":
        for path, row in rehearsal.package.files.items():
            if rehearsal.has_file(path):
                continue
            file = {"size": int(row["FileSize"])} | ({"version": row["Version"]} if row["Version"] else {})
            for area, entry in {"files": file, **rehearsal.described(path)}.items():
                yield (area, path), entry


def _remove_files(rehearsal):
    if rehearsal.mode == "remove":
        for path, row in rehearsal.package.files.items():
            is_permanent = int(rehearsal.package.components[row["Component_"]]["Attributes"]) & PERMANENT
            for area in () if is_permanent else AREAS_OF_FILES:
                if _same_name(rehearsal.machine.get(area, {}), path) is not None:
                    yield (area, path), None


def _registry_rows(rehearsal):
    for row in rehearsal.package.table("Registry"):
        value = rehearsal.formatted(row["Value"])
        yield (("registry", f"{ROOTS[row['Root']]}\\{rehearsal.formatted(row['Key'])}", "values", row["Name"]),
               int(value[1:]) if re.fullmatch(r"#\d+", value) else value)


def _write_registry_values(rehearsal):
    for keys, value in _registry_rows(rehearsal) if rehearsal.mode != "remove" else ():
        yield from ((("registry", key), {}) for key in reversed(_with_parents(keys[1])) if not _has_key(rehearsal, key))
        yield keys, value


def _remove_registry_values(rehearsal):
    for keys, _ in _registry_rows(rehearsal) if rehearsal.mode == "remove" else ():
        yield keys, None
        # The installer removes a key with its last value, and each key above that is empty then.
        for key in _with_parents(keys[1]):
            if not _is_empty_key(rehearsal.machine, key):
                break
            yield ("registry", key), None


def _with_parents(key):
    """A key, and the keys above it from the next one up."""
    names = key.split("\\")
    return ["\\".join(names[:count]) for count in range(len(names), 1, -1)]


def _has_key(rehearsal, key):
    registry = rehearsal.machine.get("registry", {})
    return any(registry[name] is not None and (name.lower() + "\\").startswith(key.lower() + "\\") for name in registry)


def _is_empty_key(machine, key):
    """Whether there is such a key, without values and without keys below it."""
    registry = machine.get("registry", {})
    name = _same_name(registry, key)
    return name is not None and not (registry[name] or {}).get("values") and not any(
        registry[other] is not None and other.lower().startswith(key.lower() + "\\") for other in registry)


STANDARD_ACTIONS = {"StopServices": _stop_services, "RemoveRegistryValues": _remove_registry_values,
                    "RemoveFiles": _remove_files, "InstallFiles": _install_files,
                    "WriteRegistryValues": _write_registry_values}


def _version_of_windows(machine):
    major, minor = (machine.get("windows") or {}).get("version", "10.0").split(".")[:2]
    return str(min(int(major) * 100 + int(minor), NEWEST_VERSION))


def _is_in_range(version, row):
    """Whether a row of the Upgrade table covers a version; the installer compares three numbers."""
    def numbers(text):
        return [*map(int, text.split("."))][:3]
    attributes = int(row["Attributes"])
    seen = numbers(version)
    lower, upper = row["VersionMin"], row["VersionMax"]
    return ((not lower or seen > numbers(lower) or (seen == numbers(lower) and bool(attributes & LOWER_INCLUDED)))
            and (not upper or seen < numbers(upper) or (seen == numbers(upper) and bool(attributes & UPPER_INCLUDED))))


def _same_name(entries, name):
    """The name as it is spelled among the entries, whatever its case; None if it is not there."""
    return next((entry for entry in entries if entry.lower() == name.lower()), None)


def _settled(machine):
    """The machine's services in the last of their coming states: by the time of this action they have reached it."""
    services = machine.setdefault("services", {})
    for service in filter(None, services.values()):
        states = service.pop("states", None)
        if states:
            service.update({name: value for name, value in states[-1].items() if name != "afterMs"})
    return services


def split_command_line(command_line):
    """The program and the arguments, split as CommandLineToArgvW does."""
    if command_line.startswith('"'):
        program, _, rest = command_line[1:].partition('"')
    else:
        program, _, rest = command_line.partition(" ")
    arguments, current, is_in_quotes, place = [program], None, False, 0
    while place < len(rest):
        backslashes = len(rest) - place - len(rest[place:].lstrip("\\"))
        place += backslashes
        character = rest[place:place + 1]
        if character == '"':
            current = (current or "") + "\\" * (backslashes // 2)
            if backslashes % 2:
                current += '"'
            elif is_in_quotes and rest[place + 1:place + 2] == '"':
                current += '"'
                place += 1
            else:
                is_in_quotes = not is_in_quotes
        elif character in (" ", "\t", "") and not is_in_quotes:
            current = (current or "") + "\\" * backslashes if backslashes else current
            if current is not None:
                arguments.append(current)
            current = None
        else:
            current = (current or "") + "\\" * backslashes + character
        place += 1
    return arguments if current is None else [*arguments, current]
