"""What of a machine is compared, for both kinds of machine alike."""

import re

from product import LOG
from standins.names import ANSWERS, FOLDER, FOLDERS, KEY, PROBE_NOTES, RUNS, STATES_ENDING, WITNESS, WITNESS_NOTES
from wine.machine_tool import SCRIPT

# Wine has many keys below these, which do not concern the program.
PASSED_OVER = [r"SOFTWARE\Classes", r"SOFTWARE\Microsoft\Cryptography\OID",
               r"SOFTWARE\Microsoft\Cryptography\Providers\Trust",
               r"SOFTWARE\Microsoft\Windows NT\CurrentVersion\Time Zones",
               r"SOFTWARE\Microsoft\Windows\CurrentVersion\Explorer\FolderDescriptions",
               r"SOFTWARE\Microsoft\Windows\CurrentVersion\Telephony", r"SYSTEM\CurrentControlSet\Control\Nls"]
WATCHED_KEYS = ["SOFTWARE", "SYSTEM", *("-" + key for key in PASSED_OVER)]

# Wine notes its screens and adapters as soon as its desktop is up, which may be at any time.
WINES_DEVICES = r"control\\(class|deviceclasses|video)\b|enum\b|hardware profiles\b"

# The number of the service manager's pipe.
SERVICE_PIPE = r"control\\servicecurrent\b"

# What stand-ins leave beside themselves.
NOTES = r".*\\(" + "|".join(map(re.escape, (RUNS, FOLDERS, ANSWERS, PROBE_NOTES, WITNESS, WITNESS_NOTES))) + (
    r"|[^\\]+" + re.escape(STATES_ENDING) + ")")

# In lower case, as keys and files are compared. Besides: what stand-ins and tools keep for themselves, and what the
# service manager keeps of its services, which are asked of it.
_IGNORED_KEYS = re.compile(
    re.escape(KEY.lower()) + r"\b|software\\wine\b|system\\currentcontrolset\\("
    rf"services\b|{SERVICE_PIPE}|{WINES_DEVICES})")
_IGNORED_FILES = re.compile(
    rf"({re.escape(FOLDER.lower())}|{re.escape(SCRIPT.lower())}|c:\\standins|c:\\users|c:\\windows\\temp)(\\|$)|"
    rf"{NOTES}$|{re.escape(LOG.lower())}")

# Services that a plain machine has, and Wine has in its own way.
WINES_OWN_SERVICES = {"rpcss"}

SERVICE_FIELDS = ("state", "controlsAccepted", "type", "start", "errorControl", "binaryPath", "loadOrderGroup",
                  "dependencies", "account", "displayName", "description")


def is_key_compared(key):
    """Whether a key concerns the program, named without its root in lower case."""
    return not _IGNORED_KEYS.match(key)


def is_file_compared(path):
    """The same for a file, in lower case."""
    return not _IGNORED_FILES.match(path)


def usual_service(name, state):
    """A service of which only its name and its state are described."""
    return {"state": state, "controlsAccepted": 1 if state in ("running", "paused") else 0, "type": 0x10,
            "start": "demand", "errorControl": 1, "binaryPath": "", "loadOrderGroup": "", "dependencies": [],
            "account": "LocalSystem", "displayName": name, "description": ""}
