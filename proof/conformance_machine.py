"""The machine of the conformance tests as a script for machine_tool, which makes it on any Windows."""

from paths import ROOT

# In tests/e2e, as paths.
from machines.descriptions import load
from machines.numbers import STATES
from machines.registry_values import typed_bytes
from setup import services
from reading.registry import below_root
from setup.programs import FOREVER
from setup.provision import security_line
from standins.names import KEY, RUN_MS_ENDING
from wine.machine_tool import line

DESCRIPTION = ROOT / "tests" / "winsim" / "machine.json"
TESTS = ("winsim_conformance.exe", "Internationalization_en.dll")
TESTS_FOLDER = r"C:\Standins\Tests"
LINKED = "C:\\Linked\\"
STATES_LIMIT_MS = 30000
# The programs that the script copies, and the tool that reads it.
PROGRAMS = (*TESTS, "service_program.exe", "described_program.exe", "machine_tool.exe")


def script():
    """The lines of the script, in the folder of PROGRAMS."""
    machine = load(DESCRIPTION)
    return [*(line("copy", file, rf"{TESTS_FOLDER}\{file}") for file in TESTS),
            *_keys(machine["registry"]), *_programs(machine["programs"]), *_links(machine["files"]),
            *_services(machine["services"])]


def _keys(described):
    for path, key in described.items():
        yield line("key", below_root(path))
        yield security_line(path, key)


def _programs(described):
    for path, program in described.items():
        yield line("copy", "described_program.exe", path)
        for run in program["runs"]:
            arguments, name = run.get("arguments", ""), path.rpartition("\\")[2]
            yield _setting(name, arguments, run.get("exitCode", 0))
            if run.keys() & {"runMs", "neverEnds"}:
                yield _setting(name, arguments + RUN_MS_ENDING, FOREVER if run.get("neverEnds") else run["runMs"])


def _setting(stand_in, name, number):
    kind, data = typed_bytes(number)
    return line("value", rf"{KEY}\{stand_in}", name, kind, data.hex())


def _links(files):
    """Targets before hard links; a symbolic link needs no target."""
    for path, file in sorted(files.items(), key=lambda item: "hardLinkTo" in item[1]):
        if not path.startswith(LINKED):
            continue
        if "link" in file:
            yield line("link", path, file["link"], "folder" if file.get("directory") else "file")
        elif "hardLinkTo" in file:
            yield line("hardlink", path, file["hardLinkTo"])
        else:
            yield line("write", path, file.get("text", ""))


def _services(described):
    active = {name: service for name, service in described.items() if service.get("state", "stopped") != "stopped"}
    for name, service in described.items():
        program, command_line = services.program_of(name, service)
        if services.has_program(service):
            yield line("copy", "service_program.exe", program)
        yield _states(name, program, services.first_states_text(service) if name in active else
                      services.states_text(service))
        yield services.creation(name, {"displayName": name, **service, "binaryPath": command_line})
    yield from (line("start", name) for name in active)
    yield line("await", STATES_LIMIT_MS, *(word for name, service in active.items()
                                           for word in (name, STATES[service["state"]])))
    for name, service in active.items():
        yield _states(name, services.program_of(name, service)[0], services.states_text(service))


def _states(name, program, text):
    folder = program.rpartition("\\")[0]
    return line("write", rf"{folder}\{name}.states", *text.splitlines())
