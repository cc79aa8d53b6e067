"""The life of the toolkit's service, with a real service program and Wine's service manager."""

import unittest

import services
from program import Machine
from services import SERVICE_PROGRAM, STATES

FOLDER = r"C:\Toolkit"
PROGRAM = FOLDER + r"\KlPCR.exe"
STACKS = {"IFX": ["IFXTCS"], "NTRU": ["tcsd_win32.exe"], "KELO": ["tcsd_x86"], "Other": []}

BEGIN = "InstallTkService - Make sure that the Service isn't running first!"
NOT_THERE = "InstallTkService - failed to open the KlPCR Service. 1060 (this is expected)"
REGISTER = "KlTKService - now properly install/register the service"
UNKNOWN_STACK = "InstallTkService - A unknown TSS name was provided, set to have no TSS dependencies"
VISTA = "This is Vista/Win7, add TBS Service to dependencies...."
WIN8 = "This is Win8, no TBS Service...."
REGISTERED = "KlTKService - service installed/registered"
STOPPED = "InstallTkService - Stopped the KlPCR Service"


class ToolkitService(unittest.TestCase):
    def machine(self, **description):
        """A machine with the service program, and with the services of the stacks."""
        stacks = {name: {"state": "stopped"} for names in STACKS.values() for name in names}
        machine = self.enterContext(Machine({"services": stacks, **description}))
        self.assertEqual(machine.missing, [])
        machine.place(SERVICE_PROGRAM, PROGRAM)
        return machine

    def show(self, machine):
        return services.show(machine.prefix, "KlPCR")

    def runs(self, machine):
        """The switches that the service program was run with."""
        noted = machine.prefix.path(FOLDER + r"\runs.txt")
        return noted.read_text().split() if noted.exists() else []


class Installation(ToolkitService):
    def test_first_installation(self):
        machine = self.machine()
        self.assertEqual(machine.call("InstallTkService", "KELO", FOLDER),
                         ("0", [BEGIN, NOT_THERE, REGISTER, WIN8, REGISTERED]))
        self.assertEqual(self.runs(machine), ["-Service"])
        shown = services.wait_for(machine.prefix, {"KlPCR": STATES["running"]})
        self.assertEqual(shown["KlPCR"], {
            "state": STATES["running"], "controlsAccepted": 1, "type": 0x10, "start": 2, "errorControl": 1,
            "binaryPath": f'"{PROGRAM}"', "loadOrderGroup": "SmartcardGroup", "dependencies": ["tcsd_x86", "RPCSS"],
            "account": "LocalSystem", "displayName": "Kelo PCR", "description": "Kelo Toolkit Service"})

    def test_running_service_is_stopped_and_started_again(self):
        machine = self.machine()
        machine.call("InstallTkService", "KELO", FOLDER)
        services.wait_for(machine.prefix, {"KlPCR": STATES["running"]})
        self.assertEqual(machine.call("InstallTkService", "NTRU", FOLDER), ("0", [BEGIN, STOPPED, REGISTER, WIN8,
                                                                                 REGISTERED]))
        shown = services.wait_for(machine.prefix, {"KlPCR": STATES["running"]})
        self.assertEqual(shown["KlPCR"]["dependencies"], ["tcsd_win32.exe", "RPCSS"])

    def test_missing_program(self):
        machine = self.machine()
        self.assertEqual(machine.call("InstallTkService", "KELO", r"C:\Nowhere"),
                         ("-1", [BEGIN, NOT_THERE, REGISTER, WIN8,
                                 "InstallTkService - failed to open the KlPCR Service! 1060"]))


class Dependencies(ToolkitService):
    """Each vendor, with the Windows version's number in the test's name."""

    def check(self, version, tbs, line):
        machine = self.machine(windows={"version": version})
        for vendor, stack in STACKS.items():
            for name in (vendor, vendor.lower()):
                with self.subTest(vendor=name):
                    result, messages = machine.call("InstallTkService", name, FOLDER)
                    self.assertEqual(result, "0")
                    chosen = [message for message in messages if message in (UNKNOWN_STACK, VISTA, WIN8)]
                    self.assertEqual(chosen, ([] if stack else [UNKNOWN_STACK]) + line)
                    self.assertEqual(self.show(machine)["dependencies"], stack + tbs + ["RPCSS"])


for _version, _tbs, _line in (("5.2", [], []), ("6.0", ["TBS"], [VISTA]), ("6.1", ["TBS"], [VISTA]),
                              ("6.2", [], [WIN8]), ("6.3", [], [WIN8]), ("10.0", [], [WIN8])):
    setattr(Dependencies, "test_on_" + _version.replace(".", "_"),
            lambda self, version=_version, tbs=_tbs, line=_line: self.check(version, tbs, line))


class Removal(ToolkitService):
    ENTER = "UnInstallTkService - Enter"
    UNREGISTERED = ["UnInstallTkService - unregister the service",
                    "UnInstallTkService - Unregisted the COM portion of the service"]
    DELETED = ["UnInstallTkService - Deleted KlPCR Service from SCM", "UnInstallTkService - completed"]

    def test_absent(self):
        machine = self.machine()
        self.assertEqual(machine.call("UnInstallTkService"),
                         ("-1", [self.ENTER, "UnInstallTkService - failed to open the KlPCR Service! 1060"]))

    def test_running(self):
        machine = self.machine()
        machine.call("InstallTkService", "KELO", FOLDER)
        services.wait_for(machine.prefix, {"KlPCR": STATES["running"]})
        self.assertEqual(machine.call("UnInstallTkService"), ("0", [self.ENTER, *self.UNREGISTERED, *self.DELETED]))
        services.wait_for(machine.prefix, {"KlPCR": services.GONE})
        # What stands for the program is its folder, which cannot be run.
        self.assertEqual(self.runs(machine), ["-Service"])

    def test_program_that_the_configured_path_names_is_run(self):
        machine = self.machine()
        machine.call("InstallTkService", "KELO", FOLDER)
        services.wait_for(machine.prefix, {"KlPCR": STATES["running"]})
        services.configure_path(machine.prefix, "KlPCR", f'"{PROGRAM}\\"')
        self.assertEqual(machine.call("UnInstallTkService"),
                         ("0", [self.ENTER, *self.UNREGISTERED,
                                "UnInstallTkService - failed to delete the service 1072", self.DELETED[1]]))
        self.assertEqual(self.runs(machine), ["-Service", "-UnregServer"])
        services.wait_for(machine.prefix, {"KlPCR": services.GONE})

    def test_whole_removal(self):
        for action in ("/Uninstall", "/Rollback"):
            with self.subTest(action=action):
                machine = self.machine()
                machine.call("InstallTkService", "KELO", FOLDER)
                services.wait_for(machine.prefix, {"KlPCR": STATES["running"]})
                messages = machine.run(action).messages
                about_it = [self.ENTER, *self.UNREGISTERED, *self.DELETED]
                self.assertEqual([message for message in messages if message in about_it], about_it)
                services.wait_for(machine.prefix, {"KlPCR": services.GONE})
