"""A set-up installs the virtual smart card with its providers and switches automatic provisioning off, a removal takes
the card and the providers back, and the next set-up restores the card: as predicted, call by call."""

import unittest

import services
from log_lines import messages, without_numbers
from program import Machine, rehearsal, rehearse
from standins import folders_of, runs_of
from system_standins import noted_calls

READER = "Kelo VIRTUAL_CARD_READER 0"
TOOLKIT = r"C:\Program Files\Kelo Systems Corp\Toolkit"
PACKAGES = TOOLKIT + r"\TPM_VSCard"
STAGER = PACKAGES + r"\DriverStager.exe"
COMMON = r"HKLM\SOFTWARE\Kelo Systems Corp\Common"
COMMON_IN_FULL = r"HKEY_LOCAL_MACHINE\SOFTWARE\Kelo Systems Corp\Common"
SYSTEM = r"C:\windows\system32"

INSTALLATION = ["dp_add_kelo KeloMiniDriver.inf",
                r"install KeloMiniDriver.inf SCFILTER\CID_4B454C4F5649525455414C43415244",
                "dp_add_kelo KeloSmartCardDriver.inf",
                r"install KeloSmartCardDriver.inf root\KeloVirtualReader"]
REMOVAL = [r"remove KeloMiniDriver.inf SCFILTER\CID_4B454C4F5649525455414C43415244",
           "-f dp_delete_kelo KeloMiniDriver.inf",
           r"remove KeloSmartCardDriver.inf root\KeloVirtualReader",
           "-f dp_delete_kelo KeloSmartCardDriver.inf"]

SERVICE_AUTO_START = 2

FULL_SETUP = ("/Setup", "/TPM_VSC=1", "/TPM_WIN8=1")


def toolkit(**members):
    """A machine with the driver packages and a device installer that adds and removes the reader."""
    return {
        "files": {f"{PACKAGES}\\{name}": {"text": name}
                  for name in ("KeloVReaderBody.dll", "KeloMiniDriverBody.dll", "KeloMiniDriverBody64.dll")},
        "programs": {STAGER: {"runs": [
            {"arguments": INSTALLATION[3], "effects": {"smartCards": {"readers": [READER]}}},
            {"arguments": REMOVAL[2], "effects": {"smartCards": {"readers": []}}},
        ]}},
        "registry": {COMMON: {"values": {}}},
        **members,
    }


def command_lines(commands):
    # The folder that the dispatcher hands over ends in a backslash, and each part adds its own.
    return [f'"{TOOLKIT}\\\\TPM_VSCard\\\\DriverStager.exe" {command}' for command in commands]


def about_the_system(calls):
    """The calls of CNG and WMI, as far as a stand-in sees them: parameters and result."""
    return [{part: call[part] for part in ("call", "in", "result")} for call in calls
            if call["call"].startswith(("BCrypt", "IWbem", "CoSetProxyBlanket"))]


class Prediction(unittest.TestCase):
    def enter(self, description):
        machine = self.enterContext(Machine(description))
        self.assertEqual(machine.missing, [])
        return machine

    def check(self, machine, description, *arguments):
        """Runs the program where a rehearsal predicts the same log and the same calls."""
        report = rehearsal(description, "--", *arguments)
        seen = machine.run(*arguments)
        self.assertEqual(list(map(without_numbers, seen.messages)),
                         list(map(without_numbers, messages(report["log"]))))
        self.assertEqual(seen.exit_code, report["exitCode"])
        self.assertEqual(noted_calls(machine.prefix), about_the_system(report["calls"]))
        return seen


