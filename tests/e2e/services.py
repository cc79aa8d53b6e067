"""Real services under Wine: stand-in programs that go through described states, and what the service manager knows."""

import json
import shutil
import time

from wine import ROOT

PROGRAMS = ROOT / "build" / "windows"
SERVICE_PROGRAM = PROGRAMS / "service_program.exe"
SLEEPER = PROGRAMS / "sleeper.exe"
SERVICE_TOOL = PROGRAMS / "service_tool.exe"

STATES = {"stopped": 1, "startPending": 2, "stopPending": 3, "running": 4, "continuePending": 5, "pausePending": 6,
          "paused": 7}
ACCEPTS_STOP = 1
MEMBERS = {"state", "displayName", "binaryPath", "controlsAccepted", "exitCode", "serviceExitCode", "checkPoint",
           "waitHint", "onStart", "onStop"}


def keep(prefix):
    """Keeps a prefix's services running between programs: Wine stops them soon after its last program has ended."""
    start(prefix, r"C:\Standins\sleeper.exe")


def start(prefix, path):
    """Puts a program that sleeps on a machine, and starts it without waiting for its end."""
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(SLEEPER, target)
    status, _ = prefix.wine("start", path)
    if status != 0:
        raise RuntimeError(f"{path} cannot be started: {status}")


def create(prefix, name, service):
    """Registers a described service, and starts it when it is to be running. Returns what Wine can not be made of."""
    program, path = _program_of(name, service)
    target = prefix.path(program)
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(SERVICE_PROGRAM, target)
    _tool(prefix, "create", name, path, service.get("displayName", name))

    states = target.with_name(f"{name}.states")
    if service.get("state", "stopped") != "stopped":
        # The service manager takes no other first state for a start.
        running = _line("start", {"afterMs": 0, "state": "running"})
        states.write_text(running + _line("start", {"afterMs": 0, **service}) + _lines("stop", service.get("onStop")))
        _tool(prefix, "start", name)
        wait_for(prefix, name, STATES[service["state"]])
    states.write_text(_lines("start", service.get("onStart")) + _lines("stop", service.get("onStop")))
    return [member for member in service if member not in MEMBERS]


def delete(prefix, name):
    _tool(prefix, "delete", name)


def configure_path(prefix, name, path):
    """Gives a service another command line."""
    _tool(prefix, "path", name, path)


def show(prefix, name):
    """Status, configuration and description of a service, as the service manager tells them; None without one."""
    status, output = prefix.wine(SERVICE_TOOL, "show", name)
    return json.loads(output) if status == 0 else None


def wait_for(prefix, name, state, seconds=20):
    """Waits until a service is in a state."""
    deadline = time.monotonic() + seconds
    while (shown := show(prefix, name))["state"] != state:
        if time.monotonic() > deadline:
            raise AssertionError(f"{name} stays in state {shown['state']}")
        time.sleep(0.1)


def _program_of(name, service):
    """The path of a service's program, and the command line that the service manager has for it."""
    path = service.get("binaryPath", f'"C:\\Standins\\{name}.exe"')
    return (path.split('"')[1] if path.startswith('"') else path.split(" ")[0]), path


def _lines(moment, reaction):
    return "".join(_line(moment, step) for step in (reaction or {}).get("states", []))


def _line(moment, step):
    state = step["state"]
    usual_controls = ACCEPTS_STOP if state in ("running", "paused") else 0
    members = (step["afterMs"], STATES[state], step.get("controlsAccepted", usual_controls), step.get("exitCode", 0),
               step.get("serviceExitCode", 0), step.get("checkPoint", 0), step.get("waitHint", 0))
    return f"{moment} {' '.join(map(str, members))}\n"


def _tool(prefix, *arguments):
    status, _ = prefix.wine(SERVICE_TOOL, *arguments)
    if status != 0:
        raise RuntimeError(f"service_tool {' '.join(arguments)} ended with {status}")
