"""The program queries, starts, stops and restarts real services by name, and stops one within a time limit."""

import unittest

from machines.numbers import STATES
from product import KELO_STACK as NAME
from runs.program import Machine


def reaction(*steps):
    """How a service reacts: its states with the milliseconds after which they come, and more members of each."""
    return {"states": [{"afterMs": after, "state": state, **more} for after, state, more in steps]}


SLOW_START = reaction((0, "startPending", {"checkPoint": 1, "waitHint": 2000}),
                      (700, "startPending", {"checkPoint": 2, "waitHint": 2000}), (1400, "running", {}))
SLOW_STOP = reaction((0, "stopPending", {"waitHint": 1000}), (1500, "stopped", {}))


class ServiceControl(unittest.TestCase):
    def check(self, service, function, result, messages, state=None, waits=()):
        """Calls a function on a machine with a service. `waits` are the states that its waits log; how often they do
        depends on the real clock."""
        with Machine({"services": {NAME: service} if service else {}}) as machine:
            self.assertEqual(machine.missing, [])
            seen_result, seen = machine.call(function, NAME)
            shown = machine.service(NAME)
        progress = f"{NAME}  current status: "
        self.assertEqual([message for message in seen if not message.startswith(progress)], messages)
        self.assertEqual({message.removeprefix(progress) for message in seen if message.startswith(progress)},
                         set(waits))
        self.assertEqual(seen_result, result)
        if state:
            self.assertEqual(shown["state"], state)
        return seen


def found(state, controls):
    return [f"Found service: {NAME}", f" {NAME} current status: {STATES[state]}, {controls}"]


class IsServiceRunning(ServiceControl):
    def test_running(self):
        self.check({"state": "running"}, "IsServiceRunning", "true", found("running", 1))

    def test_running_with_its_own_controls(self):
        self.check({"state": "running", "controlsAccepted": 5}, "IsServiceRunning", "true", found("running", 5))

    def test_paused(self):
        self.check({"state": "paused"}, "IsServiceRunning", "true", found("paused", 1))

    def test_stopped(self):
        self.check({"state": "stopped"}, "IsServiceRunning", "false", found("stopped", 0))

    def test_unknown(self):
        self.check(None, "IsServiceRunning", "false", [f"Cannot open service: {NAME}"])


class StartServiceByName(ServiceControl):
    def test_quick(self):
        self.check({"onStart": reaction((0, "running", {}))}, "StartServiceByName", "true",
                   [*found("stopped", 0), "Starting service", "service started",
                    f"{NAME} has been sucessfully started"], "running", waits=["1, 0"])

    def test_slow(self):
        self.check({"onStart": SLOW_START}, "StartServiceByName", "true",
                   [*found("stopped", 0), "Starting service", "service started",
                    f"{NAME} has been sucessfully started"], "running", waits=["1, 0", "2, 0"])

    def test_running_already(self):
        self.check({"state": "running"}, "StartServiceByName", "true",
                   [*found("running", 1), f"{NAME} service is already running"], "running")

    def test_never_ending_start_is_given_up_after_101_polls(self):
        seen = self.check({"onStart": reaction((0, "startPending", {}))}, "StartServiceByName", "false",
                          [*found("stopped", 0), "Starting service", "Unable to start service in timely manner"],
                          "startPending", waits=["1, 0", "2, 0"])
        self.assertEqual(sum(message.startswith(f"{NAME}  current") for message in seen), 101)

    def test_unknown(self):
        self.check(None, "StartServiceByName", "false", [f"Cannot open service: {NAME}"])


class StopServiceByName(ServiceControl):
    def test_quick(self):
        with Machine({"services": {NAME: {"state": "running"}}}) as machine:
            result, seen = machine.call("StopServiceByName", NAME)
            self.assertEqual(machine.service(NAME)["state"], "stopped")
        self.assertEqual(result, "true")
        self.assertEqual(seen[:3], [*found("running", 1), "Stopping service"])
        self.assertEqual(seen[-2:], [f"{NAME} service stopped", f"{NAME} has been sucessfully stopped"])

    def test_slow(self):
        self.check({"state": "running", "onStop": SLOW_STOP}, "StopServiceByName", "true",
                   [*found("running", 1), "Stopping service", f"{NAME} service stopped",
                    f"{NAME} has been sucessfully stopped"], "stopped", waits=["3, 0"])

    def test_refused(self):
        self.check({"state": "running", "controlsAccepted": 0}, "StopServiceByName", "false",
                   [*found("running", 0), f"Cannot stop {NAME} service"], "running")

    def test_stopped_already(self):
        self.check({"state": "stopped"}, "StopServiceByName", "true",
                   [*found("stopped", 0), f"{NAME} service is already stopped",
                    f"{NAME} has been sucessfully stopped"], "stopped")

    def test_unknown(self):
        self.check(None, "StopServiceByName", "false", [f"Service {NAME} not found"])

    def test_invalid_name(self):
        with Machine({}) as machine:
            self.assertEqual(machine.call("StopServiceByName", "tcsd/x86"),
                             ("false", ["Service tcsd/x86 not found"]))


class RestartServiceByName(ServiceControl):
    RESTARTED = ["Starting service", "service started", f"{NAME} has been sucessfully restarted"]

    def test_running(self):
        self.check({"state": "running", "onStart": SLOW_START, "onStop": SLOW_STOP}, "RestartServiceByName", "true",
                   [*found("running", 1), "Stopping service", f"{NAME} service stopped", *self.RESTARTED], "running",
                   waits=["3, 0", "2, 0"])

    def test_stopped(self):
        self.check({"onStart": SLOW_START}, "RestartServiceByName", "true",
                   [*found("stopped", 0), f"{NAME} service is already stopped", *self.RESTARTED], "running",
                   waits=["2, 0"])

    def test_refused(self):
        self.check({"state": "running", "controlsAccepted": 0}, "RestartServiceByName", "false",
                   [*found("running", 0), f"Cannot stop {NAME} service"], "running")

    def test_start_that_ends_stopped(self):
        self.check({"onStart": reaction((0, "startPending", {}), (600, "stopped", {"exitCode": 1066,
                                                                                  "serviceExitCode": 42}))},
                   "RestartServiceByName", "false",
                   [*found("stopped", 0), f"{NAME} service is already stopped", "Starting service",
                    f"{NAME} failed to restart. State: 1 \tExit Code: 1066 \tService Exit Code: 42"], "stopped",
                   waits=["2, 0"])


class TimedStop(ServiceControl):
    def test_quick(self):
        self.check({"state": "running"}, "StopService", "0", [], "stopped")

    def test_slow(self):
        self.check({"state": "running", "onStop": SLOW_STOP}, "StopService", "0", [], "stopped")

    def test_stopped_already(self):
        self.check({"state": "stopped"}, "StopService", "0", [], "stopped")

    def test_refused(self):
        self.check({"state": "running", "controlsAccepted": 0, "waitHint": 16000}, "StopService", "-1",
                   ["Wait timed out"], "running")
