// The texts of src/enroll: the auto-enrollment tasks. Several of them name another operation than the one that logs
// them.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kNoPath[] = "The value \"Installation Path\" in HKLM\\SOFTWARE\\Kelo Systems Corp\\Common is missing.";
constexpr char kRepair[] = "Repair the installation of the toolkit.";
constexpr char kNoLibrary[] =
    "CertJobPlanner.dll is not in the toolkit's folder, or one of the libraries that it needs is missing.";
constexpr char kBadLibrary[] = "CertJobPlanner.dll is damaged or of another version.";
constexpr char kUndetected[] = "Windows did not say whether this is a 32-bit process; it is treated as a 64-bit one.";

} // namespace

std::vector<StepTexts> EnrollTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {"auto-enrollment tasks",
         {
             {.format = "InstallAutoEnrollmentTasks - failed to detect process on host os type: %d",
              .kind = Warning,
              .meaning = kUndetected,
              .values = {{"error", Win32}}},
             {.format = "InstallAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!",
              .kind = Decision,
              .meaning = "A 32-bit program on 64-bit Windows installs no tasks."},
             {.format = "*** InstallAutoEnrollmentTasks(): Failed to open registry Auto-Enroll Tasks not installed",
              .kind = Noise,
              .meaning = "The registry does not ask for tasks: the value KlAutoEnrollInstalled, or its key, is not "
                         "there or cannot be read.",
              .causes = "Automatic enrollment was not chosen at installation, which is usual.",
              .toDo = "If it was chosen, look at HKLM\\SOFTWARE\\Kelo Systems Corp\\Common [KlAutoEnrollInstalled]."},
             {.format = "*** InstallAutoEnrollmentTasks(): Don't install Auto-Enroll Tasks regValue "
                        "'KlAutoEnrollInstalled' = 0",
              .kind = Decision,
              .meaning = "The registry says that no tasks are wanted."},
             {.format = "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't create Auto-Enroll "
                        "Tasks",
              .kind = Failure,
              .meaning = "The tasks were not installed: the toolkit's folder is not in the registry.",
              .causes = kNoPath,
              .toDo = kRepair},
             {.format = "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library <x>.dll can't create "
                        "Auto-Enroll Tasks",
              .kind = Failure,
              .meaning = "The tasks were not installed: the task library could not be loaded.",
              .causes = kNoLibrary,
              .toDo = kRepair},
             {.format = "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to calls to GetProcAddress can't "
                        "create Auto-Enroll Tasks",
              .kind = Failure,
              .meaning = "The tasks were not installed: the task library lacks a function.",
              .causes = kBadLibrary,
              .toDo = kRepair},
             {.format = "*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks already installed, skipping...",
              .kind = Decision,
              .meaning = "The tasks are there since before."},
             {.format = "*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks installed",
              .kind = Progress,
              .meaning = "The tasks are installed."},
             {.format = "*** InstallAutoEnrollmentTasks(): Can't install Tasks as this is XP",
              .kind = Decision,
              .meaning = "The task library says that Windows is too old for tasks."},
             {.format = "*** InstallAutoEnrollmentTasks(): Create Auto-Enroll Tasks failed %d",
              .kind = Failure,
              .meaning = "The task library could not install the tasks.",
              .values = {{"error", Win32}},
              .causes = "The Task Scheduler service does not run, or denies the account.",
              .toDo = "Start the Task Scheduler service, then repair the installation."},
             {.format = "RemoveAutoEnrollmentTasks - failed to detect process on host os type: %d",
              .kind = Warning,
              .meaning = kUndetected,
              .values = {{"error", Win32}}},
             {.format = "RemoveAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!",
              .kind = Decision,
              .meaning = "A 32-bit program on 64-bit Windows removes no tasks."},
             {.format = "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll "
                        "Tasks",
              .kind = Warning,
              .meaning = "Tasks were not removed: the toolkit's key could not be opened. The text names the "
                         "installation, and means the removal.",
              .causes = "HKLM\\SOFTWARE\\Kelo Systems Corp\\Common is missing: the toolkit is half removed.",
              .toDo = "Remove the toolkit's tasks in the Task Scheduler, if there are any."},
             {.format = "*** RemoveAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll "
                        "Tasks",
              .kind = Warning,
              .meaning = "Tasks were not removed: the toolkit's folder is not in the registry.",
              .causes = kNoPath,
              .toDo = "Remove the toolkit's tasks in the Task Scheduler, if there are any."},
             {.format = "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed to load library <x>.dll can't "
                        "create Auto-Enroll Tasks",
              .kind = Warning,
              .meaning = "Tasks were not removed: the task library could not be loaded. The text says \"create\".",
              .causes = kNoLibrary,
              .toDo = "Remove the toolkit's tasks in the Task Scheduler, if there are any."},
             {.format = "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed GetProcAddress can't create "
                        "Auto-Enroll Tasks",
              .kind = Warning,
              .meaning = "Tasks were not removed: the task library lacks a function. The text says \"create\".",
              .causes = kBadLibrary,
              .toDo = "Remove the toolkit's tasks in the Task Scheduler, if there are any."},
         }},
    };
}

} // namespace catalogue
