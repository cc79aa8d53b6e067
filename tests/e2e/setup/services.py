"""Registers described services, whose programs are stand-ins that go through the described states."""

import shutil

import paths
from machines.numbers import ACCEPTS_STOP, START_TYPES, STATES
from reading import services
from wine import machine_tool

SERVICE_PROGRAM = paths.WINDOWS / "service_program.exe"
SLEEPER = paths.WINDOWS / "sleeper.exe"

NO_PROGRAM = 2  # ERROR_FILE_NOT_FOUND, the error of starting a service without its program
NEVER = 0xFFFFFFFE  # milliseconds

# What a service does whose description does not say it, as on a simulated machine.
USUAL_REACTIONS = {
    "onStart": {"states": [{"state": "startPending"}, {"afterMs": 300, "state": "running"}]},
    "onStop": {"states": [{"state": "stopPending"}, {"afterMs": 300, "state": "stopped"}]},
}


def start_sleeper(prefix, path, *arguments):
    """Puts a program that sleeps on a machine, and starts it without waiting for its end."""
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(SLEEPER, target)
    status, _ = prefix.wine("start", path, *arguments)
    if status != 0:
        raise RuntimeError(f"{path} cannot be started: {status}")


def create(prefix, described):
    """Registers described services, by their names, in place of those that are there, and starts those that are to be
    running. None is a service that is not to be there."""
    lines, active = [machine_tool.line("delete", name) for name in described], {}
    for name, service in described.items():
        if service is None:
            continue
        path, states = prepare(prefix, name, service)
        lines.append(creation(name, {"displayName": name, **service, "binaryPath": path}))
        if service.get("state", "stopped") == "stopped":
            continue
        active[name] = states
        states.write_text(first_states_text(service))
    lines += [machine_tool.line("start", name) for name in active]
    services.wait_for(prefix, {name: services.state_of(described[name]) for name in active}, after=lines)
    for name, states in active.items():
        states.write_text(states_text(described[name]))


def prepare(prefix, name, service):
    """Puts a service's program where it is to be, unless there is one or is to be none, and tells it how the service
    reacts. Returns the service's command line and the file that tells the program."""
    program, path = program_of(name, service)
    target = prefix.path(program)
    target.parent.mkdir(parents=True, exist_ok=True)
    if has_program(service) and (not target.exists() or target.stat().st_size == 0):
        shutil.copyfile(SERVICE_PROGRAM, target)
    states = target.with_name(f"{name}.states")
    states.write_text(states_text(service))
    return path, states


def creation(name, service):
    """The line of a script that registers a service, or changes one."""
    start = service.get("start", "")
    return machine_tool.line(
        "create", name, service.get("binaryPath", ""), service.get("displayName", ""), service.get("type", ""),
        START_TYPES.get(start, start), service.get("errorControl", ""), service.get("loadOrderGroup", ""),
        "/".join(service.get("dependencies", [])), service.get("account", ""), service.get("description", ""))


def change(prefix, name, **members):
    """Changes members of a service."""
    machine_tool.do(prefix, [creation(name, members)])


def states_text(service):
    """What a service program reads beside itself: how its service reacts to a start and to a stop."""
    return _lines("start", service) + _lines("stop", service)


def first_states_text(service):
    """The same for the first start of a service that is to be in its described state at once."""
    first = _line("start", service)
    if service["state"] != "running":  # the service manager accepts no other first state
        first = _line("start", {"state": "running"}) + first
    return first + _lines("stop", service)


def has_program(service):
    """Whether the program of a described service is there."""
    return service.get("onStart", {}).get("error") != NO_PROGRAM


def program_of(name, service):
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
