"""What a machine is like, item by item, in one form for a simulated machine and for a Wine prefix; and where two
machines differ that should be the same."""

import json
import os
import re

import services
from program import LOG
from provision import ENTRY_FLAGS, INHERITED, complete, flags_of
from registry_values import typed_bytes
from standins import RESOURCE_LIBRARY, STANDINS

PENDING_MOVES = (r"system\currentcontrolset\control\session manager", "pendingfilerenameoperations")

# Of these keys Wine has many below them, and they are no business of the program's.
PASSED_OVER = [r"SOFTWARE\Classes", r"SOFTWARE\Microsoft\Cryptography\OID",
               r"SOFTWARE\Microsoft\Cryptography\Providers\Trust",
               r"SOFTWARE\Microsoft\Windows NT\CurrentVersion\Time Zones",
               r"SOFTWARE\Microsoft\Windows\CurrentVersion\Explorer\FolderDescriptions",
               r"SOFTWARE\Microsoft\Windows\CurrentVersion\Telephony", r"SYSTEM\CurrentControlSet\Control\Nls"]
WATCHED_KEYS = ["SOFTWARE", "SYSTEM", *("-" + key for key in PASSED_OVER)]

# What the stand-ins and the tools keep for themselves, what the service manager keeps of its services, and the screens
# and adapters that Wine notes as soon as its desktop is up, which may be at any time.
NOT_THE_MACHINES_KEYS = re.compile(
    r"software\\kelostandins\b|software\\wine\b|system\\currentcontrolset\\("
    r"services\b|control\\servicecurrent$|control\\(class|deviceclasses|video)\b|enum\b|hardware profiles\b)")
NOT_THE_MACHINES_FILES = re.compile(
    r"c:\\(kelostandins|standins|machine_tool\.txt|users|windows\\temp)(\\|$)|"
    r".*\\(runs\.txt|folders\.txt|stkprobe\.(txt|log)|exit_witness\.(dll|log)|[^\\]+\.states)$|" +
    re.escape(LOG.lower()))

STATE_NAMES = {number: name for name, number in services.STATES.items()}
START_NAMES = {number: name for name, number in services.START_TYPES.items()}
SERVICE_FIELDS = ("state", "controlsAccepted", "type", "start", "errorControl", "binaryPath", "loadOrderGroup",
                  "dependencies", "account", "displayName", "description")

# Generic rights are those that they stand for on a registry key.
GENERIC_RIGHTS = {0x80000000: 0x20019, 0x10000000: 0xF003F}

# Services that a plain machine has and Wine has in its own manner.
WINES_OWN_SERVICES = {"rpcss"}

KEY_EXISTS = "a key"
DIRECTORY = "a directory"


# --- A simulated machine ---------------------------------------------------------------------------------------------


def settled(machine):
    """A simulated machine, as kelo-rehearse saves it, some time later: its services have gone through what awaited
    them."""
    described = machine.get("services", {})
    return {**machine, "services": {name: _settled_service(service) for name, service in described.items()}}


def _settled_service(service):
    if not (service or {}).get("states"):
        return service
    status = ("state", "controlsAccepted", "exitCode", "serviceExitCode", "checkPoint", "waitHint")
    rest = {name: value for name, value in service.items() if name not in (*status, "states")}
    return {**rest, **{name: value for name, value in service["states"][-1].items() if name in status}}


