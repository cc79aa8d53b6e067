"""Sets a Wine prefix up from a machine description, as far as Wine can be made like it."""

import json
import pathlib

import stack_standins
import standins
import system_standins
import services
from registry_values import typed_bytes, utf16
from wine import ROOT
from wine_limits import LeftOut

# The Windows versions that Wine knows, and the build and service pack that it gives each.
WINE_VERSIONS = {
    "5.2": ("winxp64", 3790, 2),
    "6.0": ("vista", 6002, 2),
    "6.1": ("win7", 7601, 1),
    "6.2": ("win8", 9200, 0),
    "6.3": ("win81", 9600, 0),
    "10.0": ("win10", 18362, 0),
}

ROOT_KEYS = {"HKLM": "HKEY_LOCAL_MACHINE", "HKCU": "HKEY_CURRENT_USER", "HKCR": "HKEY_CLASSES_ROOT",
             "HKU": "HKEY_USERS"}
RIGHTS = {"DELETE": 0x10000, "READ_CONTROL": 0x20000, "WRITE_DAC": 0x40000, "WRITE_OWNER": 0x80000,
          "KEY_QUERY_VALUE": 1, "KEY_SET_VALUE": 2, "KEY_CREATE_SUB_KEY": 4}

# The flags of an access list's entry as the security descriptor definition language has them.
INHERITED = 16
ENTRY_FLAGS = {"OI": 1, "CI": 2, "NP": 4, "IO": 8, "ID": INHERITED}

# The languages that the tests use: the locale that makes Wine speak each, and the ANSI code page that comes with it.
WINE_LOCALES = {
    1033: ("C.UTF-8", 1252),
    1028: ("zh_TW.UTF-8", 950),
    1031: ("de_DE.UTF-8", 1252),
    1036: ("fr_FR.UTF-8", 1252),
    1041: ("ja_JP.UTF-8", 932),
    1042: ("ko_KR.UTF-8", 949),
    1044: ("nb_NO.UTF-8", 1252),
    1045: ("pl_PL.UTF-8", 1250),
    1046: ("pt_BR.UTF-8", 1252),
    2052: ("zh_CN.UTF-8", 936),
}

READ_ONLY = 1  # FILE_ATTRIBUTE_READONLY


def load(path):
    """The description in a JSON file, together with those that it is like."""
    with open(path, encoding="utf-8") as file:
        description = json.load(file)
    model = description.pop("like", None)
    return description if model is None else _layered(load(pathlib.Path(path).parent / model), description)


def _layered(description, patch):
    """One description that does what two do one after the other."""
    if not isinstance(description, dict) or not isinstance(patch, dict):
        return patch
    return description | {name: _layered(description.get(name), value) for name, value in patch.items()}


def complete(description):
    """The whole machine that a description, a patch on a plain Windows 10, stands for."""
    return _merge(load(ROOT / "winsim" / "plain_windows_10.json"), description)


def provision(prefix, description):
    """Sets a prefix up. Returns what the description says and the prefix can not be, each a LeftOut."""
    work = _Work(prefix, complete(description))
    for area, apply in AREAS.items():
        # What a machine has also where its description does not say so.
        if area in description or area in ("windows", "registry"):
            apply(work, description.get(area) or {})
    for area in description.keys() - AREAS.keys():
        work.miss(area)
    _place_system_standins(work)
    prefix.import_registry("Windows Registry Editor Version 5.00\n" + "".join(work.registry))
    for finish in work.last:
        finish()
    return work.missing


class _Work:
    def __init__(self, prefix, machine):
        self.prefix = prefix
        self.machine = machine
        self.registry = []  # the text of a .reg file
        self.last = []  # what is done when all else is
        self.missing = []

    def miss(self, *names):
        """Leaves out what has this path in the description."""
        self.missing.append(LeftOut(*names))

    def miss_all(self, *names):
        """The same for several members, the last argument, of what has the path before it."""
        *path, members = names
        for member in members:
            self.miss(*path, member)


def _merge(target, patch):
    """A JSON merge patch."""
    if not isinstance(patch, dict):
        return patch
    merged = dict(target) if isinstance(target, dict) else {}
    for name, value in patch.items():
        if value is None:
            merged.pop(name, None)
        else:
            merged[name] = _merge(merged.get(name), value)
    return merged


def _place_system_standins(work):
    program = work.machine["process"]["path"]
    registry, missing = system_standins.place(work.prefix, program, work.machine, complete({}))
    work.registry.append(registry)
    for names in missing:
        work.miss(*names)


def _apply_nothing(_work, _value):
    """For what needs no setting up, or is set up on every machine."""


