"""Stand-ins for libraries of Windows' own under Wine: the smart-card resource manager, the configuration of cryptography
and the way into WMI. Wine has all three, but lists no readers, remembers no providers and knows no namespace of a TPM."""

import json

from standins import KEY, copy, list_line, numbers
from wine import ROOT

BUILD = ROOT / "build" / "windows" / "standins"
FOLDER = r"C:\KeloStandIns"
LOCATOR = r"HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{CB8555CC-9128-11D1-AD9B-00C04FD8FDFF}"
TPM_NAMESPACE = r"root\CIMV2\Security\MicrosoftTpm"

NO_SERVICE = 0x8010001D
MANAGERS = {"SCARD_E_NO_SERVICE": NO_SERVICE, "SCARD_E_SERVICE_STOPPED": 0x8010001E}


def place(prefix, program, machine, plain):
    """Puts the stand-ins on a described machine, all of them: what its program asks is answered as on a simulated
    machine. Returns the registry text that they go by, and the areas of the description that they cannot be like."""
    folder, _, name = program.rpartition("\\")
    # Beside the program, where it alone finds them.
    for library in ("winscard.dll", "bcrypt.dll"):
        copy(BUILD / library, prefix, f"{folder}\\{library}")
    copy(BUILD / "wbem_locator.dll", prefix, rf"{FOLDER}\wbem_locator.dll")

    cards = machine["smartCards"]
    registry = f"\n[HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\{name}\\DllOverrides]\n"
    registry += '"winscard"="native"\n"bcrypt"="native,builtin"\n'
    registry += numbers("winscard.dll", {"manager": _manager_status(cards["manager"])})
    registry += list_line("readers", cards["readers"])
    if TPM_NAMESPACE in machine["wmi"]["namespaces"]:
        server = rf"{FOLDER}\wbem_locator.dll".replace("\\", "\\\\")
        registry += f'\n[{LOCATOR}\\InprocServer32]\n@="{server}"\n"ThreadingModel"="Both"\n'

    is_like = {
        "smartCards": cards.keys() == {"manager", "readers"},
        "cng": machine["cng"] == plain["cng"],
        "wmi": machine["wmi"] in (plain["wmi"], {**plain["wmi"], "namespaces": {}}),
    }
    return registry, [area for area, like in is_like.items() if not like]


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
