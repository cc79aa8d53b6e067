"""The program loads the libraries that its action calls, from the system folder, and continues without a missing
one."""

import unittest

from machines.descriptions import load, merged
from machines.parts import device_installer
from paths import ROOT, WINDOWS
from product import COMMON_KEY, PROBE_LIBRARY, TASK_LIBRARY
from product import SYSTEM as SYSTEM_FOLDER
from product import TOOLKIT as TOOLKIT_FOLDER
from reading.notes import system_calls
from runs.log_lines import comparable
from runs.program import Machine
from runs.rehearsal import report_of
from setup.system_libraries import overrides
from standins.names import FOLDER, WITNESS, WMI_LIBRARY
from wine.prefix import Prefix

# In tests/support/, which paths.py lets be found.
from delayed import delayed

SYSTEM = SYSTEM_FOLDER.lower() + "\\"
TOOLKIT = TOOLKIT_FOLDER.lower() + "\\"
DESCRIBED = load(ROOT / "machines" / "windows-7-toolkit.json")
WITH_CARD = merged(device_installer(), {"registry": {COMMON_KEY: {"values": {}}}})
FULL_SETUP = ("/Setup", "/TPM_VSC=1", "/TPM_WIN8=1")

# Why Wine loads each library into the process of any run.
ALWAYS = {
    "kernel32.dll": "the program imports it: files, processes, time",
    "msvcrt.dll": "the program imports it: its C runtime, which writes the log",
    "advapi32.dll": "the program imports it: registry and services, and who owns the log's folders",
    "shell32.dll": "the program imports it: splits the command line, and tells where the log's folder is",
    "kernelbase.dll": "kernel32.dll imports it",
    "sechost.dll": "advapi32.dll imports it",
    "ucrtbase.dll": "sechost.dll imports it",
    "shlwapi.dll": "shell32.dll imports it",
    "shcore.dll": "shlwapi.dll imports it",
    "gdi32.dll": "shell32.dll imports it",
    "user32.dll": "shell32.dll imports it",
    "imm32.dll": "user32.dll loads it",
    "version.dll": "user32.dll imports it",
    "win32u.dll": "user32.dll imports it",
    "zlib1.dll": "user32.dll imports it",
}

# And those that steps need.
CNG = {"bcrypt.dll": "the key storage providers are registered or removed"}
COM = {
    "ole32.dll": "the thread enters a COM apartment",
    "combase.dll": "ole32.dll imports it",
    "rpcrt4.dll": "ole32.dll imports it",
}
PROCESSES = {"psapi.dll": "the set-up ends processes of the stack"}
CARDS = {"winscard.dll": "the virtual smart card's reader is looked for"}
WMI = {
    "oleaut32.dll": "the TPM's WMI class is called: names are COM strings",
    (FOLDER + "\\" + WMI_LIBRARY).lower(): "COM loads it, the stand-in for WMI",
}
TASKS = {TOOLKIT + TASK_LIBRARY.lower(): "the task library makes and removes the tasks"}
PROBE = {
    TOOLKIT + "kelo\\" + PROBE_LIBRARY: "the detection library of the stack",
    TOOLKIT + "kelo\\" + WITNESS: "stkprobe.dll, a stand-in, loads it",
}

# Runs, on which machine, and the libraries of those above.
RUNS = [
    (DESCRIBED, ["/Setup"], [CNG, COM, PROCESSES, TASKS, PROBE]),
    (DESCRIBED, ["/Setup", "/TPM_VSC=1"], [CNG, COM, PROCESSES, TASKS, PROBE, CARDS]),
    (DESCRIBED, ["/Commit"], []),
    (DESCRIBED, ["/Rollback"], [CNG, COM, TASKS, CARDS]),
    (DESCRIBED, ["/Uninstall"], [CNG, COM, TASKS, CARDS]),
    (DESCRIBED, ["/Unknown"], []),
    (DESCRIBED, [], []),
    (WITH_CARD, [*FULL_SETUP], [CNG, COM, PROCESSES, CARDS, WMI]),
]


def path_of(library):
    return library if "\\" in library else SYSTEM + library


def override(machine, libraries, order):
    """Tells Wine where the program's libraries may come from."""
    orders = {library.removesuffix(".dll"): order for library in libraries}
    machine.prefix.import_registry(overrides(machine.program, orders))


