"""Real services under Wine: stand-in programs that go through described states, and what the service manager knows."""

import json
import shutil

from wine import ROOT

PROGRAMS = ROOT / "build" / "windows"
SERVICE_PROGRAM = PROGRAMS / "service_program.exe"
SLEEPER = PROGRAMS / "sleeper.exe"
MACHINE_TOOL = PROGRAMS / "machine_tool.exe"

STATES = {"stopped": 1, "startPending": 2, "stopPending": 3, "running": 4, "continuePending": 5, "pausePending": 6,
          "paused": 7}
GONE = 0  # in place of a state: there is no such service
START_TYPES = {"boot": 0, "system": 1, "auto": 2, "demand": 3, "disabled": 4}
ACCEPTS_STOP = 1
NO_PROGRAM = 2  # ERROR_FILE_NOT_FOUND, the error of starting a service without its program
NEVER = 0xFFFFFFFE  # milliseconds

# What a service does whose description does not say it, as on a simulated machine.
USUAL_REACTIONS = {
    "onStart": {"states": [{"state": "startPending"}, {"afterMs": 300, "state": "running"}]},
    "onStop": {"states": [{"state": "stopPending"}, {"afterMs": 300, "state": "stopped"}]},
}


def start(prefix, path, *arguments):
    """Puts a program that sleeps on a machine, and starts it without waiting for its end."""
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(SLEEPER, target)
    status, _ = prefix.wine("start", path, *arguments)
    if status != 0:
        raise RuntimeError(f"{path} cannot be started: {status}")


def create(prefix, described):
    """Registers described services, by their names, in the place of those that are there, and starts those that are to
    be running. None is a service that is not to be there."""
    lines, active = [f"delete\t{name}" for name in described], {}
    for name, service in described.items():
        if service is None:
            continue
        path, states = prepare(prefix, name, service)
        lines.append(creation(name, {"displayName": name, **service, "binaryPath": path}))
        if service.get("state", "stopped") == "stopped":
            continue
        active[name] = states
        # The service manager takes no other first state for a start.
        running = _line("start", {"state": "running"})
        states.write_text(running + _line("start", service) + _lines("stop", service))
    lines += [f"start\t{name}" for name in active]
    wait_for(prefix, {name: state_of(described[name]) for name in active}, after=lines)
    for name, states in active.items():
        write_states(states, described[name])


def prepare(prefix, name, service):
    """Puts a service's program where it is to be, unless there is one or is to be none, and tells it what the service
    answers. Returns the service's command line and the file that tells the program."""
    program, path = _program_of(name, service)
    target = prefix.path(program)
    target.parent.mkdir(parents=True, exist_ok=True)
    is_to_be_there = service.get("onStart", {}).get("error") != NO_PROGRAM
    if is_to_be_there and (not target.exists() or target.stat().st_size == 0):
        shutil.copyfile(SERVICE_PROGRAM, target)
    states = target.with_name(f"{name}.states")
    write_states(states, service)
    return path, states


def creation(name, service):
    """The line of a script that registers a service, or changes one."""
    start = service.get("start", "")
    members = (service.get("binaryPath", ""), service.get("displayName", ""), service.get("type", ""),
               START_TYPES.get(start, start), service.get("errorControl", ""), service.get("loadOrderGroup", ""),
               "/".join(service.get("dependencies", [])), service.get("account", ""), service.get("description", ""))
    return "\t".join(["create", name, *map(str, members)])


def run_script(prefix, lines):
    """Has machine_tool do what the lines say. Returns what it prints."""
    script = prefix.path(r"C:\machine_tool.txt")
    script.write_text("".join(line + "\n" for line in lines), encoding="utf-8")
    output = _tool(prefix, "script", r"C:\machine_tool.txt")
    script.unlink()
    return output


def answers(prefix, lines):
    """The JSON values that machine_tool prints for the lines of a script."""
    text = run_script(prefix, lines).decode()
    values = []
    while text := text.lstrip():
        value, end = json.JSONDecoder().raw_decode(text)
        values.append(value)
        text = text[end:]
    return values


def state_of(service):
    """The state, a number, in which a service is described to be; that it is gone, where there is no description."""
    return GONE if service is None else STATES[service.get("state", "stopped")]


def write_states(file, service):
    """Tells a service program what its service answers to a start and to a stop."""
    file.write_text(_lines("start", service) + _lines("stop", service))


def configure_path(prefix, name, path):
    """Gives a service another command line."""
    _tool(prefix, "path", name, path)


def show(prefix, name):
    """Status, configuration and description of a service, as the service manager tells them; None without one."""
    return json.loads(_tool(prefix, "show", name))


def wait_for(prefix, states, after=()):
    """Waits until services are in their states, or are gone, by their names; after a script's lines. A service that is
    deleted is there until the last handle of it is closed, and those of a program Wine closes some time after its end.
    Returns what the service manager tells of each, None of one that is gone."""
    told = answers(prefix, [*after, waiting(states), *(f"show\t{name}" for name in states)])
    shown = dict(zip(states, told, strict=True))
    for name, service in shown.items():
        if states[name] != (service["state"] if service else GONE):
            raise AssertionError(f"not in state {states[name]}: {name}, {service}")
    return shown


def waiting(states, seconds=20):
    """The line of a script that waits until services are in their states, or the time is over."""
    return "\t".join(["await", str(1000 * seconds), *(str(word) for item in states.items() for word in item)])


def _program_of(name, service):
    """The path of a service's program, and the command line that the service manager has for it."""
    path = service.get("binaryPath", f'"C:\\Standins\\{name}.exe"')
    return (path.split('"')[1] if path.startswith('"') else path.split(" ")[0]), path


def _lines(moment, service):
    reaction = "on" + moment.capitalize()
    steps = (service.get(reaction) or USUAL_REACTIONS[reaction]).get("states", [])
    # Without a line the program would do at once what is asked of it.
    return "".join(_line(moment, step) for step in steps or [{"afterMs": NEVER, "state": "running"}])


def _line(moment, step):
    state = step["state"]
    usual_controls = ACCEPTS_STOP if state in ("running", "paused") else 0
    members = (step.get("afterMs", 0), STATES[state], step.get("controlsAccepted", usual_controls),
               step.get("exitCode", 0), step.get("serviceExitCode", 0), step.get("checkPoint", 0),
               step.get("waitHint", 0))
    return f"{moment} {' '.join(map(str, members))}\n"


def _tool(prefix, *arguments):
    """Has machine_tool do something. Returns what it prints; when it fails, that ends with why."""
    status, output = prefix.wine(MACHINE_TOOL, *arguments)
    if status != 0:
        raise RuntimeError(f"machine_tool {' '.join(arguments)} ended with {status}: {output.decode(errors='replace')}")
    return output