def of_simulated(machine):
    """The items of a simulated machine."""
    items = {}
    for path, key in machine["registry"].items():
        root, _, below = path.lower().partition("\\")
        if root != "hklm" or not below or NOT_THE_MACHINES_KEYS.match(below):
            continue
        items["key", below] = KEY_EXISTS
        for name, value in key.get("values", {}).items():
            kind, data = typed_bytes(value)
            items["value", below, name.lower()] = _readable(kind, data)
        if "access" in key:
            items["access", below] = sorted((entry["trustee"], _specific(entry["mask"]), flags_of(entry),
                                             entry.get("type", "allow")) for entry in key["access"])
        if "owner" in key:
            items["owner", below] = key["owner"]
    for path in {**machine["files"], **machine["libraries"], **machine["programs"]}:
        if not NOT_THE_MACHINES_FILES.match(path.lower()) and "\\" in path:
            items["file", path.lower()] = _simulated_content(machine, path)
    for name, service in machine["services"].items():
        items["service", name.lower()] = _simulated_service(name, service)
    for process in machine["processes"]:
        if "name" in process:
            name = ("process", process["name"].lower())
            items[name] = items.get(name, 0) + process.get("count", 1)
    items["smart-card readers"] = machine["smartCards"].get("readers", [])
    items["providers"] = sorted(machine["cng"]["providers"])
    items["providers of key storage"] = next(
        (function["providers"] for function in machine["cng"]["contextFunctions"] if function["interface"] == 65537),
        [])
    items["automatic provisioning"] = machine["wmi"]["autoProvisioning"]
    items["pending moves"] = [(move["from"].lower(), move.get("to", "").lower()) for move in machine["pendingMoves"]]
    return items


TEXT_TYPES = (1, 2, 7)


def _readable(kind, data):
    """A registry value: its type, and a text with its zeros or the bytes."""
    return kind, data.decode("utf-16-le", "surrogatepass") if kind in TEXT_TYPES and len(data) % 2 == 0 else data.hex()


def _specific(mask):
    for generic, specific in GENERIC_RIGHTS.items():
        if mask & generic:
            mask = mask & ~generic | specific
    return mask


def _simulated_content(machine, path):
    """A directory, the bytes, or a text that is the same for the same content and tells what cannot be known."""
    file = machine["files"].get(path, {})
    if file.get("directory"):
        return DIRECTORY
    name = path.rpartition("\\")[2]
    if RESOURCE_LIBRARY.fullmatch(name) and not file.keys() & {"text", "bytes", "size"}:
        return name
    described = [machine[area].get(path) for area in ("libraries", "programs")]
    if described == [None, None] and "version" not in file:
        data = file["bytes"].encode("latin-1") if "bytes" in file else file.get("text", "").encode()
        return data.ljust(file["size"], b"\0")[:file["size"]] if "size" in file else data
    content = {name: file[name] for name in ("text", "bytes", "size", "version") if name in file}
    # What is saved says more of a library and a program than what is described.
    exports = {name: answer if isinstance(answer, int) else {"result": 0, **answer}
               for name, answer in (described[0] or {}).get("exports", {}).items()}
    runs = [{"exitCode": 0, **run} for run in (described[1] or {}).get("runs", [])]
    return json.dumps([content, exports, runs], sort_keys=True)


def usual_service(name, state):
    """What a service is like of which no more is told than its name and its state."""
    return {"state": state, "controlsAccepted": 1 if state in ("running", "paused") else 0, "type": 0x10,
            "start": "demand", "errorControl": 1, "binaryPath": "", "loadOrderGroup": "", "dependencies": [],
            "account": "LocalSystem", "displayName": name, "description": ""}


def _simulated_service(name, service):
    usual = usual_service(name, service.get("state", "stopped"))
    return {field: service.get(field, usual.get(field)) for field in SERVICE_FIELDS}


# --- A Wine prefix ---------------------------------------------------------------------------------------------------


