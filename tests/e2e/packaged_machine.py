"""A machine under Wine on which the real installer installs the sample package, rolls it back and removes it."""

import re

import installer
import machine_state
import services
from installer import SAMPLE
from log_lines import comparable, parse
from program import LOG, Machine
from standins import KEY, calls_of
from system_standins import noted_calls
from wine import EXIT, code_given, exit_code

TOOLKIT = r"C:\Program Files\Kelo Systems Corp\Toolkit"
STAGER = TOOLKIT + r"\TPM_VSCard\DriverStager.exe"
SRK_TOOL = r"C:\Program Files\Kelo Systems Corp\Common\TpmKeyFixer.exe"
EVENT_TEXT = installer.PROGRAMS / "event_text.exe"
PACKAGE = r"C:\Packages\toolkit.msi"
NEWER_PACKAGE = r"C:\Packages\newer.msi"
VERBOSE_LOG = r"C:\Packages\install.log"

BLOCKED_COMMANDS = r"HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List"
RUN_KEY = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run"
EVENT_SOURCES = r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\EventLog\Application"

PRODUCTS = r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"

READER = "Kelo VIRTUAL_CARD_READER 0"
CARD_SERVICES = ("SCardSvr", "CertPropSvc")
SERVICES = ("KlPCR", "tcsd_x86", *CARD_SERVICES)

UPGRADE, USER_CANCELLED = -5 & 0xFFFFFFFF, -8 & 0xFFFFFFFF  # answers of the SRK tool
FAIL = "fail"  # what it is told to fail with

RUNS_AT_ONCE = {"onStart": {"states": [{"afterMs": 0, "state": "running"}]}}

# The answers of a detection library to the one that calls it: a software stack and a TPM that can be used.
USABLE = {"DetectTSS": 0, "isEnabled": 1, "isActivated": 1, "isOwned": 1, "ValidSRKAuth": 0}


def probes(answers):
    """The detection libraries of both stacks, as a description."""
    return {TOOLKIT + rf"\{stack}\stkprobe.dll": {"exports": answers} for stack in ("KELO", "NTRU12")}


# A machine with a software stack, on which the user declines the change of the SRK authorization.
DESCRIPTION = {
    "registry": {BLOCKED_COMMANDS: {"values": {str(n): "" for n in (13, 16, 20, 22, 62, 99, 125, 200)}}, RUN_KEY: {}},
    "services": {"tcsd_x86": {"displayName": "Kelo TSS Core Service", "state": "running",
                              "binaryPath": r'"C:\Program Files\Kelo Systems Corp\TSS\tcsd_x86.exe"'}},
    "programs": {
        STAGER: {"runs": [
            {"arguments": r"install KeloSmartCardDriver.inf root\KeloVirtualReader",
             "effects": {"smartCards": {"readers": [READER]}}},
            {"arguments": r"remove KeloSmartCardDriver.inf root\KeloVirtualReader",
             "effects": {"smartCards": {"readers": []}}}]},
        SRK_TOOL: {"runs": [{"arguments": "/V", "exitCode": UPGRADE}, {"arguments": FAIL, "exitCode": 1},
                            {"exitCode": USER_CANCELLED}]},
    },
    "libraries": {TOOLKIT + r"\CertJobPlanner.dll": {"exports": {
        "AreTasksInstalled": 0, "InstallAutoEnrollmentTasks": 0, "RemoveAutoEnrollmentTasks": 0}}, **probes(USABLE)},
}

# The same machine with the TPM switched off.
WITHOUT_TPM = {**DESCRIPTION, "libraries": {**DESCRIPTION["libraries"], **probes({**USABLE, "isEnabled": 0})}}

# And without a software stack.
WITHOUT_STACK = {**WITHOUT_TPM, "services": {}}

# What the set-up has nothing to do with: the installer's own records, Wine's number of the service manager's pipe, what
# the stand-ins need and note, and the services as they are in the registry, which are asked of the service manager.
NOT_OF_CONCERN = re.compile("|".join(map(re.escape, (
    r"hklm\software\microsoft\windows\currentversion\installer", r"hklm\software\classes\installer",
    r"hklm\software\microsoft\windows\currentversion\uninstall",
    r"c:\windows\installer", r"c:\packages", r"hklm\system\currentcontrolset\control\servicecurrent",
    r"hklm\software\kelostandins", r"c:\kelostandins", r"c:\standins",
    # The same key as the one for 64-bit programs.
    r"hklm\software\wow6432node\microsoft\windows\currentversion\app paths",
    # The screens and adapters that Wine notes as soon as its desktop is up.
    *(rf"hklm\system\currentcontrolset\{key}"
      for key in (r"control\class", r"control\deviceclasses", r"control\video", "enum", "hardware profiles")),
    *(rf"hklm\system\currentcontrolset\services\{name.lower()}" for name in SERVICES)))))
BEGINS = "============= Begin-> Kelo CSP (x64) Custom Action ==================="  # the first line of a run's log

NOTES = ("runs.txt", "folders.txt", "stkprobe.log", "exit_witness.log")