class VirtualSmartCard(Prediction):
    def content(self, machine, path):
        file = machine.prefix.path(path)
        return file.read_text() if file.exists() else None

    def test_setup_removal_and_setup_again(self):
        before = toolkit()
        machine = self.enter(before)

        self.check(machine, before, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))
        self.assertEqual(set(folders_of(machine.prefix, STAGER)), {PACKAGES})
        self.assertEqual(self.content(machine, SYSTEM + r"\KeloVReaderBody.dll"), "KeloVReaderBody.dll")
        self.assertEqual(self.content(machine, SYSTEM + r"\KeloMiniDriverBody64.dll"), "KeloMiniDriverBody64.dll")
        self.assertEqual(self.content(machine, r"C:\windows\SysWOW64\KeloMiniDriverBody.dll"),
                         "KeloMiniDriverBody.dll")

        removal = machine.run("/Uninstall")
        self.assertIn("Remove SmartCard - deleted KeloVReaderBody.dll", removal.messages)
        self.assertIn("CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card", removal.messages)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION + REMOVAL))
        self.assertIsNone(self.content(machine, SYSTEM + r"\KeloVReaderBody.dll"))
        self.assertIsNone(self.content(machine, SYSTEM + r"\KeloMiniDriverBody64.dll"))
        self.assertIsNotNone(self.content(machine, r"C:\windows\SysWOW64\KeloMiniDriverBody.dll"))

        again = machine.run("/Setup")
        self.assertIn("When Toolkit was last uninstalled... the VSC was present, so must reinstall...", again.messages)
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
        self.assertIn('"KlVSC Installed"=dword:00000001', machine.prefix.export_registry(COMMON_IN_FULL))
        machine.run("/Uninstall")
        self.assertNotIn("KlVSC Installed", machine.prefix.export_registry(COMMON_IN_FULL))

    def test_removal_with_the_reader(self):
        description = toolkit(smartCards={"readers": ["Contoso Reader 0", READER.upper()]})
        machine = self.enter(description)
        self.check(machine, description, "/Uninstall")
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(REMOVAL))

    def test_removal_without_the_reader(self):
        description = toolkit(smartCards={"readers": ["Contoso Reader 0", "Kelo VIRTUAL_CARD_READER 1"]})
        machine = self.enter(description)
        self.check(machine, description, "/Rollback")
        self.assertEqual(runs_of(machine.prefix, STAGER), [])

    def test_setup_without_a_resource_manager_goes_ahead(self):
        description = toolkit(smartCards={"manager": False})
        machine = self.enter(description)
        self.check(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))

    def test_setup_with_a_device_installer_that_fails(self):
        description = toolkit(programs={STAGER: {"runs": [{"exitCode": 3}]}})
        machine = self.enter(description)
        self.check(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION))

    def test_setup_without_a_device_installer(self):
        description = toolkit(programs={})
        self.check(self.enter(description), description, *FULL_SETUP)

    def test_setup_without_the_minidrivers_libraries(self):
        description = toolkit(files={PACKAGES + r"\KeloVReaderBody.dll": {}})
        machine = self.enter(description)
        self.check(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, STAGER), command_lines(INSTALLATION[2:]))

    def test_folder_with_percent_signs_and_blanks(self):
        folder = r"C:\Program Files\100% %s Kelo"
        description = toolkit(process={"path": folder + r"\KeloCustomAction.exe"},
                              files={rf"{folder}\TPM_VSCard\{name}": {}
                                     for name in ("KeloVReaderBody.dll", "KeloMiniDriverBody.dll",
                                                  "KeloMiniDriverBody64.dll")},
                              programs={rf"{folder}\TPM_VSCard\DriverStager.exe": {"runs": []}})
        machine = self.enter(description)
        self.check(machine, description, *FULL_SETUP)
        self.assertEqual(runs_of(machine.prefix, rf"{folder}\TPM_VSCard\DriverStager.exe"),
                         [f'"{folder}\\\\TPM_VSCard\\\\DriverStager.exe" {command}' for command in INSTALLATION])

    def test_setup_has_the_services_start_automatically(self):
        machine = self.enter(toolkit())
        for name in ("SCardSvr", "CertPropSvc"):
            if not services.show(machine.prefix, name):
                services.create(machine.prefix, {name: {}})
        machine.run(*FULL_SETUP)
        for name in ("SCardSvr", "CertPropSvc"):
            self.assertEqual(services.show(machine.prefix, name)["start"], SERVICE_AUTO_START, name)


class Gates(Prediction):
    """Each step at the Windows version that it begins with, and at the one before."""

    def on(self, version, *arguments):
        description = toolkit(windows={"version": version})
        machine = self.enter(description)
        return self.check(machine, description, *arguments), machine

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


class Provisioning(Prediction):
    def test_enterprise_switches_it_off(self):
        self.check(self.enter({}), {}, "/Setup", "/ProductType=Enterprise N")

    def test_system_without_the_namespace(self):
        description = {"wmi": {"namespaces": {r"root\CIMV2\Security\MicrosoftTpm": None}}}
        machine = self.enter(description)
        predicted = rehearse(description, "/Setup", "/TPM_WIN8=1")
        self.assertEqual(machine.run("/Setup", "/TPM_WIN8=1").messages, predicted.messages)
