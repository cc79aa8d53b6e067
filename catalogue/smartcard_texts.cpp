// The texts of src/smartcard: the minidriver and the virtual reader.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kNoFolder[] = "Windows did not name the folder; the step was given up.";
constexpr char kDriverDidNotStart[] =
    "DriverStager.exe could not be started for this command (its exit code would not count). The step was given up.";
constexpr char kRepair[] = "Repair the installation of the toolkit.";
constexpr char kFileOrRights[] =
    "The file is missing from the toolkit's folder TPM_VSCard, or its target is in use or denies access.";
constexpr char kRestart[] = "Restart Windows, then repair the installation.";
constexpr char kRestartService[] = "Start the service by hand, or restart Windows.";
constexpr char kGone[] = "Restart Windows; the file goes then.";
constexpr char kRemovalGoesOn[] = "DriverStager.exe could not be started for this command; the removal goes on.";
constexpr char kRemoveByHand[] = "Remove the driver in the device manager.";
constexpr char kDisabledService[] = "The service is disabled, or denies access.";
constexpr char kUnchangedService[] = "The service denies access, or is marked for deletion.";

std::vector<Text> SupportTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager %x",
         .kind = Warning,
         .meaning = "The smart-card resource manager cannot be asked; the virtual reader is taken to be absent.",
         .values = {{"status", SCard}},
         .causes = "The service SCardSvr does not run, which is usual without a reader (0x8010001D).",
         .toDo = "Only if a reader should be there: start the service SCardSvr.",
         .noiseOn = {0x8010001D, 0x8010001E}},
        {.format = "CTPMSmartCard::IsKlSCardInstalled - No Smart card readers on system",
         .kind = Decision,
         .meaning = "There is no smart-card reader, so no virtual one."},
        {.format = "CTPMSmartCard::IsKlSCardInstalled - can't list readers %x",
         .kind = Warning,
         .meaning = "The readers cannot be listed; the virtual reader is taken to be absent.",
         .values = {{"status", SCard}},
         .causes = "The service SCardSvr was stopped meanwhile."},
        {.format = "CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed",
         .kind = Decision,
         .meaning = "The virtual reader is there."},
        {.format = "IsWOW64Process - failed to detect process on host os type: %d",
         .kind = Warning,
         .meaning = "Windows did not say whether this is a 32-bit process; it is treated as a 64-bit one.",
         .values = {{"error", Win32}}},
        {.format = "This is a XP system!", .kind = Decision, .meaning = "Windows before Vista: no virtual smart card."},
        {.format = "IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!",
         .kind = Decision,
         .meaning = "A 32-bit program on 64-bit Windows leaves the virtual reader alone."},
        {.format = "CTPMSmartCard::ConfigureSmartCardService - Failed to change Service to 'Auto' %d",
         .kind = Warning,
         .meaning = "The service SCardSvr does not start automatically.",
         .values = {{"error", Win32}},
         .causes = kUnchangedService,
         .toDo = "Set the service SCardSvr to start automatically."},
        {.format = "CTPMSmartCard::ConfigureSmartCardService - failed to StartService %d",
         .kind = Warning,
         .meaning = "The service SCardSvr was not started.",
         .values = {{"error", Win32}},
         .causes = kDisabledService,
         .toDo = kRestartService},
        {.format = "CTPMSmartCard::ConfigureCertPropService - Failed to change Service to 'Auto' %d",
         .kind = Warning,
         .meaning = "The service CertPropSvc does not start automatically.",
         .values = {{"error", Win32}},
         .causes = kUnchangedService,
         .toDo = "Set the service CertPropSvc to start automatically."},
        {.format = "CTPMSmartCard::ConfigureCertPropService - failed to StartService %d",
         .kind = Warning,
         .meaning = "The service CertPropSvc was not started.",
         .values = {{"error", Win32}},
         .causes = kDisabledService,
         .toDo = kRestartService},
    };
}

