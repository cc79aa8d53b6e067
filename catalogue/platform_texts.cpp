// The texts of src/platform: services and processes, for whichever step controls them.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kLookAtService[] = "Look at the service with \"sc query NAME\" and in the System event log.";

std::vector<Text> ProcessTexts()
{
    using enum Kind;
    return {
        {.format = "Try to kill process: %s\n",
         .kind = Progress,
         .meaning = "A program of an earlier installation is looked for, to be ended.",
         .values = {{"program file"}}},
        {.format = "  found process: <%s>\n",
         .kind = Progress,
         .meaning = "The program is running.",
         .values = {{"program file"}}},
        {.format = "Cannot find this process: %s\n",
         .kind = Noise,
         .meaning = "The program is not running, so nothing has to be ended.",
         .values = {{"program file"}}},
        {.format = "Killed process: %s\n",
         .kind = Progress,
         .meaning = "The program was ended.",
         .values = {{"program file"}}},
        {.format = "Unable to kill process: %s\n",
         .kind = Warning,
         .meaning = "The program is running and could not be ended.",
         .values = {{"program file"}},
         .causes = "The process is protected, or is ending by itself.",
         .toDo = "End the program by hand or restart Windows, then repeat the installation."},
        {.format = "error: %d\n",
         .kind = Warning,
         .meaning = "The error of the line before. It is read late, and may be another call's.",
         .values = {{"error", Meaning::Win32}}},
    };
}

std::vector<Text> ServiceControlTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "OpenSCManager failed (%d)",
         .kind = Failure,
         .meaning = "Windows' service manager does not let the program in: no service can be looked at.",
         .values = {{"error", Win32}},
         .causes = "The program runs without administrator rights, or the service manager is not reachable.",
         .toDo = "Run the installation elevated."},
        {.format = "Cannot open service: %s",
         .kind = Noise,
         .meaning = "The service is not installed, which is usual for a stack that this machine does not have; or it "
                    "may not be opened.",
         .values = {{"service"}},
         .causes = "The stack is not installed. If it should be: its service is missing or denies access.",
         .toDo = "If the stack should be there, check with \"sc query NAME\"."},
        {.format = "Service %s not found\n",
         .kind = Noise,
         .meaning = "The service is not installed, so nothing has to be stopped.",
         .values = {{"service"}}},
        {.format = "Cannot query status of service",
         .kind = Failure,
         .meaning = "The service's state could not be read; what was to be done with it is given up.",
         .causes = "The service was deleted meanwhile, or denies access.",
         .toDo = kLookAtService},
        {.format = "Found service: %s",
         .kind = Progress,
         .meaning = "The service is installed.",
         .values = {{"service"}}},
        {.format = " %s current status: %d, %d",
         .kind = Progress,
         .meaning = "The service's state when it was opened.",
         .values = {{"service"}, {"state", ServiceState}, {"controls accepted", Controls}}},
        {.format = "%s  current status: %d, %d",
         .kind = Progress,
         .meaning = "A look at the service while its state is waited for, four times a second. A wait for a stop has "
                    "no limit.",
         .values = {{"service"}, {"state", ServiceState}, {"controls accepted", Controls}},
         .causes = "A service that never leaves the state \"stopping\" keeps the program here for ever.",
         .toDo = "End the service's process or restart Windows.",
         .waitsFor = "the service to change its state"},
        {.format = "Cannot start %s service: 0x%X",
         .kind = Failure,
         .meaning = "Windows refused to start the service.",
         .values = {{"service"}, {"error", Win32}},
         .causes = "The service is disabled, a service that it depends on is missing, its program file is missing, or "
                   "it did not report in time.",
         .toDo = "Start the service by hand (\"sc start NAME\") and read the System event log."},
        {.format = "%s service is already stopped",
         .kind = Noise,
         .meaning = "The service does not run, so nothing has to be stopped.",
         .values = {{"service"}}},
        {.format = "Cannot stop %s service",
         .kind = Failure,
         .meaning = "Windows refused to stop the service. The reason is not logged.",
         .values = {{"service"}},
         .causes = "Other running services depend on it (error 1051), or it does not accept a stop in its state.",
         .toDo = "Stop the dependent services (\"sc enumdepend NAME\"), then repeat the installation."},
        {.format = "Stopping service",
         .kind = Progress,
         .meaning = "The service took the order to stop.",
         .waitsFor = "the service to stop"},
        {.format = "%s service stopped",
         .kind = Progress,
         .meaning = "The service has stopped.",
         .values = {{"service"}}},
        {.format = "%s service is already running",
         .kind = Noise,
         .meaning = "The service is not stopped, so it is not started.",
         .values = {{"service"}}},
        {.format = "Starting service", .kind = Progress, .meaning = "The service is being started."},
        {.format = "Unable to start service in timely manner",
         .kind = Failure,
         .meaning = "The service was started and did not run within 25 seconds.",
         .causes = "The service is slow, or waits for something that does not come.",
         .toDo = kLookAtService},
        {.format = "service started", .kind = Progress, .meaning = "The service runs."},
        {.format = "%s has been sucessfully started",
         .kind = Progress,
         .meaning = "The service was started.",
         .values = {{"service"}}},
        {.format = "%s has been sucessfully stopped",
         .kind = Progress,
         .meaning = "The service is stopped, or was before.",
         .values = {{"service"}}},
        {.format = "%s failed to restart. State: %d \tExit Code: %d \tService Exit Code: %d",
         .kind = Failure,
         .meaning = "The service was stopped and did not come up again.",
         .values = {{"service"}, {"state", ServiceState}, {"exit code", Win32}, {"service's own exit code", ExitCode}},
         .causes = "The service ended during its start, or took more than a minute.",
         .toDo = kLookAtService},
        {.format = "%s has been sucessfully restarted",
         .kind = Progress,
         .meaning = "The service was restarted.",
         .values = {{"service"}}},
    };
}

// Operations of all modules log this.
std::vector<Text> OperationTexts()
{
    using enum Kind;
    return {
        {.format = "%s - Unknown exception caught return %d",
         .kind = Failure,
         .meaning = "The operation was broken off; the next ones run.",
         .values = {{"operation"}, {"its result"}},
         .causes = "Windows is short of memory, or a library of the toolkit crashed.",
         .toDo = "Repeat the installation; if it happens again, repair the library that the lines before name."},
    };
}

} // namespace

std::vector<StepTexts> PlatformTexts()
{
    return {{"processes left behind", ProcessTexts()}, {"", ServiceControlTexts()}, {"", OperationTexts()}};
}

} // namespace catalogue
