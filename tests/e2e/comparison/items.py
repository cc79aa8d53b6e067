"""The items of a machine, simulated or a Wine prefix, in one form for both."""

import json

from comparison.scope import (SERVICE_FIELDS, WATCHED_KEYS, WINES_OWN_SERVICES, is_file_compared, is_key_compared,
                              usual_service)
from machines.numbers import GENERIC_ALL, GENERIC_READ, KEY_ALL_ACCESS, KEY_READ, flags_of
from machines.registry_values import REG_MULTI_SZ, described_value, typed_bytes
from product import LOG
from reading import files, registry, services
from reading.files import DIRECTORY
from setup.files import content
from setup.libraries import TEXT_LIBRARY
from setup.system_libraries import KEY_STORAGE_FUNCTION
from standins.names import (AUTO_PROVISIONING, CARDS_LIBRARY, CNG_LIBRARY, KEY, KEY_STORAGE, PROVIDERS, READERS,
                            WMI_LIBRARY)
from wine import machine_tool

KEY_EXISTS = "a key"

# The items that have no parts.
CARD_READERS = "smart-card readers"
CNG_PROVIDERS = "providers"
KEY_STORAGE_PROVIDERS = "providers of key storage"
PROVISIONING = "automatic provisioning"
PENDING_MOVES = "pending moves"

PENDING_MOVES_VALUE = (r"system\currentcontrolset\control\session manager", "pendingfilerenameoperations")

# The specific rights that generic ones mean on a registry key.
SPECIFIC_RIGHTS = {GENERIC_READ: KEY_READ, GENERIC_ALL: KEY_ALL_ACCESS}


# --- A simulated machine ---------------------------------------------------------------------------------------------


def of_simulated(machine):
    """The items of a simulated machine."""
    items = {}
    for path, key in machine["registry"].items():
        root, _, below = path.lower().partition("\\")
        if root == "hklm" and below and is_key_compared(below):
            _add_simulated_key(items, below, key)
    for path in {**machine["files"], **machine["libraries"], **machine["programs"]}:
        if is_file_compared(path.lower()) and "\\" in path:
            items["file", path.lower()] = _simulated_content(machine, path)
    for name, service in machine["services"].items():
        usual = usual_service(name, service.get("state", "stopped"))
        items["service", name.lower()] = {field: service.get(field, usual.get(field)) for field in SERVICE_FIELDS}
    for process in machine["processes"]:
        if "name" in process:
            name = ("process", process["name"].lower())
            items[name] = items.get(name, 0) + process.get("count", 1)
    items[CARD_READERS] = machine["smartCards"].get("readers", [])
    items[CNG_PROVIDERS] = sorted(machine["cng"]["providers"])
    items[KEY_STORAGE_PROVIDERS] = next(
        (function["providers"] for function in machine["cng"]["contextFunctions"]
         if function["interface"] == KEY_STORAGE_FUNCTION["interface"]), [])
    items[PROVISIONING] = machine["wmi"]["autoProvisioning"]
    items[PENDING_MOVES] = [(move["from"].lower(), move.get("to", "").lower()) for move in machine["pendingMoves"]]
    return items


def _add_simulated_key(items, name, key):
    items["key", name] = KEY_EXISTS
    for value_name, value in key.get("values", {}).items():
        items["value", name, value_name.lower()] = typed_bytes(value)
    if "access" in key:
        items["access", name] = _access_list({"type": "allow", **entry, "flags": flags_of(entry)}
                                             for entry in key["access"])
    if "owner" in key:
        items["owner", name] = key["owner"]


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
    """The items of a prefix, and of its files what changes when they do. Before it is taken, services have some time to
    come to the states that are expected of them, by their names. Owners and access lists are those of the keys that are
    named."""

    def __init__(self, prefix, states, secured):
        self.items = {}
        self.spelling = {}  # of the items that have names, by their names in lower case
        described, processes, keys, security = machine_tool.ask(prefix, [
            services.waiting(states), services.listing(), "processes", registry.listing(*WATCHED_KEYS),
            registry.security_of(*secured)])
        for name, service in described.items():
            self._add("service", name, services.in_words(service))
        for name in processes:
            self.items["process", name.lower()] = self.items.get(("process", name.lower()), 0) + 1
        for key, values in keys.items():
            if is_key_compared(key.lower()):
                self._add_key(key, values)
        self._read_standins({key.lower(): values for key, values in keys.items()})
        for key, sddl in security.items():
            told = registry.security(sddl)
            self.items["owner", key.lower()] = told["owner"]
            self.items["access", key.lower()] = _access_list(told["access"])
        log = prefix.path(LOG)
        self.log_size = log.stat().st_size if log.is_file() else None
        self.places = {}  # of the files
        for drive in prefix.drives():
            for path, place, fingerprint in files.below(prefix, drive + "\\"):
                if is_file_compared(path.lower()):
                    self._add("file", path, fingerprint)
                    self.places[path.lower()] = place

    def content(self, path):
        """A directory, or the bytes of a file."""
        place = self.places[path]
        return DIRECTORY if place.is_dir() else place.read_bytes()

    def _add(self, kind, name, value):
        self.items[kind, name.lower()] = value
        self.spelling[kind, name.lower()] = name

    def _add_key(self, key, values):
        self._add("key", key, KEY_EXISTS)
        for name, (kind, data) in values.items():
            self.items["value", key.lower(), name.lower()] = kind, bytes.fromhex(data)
            self.spelling["value", key.lower(), name.lower()] = name

    def _read_standins(self, keys):
        def value(library, name):
            kind, data = {name.lower(): value for name, value in keys[rf"{KEY}\{library}".lower()].items()}.get(
                name.lower(), (REG_MULTI_SZ, ""))
            return kind, bytes.fromhex(data)

        def texts(library, name):
            return _texts(value(library, name))

        self.items[CARD_READERS] = texts(CARDS_LIBRARY, READERS)
        self.items[CNG_PROVIDERS] = sorted(texts(CNG_LIBRARY, PROVIDERS))
        self.items[KEY_STORAGE_PROVIDERS] = texts(CNG_LIBRARY, KEY_STORAGE)
        self.items[PROVISIONING] = described_value(*value(WMI_LIBRARY, AUTO_PROVISIONING)) != 0
        moves = _texts(self.items.pop(("value", *PENDING_MOVES_VALUE), (REG_MULTI_SZ, b"")), empty_too=True)
        self.items[PENDING_MOVES] = [tuple(text.removeprefix("!").removeprefix("\\??\\").lower() for text in pair)
                                     for pair in zip(moves[::2], moves[1::2]) if pair[0]]


def _texts(value, empty_too=False):
    """The texts of a list."""
    _, data = value
    return [text for text in data.decode("utf-16-le").split("\0") if text or empty_too]


def _access_list(entries):
    return sorted((entry["trustee"], _specific(entry["mask"]), entry["flags"], entry["type"]) for entry in entries)


def _specific(mask):
    for generic, specific in SPECIFIC_RIGHTS.items():
        if mask & generic:
            mask = mask & ~generic | specific
    return mask


# --- Both ------------------------------------------------------------------------------------------------------------


def states_of(items):
    """The states of the services among items, by their names."""
    return {name[1]: service["state"] for name, service in items.items()
            if name[0] == "service" and name[1] not in WINES_OWN_SERVICES}


def secured_keys(items):
    """The keys among items, whose owners and access lists are compared."""
    return sorted(name[1] for name in items if name[0] == "key")
