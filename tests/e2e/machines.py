"""The machines that the program runs on twice, simulated and under Wine: those in machines/, and a set with something
of each kind that the program asks Windows for."""

import dataclasses

from provision import load
from wine import ROOT

TOOLKIT = r"C:\Program Files\Kelo Systems Corp\Toolkit"
SYSTEM = r"C:\Windows\system32"
COMMON = r"HKLM\SOFTWARE\Kelo Systems Corp\Common"
COMMON_WITH_PERIOD = r"HKLM\SOFTWARE\Kelo Systems Corp.\Common"
BLOCKED_COMMANDS = r"HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List"
PROVIDERS = r"HKLM\SOFTWARE\Microsoft\Cryptography\Defaults\Provider"
READER = "Kelo VIRTUAL_CARD_READER 0"
READ_ONLY = 1
READ_AND_TAKE_OWNERSHIP = 0xA0019
FROM_ABOVE = [{"trustee": "S-1-5-18", "mask": 0xF003F, "inheritance": 2},
              {"trustee": "S-1-5-32-544", "mask": 0xF003F, "inheritance": 2}]

# Rolled back first, then to the end, with a repair in it, and a removal of what is not there any more.
ALL_ACTIONS = ("/Setup", "/Rollback", "/Setup", "/Setup", "/Commit", "/Uninstall", "/Uninstall")
COMMITTED_BEFORE = ("/Commit", *ALL_ACTIONS)
REMOVED_BEFORE = ("/Uninstall", *ALL_ACTIONS)  # where the toolkit may be installed


@dataclasses.dataclass
class Case:
    description: dict
    options: tuple = ()  # of each set-up
    actions: tuple = ALL_ACTIONS
    left_out: str = ""  # what a prefix need not be like, a pattern; the reasons are in wine_limits.py


def merged(*patches):
    """One description from several, of which the later ones count more; null stays and takes away."""
    whole = {}
    for patch in patches:
        for name, value in patch.items():
            base = whole.get(name)
            whole[name] = merged(base, value) if isinstance(base, dict) and isinstance(value, dict) else value
    return whole


# --- Parts of machines ------------------------------------------------------------------------------------------------

# Services that start and stop so fast that a test is soon over.
FAST = {"onStart": {"states": [{"state": "startPending"}, {"afterMs": 20, "state": "running"}]},
        "onStop": {"states": [{"state": "stopPending"}, {"afterMs": 20, "state": "stopped"}]}}

# What a plain machine has of services.
PLAIN = {"services": {"TBS": FAST, "SCardSvr": {}, "CertPropSvc": {}}}

WINDOWS_XP = {"windows": {"version": "5.2"}, "services": {"TBS": None}}  # the 64-bit one
VISTA, WINDOWS_7, WINDOWS_8, WINDOWS_8_1, WINDOWS_10 = (
    {"windows": {"version": version}} for version in ("6.0", "6.1", "6.2", "6.3", "10.0"))

GERMAN, JAPANESE, BRAZILIAN, NORWEGIAN, POLISH, TAIWANESE = (
    {"windows": {"uiLanguage": language, "userLanguage": language, "codePage": code_page}}
    for language, code_page in ((1031, 1252), (1041, 932), (1046, 1252), (1044, 1252), (1045, 1250), (1028, 950)))

MESSAGES = {"libraries": {rf"{TOOLKIT}\Internationalization_{name}.dll": {}
                          for name in ("en", "de", "ja", "pt-BR", "no", "zh-CHT")}}


def probe(stack, folder=TOOLKIT, **answers):
    """A detection library that finds its stack usable but where it answers otherwise; None is a missing function."""
    exports = {"DetectTSS": 0, "isEnabled": 1, "isActivated": 1, "isOwned": 1, "ValidSRKAuth": 0, **answers}
    return {"libraries": {rf"{folder}\{stack}\stkprobe.dll": {
        "exports": {name: answer for name, answer in exports.items() if answer is not None}}}}


def tasks(folder=TOOLKIT, wanted=1, **answers):
    """The task library, and the values that lead to it."""
    exports = {"AreTasksInstalled": 0, "InstallAutoEnrollmentTasks": 0, "RemoveAutoEnrollmentTasks": 0, **answers}
    return {"libraries": {rf"{folder}\CertJobPlanner.dll": {"exports": exports}},
            "registry": {COMMON: {"values": {"Installation Path": folder, "KlAutoEnrollInstalled": wanted}}}}


def service(name, folder, **members):
    program = rf"{folder}\{name.removesuffix('.exe')}.exe"
    return {"services": {name: {"binaryPath": f'"{program}"', **members}}, "programs": {program: {}},
            "files": {program: {}}}


