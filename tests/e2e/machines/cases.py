"""The machines on which the program runs twice, simulated and under Wine: the shipped descriptions, and a set with each
kind of thing that the program asks Windows for."""

import dataclasses

from machines.descriptions import load, merged
from machines.numbers import ADMINISTRATORS, CONTAINER_INHERIT, KEY_ALL_ACCESS, KEY_READ, LOCAL_SYSTEM, READ_ONLY, USERS
from machines.parts import (FOR_A_MOMENT, GERMAN, INSTALLED, JAPANESE, PLAIN, POLISH, SOME_TEXTS, USABLE, VISTA,
                            WINDOWS_7, WINDOWS_8, WINDOWS_8_1, WINDOWS_10, WINDOWS_XP, detection, device_installer,
                            kelo_stack, ntru_stack, service, shims, tasks, toolkit_service)
from paths import ROOT
from product import (BLOCKED_COMMANDS_KEY, CAPI_KEY, CARD_NOTED, CARD_SERVICES, COMMON_KEY, COMMON_KEY_WITH_PERIOD,
                     CONFIGURATION, DATA, EXPORT, INFINEON_STACK, INSTALLATION_PATH, KELO_STACK, LOG_FOLDER,
                     NTRU_FOLDER, PACKAGES, POLICIES, PROVIDERS_KEY, READER, SERVICE, SERVICE_PROGRAM, SERVICE_TITLE,
                     STAGER, SYSTEM, SYSTEM_PROBE, TASKS_WANTED, TSP1, TSP1_BACKUP, TSPI, TSPI_BACKUP)
from standins.names import TPM_NAMESPACE

READ_AND_TAKE_OWNERSHIP = 0xA0019
FROM_ABOVE = [{"trustee": trustee, "mask": KEY_ALL_ACCESS, "inheritance": CONTAINER_INHERIT}
              for trustee in (LOCAL_SYSTEM, ADMINISTRATORS)]

# A set-up that is rolled back; another with a repair, committed and removed; and a removal of what is gone already.
ALL_ACTIONS = ("/Setup", "/Rollback", "/Setup", "/Setup", "/Commit", "/Uninstall", "/Uninstall")
COMMITTED_BEFORE = ("/Commit", *ALL_ACTIONS)
REMOVED_BEFORE = ("/Uninstall", *ALL_ACTIONS)  # where the toolkit may be installed


@dataclasses.dataclass
class Case:
    description: dict
    options: tuple = ()  # of each set-up
    actions: tuple = ALL_ACTIONS
    left_out: str = ""  # what a prefix need not be like, a pattern; the reasons are in limits.py

    @property
    def runs(self):
        """The arguments of each run of the program, and last the call of its export."""
        return [*((action, *(self.options if action == "/Setup" else ())) for action in self.actions), EXPORT]


def case(*parts, **members):
    """A case on the machine that these parts make."""
    return Case(merged(*parts), **members)


