// The texts of src/service: the toolkit's own service, KlPCR.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kNoManager[] = "Windows' service manager does not let the program in; nothing was done with KlPCR.";
constexpr char kRunElevated[] = "Run the installation elevated.";
constexpr char kNoRights[] = "The program runs without administrator rights.";

std::vector<Text> StopTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "QueryServiceStatusEx failed (%d)\n",
         .kind = Failure,
         .meaning = "KlPCR's state could not be read while its stop was waited for.",
         .values = {{"error", Win32}},
         .causes = "The service was deleted meanwhile, or denies access."},
        {.format = "CKlTkService::StopService - failed to query Service Status %d",
         .kind = Warning,
         .meaning = "KlPCR's state could not be read; the stop is tried nevertheless.",
         .values = {{"error", Win32}}},
        {.format = "Service stopped successfully.\n",
         .kind = Progress,
         .meaning = "KlPCR, which was stopping already, has stopped. The caller takes this for a failed stop (result "
                    "1)."},
        {.format = "Service stop timed out.\n",
         .kind = Failure,
         .meaning = "KlPCR was stopping already, and did not stop within 30 seconds.",
         .causes = "The service hangs.",
         .toDo = "End KlPCR.exe in the task manager, then repeat the installation."},
        {.format = "Wait timed out\n",
         .kind = Failure,
         .meaning = "KlPCR did not stop within 30 seconds.",
         .causes = "The service hangs, or refused the order to stop.",
         .toDo = "End KlPCR.exe in the task manager, then repeat the installation."},
    };
}

std::vector<Text> InstallTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "InstallTkService - Make sure that the Service isn't running first!",
         .kind = Begin,
         .meaning = "A KlPCR of an earlier installation is to be stopped first."},
        {.format = "InstallTkService - failed to open the SCM. %d",
         .kind = Failure,
         .meaning = kNoManager,
         .values = {{"error", Win32}},
         .causes = kNoRights,
         .toDo = kRunElevated},
        {.format = "InstallTkService - failed to open the KlPCR Service. %d (this is expected)",
         .kind = Noise,
         .meaning = "No KlPCR is there yet, so none has to be stopped. The number is read too late to mean anything.",
         .values = {{"number without a meaning"}}},
        {.format = "InstallTkService - failed to stop the KlPCR Service. %d",
         .kind = Warning,
         .meaning = "The earlier KlPCR did not stop, or had been stopping already; the installation goes on.",
         .values = {{"result", StopResult}},
         .toDo = "If the service does not work afterwards, restart Windows and repair the installation."},
        {.format = "InstallTkService - Stopped the KlPCR Service",
         .kind = Progress,
         .meaning = "The earlier KlPCR is stopped."},
        {.format = "KlTKService - now properly install/register the service",
         .kind = Progress,
         .meaning = "KlPCR.exe is run to register itself as a service. Whether it could be started is not logged.",
         .waitsFor = "KlPCR.exe to register itself and end"},
        {.format = "InstallTkService - A unknown TSS name was provided, set to have no TSS dependencies",
         .kind = Warning,
         .meaning = "The stack's name is unknown, so KlPCR depends on no stack's service."},
        {.format = "This is Win8, no TBS Service....",
         .kind = Progress,
         .meaning = "Windows 8 or later: KlPCR does not depend on the TPM Base Services."},
        {.format = "This is Vista/Win7, add TBS Service to dependencies....",
         .kind = Progress,
         .meaning = "Windows Vista or 7: KlPCR depends on the TPM Base Services."},
        {.format = "InstallTkService - failed to open the KlPCR Service! %d",
         .kind = Failure,
         .meaning = "KlPCR could not be opened to be configured and started. The set-up still ends with 0.",
         .values = {{"error", Win32}},
         .causes = "KlPCR.exe is missing from the install folder, could not be started, or failed to register itself.",
         .toDo = "Run \"KlPCR.exe -Service\" from the install folder, elevated, then repair the installation."},
        {.format = "InstallTkService failed to change KlPCR Service configuration %d",
         .kind = Warning,
         .meaning = "KlPCR does not start automatically with Windows, and lacks its dependencies.",
         .values = {{"error", Win32}},
         .causes = "The service is marked for deletion by a removal that needs a restart (1072), or a dependency is "
                   "circular (1059).",
         .toDo = "Restart Windows, then repair the installation."},
        {.format = "InstallTkService failed to start the KlPCR Service %d",
         .kind = Failure,
         .meaning = "KlPCR is registered and was not started. The set-up still ends with 0.",
         .values = {{"error", Win32}},
         .causes = "The stack's service, on which KlPCR depends, is missing or does not start (1068, 1075), or KlPCR "
                   "did not report in time (1053).",
         .toDo = "Start the stack's service, then KlPCR (\"sc start KlPCR\"), and read the System event log.",
         .noiseOn = {1056}},
        {.format = "KlTKService - service installed/registered",
         .kind = Progress,
         .meaning = "The step is over; it says so also when KlPCR could not be configured or started."},
    };
}

std::vector<Text> RemovalTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "UnInstallTkService - Enter", .kind = Begin, .meaning = "KlPCR is to be removed."},
        {.format = "UnInstallTkService - failed to open the SCM. %d",
         .kind = Failure,
         .meaning = kNoManager,
         .values = {{"error", Win32}},
         .causes = kNoRights,
         .toDo = kRunElevated},
        {.format = "UnInstallTkService - failed to open the KlPCR Service! %d",
         .kind = Failure,
         .meaning = "KlPCR could not be opened, so it was not removed. With 1060 there is none.",
         .values = {{"error", Win32}},
         .causes = "The service is already gone (1060), or denies access.",
         .toDo = "If \"sc query KlPCR\" still finds it, remove it with \"sc delete KlPCR\".",
         .noiseOn = {1060}},
        {.format = "UnInstallTkService - failed to get path to KlPCR Service",
         .kind = Warning,
         .meaning = "The folder of the service's program is not known, so the program cannot unregister itself."},
        {.format = "UnInstallTkService - failed to stop KlPCR Service, can't fully uninstall",
         .kind = Failure,
         .meaning = "KlPCR did not stop, or had been stopping already: its COM registration stays.",
         .causes = "The service hangs; the lines before say how long the program waited.",
         .toDo = "Restart Windows; the service goes then, if it is marked for deletion."},
        {.format = "UnInstallTkService - unregister the service",
         .kind = Progress,
         .meaning = "The service's program is run to take its COM registration back.",
         .waitsFor = "KlPCR.exe to unregister itself and end"},
        {.format = "UnInstallTkService - Unregisted the COM portion of the service",
         .kind = Progress,
         .meaning = "The line follows whether or not the program could be started."},
        {.format = "UnInstallTkService - Deleted KlPCR Service from SCM",
         .kind = Progress,
         .meaning = "KlPCR is deleted, or marked for deletion until its last user lets go of it."},
        {.format = "UnInstallTkService - failed to delete the service %d",
         .kind = Failure,
         .meaning = "KlPCR was not deleted.",
         .values = {{"error", Win32}},
         .causes = "The service denies access, or is marked for deletion already (1072).",
         .toDo = "Restart Windows; if KlPCR is still there, run \"sc delete KlPCR\"."},
        {.format = "UnInstallTkService - completed", .kind = Progress, .meaning = "The step is over."},
    };
}

} // namespace

std::vector<StepTexts> ServiceTexts()
{
    return {{"toolkit service", StopTexts()}, {"toolkit service", InstallTexts()}, {"toolkit service", RemovalTexts()}};
}

} // namespace catalogue
