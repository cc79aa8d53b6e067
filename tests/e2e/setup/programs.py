"""Stand-ins for described programs: each ends as it is described, after it has changed the machine."""

import paths
from machines.registry_values import multi_string, typed_bytes
from setup import services
from setup.files import copy
from setup.reg_file import section
from standins.names import CARDS_LIBRARY, EFFECTS_ENDING, FOLDER, KEY, MACHINE_TOOL, READERS, RUN_MS_ENDING
from wine import machine_tool

FOREVER = 0xFFFFFFFF  # milliseconds


def place(prefix, path, program):
    """Puts a described program where it is to be. Returns the registry text that its stand-in reads; None when no
    stand-in could be like it."""
    name = path.rpartition("\\")[2]
    runs = program.get("runs", [])
    fits_all = [i for i, run in enumerate(runs) if "arguments" not in run]
    if fits_all and fits_all[0] != len(runs) - 1:
        return None
    copy(paths.WINDOWS / "described_program.exe", prefix, path)
    copy(machine_tool.PROGRAM, prefix, MACHINE_TOOL)
    # Of two runs with the same arguments the first counts.
    first = {run.get("arguments", ""): run for run in reversed(runs)}
    values = {arguments: run.get("exitCode", 0) for arguments, run in first.items()}
    for i, (arguments, run) in enumerate(first.items()):
        if "effects" in run:
            script = rf"{FOLDER}\{name}.{i}.txt"
            prefix.path(script).write_text(_effects_script(prefix, run["effects"]), encoding="utf-8")
            values[arguments + EFFECTS_ENDING] = script
    return settings(name, values)


def settings(name, values):
    """The registry text of a stand-in: its key, with numbers and other values."""
    return section(rf"HKLM\{KEY}\{name}", {value: data & 0xFFFFFFFF if isinstance(data, int) else data
                                          for value, data in values.items()})


def times(path, program):
    """The registry text from which the stand-in of a described program reads how long its runs take. Only tests whose
    log shows the time need it."""
    return settings(path.rpartition("\\")[2], {
        run.get("arguments", "") + RUN_MS_ENDING: FOREVER if run.get("neverEnds") else run["runMs"]
        for run in reversed(program.get("runs", [])) if run.keys() & {"runMs", "neverEnds"}})


def left_out(program):
    """The paths in a program's description of what its stand-in does not do."""
    for i, run in enumerate(program.get("runs", [])):
        for member in run.keys() - {"arguments", "exitCode", "effects"}:
            yield "runs", i, member
        effects = run.get("effects", {})
        for area in effects.keys() - {"services", "registry", "smartCards"}:
            yield "runs", i, "effects", area
        for member in effects.get("smartCards", {}).keys() - {READERS}:
            yield "runs", i, "effects", "smartCards", member


def _effects_script(prefix, effects):
    """What machine_tool does for effects on a machine."""
    lines = []
    if READERS in effects.get("smartCards", {}):
        lines.append(_value_line(rf"{KEY}\{CARDS_LIBRARY}", READERS, multi_string(effects["smartCards"][READERS])))
    for path, key in effects.get("registry", {}).items():
        lines += [_value_line(path.partition("\\")[2], name, value) for name, value in key["values"].items()]
    for name, service in effects.get("services", {}).items():
        if service is None:
            lines.append(machine_tool.line("delete", name))
        else:
            services.prepare(prefix, name, service)
            lines.append(services.creation(name, service))
    return "".join(line + "\n" for line in lines)


def _value_line(key, name, value):
    kind, data = typed_bytes(value)
    return machine_tool.line("value", key, name, kind, data.hex())
