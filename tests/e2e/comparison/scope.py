"""What of a machine is compared, for both kinds of machine alike."""

import functools
import re

from product import CARD_SERVICES, INFINEON_STACK, KELO_STACK, LOG, NTRU_STACK, SERVICE
from standins.names import ANSWERS, FOLDER, FOLDERS, KEY, PROBE_NOTES, RUNS, STATES_ENDING, WITNESS, WITNESS_NOTES
from wine.machine_tool import SCRIPT

WATCHED_KEYS = ["SOFTWARE", "SYSTEM"]

# Wine notes its screens and adapters as soon as its desktop is up, which may be at any time.
WINES_DEVICES = r"control\\(class|deviceclasses|video)\b|enum\b|hardware profiles\b"

# The number of the service manager's pipe.
SERVICE_PIPE = r"control\\servicecurrent\b"

# What stand-ins leave beside themselves.
NOTES = r".*\\(" + "|".join(map(re.escape, (RUNS, FOLDERS, ANSWERS, PROBE_NOTES, WITNESS, WITNESS_NOTES))) + (
    r"|[^\\]+" + re.escape(STATES_ENDING) + ")")

# Services that a plain machine has, and Wine has in its own way.
WINES_OWN_SERVICES = {"rpcss"}

# Those that the program may ask for, in lower case.
CAPTURED_SERVICES = [name.lower() for name in (SERVICE, KELO_STACK, NTRU_STACK, INFINEON_STACK, *CARD_SERVICES, "TBS",
                                               *WINES_OWN_SERVICES)]

# In lower case, as keys and files are compared. Besides: what stand-ins and tools keep for themselves, and what the
# service manager keeps of services that KeloDescribe asks it for.
_IGNORED_KEYS = re.compile(
    re.escape(KEY.lower()) + r"\b|software\\wine\b|system\\currentcontrolset\\("
    rf"services\\({'|'.join(map(re.escape, CAPTURED_SERVICES))})(\\|$)|{SERVICE_PIPE}|{WINES_DEVICES})")
_IGNORED_FILES = re.compile(
    rf"({re.escape(FOLDER.lower())}|{re.escape(SCRIPT.lower())}|c:\\standins|c:\\users|c:\\windows\\temp)(\\|$)|"
    rf"{NOTES}$|{re.escape(LOG.lower())}")


@functools.cache
def is_key_compared(key):
    """Whether a key concerns the program, named without its root in lower case."""
    return not _IGNORED_KEYS.match(key)


@functools.cache
def is_file_compared(path):
    """The same for a file, in lower case."""
    return not _IGNORED_FILES.match(path)
