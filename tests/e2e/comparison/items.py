"""The items of a machine, simulated or a Wine prefix, in one form for both."""

import json
import pathlib

from comparison.scope import WATCHED_KEYS, WINES_OWN_SERVICES, is_file_compared, is_key_compared
from machines.descriptions import complete, service_members
from machines.numbers import GENERIC_ALL, GENERIC_READ, KEY_ALL_ACCESS, KEY_READ, flags_of
from machines.registry_values import REG_MULTI_SZ, typed_bytes
from product import LOG
from reading import files, registry, services
from reading.files import DIRECTORY
from setup.files import content
from setup.libraries import TEXT_LIBRARY
from setup.system_libraries import KEY_STORAGE_FUNCTION
from standins.names import CARDS_LIBRARY, KEY, READERS
from wine import machine_tool

KEY_EXISTS = "a key"

# The items that have no parts.
CARD_READERS = "smart-card readers"
KEY_STORAGE_PROVIDERS = "providers of key storage"
PROVISIONING = "automatic provisioning"
PENDING_MOVES = "pending moves"
OTHER_MOVES = "pending moves of other files"  # than those that the program may ask for

PENDING_MOVES_VALUE = (r"system\currentcontrolset\control\session manager", "pendingfilerenameoperations")
NO_TEXTS = REG_MULTI_SZ, b""
READERS_VALUE = (rf"{KEY}\{CARDS_LIBRARY}".lower(), READERS.lower())

# The specific rights that generic ones mean on a registry key.
SPECIFIC_RIGHTS = {GENERIC_READ: KEY_READ, GENERIC_ALL: KEY_ALL_ACCESS}


# --- A described machine ---------------------------------------------------------------------------------------------


def of_simulated(machine):
    """The items of a simulated machine."""
    items = of_described(machine)
    for path in {**machine["files"], **machine["libraries"], **machine["programs"]}:
        if is_file_compared(path.lower()) and "\\" in path:
            items["file", path.lower()] = _simulated_content(machine, path)
    return items


def of_described(machine):
    """The items of a machine, simulated or captured, without files: of these a captured one has no content."""
    items = {}
    for path, key in machine["registry"].items():
        root, _, below = path.lower().partition("\\")
        if root == "hklm" and below and is_key_compared(below):
            _add_key(items, below, key)
    for name, service in machine["services"].items():
        items["service", name.lower()] = service_members(name, service)
    for process in machine["processes"]:
        if "name" in process:
            name = ("process", process["name"].lower())
            items[name] = items.get(name, 0) + process.get("count", 1)
    items[CARD_READERS] = machine["smartCards"].get("readers", [])
    items |= {("provider", name): registration for name, registration in machine["cng"]["providers"].items()}
    items[KEY_STORAGE_PROVIDERS] = next(
        (function["providers"] for function in machine["cng"]["contextFunctions"]
         if function["interface"] == KEY_STORAGE_FUNCTION["interface"]), [])
    items[PROVISIONING] = machine["wmi"]["autoProvisioning"]
    items[PENDING_MOVES] = [(move["from"].lower(), move.get("to", "").lower()) for move in machine["pendingMoves"]]
    items[OTHER_MOVES] = 0
    return items


def _add_key(items, name, key):
    items["key", name] = KEY_EXISTS
    for value_name, value in key.get("values", {}).items():
        items["value", name, value_name.lower()] = typed_bytes(value)
    if "access" in key:
        items["access", name] = sorted((entry["trustee"], _specific(entry["mask"]), flags_of(entry),
                                        entry.get("type", "allow")) for entry in key["access"])
    if "owner" in key:
        items["owner", name] = key["owner"]


def _specific(mask):
    for generic, specific in SPECIFIC_RIGHTS.items():
        if mask & generic:
            mask = mask & ~generic | specific
    return mask


