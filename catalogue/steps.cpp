// Lists the steps of each action.
#include "catalogue/catalogue.h"

#include <map>

namespace catalogue
{

namespace
{

constexpr char kNoCng[] = "Kelo KSPs will not be installed";
constexpr char kSilentSwitch[] =
    "On Windows 8 and later neither the attempt nor its failure is logged. Check on the machine: "
    "Get-Tpm in PowerShell shows AutoProvisioning.";

std::vector<Step> SetupSteps()
{
    return {
        {.name = "options",
         .doing = "Reads the command line and whether the virtual smart card was there before.",
         .lines = {kBeginLine.data()}},
        {.name = "key storage providers",
         .doing = "Registers the toolkit's two key storage providers with Windows' cryptography (CNG).",
         .lines = {"Register the Kelo TCG Enabled KSP", kNoCng}},
        {.name = "auto-enrollment tasks",
         .doing = "Has the toolkit's task library schedule automatic certificate enrollment, if the registry asks "
                  "for it.",
         .lines = {"*** "},
         .call = "RegOpenKeyExA",
         .operations = {"InstallAutoEnrollmentTasks", "RemoveAutoEnrollmentTasks"}},
        {.name = "automatic provisioning",
         .doing = "Switches Windows' automatic TPM provisioning off, if an option asks for it (Windows 8 and later).",
         .call = "CoInitializeEx",
         .untold = kSilentSwitch},
        {.name = "virtual smart card",
         .doing = "Installs the smart-card minidriver and the virtual reader, if an option or an earlier removal asks "
                  "for them.",
         .lines = {"Install TPM Virtual Smartcard.... "},
         .isOptional = true,
         .ends = {"Install SmartCard - mini-Driver installed"},
         .dueAfter = {"TPM VSC Flag set", "When Toolkit was last uninstalled..."},
         .operations = {"CTPMSmartCard::"},
         .untold = "The reader's success has no line, and the exit codes of DriverStager are not acted on."},
        {.name = "stack set-up",
         .doing = "Sets the machine up for a TCG software stack (TSS); its result is the action's.",
         .lines = {"call SetupTCGDLL("}},
        {.name = "command unblocking",
         .doing = "Takes TPM commands off Windows' list of blocked ones and restarts the TPM Base Services (TBS).",
         .lines = {"Vista OS", "Not Vista+ OS"},
         .ends = {"Successfully changed DACL"},
         .operations = {"TakeKeyOwnership"}},
        {.name = "policy access",
         .doing = "Makes the policy directory and the configuration file, and gives them their access lists.",
         .call = "SHGetSpecialFolderPathW",
         .ends = {"Successfully changed DACL for directory", "Successfully changed DACL for file"},
         .operations = {"SetPolicyDirectoryAccess", "SetConfigFileAccess"}},
        {.name = "platform detection",
         .doing = "Looks for a usable stack and TPM: first Kelo's, then NTRU's.",
         .lines = {"DetectTPMPlatform("}},
        {.name = "processes left behind",
         .doing = "Ends toolkit programs that an earlier installation left running.",
         .lines = {"Try to kill Kelo services"},
         .isOptional = true},
        {.name = "restart of the stack",
         .doing = "Restarts the stack's service before the stack is asked.",
         .lines = {"Restart Kelo Service"},
         .isOptional = true},
        {.name = "probe library",
         .doing = "Loads the stack's detection library and asks it about the stack, the TPM and the SRK.",
         .lines = {"Load "},
         .isOptional = true},
        {.name = "default stack",
         .doing = "Without a usable stack, places the libraries for the one asked for or the only one installed.",
         .lines = {"Set to default TPM Platform: "},
         .isOptional = true},
        {.name = "library copy",
         .doing = "Copies stkprobe.dll of the chosen stack into the system directory.",
         .lines = {"CopyTCGDLL - "},
         .isOptional = true,
         .dueAfter = {"TPM is activated", "Set to default TPM Platform: "}},
        {.name = "toolkit service",
         .doing = "Registers, configures and starts the toolkit's service, KlPCR.",
         .lines = {"InstallTkService - Make sure"},
         .isOptional = true,
         .ends = {"KlTKService - service installed/registered"},
         .dueAfter = {"TPM is activated", "Set to default TPM Platform: "},
         .operations = {"InstallTkService", "UnInstallTkService"},
         .untold = "Whether KlPCR.exe could be started to register itself is not logged; a service that cannot be "
                   "opened afterwards (1060) is the sign that it could not."},
        {.name = "stack set-up's end",
         .doing = "Leaves a message for the installer if the set-up failed.",
         .lines = {"<-- SetupTCGDLL()"}},
        {.name = "end", .doing = "The program ends.", .lines = {kEndLine.data()}},
    };
}

std::vector<Step> CommitSteps()
{
    return {
        {.name = "options", .doing = "Reads the command line.", .lines = {kBeginLine.data()}},
        {.name = "provider defaults",
         .doing = "Records the Microsoft provider that the toolkit's pass-through CSP uses.",
         .call = "RegOpenKeyExA",
         .untold = "Nothing of this step is logged. It decides the exit code: look at the value PassthroughCSP in "
                   "HKLM\\SOFTWARE\\Kelo Systems Corp.\\Keystead CSP Persistent\\CAPI, or at the installer's own log.",
         .decides = true},
        {.name = "end", .doing = "The program ends.", .lines = {kEndLine.data()}},
    };
}

std::vector<Step> RemovalSteps()
{
    return {
        {.name = "options", .doing = "Reads the command line.", .lines = {kBeginLine.data()}},
        {.name = "stack removal",
         .doing = "Removes the shim libraries from the system directory; its result, always 0, is the action's.",
         .lines = {"UninstallTCGDLL() -->"},
         .ends = {"<-- UninstallTCGDLL()"}},
        {.name = "key storage providers",
         .doing = "Takes the toolkit's two key storage providers out of Windows' cryptography (CNG).",
         .lines = {"Unregister the Kelo TCG Enabled KSP", kNoCng}},
        {.name = "toolkit service",
         .doing = "Stops, unregisters and deletes the toolkit's service, KlPCR.",
         .lines = {"UnInstallTkService - Enter"},
         .ends = {"UnInstallTkService - completed"},
         .operations = {"InstallTkService", "UnInstallTkService"}},
        {.name = "automatic provisioning",
         .doing = "Checks the Windows version, and changes nothing.",
         .call = "CoInitializeEx"},
        {.name = "auto-enrollment tasks",
         .doing = "Has the toolkit's task library remove its scheduled tasks.",
         .lines = {"*** "},
         .call = "RegOpenKeyExA",
         .operations = {"InstallAutoEnrollmentTasks", "RemoveAutoEnrollmentTasks"},
         .untold = "A removal that works has no line, and the task library's own result is not looked at."},
        {.name = "virtual smart card",
         .doing = "Removes the minidriver and the virtual reader, if the reader is there.",
         .call = "SCardEstablishContext",
         .operations = {"CTPMSmartCard::"}},
        {.name = "end", .doing = "The program ends.", .lines = {kEndLine.data()}},
    };
}

std::vector<Step> ExportSteps()
{
    return {
        {.name = "SRK authorization",
         .doing = "Runs TpmKeyFixer.exe to check the TPM's SRK and owner authorization, and to change them if needed.",
         .call = "MsiGetPropertyW",
         .untold = "CustomActionData that cannot be read ends the call with 10001 and no line."},
    };
}

} // namespace

const std::vector<Step>& StepsOf(Action action)
{
    static const std::map<Action, std::vector<Step>> steps = {{Action::Setup, SetupSteps()},
                                                              {Action::Commit, CommitSteps()},
                                                              {Action::Removal, RemovalSteps()},
                                                              {Action::Export, ExportSteps()}};
    return steps.at(action);
}

std::optional<Action> ActionOf(std::string_view actionSwitch)
{
    if (actionSwitch == "/Setup")
        return Action::Setup;
    if (actionSwitch == "/Commit")
        return Action::Commit;
    if (actionSwitch == "/Rollback" || actionSwitch == "/Uninstall")
        return Action::Removal;
    return std::nullopt;
}

} // namespace catalogue