def _apply_windows(work, windows):
    represented = {"wow64": False, "platform": 2}
    language = work.machine["windows"]["uiLanguage"]
    if language in WINE_LOCALES:
        work.prefix.locale, code_page = WINE_LOCALES[language]
        represented.update(uiLanguage=language, userLanguage=language, codePage=code_page)
    version = work.machine["windows"]["version"]
    if version not in WINE_VERSIONS:
        version = complete({})["windows"]["version"]
    name, build, service_pack = WINE_VERSIONS[version]
    represented.update(version=version, build=build, servicePack=service_pack)
    work.registry.append(f'\n[HKEY_CURRENT_USER\\Software\\Wine]\n"Version"="{name}"\n')
    work.miss_all("windows", [name for name, value in windows.items() if represented.get(name) != value])


def _apply_process(work, process):
    work.miss_all("process", [name for name in process if name != "path"])


def _apply_folders(work, folders):
    own = complete({})["folders"]
    work.miss_all("folders", [name for name, path in folders.items()
                              if str(path).lower() != str(own.get(name)).lower()])


def _apply_environment(work, environment):
    own = {name.lower(): value.lower() for name, value in complete({})["environment"].items()}
    lines = []
    for name, value in environment.items():
        if name.lower() not in own and value is not None:
            lines.append(f"{_quote(name)}={_hex_value(1, utf16(value))}\n")
        elif own.get(name.lower()) != str(value).lower():
            work.miss("environment", name)
    if lines:
        work.registry.append("\n[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\\"
                             "Environment]\n")
        work.registry += lines


# Keys that Wine has by itself and a plain machine has not.
WINES_OWN_KEYS = {r"HKLM\SOFTWARE\Microsoft\Cryptography\Defaults\Provider" + "\\" +
                  "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)": None}


def _apply_registry(work, registry):
    for path, key in {**WINES_OWN_KEYS, **registry}.items():
        root, _, below = path.partition("\\")
        full = ROOT_KEYS[root.upper()] + ("\\" + below if below else "")
        if key is None:
            work.registry.append(f"\n[-{full}]\n")
            continue
        work.registry.append(f"\n[{full}]\n")
        for name, value in (key.get("values") or {}).items():
            if isinstance(value, list):
                work.miss("registry", path, "values", name)
            else:
                work.registry.append(f"{_quote(name) if name else '@'}={_value(value)}\n")
        _secure(work, path, below, key)
        work.miss_all("registry", path, key.keys() - {"values", "owner", "access", "protected"})


def _secure(work, path, below, key):
    """Gives a key its owner and its access list: at the end, because it may then not be written any more."""
    if not key.keys() & {"owner", "access", "protected"}:
        return
    flags = "P" if key.get("protected") else ""
    entries = "".join(_entry(entry) for entry in key["access"]) if "access" in key else "(A;;GA;;;WD)"
    sddl = f"O:{key.get('owner', 'S-1-5-18')}D:{flags}{entries}"
    work.last.append(lambda: services.run_script(work.prefix, [f"secure\t{below}\t{sddl}"]))


def flags_of(entry):
    """The flags of an entry of a described access list."""
    return entry.get("inheritance", 0) | (INHERITED if entry.get("inherited") else 0)


def _entry(entry):
    """An entry of an access list, as the security descriptor definition language has it."""
    mask = entry.get("mask", 0)
    if not isinstance(mask, int):
        mask = sum(RIGHTS[name] for name in mask)
    flags = "".join(text for text, bit in ENTRY_FLAGS.items() if flags_of(entry) & bit)
    kind = "D" if entry.get("type") == "deny" else "A"
    return f"({kind};{flags};{mask:#x};;;{entry['trustee']})"


def _value(value):
    if value is None:
        return "-"
    if isinstance(value, int):
        return f"dword:{value:08x}"
    kind, data = typed_bytes(value)
    return _hex_value(kind, data)


def _hex_value(kind, data):
    return f"hex({kind:x}):{data.hex(',')}"


def _quote(name):
    return '"' + name.replace("\\", "\\\\").replace('"', '\\"') + '"'


def _apply_files(work, files):
    for name, file in files.items():
        path = work.prefix.path(name.replace("/", "\\"))
        if file is None:
            if path.is_file():
                path.unlink()
            elif path.exists():
                work.miss("files", name)
            continue
        if standins.RESOURCE_LIBRARY.fullmatch(path.name) and not file.keys() & {"directory", "text", "bytes", "size"}:
            standins.place_library(work.prefix, name, {})
        else:
            _make_file(path, file)
        known = {"directory", "text", "bytes", "size", "denied", "version", "inUse"}
        if file.get("inUse"):
            work.last.append(lambda name=name: stack_standins.keep_loaded(work.prefix, name))
        if file.get("denied"):
            work.last.append(lambda path=path: path.chmod(0o555 if path.is_dir() else 0))
        if file.get("attributes") == READ_ONLY:
            path.chmod(path.stat().st_mode & ~0o222)
            known.add("attributes")
        work.miss_all("files", name, file.keys() - known)