std::vector<Text> StagerTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "%s",
         .kind = Progress,
         .meaning = "The command line with which the device installer is started.",
         .values = {{"command line"}},
         .holds = "\\DriverStager.exe\" "},
        {.format = "Kelo Toolkit Installation -> Failed to launch DriverStager rc: %d",
         .kind = Failure,
         .meaning = "The device installer could not be started.",
         .values = {{"error", Win32}},
         .causes = "DriverStager.exe is missing from the toolkit's folder TPM_VSCard, or is blocked by a policy.",
         .toDo = kRepair},
        {.format = "Kelo Toolkit Installation -> DriverStager has been started, PID: %d TID: %d",
         .kind = Progress,
         .meaning = "The device installer runs; it is waited for without a limit.",
         .values = {{"process"}, {"thread"}},
         .causes = "If nothing follows, the device installer hangs, perhaps with a question that nobody sees.",
         .toDo = "End DriverStager.exe in the task manager.",
         .waitsFor = "DriverStager.exe to end"},
        {.format = "  DriverStager process PID: %d completed with Exit code: %d",
         .kind = Progress,
         .meaning = "The device installer ended. Its exit code is ignored; any code except 0 means that it failed.",
         .values = {{"process"}, {"exit code", ExitCode}},
         .causes = "With another code than 0: Windows' log of driver installations tells why.",
         .toDo = "With another code than 0, read C:\\Windows\\inf\\setupapi.dev.log."},
    };
}

std::vector<Text> InstallTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "Install SmartCard - Failed to copy the KeloMiniDriverBody64.dll to System32 err: %d",
         .kind = Failure,
         .meaning = "The minidriver was not installed.",
         .values = {{"error", Win32}},
         .causes = kFileOrRights,
         .toDo = kRestart},
        {.format = "Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to SysWOW64 err: %d",
         .kind = Failure,
         .meaning = "The minidriver was not installed.",
         .values = {{"error", Win32}},
         .causes = kFileOrRights,
         .toDo = kRestart},
        {.format = "Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to System32 err: %d",
         .kind = Failure,
         .meaning = "The minidriver was not installed. Only a 32-bit program logs this.",
         .values = {{"error", Win32}},
         .causes = kFileOrRights,
         .toDo = kRestart},
        {.format = "Install SmartCard - command dp_add_kelo failed!",
         .kind = Failure,
         .meaning = kDriverDidNotStart,
         .toDo = kRepair},
        {.format = "Install SmartCard - failed to install the mini-Driver!",
         .kind = Failure,
         .meaning = kDriverDidNotStart,
         .toDo = kRepair},
        {.format = "Install SmartCard - failed to install the Driver!",
         .kind = Failure,
         .meaning = kDriverDidNotStart,
         .toDo = kRepair},
        {.format = "Install MiniDriver - XP... skipping....",
         .kind = Decision,
         .meaning = "Windows before Vista: no minidriver."},
        {.format = "Install MiniDriver - Kelo VSC already installed... skipping....",
         .kind = Decision,
         .meaning = "The virtual reader is there since before, so neither minidriver nor reader is installed. The "
                    "reader's step logs the same text."},
        {.format = "Install SmartCard - Failed to get path to ...\\System32",
         .kind = Failure,
         .meaning = kNoFolder,
         .toDo = kRestart},
        {.format = "Install SmartCard - Failed to get path to ...\\Windows",
         .kind = Failure,
         .meaning = kNoFolder,
         .toDo = kRestart},
        {.format = "Install SmartCard - Failed; Location of installation was not provided",
         .kind = Failure,
         .meaning = "The program does not know the toolkit's folder; the step was given up.",
         .causes = "The program's own path is too long, or has characters that the code page has not."},
        {.format = "Install SmartCard - mini-Driver installed",
         .kind = Progress,
         .meaning = "The minidriver is installed, as far as the device installer could be started."},
        {.format = "System32 Directory: %s",
         .kind = Progress,
         .meaning = "Where the reader's library is copied to.",
         .values = {{"folder"}}},
        {.format = "Install SmartCard - Failed to copy '%s' to '%s' err: %d",
         .kind = Warning,
         .meaning = "The reader's library could not be copied now. If no line says that the card was not installed, "
                    "Windows copies it at its next start.",
         .values = {{"source"}, {"target"}, {"error", Win32}},
         .causes = kFileOrRights,
         .toDo = "Restart Windows."},
        {.format = "Install SmartCard - Kelo TPM Virtual smart card not installed!!",
         .kind = Failure,
         .meaning = "The reader's library could be copied neither now nor at the next start: there is no reader.",
         .causes = kFileOrRights,
         .toDo = kRepair},
        {.format = "Install SmartCard - not a valid system/configuration... skipping....",
         .kind = Decision,
         .meaning = "No virtual reader on this kind of system."},
    };
}

