"""The program queries, starts, stops and restarts real services by name, and stops one within a time limit."""

import unittest

from machines.numbers import STATES
from product import KELO_STACK as NAME
from runs.program import Machine
from runs.table import Table


def reaction(*steps):
    """How a service reacts: its states with the milliseconds after which they come, and more members of each."""
    return {"states": [{"afterMs": after, "state": state, **more} for after, state, more in steps]}


SLOW_START = reaction((0, "startPending", {"checkPoint": 1, "waitHint": 2000}),
                      (700, "startPending", {"checkPoint": 2, "waitHint": 2000}), (1400, "running", {}))
SLOW_STOP = reaction((0, "stopPending", {"waitHint": 1000}), (1500, "stopped", {}))

RUNNING, STOPPED, REFUSING = {"state": "running"}, {"state": "stopped"}, {"state": "running", "controlsAccepted": 0}
UNKNOWN = None  # no service


def found(state, controls):
    return [f"Found service: {NAME}", f" {NAME} current status: {STATES[state]}, {controls}"]


class ServiceControl(Table, unittest.TestCase):
    FUNCTION = None  # of the program

    def row(self, service, result, messages, state=None, waits=()):
        """Calls the function on a machine with a service. `waits` are the states that its waits log; how often they do
        depends on the real clock."""
        with Machine({"services": {NAME: service} if service else {}}) as machine:
            self.assertEqual(machine.missing, [])
            seen_result, seen = machine.call(self.FUNCTION, NAME)
            shown = machine.service(NAME)
        progress = f"{NAME}  current status: "
        self.assertEqual([message for message in seen if not message.startswith(progress)], messages)
        self.assertEqual({message.removeprefix(progress) for message in seen if message.startswith(progress)},
                         set(waits))
        self.assertEqual(seen_result, result)
        if state:
            self.assertEqual(shown["state"], state)
        return seen


class IsServiceRunning(ServiceControl):
    FUNCTION = "IsServiceRunning"
    ROWS = {
        "running": (RUNNING, "true", found("running", 1)),
        "running_with_its_own_controls": ({**RUNNING, "controlsAccepted": 5}, "true", found("running", 5)),
        "paused": ({"state": "paused"}, "true", found("paused", 1)),
        "stopped": (STOPPED, "false", found("stopped", 0)),
        "unknown": (UNKNOWN, "false", [f"Cannot open service: {NAME}"]),
    }


class StartServiceByName(ServiceControl):
    FUNCTION = "StartServiceByName"
    STARTED = [*found("stopped", 0), "Starting service", "service started", f"{NAME} has been sucessfully started"]
    ROWS = {
        "quick": ({"onStart": reaction((0, "running", {}))}, "true", STARTED, "running", ["1, 0"]),
        "slow": ({"onStart": SLOW_START}, "true", STARTED, "running", ["1, 0", "2, 0"]),
        "running_already": (RUNNING, "true", [*found("running", 1), f"{NAME} service is already running"], "running"),
        "unknown": (UNKNOWN, "false", [f"Cannot open service: {NAME}"]),
    }

    def test_never_ending_start_is_given_up_after_101_polls(self):
        seen = self.row({"onStart": reaction((0, "startPending", {}))}, "false",
                        [*found("stopped", 0), "Starting service", "Unable to start service in timely manner"],
                        "startPending", ["1, 0", "2, 0"])
        self.assertEqual(sum(message.startswith(f"{NAME}  current") for message in seen), 101)


class StopServiceByName(ServiceControl):
    FUNCTION = "StopServiceByName"
    STOPPED = [f"{NAME} service stopped", f"{NAME} has been sucessfully stopped"]
    ROWS = {
        "slow": ({**RUNNING, "onStop": SLOW_STOP}, "true", [*found("running", 1), "Stopping service", *STOPPED],
                 "stopped", ["3, 0"]),
        "refused": (REFUSING, "false", [*found("running", 0), f"Cannot stop {NAME} service"], "running"),
        "stopped_already": ({"state": "stopped"}, "true", [*found("stopped", 0), f"{NAME} service is already stopped",
                                                           STOPPED[1]], "stopped"),
        "unknown": (UNKNOWN, "false", [f"Service {NAME} not found"]),
    }

    def test_quick(self):
        with Machine({"services": {NAME: RUNNING}}) as machine:
            result, seen = machine.call("StopServiceByName", NAME)
            self.assertEqual(machine.service(NAME)["state"], "stopped")
        self.assertEqual(result, "true")
        self.assertEqual(seen[:3], [*found("running", 1), "Stopping service"])
        self.assertEqual(seen[-2:], self.STOPPED)

    def test_invalid_name(self):
        with Machine({}) as machine:
            self.assertEqual(machine.call("StopServiceByName", "tcsd/x86"),
                             ("false", ["Service tcsd/x86 not found"]))


class RestartServiceByName(ServiceControl):
    FUNCTION = "RestartServiceByName"
    ALREADY_STOPPED = [*found("stopped", 0), f"{NAME} service is already stopped", "Starting service"]
    RESTARTED = ["service started", f"{NAME} has been sucessfully restarted"]
    ROWS = {
        "running": ({**RUNNING, "onStart": SLOW_START, "onStop": SLOW_STOP}, "true",
                    [*found("running", 1), "Stopping service", f"{NAME} service stopped", "Starting service",
                     *RESTARTED], "running", ["3, 0", "2, 0"]),
        "stopped": ({"onStart": SLOW_START}, "true", [*ALREADY_STOPPED, *RESTARTED], "running", ["2, 0"]),
        "refused": (REFUSING, "false", [*found("running", 0), f"Cannot stop {NAME} service"], "running"),
        "start_that_ends_stopped": (
            {"onStart": reaction((0, "startPending", {}), (600, "stopped", {"exitCode": 1066, "serviceExitCode": 42}))},
            "false", [*ALREADY_STOPPED,
                      f"{NAME} failed to restart. State: 1 \tExit Code: 1066 \tService Exit Code: 42"],
            "stopped", ["2, 0"]),
    }


class TimedStop(ServiceControl):
    FUNCTION = "StopService"
    ROWS = {
        "quick": (RUNNING, "0", [], "stopped"),
        "slow": ({**RUNNING, "onStop": SLOW_STOP}, "0", [], "stopped"),
        "stopped_already": (STOPPED, "0", [], "stopped"),
        "refused": ({**REFUSING, "waitHint": 16000}, "-1", ["Wait timed out"], "running"),
    }
