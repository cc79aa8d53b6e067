"""The life of the toolkit's service, with a real service program and Wine's service manager."""

from product import INFINEON_STACK, KELO_STACK, NTRU_STACK, REGISTER, SERVICE, SERVICE_TITLE, UNREGISTER
from reading import services
from reading.notes import runs_of
from runs.prediction import PredictedRuns
from setup.services import SERVICE_PROGRAM, change

FOLDER = r"C:\Toolkit"
PROGRAM = rf"{FOLDER}\{SERVICE}.exe"
STACKS = {"IFX": [INFINEON_STACK], "NTRU": [NTRU_STACK], "KELO": [KELO_STACK], "Other": []}

BEGIN = "InstallTkService - Make sure that the Service isn't running first!"
NOT_THERE = "InstallTkService - failed to open the KlPCR Service. 1060 (this is expected)"
REGISTERING = "KlTKService - now properly install/register the service"
UNKNOWN_STACK = "InstallTkService - A unknown TSS name was provided, set to have no TSS dependencies"
VISTA = "This is Vista/Win7, add TBS Service to dependencies...."
WIN8 = "This is Win8, no TBS Service...."
REGISTERED = "KlTKService - service installed/registered"
STOPPED = "InstallTkService - Stopped the KlPCR Service"


class ToolkitService(PredictedRuns):
    def machine(self, **description):
        """A machine with the service program, and with the services of the stacks."""
        stacks = {name: {"state": "stopped"} for names in STACKS.values() for name in names}
        machine = self.enter({"services": stacks, **description})
        machine.place(SERVICE_PROGRAM, PROGRAM)
        return machine

    def installed(self):
        """The same with the toolkit's service running."""
        machine = self.machine()
        machine.call("InstallTkService", "KELO", FOLDER)
        services.wait_for(machine.prefix, {SERVICE: "running"})
        return machine

    def runs(self, machine):
        """The switches that the service program was run with."""
        return runs_of(machine.prefix, PROGRAM)


class Installation(ToolkitService):
    def test_first_installation(self):
        machine = self.machine()
        self.assertEqual(machine.call("InstallTkService", "KELO", FOLDER),
                         ("0", [BEGIN, NOT_THERE, REGISTERING, WIN8, REGISTERED]))
        self.assertEqual(self.runs(machine), [REGISTER])
        services.wait_for(machine.prefix, {SERVICE: "running"})
        self.assertEqual(machine.service(SERVICE), {
            "state": "running", "controlsAccepted": 1, "type": 0x10, "start": "auto", "errorControl": 1,
            "binaryPath": f'"{PROGRAM}"', "loadOrderGroup": "SmartcardGroup", "dependencies": [KELO_STACK, "RPCSS"],
            "account": "LocalSystem", "displayName": SERVICE_TITLE, "description": "Kelo Toolkit Service"})

    def test_running_service_is_stopped_and_started_again(self):
        machine = self.installed()
        self.assertEqual(machine.call("InstallTkService", "NTRU", FOLDER), ("0", [BEGIN, STOPPED, REGISTERING, WIN8,
                                                                                 REGISTERED]))
        services.wait_for(machine.prefix, {SERVICE: "running"})
        self.assertEqual(machine.service(SERVICE)["dependencies"], [NTRU_STACK, "RPCSS"])

    def test_missing_program(self):
        machine = self.machine()
        self.assertEqual(machine.call("InstallTkService", "KELO", r"C:\Nowhere"),
                         ("-1", [BEGIN, NOT_THERE, REGISTERING, WIN8,
                                 "InstallTkService - failed to open the KlPCR Service! 1060"]))


class Dependencies(ToolkitService):
    """Each vendor, with the Windows version's number in the test's name."""

    ROWS = {"on_" + version: (version, tbs, line) for version, tbs, line in (
        ("5.2", [], []), ("6.0", ["TBS"], [VISTA]), ("6.1", ["TBS"], [VISTA]), ("6.2", [], [WIN8]), ("6.3", [], [WIN8]),
        ("10.0", [], [WIN8]))}

    def row(self, version, tbs, line):
        machine = self.machine(windows={"version": version})
        for vendor, stack in STACKS.items():
            for name in (vendor, vendor.lower()):
                with self.subTest(vendor=name):
                    result, messages = machine.call("InstallTkService", name, FOLDER)
                    self.assertEqual(result, "0")
                    chosen = [message for message in messages if message in (UNKNOWN_STACK, VISTA, WIN8)]
                    self.assertEqual(chosen, ([] if stack else [UNKNOWN_STACK]) + line)
                    self.assertEqual(machine.service(SERVICE)["dependencies"], stack + tbs + ["RPCSS"])


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
        machine = self.installed()
        self.assertEqual(machine.call("UnInstallTkService"), ("0", [self.ENTER, *self.UNREGISTERED, *self.DELETED]))
        services.wait_for(machine.prefix, {SERVICE: None})
        # Required: the folder of the program is run instead of the program, and that fails.
        self.assertEqual(self.runs(machine), [REGISTER])

    def test_program_that_the_configured_path_names_is_run(self):
        machine = self.installed()
        change(machine.prefix, SERVICE, binaryPath=f'"{PROGRAM}\\"')
        self.assertEqual(machine.call("UnInstallTkService"),
                         ("0", [self.ENTER, *self.UNREGISTERED,
                                "UnInstallTkService - failed to delete the service 1072", self.DELETED[1]]))
        self.assertEqual(self.runs(machine), [REGISTER, UNREGISTER])
        services.wait_for(machine.prefix, {SERVICE: None})

    def test_whole_removal(self):
        for action in ("/Uninstall", "/Rollback"):
            with self.subTest(action=action):
                machine = self.installed()
                messages = machine.run(action).messages
                about_it = [self.ENTER, *self.UNREGISTERED, *self.DELETED]
                self.assertEqual([message for message in messages if message in about_it], about_it)
                services.wait_for(machine.prefix, {SERVICE: None})