class Snapshot:
    """The items of a prefix, and of its files the state by which a change shows. Before it is taken, services have some
    time to come to the states that are expected of them, by their names. Owners and access lists are those of the keys
    that are named."""

    def __init__(self, prefix, states, secured):
        self.prefix = prefix
        self.items = {}
        self.spelling = {}  # of the items that have names, by their names in small letters
        described_services, processes, registry, security = services.answers(prefix, [
            services.waiting(states), "services", "processes", "\t".join(["registry", *WATCHED_KEYS]),
            "\t".join(["security", *secured])])
        for name, service in described_services.items():
            self.items["service", name.lower()] = _real_service(service)
            self.spelling["service", name.lower()] = name
        for name in processes:
            self.items["process", name.lower()] = self.items.get(("process", name.lower()), 0) + 1
        keys = {key.lower(): values for key, values in registry.items()}
        for spelt, values in registry.items():
            key = spelt.lower()
            if not NOT_THE_MACHINES_KEYS.match(key):
                self.items["key", key] = KEY_EXISTS
                self.spelling["key", key] = spelt
                for name, (kind, data) in values.items():
                    self.items["value", key, name.lower()] = _readable(kind, bytes.fromhex(data))
                    self.spelling["value", key, name.lower()] = name
        self._read_standins(keys)
        self._read_security(security)
        log = prefix.path(LOG)
        self.log_size = log.stat().st_size if log.is_file() else None
        self.paths = {}
        for path, file, fingerprint in _files(prefix):
            self.paths[path.lower()] = file, fingerprint
            self.items["file", path.lower()] = fingerprint
            self.spelling["file", path.lower()] = path

    def _read_standins(self, keys):
        def value(library, name):
            kind, data = {name.lower(): data for name, data in keys[rf"{STANDINS}\{library}".lower()].items()}.get(
                name.lower(), (None, ""))
            data = bytes.fromhex(data)
            return data.decode("utf-16-le").rstrip("\0").split("\0") if kind == 7 else data

        def texts(library, name):
            return [text for text in value(library, name) if text]

        self.items["smart-card readers"] = texts("winscard.dll", "readers")
        self.items["providers"] = sorted(texts("bcrypt.dll", "Providers"))
        self.items["providers of key storage"] = texts("bcrypt.dll", "KeyStorage")
        self.items["automatic provisioning"] = value("wbem_locator.dll", "autoProvisioning") != b"\0\0\0\0"
        _, moves = self.items.pop(("value", *PENDING_MOVES), (7, ""))
        texts = moves.split("\0")
        self.items["pending moves"] = [tuple(text.removeprefix("!").removeprefix("\\??\\").lower() for text in pair)
                                       for pair in zip(texts[::2], texts[1::2]) if pair[0]]

    def content(self, path):
        """A directory, or the bytes of a file."""
        file = self.paths[path][0]
        return DIRECTORY if file.is_dir() else file.read_bytes()

    def _read_security(self, security):
        for key, sddl in security.items():
            owner = re.match(r"O:(S-[\d-]+|[A-Z]{2})", sddl)
            self.items["owner", key.lower()] = owner and SIDS.get(owner[1], owner[1])
            entries = [entry.split(";") for entry in re.findall(r"\(([^)]*)\)", sddl)]
            self.items["access", key.lower()] = sorted(
                (SIDS.get(trustee, trustee), _mask(mask), sum(ENTRY_FLAGS[flags[i:i + 2]] for i in range(0, len(flags), 2)),
                 {"A": "allow", "D": "deny"}[kind]) for kind, flags, mask, _, _, trustee in entries)


SIDS = {"BU": "S-1-5-32-545", "BA": "S-1-5-32-544", "SY": "S-1-5-18", "WD": "S-1-1-0"}
SDDL_RIGHTS = {"GA": 0x10000000, "GR": 0x80000000, "KA": 0xF003F, "KR": 0x20019, "KW": 0x20006, "KX": 0x20019,
               "CC": 1, "DC": 2, "LC": 4, "SW": 8, "RP": 0x10, "WP": 0x20, "SD": 0x10000, "RC": 0x20000, "WD": 0x40000,
               "WO": 0x80000}


def _mask(text):
    if text.startswith("0x"):
        return _specific(int(text, 16))
    return _specific(sum(SDDL_RIGHTS[text[i:i + 2]] for i in range(0, len(text), 2)))


def _real_service(service):
    if service is None:
        return None
    return {**service, "state": STATE_NAMES[service["state"]], "start": START_NAMES[service["start"]]}


def _files(prefix):
    """Each file of the prefix: its Windows path, where it lies, and what changes when it does."""
    for drive in prefix.drives():
        root = prefix.path(drive + "\\")
        for folder, folders, names in os.walk(root):
            for name in folders + names:
                file = root.__class__(folder, name)
                path = drive.upper() + "\\" + str(file.relative_to(root)).replace("/", "\\")
                if not NOT_THE_MACHINES_FILES.match(path.lower()):
                    status = file.lstat()
                    yield path, file, DIRECTORY if name in folders else (status.st_size, status.st_mtime_ns)