class LoadedLibraries(unittest.TestCase):
    def test_are_those_that_the_action_needs(self):
        for description, arguments, parts in RUNS:
            with self.subTest(arguments):
                needed = [path_of(library) for part in (ALWAYS, *parts) for library in part]
                with Machine(description) as machine:
                    loaded, _ = machine.loaded(*arguments)
                self.assertEqual(sorted(set(loaded)), sorted(needed))

    def test_are_not_looked_for_beside_the_program(self):
        # Wine's own user32.dll imports version.dll, and has every program look for it beside itself first.
        libraries = {library for library, _ in delayed("program_calls.cpp")}
        planted = sorted({*libraries, "bcrypt.dll"} - {"user32.dll", "version.dll"})
        with Machine({}) as machine:
            for library in planted:
                machine.place(WINDOWS / PROBE_LIBRARY, TOOLKIT + library)
            override(machine, planted, "native,builtin")
            for arguments in (FULL_SETUP, ["/Uninstall"]):
                loaded, _ = machine.loaded(*arguments)
                self.assertEqual([path for path in loaded if path.startswith(TOOLKIT)], [])
                self.assertIn(SYSTEM + "ole32.dll", loaded)


NOT_FOUND, NO_FUNCTION = 0x7E, 0x7F  # ERROR_MOD_NOT_FOUND, ERROR_PROC_NOT_FOUND
UNTOUCHED = 0x1267  # the last error before each call

# Functions that delayed_calls.exe calls, with their results and the last errors.
FAILED_CALLS = {
    "CoInitializeEx": (0x80070000 | NOT_FOUND, NOT_FOUND),
    "MsiCloseHandle": (NOT_FOUND, NOT_FOUND),
    "MsiProcessMessage": (0xFFFFFFFF, NOT_FOUND),
    "SysAllocString": (0, NOT_FOUND),
    "VerQueryValueW": (0, NO_FUNCTION),
}


class MissingLibrary(unittest.TestCase):
    """A call of one of its functions fails; the log tells so as of any failed call, and the run continues. Nothing runs
    under Wine without user32.dll, version.dll and ole32.dll, and an installer needs msi.dll itself: delayed_calls.exe
    shows how their functions fail, by looking for some in the wrong library."""

    def check(self, library, fault, description, *arguments):
        """A run without the library is as predicted where calls fail so. Returns its messages, and its calls of WMI."""
        predicted = report_of(description, "--fault", fault, "--", *arguments)
        with Machine(description) as machine:
            override(machine, [library], "")
            seen = machine.run(*arguments)
            wmi = [call["call"] for call in system_calls(machine.prefix) if call["call"].startswith("IWbem")]
        self.assertEqual(comparable(seen.log), comparable(predicted["log"]))
        self.assertEqual(seen.exit_code, predicted["exitCode"])
        return seen.messages, wmi

    def test_of_smart_cards(self):
        messages, _ = self.check("winscard.dll", "SCardEstablishContext=126", WITH_CARD, "/Uninstall")
        self.assertIn("CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 7e", messages)

    def test_of_processes(self):
        left_behind = {**DESCRIBED, "processes": [{"name": "PatchAgent.exe"}]}
        messages, _ = self.check("psapi.dll", "EnumProcesses=126", left_behind, "/Setup")
        self.assertIn("Cannot find this process: PatchAgent.exe", messages)

    def test_of_com_strings(self):
        _, wmi = self.check("oleaut32.dll", "SysAllocString=14", WITH_CARD, "/Setup", "/TPM_WIN8=1")
        self.assertEqual(wmi, [])

    def test_of_cryptography(self):
        messages, _ = self.check("bcrypt.dll", "LoadLibraryW=126", DESCRIBED, "/Setup")
        self.assertIn("CNG bcrypt library not found", messages)

    def test_each_way_to_fail(self):
        with Prefix() as prefix:
            status, output = prefix.wine(WINDOWS / "delayed_calls.exe")
        calls = {name: (int(result, 16), int(error, 16))
                 for name, result, error in map(str.split, output.decode().splitlines())}
        self.assertEqual((status, calls), (0, {**FAILED_CALLS, "SysFreeString": (0, UNTOUCHED)}))