SERVICE_MEMBERS = ("state", "start", "binaryPath", "loadOrderGroup", "dependencies", "displayName", "description")


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
        self.provisioning = "on"
        if self._machine.missing:
            raise AssertionError(f"not like the description: {self._machine.missing}")
        for path in installer.files(SAMPLE):
            self.prefix.path(path).unlink(missing_ok=True)
        for program in (STAGER, SRK_TOOL):
            self.prefix.path(program).parent.rmdir()
        services.create(self.prefix, {name: RUNS_AT_ONCE for name in CARD_SERVICES})
        # As on Windows, where the toolkit's event source is not the only one.
        self.prefix.import_registry(f"Windows Registry Editor Version 5.00\n\n[{EVENT_SOURCES}\\Contoso]\n")
        self.prefix.path(PACKAGE).parent.mkdir()

    def install(self, *options, changes=()):
        """Installs the package, with its tables changed. Returns msiexec's exit code, what the program logged, and the
        exit code of each of its runs."""
        installer.variant(SAMPLE, self.prefix.path(PACKAGE), *changes)
        return self._msiexec("/i", PACKAGE, *options)

    def upgrade(self, version, *options):
        """Installs another version of the package over it."""
        installer.build(self.prefix.path(NEWER_PACKAGE), version)
        return self._msiexec("/i", NEWER_PACKAGE, *options)

    def remove(self, *options):
        return self._msiexec("/x", PACKAGE, "/qn", *options)

    def repair(self, *options):
        return self._msiexec("/i", PACKAGE, "/qn", "REINSTALL=ALL", *options)

    def write_settings(self):
        """Writes the registry values that the package writes for the program to read."""
        lines = ["Windows Registry Editor Version 5.00"]
        for name, value in installer.registry_values(SAMPLE, "Settings").items():
            key, _, value_name = name[:-1].partition(" [")
            lines += [f"\n[{key.replace('HKLM', 'HKEY_LOCAL_MACHINE')}]", f'"{value_name}"={registry_text(value)}']
        self.prefix.import_registry("\n".join(lines) + "\n")

    def look(self):
        """All that is there and of concern, by names in lower case."""
        found = {**machine_state.registry_values(self.prefix), **self._files()}
        for name in SERVICES:
            shown = services.show(self.prefix, name)
            found.update({f"service {name} [{member}]": shown[member] for member in SERVICE_MEMBERS if shown})
        products = self.prefix.export_registry(PRODUCTS)
        found["installed products"] = re.findall('^"DisplayName"="(.*)"', products, re.MULTILINE)
        standins = self.prefix.export_registry(KEY).replace("\\\n", "")
        found["key storage providers"] = re.findall('^"Providers"=(.*)', standins, re.MULTILINE)
        found["smart-card readers"] = re.findall('^"readers"=(.*)', standins, re.MULTILINE)
        tasks = calls_of(self.prefix, "CertJobPlanner.dll")
        found["auto-enrollment tasks"] = (tasks.get("InstallAutoEnrollmentTasks", 0) -
                                          tasks.get("RemoveAutoEnrollmentTasks", 0))
        found["automatic provisioning"] = self._provisioning()
        _, access = self.prefix.wine(services.MACHINE_TOOL, "security", BLOCKED_COMMANDS.removeprefix("HKLM\\"))
        found[f"access list of {BLOCKED_COMMANDS}"] = access
        return {name.lower(): value for name, value in found.items() if not NOT_OF_CONCERN.match(name.lower())}

    def _files(self):
        """All files but the notes of stand-ins, and the folders but those that only notes keep there."""
        found = machine_state.files(self.prefix)
        notes = [path for path in found if path.endswith(NOTES)]
        for note in notes:
            del found[note]
        for folder in {note.rpartition("\\")[0] for note in notes}:
            if not any(path.startswith(folder + "\\") for path in found):
                del found[folder]
        return found

    def _provisioning(self):
        for call in noted_calls(self.prefix):
            if call["call"] == "IWbemServices::ExecMethod":
                self.provisioning = "off" if call["in"]["strMethodName"] == "DisableAutoProvisioning" else "on"
        return self.provisioning

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
        """The files that hold a text, in either of Windows' forms, but those of Wine's that all prefixes share."""
        drive = self.prefix.path("C:\\")
        own = [path for path in drive.rglob("*") if path.is_file() and path.stat().st_nlink == 1]
        return {"C:\\" + str(path.relative_to(drive)).replace("/", "\\") for path in own
                if any(text.encode(form) in path.read_bytes() for form in ("utf-8", "utf-16-le"))}

    def verbose_log(self):
        """The installer's own log of its last run, as Windows would have written it."""
        log = self.prefix.path(VERBOSE_LOG).read_bytes()
        return installer.without_hidden(SAMPLE, log.decode("utf-16" if log.startswith(b"\xff\xfe") else "cp1252"))


def effects(before, after):
    """What two looks at a machine differ in, and what there is then: kinds of change and names."""
    return leaves({(kind, item): value for kind, item, value in machine_state.changes(before, after)})


def leaves(found):
    """Effects without the folders and keys that were added for what was added in them."""
    added = [item for kind, item in found if kind == "added"]
    holders = {("added", holder) for holder in added
               if any(item.startswith((holder + "\\", holder + " [")) for item in added)}
    return {effect: value for effect, value in found.items() if effect not in holders}


def registry_text(value):
    """A registry value as a .reg file has it."""
    if isinstance(value, int):
        return f"dword:{value:08x}"
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'