# --- Both ------------------------------------------------------------------------------------------------------------


class Comparison:
    """Compares a prefix with the simulated machine that it was set up to be like, run after run."""

    def __init__(self, prefix, machine):
        self.prefix = prefix
        self.program = ("file", machine["process"]["path"].lower())  # nobody knows its content
        self.plain = of_simulated(complete({}))
        self.predicted = of_simulated(complete(settled(machine)))
        self.seen = Snapshot(prefix, states_of(self.predicted), secured_keys(self.predicted))
        # Others come and go in a prefix that no simulated machine has.
        self.known_processes = {name for name in self.predicted.keys() - self.plain.keys() if name[0] == "process"}
        # Of the content of libraries and programs, and of files in use, only this is known: where it was at first.
        self.known_contents = {}
        in_use = {path.lower() for path, file in machine["files"].items() if file.get("inUse")}
        for name, content in self.predicted.items():
            is_image = isinstance(content, str) or name[1] in in_use
            if name[0] == "file" and is_image and name[1] in self.seen.paths:
                self.known_contents.setdefault(content, set()).add(self.seen.content(name[1]))

    def differences(self):
        """Where the prefix is not as described at the beginning: a line each."""
        return self._compare(self._said(), self.seen)

    def differences_after(self, machine):
        """Where the prefix is not like the simulated machine after a run of both: a line each."""
        predicted_before, seen_before = self.predicted, self.seen
        self.predicted = of_simulated(complete(settled(machine)))
        gone = dict.fromkeys(states_of(predicted_before), services.GONE)
        self.seen = Snapshot(self.prefix, gone | states_of(self.predicted), secured_keys(self.predicted))
        return self._compare(self._said() | _changed(predicted_before, self.predicted)
                             | _changed(seen_before.items, self.seen.items), seen_before)

    def _said(self):
        """The items that are not as on any machine."""
        return {name for name, value in self.predicted.items() if self.plain.get(name) != value}

    def _compare(self, names, seen_before):
        lines = []
        for name in sorted(names, key=str):
            predicted, seen = self.predicted.get(name), self.seen.items.get(name)
            if name[0] == "service" and predicted and seen and not predicted["binaryPath"]:
                seen = {**seen, "binaryPath": ""}  # there has to be a stand-in
            if name[0] == "owner" and predicted is None:
                continue  # Wine makes the user a key's owner as soon as the key is given a list
            if name[0] == "access":
                predicted = self._list_on_wine(name, predicted, seen, seen_before)
            if name[0] == "service" and name[1] in WINES_OWN_SERVICES:
                continue
            if name[0] == "process" and name not in self.known_processes:
                continue
            if name[0] == "file" and name[1] in self.seen.paths:
                if name == self.program:
                    continue
                seen = self.seen.content(name[1])
                known = self.known_contents.get(predicted)
                if known and seen in known:
                    continue
            if predicted != seen:
                lines.append(f"{' '.join(name) if isinstance(name, tuple) else name}: predicted {_short(predicted)}, "
                             f"seen {_short(seen)}")
        return lines


    def _list_on_wine(self, name, predicted, seen, seen_before):
        """The access list that is predicted, as far as Wine hands lists down: not at all."""
        if predicted is None:
            return seen_before.items.get(name, seen)  # a key that is described without a list keeps its own
        if seen_before is self.seen:
            return predicted  # as described, inherited entries included
        if name not in seen_before.items:
            return seen  # Wine gives a new key a list of its own
        return [entry for entry in predicted if not entry[2] & INHERITED or entry in (seen or [])]


def states_of(items):
    """The states of the services among items, by their names."""
    return {name[1]: services.state_of(service) for name, service in items.items()
            if name[0] == "service" and name[1] not in WINES_OWN_SERVICES}


def secured_keys(items):
    """The keys among items: of those, owners and access lists are of concern."""
    return sorted(name[1] for name in items if name[0] == "key")


def _changed(before, after):
    return {name for name in before.keys() | after.keys() if before.get(name) != after.get(name)}


def _short(value):
    text = repr(value)
    return text if len(text) <= 400 else f"{text[:400]}... ({len(text)} characters)"
