"""A set-up makes the auto-enrollment tasks with the toolkit's task library, and a removal removes them."""

from machines.parts import tasks
from reading.notes import task_calls
from runs.prediction import PredictedRuns

FOLDER = r"C:\Toolkit"


def machine_with(answers, wanted=1, path=FOLDER):
    return tasks(FOLDER, wanted, path, **answers)


class TaskLibrary(PredictedRuns):
    def check_tasks(self, description, action, lines, calls):
        with self.machine_like(description) as machine:
            seen = self.check_on(machine, description, action)
            self.assertEqual(task_calls(machine.prefix), calls)
        self.assertEqual([message for message in seen.messages if message.startswith("*** ")], lines)

    def row(self, answers, line, calls, **more):
        self.check_tasks(machine_with(answers, **more), "/Setup", ["*** InstallAutoEnrollmentTasks(): " + line], calls)

    ASKED = {"AreTasksInstalled": 1}
    MADE = {**ASKED, "InstallAutoEnrollmentTasks": 1}
    ROWS = {
        "setup_makes_the_tasks": ({}, "Auto-Enroll Tasks installed", MADE),
        "tasks_that_are_there_stay": (
            {"AreTasksInstalled": 1}, "Auto-Enroll Tasks already installed, skipping...", ASKED),
        "only_the_low_byte_tells_that_tasks_are_there": (
            {"AreTasksInstalled": 0x100}, "Auto-Enroll Tasks installed", MADE),
        "system_without_such_tasks": (
            {"InstallAutoEnrollmentTasks": 1150}, "Can't install Tasks as this is XP", MADE),
        "failure_is_logged_with_its_signed_status": (
            {"InstallAutoEnrollmentTasks": -2}, "Create Auto-Enroll Tasks failed -2", MADE),
    }

    def test_path_may_end_in_a_backslash(self):
        self.row({}, "Auto-Enroll Tasks installed", self.MADE, path="C:\\Toolkit\\")

    def test_tasks_that_are_not_wanted(self):
        self.row({}, "Don't install Auto-Enroll Tasks regValue 'KlAutoEnrollInstalled' = 0", {}, wanted=0)

    def test_removal_takes_the_tasks_back(self):
        for action in ("/Rollback", "/Uninstall"):
            with self.subTest(action=action):
                self.check_tasks(machine_with({"RemoveAutoEnrollmentTasks": 5}, wanted=0), action, [],
                           {"RemoveAutoEnrollmentTasks": 1})

    def test_library_that_throws_ends_its_own_step_alone(self):
        for thrown, function, action in (("access violation", "AreTasksInstalled", "/Setup"),
                                         ("C++ exception", "InstallAutoEnrollmentTasks", "/Setup"),
                                         ("division by zero", "RemoveAutoEnrollmentTasks", "/Uninstall")):
            with self.subTest(thrown):
                seen = self.check(machine_with({function: {"throws": thrown}}), action)
                operation = "Remove" if action == "/Uninstall" else "Install"
                self.assertIn(f"{operation}AutoEnrollmentTasks - Unknown exception caught return -1", seen.messages)
                self.assertIn("============= Kelo CSP Custom Action <-End ===================", seen.messages)

    def test_path_that_depends_on_the_current_folder(self):
        # From the current folder such a path would lead to the library.
        for path in ("Toolkit", "C:Toolkit"):
            with self.subTest(path):
                seen = self.check(machine_with({}, path=path), "/Setup", folder="C:\\")
                self.assertIn("*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library <x>.dll can't "
                              "create Auto-Enroll Tasks", seen.messages)

    def test_missing_library(self):
        description = machine_with({}, path="C:\\Elsewhere")
        self.check_tasks(description, "/Setup", ["*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library "
                                           "<x>.dll can't create Auto-Enroll Tasks"], {})
        self.check_tasks(description, "/Uninstall", ["*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed to load "
                                               "library <x>.dll can't create Auto-Enroll Tasks"], {})
