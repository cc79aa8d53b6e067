"""The states of all services."""

from machines.numbers import STATES, word_for
from wine import machine_tool

GONE = 0  # in place of a state's number: there is no such service
LISTING = "states"  # the line of a script for the states of all services


def wait_for(prefix, states, after=()):
    """Waits until services are in their states, by their names, None for one that is gone; does a script's lines first.
    A service that is deleted is there until the last handle to it is closed, and Wine closes a program's handles some
    time after its end."""
    [told] = machine_tool.ask(prefix, [*after, waiting(states), LISTING])
    seen = {name.lower(): state for name, state in in_words(told).items()}
    if missed := {name: seen.get(name.lower()) for name in states if seen.get(name.lower()) != states[name]}:
        raise AssertionError(f"services are in the states {missed}, and not in {states}")


def waiting(states, seconds=20):
    """The line of a script that waits until services are in their states, or the time is over."""
    return machine_tool.line("await", 1000 * seconds,
                             *(word for name, state in states.items() for word in (name, STATES.get(state, GONE))))


def in_words(told):
    """The states as machine_tool tells them, in the words of a description."""
    return {name: word_for(state, STATES) for name, state in told.items()}


def state_of(service):
    """The state in which a service is described to be; None where there is no description."""
    return None if service is None else service.get("state", "stopped")