def _simulated_content(machine, path):
    """A directory, the bytes, or a text that is the same for the same content and tells what cannot be known."""
    file = machine["files"].get(path, {})
    if file.get("directory"):
        return DIRECTORY
    name = path.rpartition("\\")[2]
    if TEXT_LIBRARY.fullmatch(name) and not file.keys() & {"text", "bytes", "size"}:
        return name
    library, program = (machine[area].get(path) for area in ("libraries", "programs"))
    if library is None and program is None and "version" not in file:
        return content(file)
    described = {name: file[name] for name in ("text", "bytes", "size", "version") if name in file}
    # A saved machine says more of a library and a program than a described one.
    exports = {name: answer if isinstance(answer, int) else {"result": 0, **answer}
               for name, answer in (library or {}).get("exports", {}).items()}
    runs = [{"exitCode": 0, **run} for run in (program or {}).get("runs", [])]
    return json.dumps([described, exports, runs], sort_keys=True)


# --- A Wine prefix ---------------------------------------------------------------------------------------------------


class Snapshot:
    """The items of a prefix, and of its files what changes when they do: those that KeloDescribe captures, and whatever
    else a change may be seen in. Before it is taken, services have some time to come to the states that are expected of
    them, by their names. What KeloDescribe has captured since the last change is not captured again."""

    def __init__(self, machine, states, captured=None):
        self.items = {}
        self.spelling = {}  # of the items that have names, by their names in lower case
        told, processes = machine_tool.ask(machine.prefix, [services.waiting(states), services.LISTING, "processes",
                                                            *registry.saving(*WATCHED_KEYS)])
        keys = registry.saved(machine.prefix, *WATCHED_KEYS)
        self.captured = complete(captured or machine.captured())
        for name, state in services.in_words(told).items():
            self._add({"state": state}, "service", name)
        for name in processes:
            self.items["process", name.lower()] = self.items.get(("process", name.lower()), 0) + 1
        for key, values in keys.items():
            self._add(KEY_EXISTS, "key", key)
            for name, value in values.items():
                self._add(value, "value", key, name)
        self._add_files(machine.prefix)
        self._merge()

    def content(self, path):
        """A directory, or the bytes of a file."""
        place = pathlib.Path(self.places[path])
        return DIRECTORY if place.is_dir() else place.read_bytes()

    def _add(self, value, kind, *names):
        item = (kind, *(name.lower() for name in names))
        self.items[item] = value
        self.spelling[item] = names[-1]

    def _add_files(self, prefix):
        log = prefix.path(LOG)
        self.log_size = log.stat().st_size if log.is_file() else None
        self.places = {}
        for drive in prefix.drives():
            for path, place, fingerprint in files.below(prefix, drive + "\\"):
                if is_file_compared(path.lower()):
                    self._add(fingerprint, "file", path)
                    self.places[path.lower()] = place

    def _merge(self):
        """Puts what was captured in the place of what was read besides."""
        _, moves = self.items.pop(("value", *PENDING_MOVES_VALUE), NO_TEXTS)
        _, readers = self.items.get(("value", *READERS_VALUE), NO_TEXTS)
        self.items = {name: value for name, value in self.items.items()
                      if name[0] not in ("key", "value") or is_key_compared(name[1])}
        self.items |= of_described(self.captured)
        # Two texts for each move; each text ends with a zero, and so does the list.
        self.items[OTHER_MOVES] = moves.decode("utf-16-le").count("\0") // 2 - len(self.captured["pendingMoves"])
        if self.captured["smartCards"]["manager"] is not True:
            # Nobody can ask for the readers then, and yet the device installer adds one.
            self.items[CARD_READERS] = [text for text in readers.decode("utf-16-le").split("\0") if text]
        self.spelling |= {("service", name.lower()): name for name in self.captured["services"]}


# --- Both ------------------------------------------------------------------------------------------------------------


def states_of(items):
    """The states of the services among items, by their names."""
    return {name[1]: service["state"] for name, service in items.items()
            if name[0] == "service" and name[1] not in WINES_OWN_SERVICES}
