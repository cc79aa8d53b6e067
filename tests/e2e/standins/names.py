"""Names on which the stand-ins and the tests agree. `python3 -m standins.names HEADER` writes them for C++."""

import pathlib
import sys

from product import REGISTER, SERVICE, SERVICE_TITLE, TASK_LIBRARY, UNREGISTER

# Where stand-ins and tests keep what the machine itself would not have: a registry key below HKEY_LOCAL_MACHINE, with a
# key for each stand-in, and a folder.
KEY = r"SOFTWARE\KeloStandIns"
FOLDER = r"C:\KeloStandIns"
MACHINE_TOOL = FOLDER + r"\machine_tool.exe"
NOTED_CALLS = FOLDER + r"\calls.txt"

# Files beside a stand-in.
RUNS = "runs.txt"
FOLDERS = "folders.txt"
ANSWERS = "stkprobe.txt"
PROBE_NOTES = "stkprobe.log"
WITNESS = "exit_witness.dll"
WITNESS_NOTES = "exit_witness.log"
STATES_ENDING = ".states"
LOADED_ENDING = ".loaded"

# Values below the stand-in's key; the first four follow a function's name or a command line.
EFFECTS_ENDING = " effects"
RUN_MS_ENDING = " runMs"
THROWS_ENDING = " throws"
CALLS_ENDING = " calls"
MANAGER = "manager"
READERS = "readers"
PROVIDERS = "Providers"
KEY_STORAGE = "KeyStorage"
AUTO_PROVISIONING = "autoProvisioning"

# The system libraries' names, which are also those of their keys.
CARDS_LIBRARY = "winscard.dll"
CNG_LIBRARY = "bcrypt.dll"
WMI_LIBRARY = "wbem_locator.dll"

TPM_NAMESPACE = r"root\CIMV2\Security\MicrosoftTpm"


def header():
    """The text of a header with these names: KEY becomes kKey, NOTED_CALLS kNotedCalls."""
    lines = ["// Names on which the stand-ins and the tests agree: made by names.py.", "#pragma once", "",
             "namespace names", "{"]
    for name, text in globals().items():
        if name.isupper() and isinstance(text, str):
            escaped = text.replace("\\", "\\\\")
            lines.append(f'constexpr wchar_t k{name.title().replace("_", "")}[] = L"{escaped}";')
    return "\n".join([*lines, "} // namespace names", ""])


if __name__ == "__main__":
    pathlib.Path(sys.argv[1]).write_text(header(), encoding="ascii")
