// The texts of src/tpm: automatic provisioning and the SRK authorization.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kSwitchOnTpm[] = "Enable and activate the TPM in the machine's firmware settings.";

std::vector<Text> ProvisioningTexts()
{
    using enum Kind;
    return {
        {.format = "Target system is not Win8+",
         .kind = Decision,
         .meaning = "Windows before 8 has no automatic provisioning; nothing is to be done."},
        {.format = "Win8Install - failed to detect process on host os type: %d",
         .kind = Failure,
         .meaning = "Whether the process is a 32-bit one could not be asked; the switch was not touched.",
         .values = {{"error", Meaning::Win32}}},
        {.format = "Win8Install - This is a x86 process running on x64 system don't execute!",
         .kind = Decision,
         .meaning = "A 32-bit program on 64-bit Windows does not touch the switch."},
    };
}

std::vector<Text> SrkTexts()
{
    using enum Kind;
    return {
        {.format = "SRK and TPM Owner Auth is OK",
         .kind = Progress,
         .meaning = "The authorization is as the toolkit needs it; nothing has to be changed."},
        {.format = "SRK Auth and TPM Owner Auth must be upgraded",
         .kind = Decision,
         .meaning = "The authorization has to be changed; TpmKeyFixer is run for that."},
        {.format = "SRK and TPM Owner Auth is now OK", .kind = Progress, .meaning = "The authorization was changed."},
        {.format = "TPM Not Enabled",
         .kind = Failure,
         .meaning = "The TPM is switched off. After the check the action ends; after the change it is tried again at "
                    "the next log-on.",
         .causes = "The TPM is disabled in the firmware.",
         .toDo = kSwitchOnTpm},
        {.format = "TPM Not Activated",
         .kind = Failure,
         .meaning = "The TPM is not activated. After the check the action ends; after the change it is tried again at "
                    "the next log-on.",
         .causes = "The TPM is deactivated in the firmware.",
         .toDo = kSwitchOnTpm},
        {.format = "Unable to load Resource file",
         .kind = Failure,
         .meaning = "TpmKeyFixer does not find its texts, and did nothing.",
         .causes = "The toolkit's common files are incomplete.",
         .toDo = "Repair the installation of the toolkit."},
        {.format = "Unable to get Process exit code! err: %d",
         .kind = Warning,
         .meaning = "TpmKeyFixer ran, and Windows did not tell its exit code.",
         .values = {{"error", Meaning::Win32}}},
        {.format = "Unable to get Process Exit code assume must change SRK Auth.",
         .kind = Warning,
         .meaning = "What TpmKeyFixer found is not known (it ended with 1, or its code could not be read); the change "
                    "is taken to be due."},
        {.format = "Unable to launch process!",
         .kind = Failure,
         .meaning = "TpmKeyFixer could not be started, or ended with 2.",
         .causes = "TpmKeyFixer.exe is not in C:\\Program Files\\Kelo Systems Corp\\Common, or a file named "
                   "C:\\Program.exe is started in its place.",
         .toDo = "Repair the installation of the toolkit."},
        {.format = "User Cancelled",
         .kind = Warning,
         .meaning = "The user cancelled the change; it is offered again at the next log-on.",
         .toDo = "Have the user log on again and complete the change."},
        {.format = "Something other error",
         .kind = Failure,
         .meaning = "TpmKeyFixer ended with a code that has no meaning here.",
         .causes = "TpmKeyFixer crashed, or is of another version.",
         .toDo = "Run \"TpmKeyFixer.exe /V\" by hand and note its exit code."},
        {.format = "Couldn't create Machine Run Key for TpmKeyFixer",
         .kind = Warning,
         .meaning = "The change will not be offered at the next log-on.",
         .causes = "The account may not write to HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Run.",
         .toDo = "Run TpmKeyFixer by hand, elevated."},
    };
}

} // namespace

std::vector<StepTexts> TpmTexts()
{
    return {{"automatic provisioning", ProvisioningTexts()}, {"SRK authorization", SrkTexts()}};
}

} // namespace catalogue
