"""What the service manager tells of services, in the words of a description."""

from machines.numbers import START_TYPES, STATES, word_for
from wine import machine_tool

GONE = 0  # in place of a state's number: there is no such service


def show(prefix, name):
    """Status, configuration and description of a service; None without one."""
    [told] = machine_tool.ask(prefix, [listing(name)])
    return in_words(told[name])


def wait_for(prefix, states, after=()):
    """Waits until services are in their states, by their names, None for one that is gone; does a script's lines first.
    A service that is deleted is there until the last handle to it is closed, and Wine closes a program's handles some
    time after its end. Returns what the service manager then tells of each."""
    [told] = machine_tool.ask(prefix, [*after, waiting(states), listing(*states)])
    shown = {name: in_words(told[name]) for name in states}
    for name, service in shown.items():
        if states[name] != (service["state"] if service else None):
            raise AssertionError(f"{name} is not {states[name] or 'gone'}: {service}")
    return shown


def listing(*names):
    """The line of a script for services, or for all."""
    return machine_tool.line("services", *names)


def waiting(states, seconds=20):
    """The line of a script that waits until services are in their states, or the time is over."""
    return machine_tool.line("await", 1000 * seconds,
                             *(word for name, state in states.items() for word in (name, STATES.get(state, GONE))))


def state_of(service):
    """The state in which a service is described to be; None where there is no description."""
    return None if service is None else service.get("state", "stopped")


def in_words(service):
    """A service as machine_tool tells it, in the words of a description."""
    return service and {**service, "state": word_for(service["state"], STATES),
                        "start": word_for(service["start"], START_TYPES)}
