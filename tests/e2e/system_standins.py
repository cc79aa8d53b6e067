"""Stand-ins for libraries of Windows' own under Wine: the smart-card resource manager, the configuration of
cryptography and the way into WMI. Wine has all three, but lists no readers, remembers no providers and knows no
namespace of a TPM."""

import json

from standins import copy, list_line, numbers
from wine import ROOT

BUILD = ROOT / "build" / "windows" / "standins"
FOLDER = r"C:\KeloStandIns"
LOCATOR = r"HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{CB8555CC-9128-11D1-AD9B-00C04FD8FDFF}"
TPM_NAMESPACE = r"root\CIMV2\Security\MicrosoftTpm"

# Calls of WMI that can fail, and what they can fail with.
WMI_CALLS = {"IWbemLocator::ConnectServer", "CoSetProxyBlanket", "IWbemServices::GetObject",
             "IWbemClassObject::GetMethod", "IWbemClassObject::SpawnInstance", "IWbemClassObject::Put",
             "IWbemServices::ExecMethod"}
HRESULTS = {"E_FAIL": 0x80004005, "E_ACCESSDENIED": 0x80070005, "WBEM_E_ACCESS_DENIED": 0x80041003,
            "WBEM_E_NOT_FOUND": 0x80041002}

# The providers of key storage among those that serve a function.
KEY_STORAGE = {"table": 1, "context": "Default", "interface": 65537, "function": "KEY_STORAGE"}

NO_SERVICE = 0x8010001D
MANAGERS = {"SCARD_E_NO_SERVICE": NO_SERVICE, "SCARD_E_SERVICE_STOPPED": 0x8010001E}


def place(prefix, program, machine, plain):
    """Puts the stand-ins on a described machine, all of them: what its program asks is answered as on a simulated
    machine. Returns the registry text that they go by, and the paths in the description of what they cannot be like."""
    name = program.rpartition("\\")[2]
    for library in ("winscard.dll", "bcrypt.dll"):
        copy(BUILD / library, prefix, rf"C:\windows\system32\{library}")
    copy(BUILD / "wbem_locator.dll", prefix, rf"{FOLDER}\wbem_locator.dll")

    cards = machine["smartCards"]
    registry = f"\n[HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\{name}\\DllOverrides]\n"
    registry += '"winscard"="native"\n"bcrypt"="native,builtin"\n'
    registry += numbers("winscard.dll", {"manager": _manager_status(cards["manager"])})
    registry += list_line("readers", cards["readers"])
    registry += numbers("bcrypt.dll", {})
    registry += list_line("Providers", machine["cng"]["providers"])
    registry += list_line("KeyStorage", _key_storage(machine["cng"]))
    failures = machine["wmi"].get("failures", {})
    registry += numbers("wbem_locator.dll", {call: _result(failure) for call, failure in failures.items()
                                             if call in WMI_CALLS and _result(failure) is not None})
    if TPM_NAMESPACE in machine["wmi"]["namespaces"]:
        server = rf"{FOLDER}\wbem_locator.dll".replace("\\", "\\\\")
        registry += f'\n[{LOCATOR}\\InprocServer32]\n@="{server}"\n"ThreadingModel"="Both"\n'
    return registry, list(_left_out(machine, plain))


def _left_out(machine, plain):
    """The paths in the description of what the stand-ins can not be like."""
    for member in machine["smartCards"].keys() - {"manager", "readers"}:
        yield "smartCards", member
    if [{**function, "providers": []} for function in machine["cng"]["contextFunctions"]] != [
            {**KEY_STORAGE, "providers": []}]:
        yield ("cng",)
    if machine["wmi"]["namespaces"] not in ({}, plain["wmi"]["namespaces"]):
        yield "wmi", "namespaces"
    if machine["wmi"]["autoProvisioning"] != plain["wmi"]["autoProvisioning"]:
        yield "wmi", "autoProvisioning"
    for call, failure in machine["wmi"].get("failures", {}).items():
        if call not in WMI_CALLS or _result(failure) is None:
            yield "wmi", "failures", call


def _key_storage(cng):
    return next((function["providers"] for function in cng["contextFunctions"]
                 if function.items() >= KEY_STORAGE.items()), [])


def _result(failure):
    return HRESULTS.get(failure) if isinstance(failure, str) else failure


def noted_calls(prefix):
    """What the stand-ins were called with since the last time that this was asked, as a rehearsal records calls."""
    notes = prefix.path(rf"{FOLDER}\calls.txt")
    if not notes.exists():
        return []
    calls = [json.loads(line) for line in notes.read_text(encoding="ascii").splitlines()]
    notes.unlink()
    return calls


def _manager_status(manager):
    if isinstance(manager, bool):
        return 0 if manager else NO_SERVICE
    return MANAGERS.get(manager, manager)