def _make_file(path, file):
    if file.get("directory"):
        path.mkdir(parents=True, exist_ok=True)
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(file["bytes"].encode("latin-1") if "bytes" in file else file.get("text", "").encode())
    if "size" in file:
        with open(path, "r+b") as content:
            content.truncate(file["size"])
    if "version" in file or file.get("inUse"):
        stack_standins.make_library(path, file)


def _apply_libraries(work, libraries):
    _apply_standins(work, "libraries", libraries, stack_standins.place_probe, standins.place_library)


def _apply_programs(work, programs):
    for path, program in programs.items():
        for names in standins.left_out_of_program(program or {}):
            work.miss("programs", path, *names)
    _apply_standins(work, "programs", programs, standins.place_program)


def _apply_standins(work, area, described, *kinds):
    """Puts each where it is to be, as the first kind of stand-in that can be like it."""
    for path, standin in described.items():
        if standin is None:
            continue
        placed = (place(work.prefix, path, standin) for place in kinds)
        registry = next((text for text in placed if text is not None), None)
        if registry is None:
            work.miss(area, path)
        else:
            work.registry.append(registry)


def _apply_installer(work, installer):
    for name, value in installer.get("properties", {}).items():
        if name != "CustomActionData" or not isinstance(value, str):
            work.miss("installer", "properties", name)


SERVICE_MEMBERS = {"displayName", "description", "type", "start", "errorControl", "binaryPath", "loadOrderGroup",
                   "dependencies", "account", "state", "controlsAccepted", "exitCode", "serviceExitCode", "checkPoint",
                   "waitHint", "onStart", "onStop"}


def _apply_services(work, described):
    whole = work.machine["services"]
    # Wine has services of its own; what a plain machine has need not be among them.
    services.create(work.prefix, {name: None if service is None else whole[name]
                                  for name, service in described.items()})
    for name, service in described.items():
        work.miss_all("services", name, (service or {}).keys() - SERVICE_MEMBERS)
        for reaction in ("onStart", "onStop"):
            error = ((service or {}).get(reaction) or {}).get("error")
            if error and (reaction, error) != ("onStart", services.NO_PROGRAM):
                work.miss("services", name, reaction, "error")


def _apply_processes(work, processes):
    own = {process.get("name") for process in complete({})["processes"]}
    for i, process in enumerate(processes):
        work.miss_all("processes", i, process.keys() - {"name", "count"})
        if process.get("name") not in own:
            path = rf"C:\Standins\{process['name']}"
            work.last += [lambda path=path: services.start(work.prefix, path)] * process.get("count", 1)


# Where a plain Windows machine and Wine differ: what Wine has, as a description.
WINE = {
    "clock": {"zoneBias": 0, "daylightBias": -60},
    "folders": {"windows": r"C:\windows", "system": r"C:\windows\system32"},
    "environment": {"windir": r"C:\windows", "SystemRoot": r"C:\windows"},
    "services": {"TBS": None, "SCardSvr": None, "CertPropSvc": None},
}


def as_on_wine(description):
    """The description, with what Wine has in place of a plain machine's where it says nothing itself."""
    def under(base, over):
        if not isinstance(base, dict) or not isinstance(over, dict):
            return over
        return {**base, **{name: under(base.get(name), value) for name, value in over.items()}}
    return under(WINE, description)


def without_vain_nulls(description, base=None):
    """The description without the nulls that take nothing away from a plain machine: kelo-rehearse refuses them, and
    they come of putting one description onto another."""
    base = load(ROOT / "winsim" / "plain_windows_10.json") if base is None else base
    return {name: without_vain_nulls(value, base.get(name) if isinstance(base.get(name), dict) else {})
            if isinstance(value, dict) and name != "effects" else value
            for name, value in description.items() if value is not None or name in base}


# How each area of a description is set up, in this order; any other is left out.
AREAS = {
    "title": _apply_nothing,
    "windows": _apply_windows,
    "process": _apply_process,
    "folders": _apply_folders,
    "environment": _apply_environment,
    "registry": _apply_registry,
    "files": _apply_files,
    "libraries": _apply_libraries,
    "programs": _apply_programs,
    "installer": _apply_installer,
    "services": _apply_services,
    "processes": _apply_processes,
    "smartCards": _apply_nothing,
    "cng": _apply_nothing,
    "wmi": _apply_nothing,
}