std::vector<Text> RemovalTexts()
{
    using enum Kind;
    return {
        {.format = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - not a valid system/configuration... "
                   "skipping....",
         .kind = Decision,
         .meaning = "Windows before Vista has no minidriver to remove."},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently installed... skipping....",
         .kind = Decision,
         .meaning = "The virtual reader is not there, so the minidriver is not removed."},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Uninstall the mini-Driver",
         .kind = Begin,
         .meaning = "The minidriver is to be removed."},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - failed to remove the Driver!",
         .kind = Warning,
         .meaning = kRemovalGoesOn,
         .toDo = kRemoveByHand},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - command dp_delete_kelo failed!",
         .kind = Warning,
         .meaning = kRemovalGoesOn,
         .toDo = kRemoveByHand},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - Failed to get path to ...\\System32",
         .kind = Failure,
         .meaning = kNoFolder,
         .toDo = kRestart},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - couldn't directly delete the VReaderBody "
                   "dll, mark for deletion on reboot",
         .kind = Warning,
         .meaning = "The minidriver's library (the text names the reader's) is in use or protected; Windows deletes "
                    "it at its next start.",
         .toDo = kGone},
        {.format = "CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card",
         .kind = Progress,
         .meaning = "The minidriver's removal is over."},
        {.format = "Remove SmartCard - not a valid system/configuration... skipping....",
         .kind = Decision,
         .meaning = "No virtual reader on this kind of system."},
        {.format = "CTPMSmartCard::Uninstall - Kelo Smart Card not installed so skip uninstallation",
         .kind = Decision,
         .meaning = "The virtual reader is not there, so it is not removed."},
        {.format = "Remove SmartCard - failed to remove the Driver!",
         .kind = Warning,
         .meaning = kRemovalGoesOn,
         .toDo = kRemoveByHand},
        {.format = "Remove SmartCard - command dp_delete_kelo failed!",
         .kind = Warning,
         .meaning = kRemovalGoesOn,
         .toDo = kRemoveByHand},
        {.format = "Remove SmartCard - Failed to get path to ...\\System32",
         .kind = Failure,
         .meaning = kNoFolder,
         .toDo = kRestart},
        {.format = "Remove SmartCard - couldn't directly delete the KeloVReaderBody dll, mark for deletion on reboot",
         .kind = Warning,
         .meaning = "The reader's library is in use or protected; Windows deletes it at its next start.",
         .toDo = kGone},
        {.format = "Remove SmartCard - deleted KeloVReaderBody.dll",
         .kind = Progress,
         .meaning = "The reader's library is deleted."},
    };
}

} // namespace

std::vector<StepTexts> SmartCardTexts()
{
    return {{"virtual smart card", SupportTexts()},
            {"virtual smart card", StagerTexts()},
            {"virtual smart card", InstallTexts()},
            {"virtual smart card", RemovalTexts()}};
}

} // namespace catalogue
