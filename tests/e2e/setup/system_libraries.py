"""Stand-ins for libraries of Windows' own: the smart-card resource manager, the configuration of cryptography and the
way into WMI. Wine has all three, but lists no readers, remembers no providers and has no namespace of a TPM."""

import paths
from machines.registry_values import multi_string
from reading.capture import PROGRAM
from setup.files import copy
from setup.programs import settings
from setup.reg_file import section
from standins.names import (CARDS_LIBRARY, CNG_LIBRARY, FOLDER, KEY_STORAGE, MANAGER, PROVIDERS, READERS, TPM_NAMESPACE,
                            WMI_LIBRARY)

BUILD = paths.WINDOWS / "standins"
LOCATOR = r"HKLM\Software\Classes\CLSID\{CB8555CC-9128-11D1-AD9B-00C04FD8FDFF}"

# Where the program and KeloDescribe have the libraries from: the stand-ins in the system folder, which pass no call on.
DESCRIBER = PROGRAM.name
SYSTEM_LIBRARIES = {"winscard": "native", "bcrypt": "native,builtin"}

# Calls of WMI that can fail, and what they can fail with.
WMI_CALLS = {"IWbemLocator::ConnectServer", "CoSetProxyBlanket", "IWbemServices::GetObject",
             "IWbemClassObject::GetMethod", "IWbemClassObject::SpawnInstance", "IWbemClassObject::Put",
             "IWbemServices::ExecMethod"}
HRESULTS = {"E_FAIL": 0x80004005, "E_ACCESSDENIED": 0x80070005, "WBEM_E_ACCESS_DENIED": 0x80041003,
            "WBEM_E_NOT_FOUND": 0x80041002}

# The function whose providers the stand-in keeps.
KEY_STORAGE_FUNCTION = {"table": 1, "context": "Default", "interface": 65537, "function": "KEY_STORAGE"}

NO_SERVICE = 0x8010001D
MANAGERS = {"SCARD_E_NO_SERVICE": NO_SERVICE, "SCARD_E_SERVICE_STOPPED": 0x8010001E}


def place(prefix, machine, plain):
    """Puts all stand-ins on a described machine, so that they answer its program as a simulated machine does. Returns
    the registry text that they read, and the paths in the description of what they cannot be like."""
    for library in (CARDS_LIBRARY, CNG_LIBRARY):
        copy(BUILD / library, prefix, rf"C:\windows\system32\{library}")
    server = rf"{FOLDER}\{WMI_LIBRARY}"
    copy(BUILD / WMI_LIBRARY, prefix, server)

    cards, cng, wmi = machine["smartCards"], machine["cng"], machine["wmi"]
    registry = "".join(overrides(program, SYSTEM_LIBRARIES) for program in (machine["process"]["path"], DESCRIBER))
    registry += settings(CARDS_LIBRARY, {MANAGER: _manager_status(cards["manager"]),
                                         READERS: multi_string(cards["readers"])})
    registry += settings(CNG_LIBRARY, {PROVIDERS: multi_string(cng["providers"]),
                                       KEY_STORAGE: multi_string(_key_storage(cng)),
                                       **{name: multi_string(_registration(provider))
                                          for name, provider in cng["providers"].items()}})
    registry += settings(WMI_LIBRARY, {call: _result(failure) for call, failure in wmi.get("failures", {}).items()
                                       if _can_fail(call, failure)})
    if TPM_NAMESPACE in wmi["namespaces"]:
        registry += section(rf"{LOCATOR}\InprocServer32", {"": server, "ThreadingModel": "Both"})
    return registry, list(_left_out(machine, plain))


def overrides(program, orders):
    """The registry text that tells Wine, by the names of libraries, where a program's may come from, and in which
    order."""
    name = program.rpartition("\\")[2]
    return section(rf"HKCU\Software\Wine\AppDefaults\{name}\DllOverrides", orders)


def _left_out(machine, plain):
    """The paths in the description of what the stand-ins cannot be like."""
    for member in machine["smartCards"].keys() - {"manager", "readers"}:
        yield "smartCards", member
    if [{**function, "providers": []} for function in machine["cng"]["contextFunctions"]] != [
            {**KEY_STORAGE_FUNCTION, "providers": []}]:
        yield ("cng",)
    if machine["wmi"]["namespaces"] not in ({}, plain["wmi"]["namespaces"]):
        yield "wmi", "namespaces"
    if machine["wmi"]["autoProvisioning"] != plain["wmi"]["autoProvisioning"]:
        yield "wmi", "autoProvisioning"
    for call, failure in machine["wmi"].get("failures", {}).items():
        if not _can_fail(call, failure):
            yield "wmi", "failures", call


def _can_fail(call, failure):
    return call in WMI_CALLS and _result(failure) is not None


def _key_storage(cng):
    return next((function["providers"] for function in cng["contextFunctions"]
                 if function.items() >= KEY_STORAGE_FUNCTION.items()), [])


def _registration(provider):
    """The texts by which the stand-in keeps a provider's registration (standins/bcrypt.cpp)."""
    for alias in provider.get("aliases", ()):
        yield f"alias {alias}"
    for mode, kind in (("userMode", "user"), ("kernelMode", "kernel")):
        if image := provider.get(mode):
            yield f"{kind} {image['image']}"
            for offered in image["interfaces"]:
                yield f"interface {offered['interface']} {offered['flags']}"
                yield from (f"function {name}" for name in offered["functions"])


def _result(failure):
    return HRESULTS.get(failure) if isinstance(failure, str) else failure


def _manager_status(manager):
    if isinstance(manager, bool):
        return 0 if manager else NO_SERVICE
    return MANAGERS.get(manager, manager)