def kelo_stack(**members):
    return service("tcsd_x86", r"C:\Program Files\Kelo Systems Corp\TSS",
                   **{"displayName": "Kelo TSS Core Service", "start": "auto", "state": "running", **FAST, **members})


def ntru_stack(**members):
    return service("tcsd_win32.exe", r"C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin",
                   **{"displayName": "NTRU TSS", "start": "auto", "state": "running", **FAST, **members})


# It runs for a moment. A second set-up would find it running otherwise, and the services that it depends on could not
# be stopped; Wine's service manager stops them all the same. The moment is so long that on a busy machine, too, Wine's
# service manager sees that it runs: a service that it finds stopped has not started (1053).
FOR_A_MOMENT = {"onStart": {"states": [{"state": "startPending"}, {"afterMs": 20, "state": "running"},
                                       {"afterMs": 600, "state": "stopped"}]}}


def toolkit_service(folder=TOOLKIT):
    """The toolkit's service program, which registers and unregisters its service."""
    path = rf"{folder}\KlPCR.exe"
    registered = {"displayName": "Kelo PCR", "start": "demand", "binaryPath": f'"{path}"', **FOR_A_MOMENT}
    return {"programs": {path: {"runs": [{"arguments": "-Service", "effects": {"services": {"KlPCR": registered}}},
                                         {"arguments": "-UnregServer", "effects": {"services": {"KlPCR": None}}}]}}}


def device_installer(folder=TOOLKIT, exit_code=0):
    """The driver packages with a device installer that adds and removes the reader."""
    packages = rf"{folder}\TPM_VSCard"
    return {
        "files": {rf"{packages}\{name}": {"text": f"the first {name}"}
                  for name in ("KeloVReaderBody.dll", "KeloMiniDriverBody.dll", "KeloMiniDriverBody64.dll",
                               "KeloMiniDriver.inf", "KeloSmartCardDriver.inf")},
        "programs": {rf"{packages}\DriverStager.exe": {"runs": [
            {"arguments": r"install KeloSmartCardDriver.inf root\KeloVirtualReader", "exitCode": exit_code,
             "effects": {"smartCards": {"readers": [READER]}}},
            {"arguments": r"remove KeloSmartCardDriver.inf root\KeloVirtualReader", "exitCode": exit_code,
             "effects": {"smartCards": {"readers": []}}},
            {"exitCode": exit_code}]}}}


def shims(folder=TOOLKIT):
    """The shim library that the toolkit brings."""
    return {"files": {rf"{folder}\NTRU12\TSP1-kelo.dll": {"text": "the toolkit's shim"}}}


def blocked(*commands):
    return {"registry": {BLOCKED_COMMANDS: {"values": {str(command): "" for command in commands}}}}


ALL_BLOCKED = blocked(13, 16, 20, 22, 62, 125, 200)

# The toolkit as its package leaves it, where neither stack is found usable.
INSTALLED = merged(PLAIN, MESSAGES, tasks(), toolkit_service(), device_installer(), shims(), ALL_BLOCKED,
                   probe("KELO", DetectTSS=2), probe("NTRU12", DetectTSS=2),
                   {"registry": {COMMON_WITH_PERIOD: {"values": {"Installation Path": TOOLKIT}}}})
USABLE = merged(INSTALLED, probe("KELO"), kelo_stack())

# --- The set ----------------------------------------------------------------------------------------------------------

