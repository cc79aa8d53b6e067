"""The product's names on a Windows machine: folders, files, registry keys, services, and exports of its libraries. They
are not taken from the program's sources, so that a test notices a name that was changed there by mistake."""

PROGRAM_FILES = r"C:\Program Files\Kelo Systems Corp"
TOOLKIT = PROGRAM_FILES + r"\Toolkit"
PROGRAM = TOOLKIT + r"\KeloCustomAction.exe"
DATA = r"C:\ProgramData\Kelo Systems Corp"
COMMON_DATA = DATA + r"\Common"
POLICIES = COMMON_DATA + r"\policies"
CONFIGURATION = COMMON_DATA + r"\Kelo_Config.ini"
LOG_FOLDER = DATA + r"\InstallLogs\Toolkit"
LOG = LOG_FOLDER + r"\kelo_install_log.txt"
SYSTEM = r"C:\windows\system32"

# Registry keys.
COMMON_KEY = r"HKLM\SOFTWARE\Kelo Systems Corp\Common"
CHOICES_KEY = COMMON_KEY + r"\Choices"
COMMON_KEY_WITH_PERIOD = r"HKLM\SOFTWARE\Kelo Systems Corp.\Common"
REASON_KEY = r"HKLM\SOFTWARE\Kelo Systems Corp.\Installer"
CAPI_KEY = r"HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI"
BLOCKED_COMMANDS_KEY = r"HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List"
PROVIDERS_KEY = r"HKLM\SOFTWARE\Microsoft\Cryptography\Defaults\Provider"
RUN_KEY = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run"

# Values below COMMON_KEY and below RUN_KEY.
CARD_NOTED = "KlVSC Installed"
TASKS_WANTED = "KlAutoEnrollInstalled"
INSTALLATION_PATH = "Installation Path"
LOGON_TASK = "ChangeTPMAuth"

# The export of the library image, as kelo-rehearse is told to call it.
EXPORT = ("--export", "SRK_Auth_Change")

BLOCKED_COMMANDS = (13, 16, 20, 22, 62, 125, 200)  # that a set-up unblocks

# Services, with the vendor whose stack each belongs to.
SERVICE = "KlPCR"
SERVICE_TITLE = "Kelo PCR"
KELO_STACK = "tcsd_x86"
NTRU_STACK = "tcsd_win32.exe"
INFINEON_STACK = "IFXTCS"
VENDORS = ("KELO", "NTRU12")  # whose detection libraries the toolkit has
NTRU_FOLDER = r"C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin"
CARD_SERVICES = ("SCardSvr", "CertPropSvc")

# The toolkit's other programs and libraries.
SERVICE_PROGRAM = TOOLKIT + r"\KlPCR.exe"
REGISTER, UNREGISTER = "-Service", "-UnregServer"  # its switches
SRK_TOOL = PROGRAM_FILES + r"\Common\TpmKeyFixer.exe"
PACKAGES = TOOLKIT + r"\TPM_VSCard"
STAGER = PACKAGES + r"\DriverStager.exe"
READER = "Kelo VIRTUAL_CARD_READER 0"
CARD_LIBRARIES = ("KeloVReaderBody.dll", "KeloMiniDriverBody.dll", "KeloMiniDriverBody64.dll")
CARD_SCRIPTS = ("KeloMiniDriver.inf", "KeloSmartCardDriver.inf")
MINIDRIVER_DEVICE = r"KeloMiniDriver.inf SCFILTER\CID_4B454C4F5649525455414C43415244"
READER_DEVICE = r"KeloSmartCardDriver.inf root\KeloVirtualReader"
PROBE_LIBRARY = "stkprobe.dll"
SHIM = "TSP1-kelo.dll"
TASK_LIBRARY = "CertJobPlanner.dll"

# Files that a set-up puts into the system folder.
SYSTEM_PROBE = rf"{SYSTEM}\{PROBE_LIBRARY}"
TSPI, TSPI_BACKUP = SYSTEM + r"\TSPI_x64.dll", SYSTEM + r"\Tspi.bak"
TSP1, TSP1_BACKUP = SYSTEM + r"\TSP1_x64.dll", SYSTEM + r"\Tsp1.bak"

# What usable libraries answer: a software stack and a TPM, and tasks that are not there yet.
USABLE_ANSWERS = {"DetectTSS": 0, "isEnabled": 1, "isActivated": 1, "isOwned": 1, "ValidSRKAuth": 0}
NO_TASKS = {"AreTasksInstalled": 0, "InstallAutoEnrollmentTasks": 0, "RemoveAutoEnrollmentTasks": 0}

EVENT_SOURCE = "Kelo Platform Security"
INCORRECT_TPM = "The TPM is in an incorrect state. The TPM must be reset to support use by Kelo Software"

# Lines of the log that several tests look for.
BEGINS = "============= Begin-> Kelo CSP (x64) Custom Action ==================="
REINSTALLED = "When Toolkit was last uninstalled... the VSC was present, so must reinstall..."


def probe(vendor, folder=TOOLKIT):
    """The path of a vendor's detection library."""
    return rf"{folder}\{vendor}\{PROBE_LIBRARY}"


def stager(folder=TOOLKIT):
    """The path of the device installer."""
    return rf"{folder}\TPM_VSCard\DriverStager.exe"


def text_library(language, folder=TOOLKIT):
    """The path of a language's library of texts."""
    return rf"{folder}\Internationalization_{language}.dll"
