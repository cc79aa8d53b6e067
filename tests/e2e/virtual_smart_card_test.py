"""A set-up installs the virtual smart card with its providers and switches automatic provisioning off. A removal takes
the card and the providers back, and the next set-up restores the card: as predicted, call by call."""

from machines.parts import device_installer
from product import (CARD_LIBRARIES, CARD_NOTED, CARD_SERVICES, COMMON_KEY, MINIDRIVER_DEVICE, PACKAGES, READER,
                     READER_DEVICE, REINSTALLED, STAGER, SYSTEM, TOOLKIT, stager)
from reading import registry
from reading.notes import folders_of, runs_of, system_calls
from runs.prediction import PredictedRuns
from runs.rehearsal import report_of
from setup.services import create
from standins.names import TPM_NAMESPACE

INSTALLATION = ["dp_add_kelo KeloMiniDriver.inf", f"install {MINIDRIVER_DEVICE}",
                "dp_add_kelo KeloSmartCardDriver.inf", f"install {READER_DEVICE}"]
REMOVAL = [f"remove {MINIDRIVER_DEVICE}", "-f dp_delete_kelo KeloMiniDriver.inf",
           f"remove {READER_DEVICE}", "-f dp_delete_kelo KeloSmartCardDriver.inf"]

INSTALLED_LIBRARIES = (SYSTEM + r"\KeloVReaderBody.dll", SYSTEM + r"\KeloMiniDriverBody64.dll",
                       r"C:\windows\SysWOW64\KeloMiniDriverBody.dll")

FULL_SETUP = ("/Setup", "/TPM_VSC=1", "/TPM_WIN8=1")


def toolkit(**members):
    """A machine with the driver packages and a device installer that adds and removes the reader."""
    return {**device_installer(), "registry": {COMMON_KEY: {"values": {}}}, **members}


def command_lines(commands, folder=TOOLKIT):
    # Required: backslashes are doubled; the folder ends in one, and each part is added with another.
    program = folder + stager(folder).removeprefix(folder).replace("\\", r"\\")
    return [f'"{program}" {command}' for command in commands]


def about_the_system(calls):
    """The parameters and results of calls of CNG and WMI, which stand-ins note."""
    return [{part: call[part] for part in ("call", "in", "result")} for call in calls
            if call["call"].startswith(("BCrypt", "IWbem", "CoSetProxyBlanket"))]


class PredictedCalls(PredictedRuns):
    def check_calls(self, machine, description, *arguments):
        """Runs the program with the log and the calls that a rehearsal predicts."""
        seen = self.check_on(machine, description, *arguments)
        predicted = report_of(description, "--", *arguments)
        self.assertEqual(system_calls(machine.prefix), about_the_system(predicted["calls"]))
        return seen