CASES = {
    "a plain machine without the toolkit": Case(PLAIN),
    "a plain machine that is told to set a stack up": Case(PLAIN, ("/TSS_VENDOR=KELO",)),

    # Each Windows, with the toolkit's own stack and with all options.
    "XP": Case(merged(USABLE, WINDOWS_XP), ("/TPM_VSC=1", "/TPM_WIN8=1")),
    "Vista": Case(merged(USABLE, VISTA), ("/TPM_VSC=1", "/TPM_WIN8=1")),
    "Windows 7": Case(merged(USABLE, WINDOWS_7), ("/TSS_VENDOR=KELO", "/TPM_VSC=1")),
    "Windows 8": Case(merged(USABLE, WINDOWS_8), ("/TPM_VSC=1", "/TPM_WIN8=1")),
    "Windows 8.1": Case(merged(USABLE, WINDOWS_8_1), ("/ProductType=Enterprise N",)),
    "Windows 10": Case(merged(USABLE, WINDOWS_10), ("/TPM_VSC=", "/ProductType=Home")),

    # Stacks and vendors.
    "XP where no stack is usable": Case(merged(INSTALLED, WINDOWS_XP), ("/TSS_VENDOR=NTRU12",)),
    "the other stack is usable": Case(merged(INSTALLED, WINDOWS_7, probe("NTRU12"), ntru_stack())),
    "the other stack alone, another wanted": Case(merged(INSTALLED, ntru_stack()), ("/TSS_VENDOR=KELO",)),
    "both stacks, neither usable": Case(merged(INSTALLED, VISTA, kelo_stack(), ntru_stack()), ("/TSS_VENDOR=kelo",)),
    "no stack, the toolkit's own wanted": Case(INSTALLED, ("/TSS_VENDOR=KELO",)),
    "no stack, the other wanted": Case(merged(INSTALLED, WINDOWS_7), ("/TSS_VENDOR=NTRU12",)),
    "no stack, a third wanted": Case(INSTALLED, ("/TSS_VENDOR=IFX",)),
    "a stack that stopped, none wanted": Case(merged(INSTALLED, ntru_stack(state="stopped"))),
    "a stack that stopped, and is usable": Case(merged(INSTALLED, probe("NTRU12"), ntru_stack(state="stopped"))),

    # Detection libraries.
    "TPM that is off": Case(merged(USABLE, probe("KELO", isEnabled=0)), ("/TSS_VENDOR=other",)),
    "TPM that is not activated": Case(merged(USABLE, probe("KELO", isActivated=0), probe("NTRU12", isActivated=2))),
    "TPM without an owner": Case(merged(USABLE, WINDOWS_8, probe("KELO", isOwned=0))),
    "TPM whose SRK is in the wrong format": Case(merged(USABLE, probe("KELO", ValidSRKAuth=1))),
    "a detection library without functions": Case(
        merged(USABLE, GERMAN, probe("KELO", isEnabled=None), probe("NTRU12", DetectTSS=None))),
    "a detection library that faults": Case(
        merged(USABLE, probe("KELO", isEnabled={"throws": "access violation"}),
               probe("NTRU12", DetectTSS={"throws": "division by zero"}), ntru_stack()), ("/TSS_VENDOR=NTRU12",)),
    "no detection libraries": Case(merged(PLAIN, MESSAGES, JAPANESE, toolkit_service(), shims())),

    # Services.
    "a slow stack": Case(merged(USABLE, WINDOWS_7, kelo_stack(
        onStart={"states": [{"state": "startPending", "checkPoint": 1}, {"afterMs": 900, "state": "running"}]},
        onStop={"states": [{"state": "stopPending", "waitHint": 2000}, {"afterMs": 1200, "state": "stopped"}]}))),
    "a stack that refuses to stop": Case(merged(USABLE, VISTA, kelo_stack(controlsAccepted=0))),
    # The toolkit's service depends on the other one: see wine_limits.py.
    "a stack that does not start again": Case(
        merged(INSTALLED, kelo_stack(), ntru_stack(onStart={"states": [{"state": "startPending"}, {
            "afterMs": 600, "state": "stopped", "exitCode": 1066, "serviceExitCode": 42}]})), ("/TSS_VENDOR=KELO",)),
    "TPM Base Services that stopped": Case(merged(USABLE, WINDOWS_7, {"services": {"TBS": {"state": "stopped"}}})),
    "TPM Base Services that refuse to stop": Case(
        merged(USABLE, WINDOWS_7, ntru_stack(), {"services": {"TBS": {"controlsAccepted": 0}}})),
    "a third stack beside the TPM Base Services": Case(
        merged(USABLE, WINDOWS_7, service("IFXTCS", r"C:\IFX", state="running", start="auto"), ntru_stack())),
    "no services but the toolkit's": Case(
        merged(USABLE, {"services": {name: None for name in ("TBS", "SCardSvr", "CertPropSvc", "tcsd_x86")}}),
        ("/TPM_VSC=1",)),
    "the toolkit's service from an earlier installation": Case(
        merged(USABLE, WINDOWS_7, {"services": {"KlPCR": {
            **FOR_A_MOMENT, "binaryPath": rf'"{TOOLKIT}\KlPCR.exe"',
            "displayName": "Kelo PCR", "state": "running", "start": "auto",
            "loadOrderGroup": "Group", "dependencies": ["RPCSS"], "description": "an earlier one",
            "errorControl": 0}}})),
    "the toolkit's service program is missing": Case(merged(USABLE, {"programs": {rf"{TOOLKIT}\KlPCR.exe": None}})),

    # Shims and other files.
    "old shims, and an old backup": Case(merged(USABLE, {"files": {
        rf"{SYSTEM}\TSP1_x64.dll": {"text": "an old shim"}, rf"{SYSTEM}\TSPI_x64.dll": {"text": "another old shim"},
        rf"{SYSTEM}\Tspi.bak": {"text": "an older shim"}, rf"{SYSTEM}\stkprobe.dll": {"text": "an old library"}}})),
    "read-only shims": Case(merged(INSTALLED, {"files": {
        rf"{SYSTEM}\TSP1_x64.dll": {"text": "an old shim", "attributes": READ_ONLY},
        rf"{SYSTEM}\Tspi_x64.dll": {"text": "another", "attributes": READ_ONLY},
        rf"{SYSTEM}\Tsp1.bak": {"text": "a backup", "attributes": READ_ONLY},
        rf"{SYSTEM}\stkprobe.dll": {"text": "an old library", "attributes": READ_ONLY}}}), ("/TSS_VENDOR=NTRU12",)),
    "directories in the places of files": Case(merged(INSTALLED, {"files": {
        rf"{SYSTEM}\TSP1_x64.dll": {"directory": True}, rf"{SYSTEM}\stkprobe.dll": {"directory": True},
        r"C:\ProgramData\Kelo Systems Corp\Common\policies": {"text": "a file"},
        r"C:\ProgramData\Kelo Systems Corp\Common\Kelo_Config.ini": {"directory": True}}}), ("/TSS_VENDOR=NTRU12",)),
    "an older version of the other stack": Case(merged(INSTALLED, ntru_stack(), shims(), {"files": {
        r"C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin\TSP1_x64.dll": {"version": "1.2.1.24"},
        rf"{SYSTEM}\TSP1_x64.dll": {"text": "an old shim"}}}), ("/TSS_VENDOR=NTRU12",)),
    "a newer version of the other stack": Case(merged(INSTALLED, {"files": {
        r"C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin\TSP1.dll": {"version": "1.2.1.25"},
        rf"{SYSTEM}\TSP1_x64.dll": {"text": "an old shim"}}}), ("/TSS_VENDOR=NTRU12",)),
    "a stack's library without a version": Case(merged(INSTALLED, ntru_stack(), {"files": {
        r"C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin\TSP1_x64.dll": {"text": "no version"}}}),
        ("/TSS_VENDOR=NTRU12",)),
    "no folder for the log": Case(merged(USABLE, {"files": {r"C:\ProgramData\Kelo Systems Corp": {"text": "a file"}}})),
    "a log that may not be written": Case(merged(USABLE, {"files": {
        r"C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit": {"directory": True, "denied": True}}})),
    "processes left behind": Case(merged(USABLE, WINDOWS_7, {"processes": [
        {"name": "explorer.exe"}, {"name": "patchagent.EXE"}, {"name": "VaultCourier.exe", "count": 2}]})),

    # The registry.
    "values of other types": Case(merged(USABLE, {"registry": {COMMON: {"values": {
        "KlVSC Installed": "1", "KlAutoEnrollInstalled": {"type": "REG_BINARY", "hex": "01000000"},
        "Installation Path": {"type": "REG_BINARY", "hex": "4300"}}}}})),
    "no keys of the toolkit": Case(merged(USABLE, {"registry": {COMMON: None, COMMON_WITH_PERIOD: None,
                                                              BLOCKED_COMMANDS: None}}), ("/TPM_VSC=1",)),
    "some blocked commands, and others": Case(merged(USABLE, WINDOWS_8_1, {"registry": {BLOCKED_COMMANDS: {"values": {
        "13": None, "22": 7, "99": "", "": "default"}}}})),
    "blocked commands that are the system's": Case(merged(USABLE, WINDOWS_7, {"registry": {BLOCKED_COMMANDS: {
        "owner": "S-1-5-18", "protected": True, "access": [
            {"trustee": "S-1-5-18", "mask": 0xF003F, "inheritance": 2},
            {"trustee": "S-1-5-32-544", "mask": READ_AND_TAKE_OWNERSHIP, "inheritance": 2}]}}})),
    "blocked commands with a list from above": Case(merged(USABLE, WINDOWS_7, {"registry": {
        BLOCKED_COMMANDS.rpartition("\\")[0]: {"access": FROM_ABOVE},
        BLOCKED_COMMANDS: {"owner": "S-1-5-32-544", "access": [
            {"trustee": "S-1-5-32-545", "mask": 0x20019}, *({**entry, "inherited": True} for entry in FROM_ABOVE)]}}})),
    "the prototype of a provider": Case(merged(USABLE, {"registry": {
        rf"{PROVIDERS}\Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)": {},
        r"HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI": {"values": {
            "PassthroughCSP": 42, "Other": {"type": "REG_MULTI_SZ", "hex": "410000000000"}}}}}),
        actions=COMMITTED_BEFORE),
    "few providers": Case(merged(PLAIN, {"registry": {rf"{PROVIDERS}\{name}": None for name in (
        "Microsoft Enhanced Cryptographic Provider v1.0", "Microsoft Strong Cryptographic Provider",
        "Microsoft Enhanced RSA and AES Cryptographic Provider")}}), actions=COMMITTED_BEFORE),

    # Smart cards, providers and automatic provisioning.
    "a card that was there before": Case(merged(USABLE, {
        "registry": {COMMON: {"values": {"KlVSC Installed": 1}}}, "smartCards": {"readers": ["Contoso Reader 0"]}})),
    "readers, the toolkit's among them": Case(
        merged(USABLE, {"smartCards": {"readers": ["Contoso Reader 0", READER.lower()]}}), ("/TPM_VSC=1",)),
    "no resource manager": Case(merged(USABLE, {"smartCards": {"manager": "SCARD_E_NO_SERVICE"}}), ("/TPM_VSC=1",)),
    "a device installer that fails": Case(merged(USABLE, device_installer(exit_code=0xFFFFFFFE)), ("/TPM_VSC=1",)),
    "no device installer": Case(
        merged(USABLE, {"programs": {rf"{TOOLKIT}\TPM_VSCard\DriverStager.exe": None}}), ("/TPM_VSC=1",)),
    "a library of the card is missing": Case(merged(USABLE, {"files": {
        rf"{TOOLKIT}\TPM_VSCard\KeloMiniDriverBody.dll": None}}), ("/TPM_VSC=1",)),
    "one key storage provider already": Case(merged(USABLE, {"cng": {"providers": {
        "Kelo TCG Enabled KSP": {"userMode": {"image": "KeloKSP.dll", "interfaces": [
            {"interface": 65537, "flags": 1, "functions": ["KEY_STORAGE"]}]}}}}}), actions=COMMITTED_BEFORE),
    "no automatic provisioning": Case(
        merged(USABLE, {"wmi": {"namespaces": {r"root\CIMV2\Security\MicrosoftTpm": None}}}), ("/TPM_WIN8=0",)),
    "automatic provisioning that cannot be switched": Case(
        merged(USABLE, WINDOWS_8, {"wmi": {"failures": {"IWbemServices::ExecMethod": "E_FAIL"}}}), ("/TPM_WIN8=1",)),

    # Task library.
    "tasks that fail": Case(merged(USABLE, tasks(InstallAutoEnrollmentTasks=-5, RemoveAutoEnrollmentTasks=7))),

    # Languages, code pages and folders.
    "German": Case(merged(INSTALLED, GERMAN)),
    "Japanese": Case(merged(INSTALLED, JAPANESE), ("/TSS_VENDOR=IFX",)),
    "Polish, without texts of its own": Case(merged(INSTALLED, POLISH)),
    "a toolkit in another folder, on another drive": Case(
        merged(PLAIN, probe("KELO", r"D:\Käse & Co"), kelo_stack(), toolkit_service(r"D:\Käse & Co"),
               tasks(r"D:\Käse & Co"), device_installer(r"D:\Käse & Co"),
               {"process": {"path": r"D:\Käse & Co\KeloCustomAction.exe"}}), ("/TPM_VSC=1",)),
}


# A time of a clock or a program, a build, and that a process may not be opened.
LEFT_OUT = r"clock|windows\.build|processes\.\d+\.deniedAccess|programs\..*\.runs\.\d+\.runMs"


def all_cases():
    """Each machine's name and its case: the set's, and those in machines/."""
    yield from CASES.items()
    for path in sorted((ROOT / "machines").glob("*.json")):
        if not path.name.endswith(".schema.json"):
            description = merged(PLAIN, load(path))
            if rf"{TOOLKIT}\KlPCR.exe" in description.get("programs", {}):
                description = merged(description, toolkit_service())
            if "KlPCR" in description.get("services", {}):
                description = merged(description, {"services": {"KlPCR": FOR_A_MOMENT}})
            # Without the card's files Windows and Wine differ (wine_limits.py).
            has_card = any(name.endswith("KeloVReaderBody.dll") for name in description.get("files", {}))
            options = ("/TPM_VSC=1", "/TPM_WIN8=1") if has_card else ("/TPM_WIN8=1",)
            yield f"machines/{path.name}", Case(description, options, REMOVED_BEFORE, LEFT_OUT)
