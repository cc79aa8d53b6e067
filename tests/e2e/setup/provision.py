"""Sets a Wine prefix up from a machine description, as far as Wine can be like it."""

from machines.descriptions import complete
from machines.limits import LeftOut
from machines.numbers import ENTRY_FLAGS, LOCAL_SYSTEM, READ_ONLY, flags_of
from product import PROVIDERS_KEY
from reading.registry import below_root
from setup import files, libraries, programs, services, system_libraries
from setup.reg_file import deletion, section
from wine import machine_tool

# The Windows versions that Wine knows, and the build and service pack that it gives each.
WINE_VERSIONS = {
    "5.2": ("winxp64", 3790, 2),
    "6.0": ("vista", 6002, 2),
    "6.1": ("win7", 7601, 1),
    "6.2": ("win8", 9200, 0),
    "6.3": ("win81", 9600, 0),
    "10.0": ("win10", 18362, 0),
}

# The languages that the tests use: the locale from which Wine takes each, and the ANSI code page that comes with it.
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

# A key that Wine has by itself and a plain machine has not.
WINES_OWN_KEYS = {PROVIDERS_KEY + r"\Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)": None}

ENVIRONMENT_KEY = r"HKLM\System\CurrentControlSet\Control\Session Manager\Environment"

FILE_MEMBERS = {"directory", "text", "bytes", "size", "denied", "version", "inUse"}
SERVICE_MEMBERS = {"displayName", "description", "type", "start", "errorControl", "binaryPath", "loadOrderGroup",
                   "dependencies", "account", "state", "controlsAccepted", "exitCode", "serviceExitCode", "checkPoint",
                   "waitHint", "onStart", "onStop"}


def provision(prefix, description):
    """Sets a prefix up. Returns what the description says and the prefix cannot be, each a LeftOut."""
    work = _Work(prefix, complete(description))
    for area, apply in AREAS.items():
        # These two are set up on every machine.
        if area in description or area in ("windows", "registry"):
            apply(work, description.get(area) or {})
    for area in description.keys() - AREAS.keys():
        work.miss(area)
    registry, missing = system_libraries.place(prefix, work.machine, work.plain)
    for names in missing:
        work.miss(*names)
    prefix.import_registry("".join(work.registry) + registry)
    if work.security:
        machine_tool.do(prefix, work.security)
    for finish in work.last:
        finish()
    return work.missing


class _Work:
    """A prefix that is being set up."""

    def __init__(self, prefix, machine):
        self.prefix = prefix
        self.machine = machine
        self.plain = complete({})
        self.registry = []  # sections of a .reg file
        self.security = []  # lines of a script that secure keys: at the end, because keys may be read-only then
        self.last = []  # what is done after all else
        self.missing = []

    def miss(self, *names):
        """Leaves out what has this path in the description."""
        self.missing.append(LeftOut(*names))

    def miss_all(self, *names):
        """The same for several members, the last argument, of what has the path before it."""
        *path, members = names
        for member in members:
            self.miss(*path, member)


def _apply_nothing(_work, _value):
    """For areas that need no setting up, or that are set up on every machine."""


def _apply_windows(work, windows):
    represented = {"wow64": False, "platform": 2}
    language = work.machine["windows"]["uiLanguage"]
    if language in WINE_LOCALES:
        work.prefix.locale, code_page = WINE_LOCALES[language]
        represented.update(uiLanguage=language, userLanguage=language, codePage=code_page)
    version = work.machine["windows"]["version"]
    if version not in WINE_VERSIONS:
        version = work.plain["windows"]["version"]
    name, build, service_pack = WINE_VERSIONS[version]
    represented.update(version=version, build=build, servicePack=service_pack)
    work.registry.append(section(r"HKCU\Software\Wine", {"Version": name}))
    work.miss_all("windows", [name for name, value in windows.items() if represented.get(name) != value])


def _apply_process(work, process):
    work.miss_all("process", [name for name in process if name != "path"])


def _apply_folders(work, folders):
    own = work.plain["folders"]
    work.miss_all("folders", [name for name, path in folders.items()
                              if str(path).lower() != str(own.get(name)).lower()])


def _apply_environment(work, environment):
    own = {name.lower(): value.lower() for name, value in work.plain["environment"].items()}
    given = {name: value for name, value in environment.items() if name.lower() not in own and value is not None}
    work.miss_all("environment", [name for name, value in environment.items()
                                  if name not in given and own.get(name.lower()) != str(value).lower()])
    if given:
        work.registry.append(section(ENVIRONMENT_KEY, given))