CASES = {
    "a plain machine without the toolkit": case(PLAIN),
    "a plain machine that is told to set a stack up": case(PLAIN, options=("/TSS_VENDOR=KELO",)),

    # Each Windows, with the toolkit's own stack and with all options.
    "XP": case(USABLE, WINDOWS_XP, options=("/TPM_VSC=1", "/TPM_WIN8=1")),
    "Vista": case(USABLE, VISTA, options=("/TPM_VSC=1", "/TPM_WIN8=1")),
    "Windows 7": case(USABLE, WINDOWS_7, options=("/TSS_VENDOR=KELO", "/TPM_VSC=1")),
    "Windows 8": case(USABLE, WINDOWS_8, options=("/TPM_VSC=1", "/TPM_WIN8=1")),
    "Windows 8.1": case(USABLE, WINDOWS_8_1, options=("/ProductType=Enterprise N",)),
    "Windows 10": case(USABLE, WINDOWS_10, options=("/TPM_VSC=", "/ProductType=Home")),

    # Stacks and vendors.
    "XP where no stack is usable": case(INSTALLED, WINDOWS_XP, options=("/TSS_VENDOR=NTRU12",)),
    "the other stack is usable": case(INSTALLED, WINDOWS_7, detection("NTRU12"), ntru_stack()),
    "the other stack alone, another wanted": case(INSTALLED, ntru_stack(), options=("/TSS_VENDOR=KELO",)),
    "both stacks, neither usable": case(INSTALLED, VISTA, kelo_stack(), ntru_stack(), options=("/TSS_VENDOR=kelo",)),
    "no stack, the toolkit's own wanted": case(INSTALLED, options=("/TSS_VENDOR=KELO",)),
    "no stack, the other wanted": case(INSTALLED, WINDOWS_7, options=("/TSS_VENDOR=NTRU12",)),
    "no stack, a third wanted": case(INSTALLED, options=("/TSS_VENDOR=IFX",)),
    "a stack that stopped, none wanted": case(INSTALLED, ntru_stack(state="stopped")),
    "a stack that stopped, and is usable": case(INSTALLED, detection("NTRU12"), ntru_stack(state="stopped")),

    # Detection libraries.
    "TPM that is off": case(USABLE, detection("KELO", isEnabled=0), options=("/TSS_VENDOR=other",)),
    "TPM that is not activated": case(USABLE, detection("KELO", isActivated=0), detection("NTRU12", isActivated=2)),
    "TPM without an owner": case(USABLE, WINDOWS_8, detection("KELO", isOwned=0)),
    "TPM whose SRK is in the wrong format": case(USABLE, detection("KELO", ValidSRKAuth=1)),
    "a detection library without functions": case(USABLE, GERMAN, detection("KELO", isEnabled=None),
        detection("NTRU12", DetectTSS=None)),
    "a detection library that faults": case(USABLE, detection("KELO", isEnabled={"throws": "access violation"}),
        detection("NTRU12", DetectTSS={"throws": "division by zero"}), ntru_stack(), options=("/TSS_VENDOR=NTRU12",)),
    "no detection libraries": case(PLAIN, SOME_TEXTS, JAPANESE, toolkit_service(), shims()),

    # Services.
    "a slow stack": case(USABLE, WINDOWS_7, kelo_stack(
        onStart={"states": [{"state": "startPending", "checkPoint": 1}, {"afterMs": 900, "state": "running"}]},
        onStop={"states": [{"state": "stopPending", "waitHint": 2000}, {"afterMs": 1200, "state": "stopped"}]})),
    "a stack that refuses to stop": case(USABLE, VISTA, kelo_stack(controlsAccepted=0)),
    # The toolkit's service depends on the other one: see limits.py.
    "a stack that does not start again": case(INSTALLED, kelo_stack(),
        ntru_stack(onStart={"states": [{"state": "startPending"}, {
            "afterMs": 600, "state": "stopped", "exitCode": 1066, "serviceExitCode": 42}]}),
        options=("/TSS_VENDOR=KELO",)),
    "TPM Base Services that stopped": case(USABLE, WINDOWS_7, {"services": {"TBS": {"state": "stopped"}}}),
    "TPM Base Services that refuse to stop": case(USABLE, WINDOWS_7, ntru_stack(),
        {"services": {"TBS": {"controlsAccepted": 0}}}),
    "a third stack beside the TPM Base Services": case(USABLE, WINDOWS_7,
        service(INFINEON_STACK, r"C:\IFX", state="running", start="auto"), ntru_stack()),
    "no services but the toolkit's": case(USABLE,
        {"services": {name: None for name in ("TBS", *CARD_SERVICES, KELO_STACK)}}, options=("/TPM_VSC=1",)),
    "the toolkit's service from an earlier installation": case(USABLE, WINDOWS_7, {"services": {SERVICE: {
            **FOR_A_MOMENT, "binaryPath": f'"{SERVICE_PROGRAM}"',
            "displayName": SERVICE_TITLE, "state": "running", "start": "auto",
            "loadOrderGroup": "Group", "dependencies": ["RPCSS"], "description": "an earlier one",
            "errorControl": 0}}}),
    "the toolkit's service program is missing": case(USABLE, {"programs": {SERVICE_PROGRAM: None}}),

    # Shims and other files.
    "old shims, and an old backup": case(USABLE, {"files": {
        TSP1: {"text": "an old shim"}, TSPI: {"text": "another old shim"},
        TSPI_BACKUP: {"text": "an older shim"}, SYSTEM_PROBE: {"text": "an old library"}}}),
    "read-only shims": case(INSTALLED, {"files": {
        TSP1: {"text": "an old shim", "attributes": READ_ONLY},
        rf"{SYSTEM}\Tspi_x64.dll": {"text": "another", "attributes": READ_ONLY},
        TSP1_BACKUP: {"text": "a backup", "attributes": READ_ONLY},
        SYSTEM_PROBE: {"text": "an old library", "attributes": READ_ONLY}}},
        options=("/TSS_VENDOR=NTRU12",)),
    "directories in the places of files": case(INSTALLED, {"files": {
        TSP1: {"directory": True}, SYSTEM_PROBE: {"directory": True},
        POLICIES: {"text": "a file"},
        CONFIGURATION: {"directory": True}}}, options=("/TSS_VENDOR=NTRU12",)),
    "an older version of the other stack": case(INSTALLED, ntru_stack(), shims(), {"files": {
        rf"{NTRU_FOLDER}\TSP1_x64.dll": {"version": "1.2.1.24"},
        TSP1: {"text": "an old shim"}}}, options=("/TSS_VENDOR=NTRU12",)),
    "a newer version of the other stack": case(INSTALLED, {"files": {
        rf"{NTRU_FOLDER}\TSP1.dll": {"version": "1.2.1.25"},
        TSP1: {"text": "an old shim"}}}, options=("/TSS_VENDOR=NTRU12",)),
    "a stack's library without a version": case(INSTALLED, ntru_stack(), {"files": {
        rf"{NTRU_FOLDER}\TSP1_x64.dll": {"text": "no version"}}}, options=("/TSS_VENDOR=NTRU12",)),
    "no folder for the log": case(USABLE, {"files": {DATA: {"text": "a file"}}}),
    "a log that may not be written": case(USABLE, {"files": {
        LOG_FOLDER: {"directory": True, "denied": True}}}),
    "processes left behind": case(USABLE, WINDOWS_7, {"processes": [
        {"name": "explorer.exe"}, {"name": "patchagent.EXE"}, {"name": "VaultCourier.exe", "count": 2}]}),

    # The registry.
    "values of other types": case(USABLE, {"registry": {COMMON_KEY: {"values": {
        CARD_NOTED: "1", TASKS_WANTED: {"type": "REG_BINARY", "hex": "01000000"},
        INSTALLATION_PATH: {"type": "REG_BINARY", "hex": "4300"}}}}}),
    "no keys of the toolkit": case(USABLE, {"registry": {COMMON_KEY: None, COMMON_KEY_WITH_PERIOD: None,
                                                              BLOCKED_COMMANDS_KEY: None}}, options=("/TPM_VSC=1",)),
    "some blocked commands, and others": case(USABLE, WINDOWS_8_1, {"registry": {BLOCKED_COMMANDS_KEY: {"values": {
        "13": None, "22": 7, "99": "", "": "default"}}}}),
    "blocked commands that are the system's": case(USABLE, WINDOWS_7, {"registry": {BLOCKED_COMMANDS_KEY: {
        "owner": LOCAL_SYSTEM, "protected": True, "access": [
            {"trustee": LOCAL_SYSTEM, "mask": KEY_ALL_ACCESS, "inheritance": CONTAINER_INHERIT},
            {"trustee": ADMINISTRATORS, "mask": READ_AND_TAKE_OWNERSHIP, "inheritance": CONTAINER_INHERIT}]}}}),
    "blocked commands with a list from above": case(USABLE, WINDOWS_7, {"registry": {
        BLOCKED_COMMANDS_KEY.rpartition("\\")[0]: {"access": FROM_ABOVE},
        BLOCKED_COMMANDS_KEY: {"owner": ADMINISTRATORS, "access": [
            {"trustee": USERS, "mask": KEY_READ}, *({**entry, "inherited": True} for entry in FROM_ABOVE)]}}}),
    "the prototype of a provider": case(USABLE, {"registry": {
        rf"{PROVIDERS_KEY}\Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)": {},
        CAPI_KEY: {"values": {
            "PassthroughCSP": 42, "Other": {"type": "REG_MULTI_SZ", "hex": "410000000000"}}}}},
        actions=COMMITTED_BEFORE),
    "few providers": case(PLAIN, {"registry": {rf"{PROVIDERS_KEY}\{name}": None for name in (
        "Microsoft Enhanced Cryptographic Provider v1.0", "Microsoft Strong Cryptographic Provider",
        "Microsoft Enhanced RSA and AES Cryptographic Provider")}}, actions=COMMITTED_BEFORE),

    # Smart cards, providers and automatic provisioning.
    "a card that was there before": case(USABLE, {
        "registry": {COMMON_KEY: {"values": {CARD_NOTED: 1}}}, "smartCards": {"readers": ["Contoso Reader 0"]}}),
    "readers, the toolkit's among them": case(USABLE,
        {"smartCards": {"readers": ["Contoso Reader 0", READER.lower()]}}, options=("/TPM_VSC=1",)),
    "no resource manager": case(USABLE, {"smartCards": {"manager": "SCARD_E_NO_SERVICE"}}, options=("/TPM_VSC=1",)),
    "a device installer that fails": case(USABLE, device_installer(exit_code=0xFFFFFFFE), options=("/TPM_VSC=1",)),
    "no device installer": case(USABLE, {"programs": {STAGER: None}}, options=("/TPM_VSC=1",)),
    "a library of the card is missing": case(USABLE, {"files": {
        rf"{PACKAGES}\KeloMiniDriverBody.dll": None}}, options=("/TPM_VSC=1",)),
    "one key storage provider already": case(USABLE, {"cng": {"providers": {
        "Kelo TCG Enabled KSP": {"userMode": {"image": "KeloKSP.dll", "interfaces": [
            {"interface": 65537, "flags": 1, "functions": ["KEY_STORAGE"]}]}}}}}, actions=COMMITTED_BEFORE),
    "no automatic provisioning": case(USABLE, {"wmi": {"namespaces": {TPM_NAMESPACE: None}}},
        options=("/TPM_WIN8=0",)),
    "automatic provisioning that cannot be switched": case(USABLE, WINDOWS_8,
        {"wmi": {"failures": {"IWbemServices::ExecMethod": "E_FAIL"}}}, options=("/TPM_WIN8=1",)),

    # Task library.
    "tasks that fail": case(USABLE, tasks(InstallAutoEnrollmentTasks=-5, RemoveAutoEnrollmentTasks=7)),

    # Languages, code pages and folders.
    "German": case(INSTALLED, GERMAN),
    "Japanese": case(INSTALLED, JAPANESE, options=("/TSS_VENDOR=IFX",)),
    "Polish, without texts of its own": case(INSTALLED, POLISH),
    "a toolkit in another folder, on another drive": case(PLAIN, detection("KELO", r"D:\Käse & Co"), kelo_stack(),
        toolkit_service(r"D:\Käse & Co"), tasks(r"D:\Käse & Co"), device_installer(r"D:\Käse & Co"),
        {"process": {"path": r"D:\Käse & Co\KeloCustomAction.exe"}}, options=("/TPM_VSC=1",)),
}