class VirtualSmartCard(PredictedCalls):
    def test_setup_removal_and_setup_again(self):
        before = toolkit()
        machine = self.enter(before)

        self.check_calls(machine, before, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))
        self.assertEqual(set(folders_of(machine.prefix, STAGER)), {PACKAGES})
        for path in INSTALLED_LIBRARIES:
            self.assertEqual(machine.content(path), machine.content(PACKAGES + "\\" + path.rpartition("\\")[2]), path)

        removal = machine.run("/Uninstall")
        self.assertIn("Remove SmartCard - deleted KeloVReaderBody.dll", removal.messages)
        self.assertIn("CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card", removal.messages)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION + REMOVAL))
        # The 32-bit minidriver stays.
        self.assertEqual([machine.content(path) is None for path in INSTALLED_LIBRARIES], [True, True, False])

        again = machine.run("/Setup")
        self.assertIn(REINSTALLED, again.messages)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION + REMOVAL + INSTALLATION))

    def test_second_setup_leaves_everything_as_it_is(self):
        machine = self.enter(toolkit())
        machine.run(*FULL_SETUP)
        seen = machine.run(*FULL_SETUP)
        for line in ("Already registered KSP Kelo TCG Enabled KSP",
                     "Already registered Kelo TCG-Enabled Strong Authentication KSP",
                     "CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed"):
            self.assertIn(line, seen.messages)
        self.assertEqual(seen.messages.count("Install MiniDriver - Kelo VSC already installed... skipping...."), 2)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))

    def test_second_removal_forgets_the_card(self):
        machine = self.enter(toolkit(smartCards={"readers": [READER]}))
        machine.run("/Uninstall")
        self.assertEqual(registry.values(machine.prefix, COMMON_KEY), {CARD_NOTED: 1})
        machine.run("/Uninstall")
        self.assertEqual(registry.values(machine.prefix, COMMON_KEY), {})

    def test_removal_with_the_reader(self):
        description = toolkit(smartCards={"readers": ["Contoso Reader 0", READER.upper()]})
        machine = self.enter(description)
        self.check_calls(machine, description, "/Uninstall")
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(REMOVAL))

    def test_removal_without_the_reader(self):
        description = toolkit(smartCards={"readers": ["Contoso Reader 0", "Kelo VIRTUAL_CARD_READER 1"]})
        machine = self.enter(description)
        self.check_calls(machine, description, "/Rollback")
        self.assertEqual(runs_of(machine.prefix, STAGER), [])

    def test_setup_without_a_resource_manager_goes_ahead(self):
        description = toolkit(smartCards={"manager": False})
        machine = self.enter(description)
        self.check_calls(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))

    def test_setup_with_a_device_installer_that_fails(self):
        description = toolkit(programs={STAGER: {"runs": [{"exitCode": 3}]}})
        machine = self.enter(description)
        self.check_calls(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))

    def test_setup_without_a_device_installer(self):
        description = toolkit(programs={})
        self.check_calls(self.enter(description), description, *FULL_SETUP)

    def test_setup_without_the_minidrivers_libraries(self):
        description = toolkit(files={PACKAGES + r"\KeloVReaderBody.dll": {}})
        machine = self.enter(description)
        self.check_calls(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION[2:]))

    def test_folder_with_percent_signs_and_blanks(self):
        folder = r"C:\Program Files\100% %s Kelo"
        packages, program = folder + r"\TPM_VSCard", stager(folder)
        description = toolkit(process={"path": folder + r"\KeloCustomAction.exe"},
                              files={rf"{packages}\{name}": {} for name in CARD_LIBRARIES},
                              programs={program: {"runs": []}})
        machine = self.enter(description)
        self.check_calls(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, program), command_lines(INSTALLATION, folder))

    def test_setup_has_the_services_start_automatically(self):
        machine = self.enter(toolkit())
        for name in CARD_SERVICES:
            if not machine.service(name):
                create(machine.prefix, {name: {}})
        machine.run(*FULL_SETUP)
        for name in CARD_SERVICES:
            self.assertEqual(machine.service(name)["start"], "auto", name)


class Gates(PredictedCalls):
    """Each step on the first Windows version that has it, and on the version before."""

    def on(self, version, *arguments):
        description = toolkit(windows={"version": version})
        machine = self.enter(description)
        return self.check_calls(machine, description, *arguments), machine

    def test_5_2_has_neither_providers_nor_card(self):
        seen, machine = self.on("5.2", *FULL_SETUP)
        self.assertIn("Kelo KSPs will not be installed, target system is not Vista+", seen.messages)
        self.assertIn("Install MiniDriver - XP... skipping....", seen.messages)
        self.assertIn("Install SmartCard - not a valid system/configuration... skipping....", seen.messages)
        self.assertEqual(runs_of(machine.prefix, STAGER), [])

    def test_6_0_has_providers_and_card(self):
        seen, machine = self.on("6.0", *FULL_SETUP)
        self.assertIn("Successfully registered Kelo TCG Enabled KSP", seen.messages)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))

    def test_removal_on_5_2(self):
        self.on("5.2", "/Uninstall")

    def test_removal_on_6_0(self):
        self.on("6.0", "/Uninstall")

    def test_6_1_does_not_switch_provisioning(self):
        seen, _ = self.on("6.1", "/Setup", "/TPM_WIN8=1")
        self.assertIn("Target system is not Win8+", seen.messages)

    def test_6_2_switches_provisioning_off(self):
        seen, _ = self.on("6.2", "/Setup", "/TPM_WIN8=1")
        self.assertNotIn("Target system is not Win8+", seen.messages)

    def test_6_2_without_the_flag(self):
        self.on("6.2", "/Setup")


class Provisioning(PredictedCalls):
    def test_enterprise_switches_it_off(self):
        self.check_calls(self.enter({}), {}, "/Setup", "/ProductType=Enterprise N")

    def test_system_without_the_namespace(self):
        description = {"wmi": {"namespaces": {TPM_NAMESPACE: None}}}
        self.check(description, "/Setup", "/TPM_WIN8=1")