def _apply_registry(work, registry):
    for path, key in {**WINES_OWN_KEYS, **registry}.items():
        if key is None:
            work.registry.append(deletion(path))
            continue
        values = key.get("values") or {}
        changing = [name for name, value in values.items() if isinstance(value, list)]
        work.miss_all("registry", path, "values", changing)
        work.registry.append(section(path, {name: values[name] for name in values if name not in changing}))
        _secure(work, path, key)
        work.miss_all("registry", path, key.keys() - {"values", "owner", "access", "protected"})


def _secure(work, path, key):
    """Gives a key its owner and its access list."""
    if key.keys() & {"owner", "access", "protected"}:
        work.security.append(security_line(path, key))


def security_line(path, key):
    """The line of a script that gives a key its owner and its access list."""
    flags = "P" if key.get("protected") else ""
    entries = "".join(_entry(entry) for entry in key["access"]) if "access" in key else "(A;;GA;;;WD)"
    sddl = f"O:{key.get('owner', LOCAL_SYSTEM)}D:{flags}{entries}"
    return machine_tool.line("secure", below_root(path), sddl)


def _entry(entry):
    """An entry of an access list in the security descriptor definition language."""
    flags = "".join(text for text, bit in ENTRY_FLAGS.items() if flags_of(entry) & bit)
    kind = "D" if entry.get("type") == "deny" else "A"
    return f"({kind};{flags};{entry.get('mask', 0):#x};;;{entry['trustee']})"


def _apply_files(work, described):
    for name, file in described.items():
        path = work.prefix.path(name.replace("/", "\\"))
        if file is None:
            if path.is_file():
                path.unlink()
            elif path.exists():
                work.miss("files", name)
            continue
        if libraries.TEXT_LIBRARY.fullmatch(path.name) and not file.keys() & {"directory", "text", "bytes", "size"}:
            libraries.place(work.prefix, name, {})
        else:
            files.make(path, file)
            if "version" in file or file.get("inUse"):
                libraries.make_library(path, file)
        known = set(FILE_MEMBERS)
        if file.get("inUse"):
            work.last.append(lambda name=name: libraries.keep_loaded(work.prefix, name))
        if file.get("denied"):
            work.last.append(lambda path=path: path.chmod(0o555 if path.is_dir() else 0))
        if file.get("attributes") == READ_ONLY:
            path.chmod(path.stat().st_mode & ~0o222)
            known.add("attributes")
        work.miss_all("files", name, file.keys() - known)


def _apply_libraries(work, described):
    _apply_standins(work, "libraries", described, libraries.place)


def _apply_programs(work, described):
    for path, program in described.items():
        for names in programs.left_out(program or {}):
            work.miss("programs", path, *names)
    _apply_standins(work, "programs", described, programs.place)


def _apply_standins(work, area, described, place):
    for path, standin in described.items():
        if standin is None:
            continue
        registry = place(work.prefix, path, standin)
        if registry is None:
            work.miss(area, path)
        else:
            work.registry.append(registry)


def _apply_installer(work, installer):
    for name, value in installer.get("properties", {}).items():
        if name != "CustomActionData" or not isinstance(value, str):
            work.miss("installer", "properties", name)


def _apply_services(work, described):
    whole = work.machine["services"]
    # Wine has services of its own; those of a plain machine need not be among them.
    services.create(work.prefix, {name: None if service is None else whole[name]
                                  for name, service in described.items()})
    for name, service in described.items():
        work.miss_all("services", name, (service or {}).keys() - SERVICE_MEMBERS)
        for reaction in ("onStart", "onStop"):
            error = ((service or {}).get(reaction) or {}).get("error")
            if error and (reaction, error) != ("onStart", services.NO_PROGRAM):
                work.miss("services", name, reaction, "error")


def _apply_processes(work, processes):
    own = {process.get("name") for process in work.plain["processes"]}
    for i, process in enumerate(processes):
        work.miss_all("processes", i, process.keys() - {"name", "count"})
        if process.get("name") not in own:
            path = rf"C:\Standins\{process['name']}"
            work.last += [lambda path=path: services.start_sleeper(work.prefix, path)] * process.get("count", 1)


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