# The shipped machines that only winsim runs, each with the reason. tests/scenarios holds them all to their outcomes.
LEFT_TO_WINSIM = {
    "both-stacks": "as in \"both stacks, neither usable\"",
    "card-driver-blocked": "a stand-in is a program that can be started",
    "library-faults": "as in \"a detection library that faults\"",
    "library-lacks-function": "as in \"a detection library without functions\"",
    "library-missing": "as in \"no detection libraries\"",
    "locked-key": "programs in a prefix have every privilege",
    "no-log": "as in \"no folder for the log\"",
    "no-stack": "as in \"no stack, the toolkit's own wanted\"",
    "no-toolkit": "as in \"a plain machine without the toolkit\"",
    "stack-disabled": "Wine starts a service whose dependency does not start",
    "toolkit-service-blocked": "a call of the real program does not fail by plan",
    "tpm-disabled": "as in \"TPM that is off\"",
    "tpm-not-activated": "as in \"TPM that is not activated\"",
    "tpm-not-owned": "as in \"TPM without an owner\"",
    "tpm-wrong-srk": "as in \"TPM whose SRK is in the wrong format\"",
    "windows-10-ntru-hangs": "its set-up never ends",
    "windows-8-wmi-fails": "as in \"automatic provisioning that cannot be switched\"",
}

# In the shipped descriptions: times, builds, and a process that may not be opened.
LEFT_OUT = r"clock|windows\.build|processes\.\d+\.deniedAccess|programs\..*\.runs\.\d+\.runMs"


def all_cases():
    """Each machine's name and its case: the set's, and those of the shipped descriptions."""
    yield from CASES.items()
    for path in sorted((ROOT / "machines").glob("*.json")):
        if not path.name.endswith(".schema.json") and path.stem not in LEFT_TO_WINSIM:
            description = merged(PLAIN, load(path))
            if description.get("programs", {}).get(SERVICE_PROGRAM):
                description = merged(description, toolkit_service())
            if description.get("services", {}).get(SERVICE):
                description = merged(description, {"services": {SERVICE: FOR_A_MOMENT}})
            # Without the card's files Windows and Wine differ (limits.py).
            has_card = any(name.endswith("KeloVReaderBody.dll") for name in description.get("files", {}))
            options = ("/TPM_VSC=1", "/TPM_WIN8=1") if has_card else ("/TPM_WIN8=1",)
            yield f"machines/{path.name}", Case(description, options, REMOVED_BEFORE, LEFT_OUT)
