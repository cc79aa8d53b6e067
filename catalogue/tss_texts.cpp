// The texts of src/tss: the set-up and removal of a TCG software stack.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kRepair[] = "Repair the installation of the toolkit.";
constexpr char kBadProbe[] = "The stack's stkprobe.dll is damaged or of another version. Result code 10015.";
constexpr char kNoMemory[] = "Windows is short of memory.";
constexpr char kNoAccount[] = "An account's identifier could not be made; the access list stays as it is.";
constexpr char kListStays[] = "The access list stays as it is.";
constexpr char kUnblocked[] = "The TPM command is no longer blocked, or was not before.";
constexpr char kSwitchOnTpm[] = "Enable and activate the TPM in the machine's firmware settings, then install again.";
constexpr char kInUse[] = "A program uses the file, or the account may not change it.";

std::vector<Text> FrameTexts()
{
    using enum Kind;
    return {
        {.format = "===================================================",
         .kind = Progress,
         .meaning = "A line before the set-up or the removal of a stack."},
        {.format = "--------------------------------------------",
         .kind = Progress,
         .meaning = "A line before each stack that is tried."},
    };
}

std::vector<Text> SetupTexts()
{
    using enum Kind;
    return {
        {.format = "SetupTCGDLL() -->", .kind = Progress, .meaning = "The set-up of a stack begins."},
        {.format = "Target: %s",
         .kind = Progress,
         .meaning = "The toolkit's folder, in which each stack has one of its own.",
         .values = {{"folder"}}},
        {.format = "TSS_VENDOR: %s",
         .kind = Decision,
         .meaning = "The stack that is set up when none is found usable.",
         .values = {{"KELO or NTRU12"}}},
        {.format = "No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.",
         .kind = Decision,
         .meaning = "Without a stack asked for, the set-up succeeds only if a stack and the TPM are usable."},
    };
}

std::vector<Text> EndTexts()
{
    using enum Kind;
    return {
        {.format = "<-- SetupTCGDLL()",
         .kind = Progress,
         .meaning = "The set-up of a stack is over. The line does not tell whether it succeeded."},
    };
}

std::vector<Text> UnblockTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "Not Vista+ OS", .kind = Decision, .meaning = "Windows before Vista blocks no TPM commands."},
        {.format = "Not VISTA OS", .kind = Decision, .meaning = "Windows before Vista blocks no TPM commands."},
        {.format = "Vista OS",
         .kind = Begin,
         .meaning = "Windows Vista or later: TPM commands are to be taken off the list of blocked ones."},
        {.format = "Commands blocked on Vista+",
         .kind = Noise,
         .meaning = "Success: the commands are unblocked. The text says the contrary of what it means."},
        {.format = "Failed to Unblock Commands for Vista+",
         .kind = Failure,
         .meaning = "The commands are still blocked, or the TPM Base Services did not restart. The set-up goes on.",
         .causes = "The lines before say which part failed.",
         .toDo = "Mend what the lines before name, then repair the installation."},
        {.format = "Ownership was not taken on registry Key",
         .kind = Failure,
         .meaning = "The list of blocked commands could not be opened for changes: all commands stay blocked.",
         .causes = "A group policy protects HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List."},
        {.format = "Ownership taken for Default List of Blocked Commands",
         .kind = Progress,
         .meaning = "The list of blocked commands can be changed."},
        {.format = "Unblocked Command 20", .kind = Progress, .meaning = kUnblocked},
        {.format = "Unblocked Command 22", .kind = Progress, .meaning = kUnblocked},
        {.format = "Unblocked Command 125", .kind = Progress, .meaning = kUnblocked},
        {.format = "Unblocked Command 62", .kind = Progress, .meaning = kUnblocked},
        {.format = "Unblocked Command 200", .kind = Progress, .meaning = kUnblocked},
        {.format = "Unblocked Command 16", .kind = Progress, .meaning = kUnblocked},
        {.format = "Unblocked Command 13", .kind = Progress, .meaning = kUnblocked},
        {.format = "AllocateAndInitializeSid (Everyone) error %u",
         .kind = Failure,
         .meaning = kNoAccount,
         .values = {{"error", Win32}},
         .causes = kNoMemory},
        {.format = "AllocateAndInitializeSid (Admin) error %u",
         .kind = Failure,
         .meaning = "The identifier of the administrators or of the local system could not be made; the access list "
                    "stays as it is.",
         .values = {{"error", Win32}},
         .causes = kNoMemory},
        {.format = "Failed SetEntriesInAclW", .kind = Failure, .meaning = kListStays, .causes = kNoMemory},
        {.format = "First SetNamedSecurityInfo call failed: %u",
         .kind = Failure,
         .meaning = "The access list of the list of blocked commands could not be changed.",
         .values = {{"error", Win32}},
         .causes = "The key HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List is not there (2).",
         .toDo = "If the key is missing, this Windows blocks no commands and nothing is to be done."},
        {.format = "OpenProcessToken failed: %u",
         .kind = Failure,
         .meaning = "Ownership of the list of blocked commands could not be taken.",
         .values = {{"error", Win32}}},
        {.format = "You must be logged on as Administrator.",
         .kind = Failure,
         .meaning = "The account lacks the privilege to take ownership.",
         .causes = "The program runs without administrator rights.",
         .toDo = "Run the installation elevated."},
        {.format = "Could not set owner. Error: %u",
         .kind = Failure,
         .meaning = "Ownership of the list of blocked commands could not be taken.",
         .values = {{"error", Win32}}},
        {.format = "Failed SetPrivilege call unexpectedly.",
         .kind = Failure,
         .meaning = "Ownership was taken, but the privilege could not be given back; the list stays as it is.",
         .causes = "Security software interferes."},
        {.format = "Second SetNamedSecurityInfo call failed: %u",
         .kind = Failure,
         .meaning = "The access list could not be changed, not even as the key's owner.",
         .values = {{"error", Win32}}},
        {.format = "Successfully changed DACL",
         .kind = Progress,
         .meaning = "Administrators may now change the list of blocked commands."},
    };
}

std::vector<Text> PolicyTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "Successfully changed DACL for directory: %s",
         .kind = Begin,
         .meaning = "The policy directory has its access list.",
         .values = {{"directory"}}},
        {.format = "Successfully changed DACL for file: %s",
         .kind = Progress,
         .meaning = "The configuration file has its access list.",
         .values = {{"file"}}},
        {.format = "Unable to Set security on the Policy Directory",
         .kind = Failure,
         .meaning = "The policy directory was not made, or lacks its access list. The line before has the reason, "
                    "if there is one.",
         .causes = "The account may not change the directory below C:\\ProgramData\\Kelo Systems Corp.",
         .toDo = "Give administrators full access to the directory, then repair the installation."},
        {.format = "Unable to Set Security on the file Kelo_Config.ini",
         .kind = Failure,
         .meaning = "The configuration file was not made, or lacks its access list. The line before has the reason, "
                    "if there is one.",
         .causes = "The account may not change C:\\ProgramData\\Kelo Systems Corp\\Common\\Kelo_Config.ini.",
         .toDo = "Give administrators full access to the file, then repair the installation."},
        {.format = "AllocateAndInitializeSid (Everyone) error: %d ",
         .kind = Failure,
         .meaning = kNoAccount,
         .values = {{"error", Win32}},
         .causes = kNoMemory},
        {.format = "AllocateAndInitializeSid (Admin) error: %d ",
         .kind = Failure,
         .meaning = kNoAccount,
         .values = {{"error", Win32}},
         .causes = kNoMemory},
        {.format = "AllocateAndInitializeSid (System) error: %d ",
         .kind = Failure,
         .meaning = kNoAccount,
         .values = {{"error", Win32}},
         .causes = kNoMemory},
        {.format = "AllocateAndInitializeSid (Network Service) error: %d ",
         .kind = Failure,
         .meaning = kNoAccount,
         .values = {{"error", Win32}},
         .causes = kNoMemory},
        {.format = "SHCreateDirectoryExW error: %d ",
         .kind = Failure,
         .meaning = "The policy directory could not be made.",
         .values = {{"error", Win32}}},
        {.format = "GetNamedSecurityInfoW error: %d ",
         .kind = Failure,
         .meaning = "The present access list could not be read.",
         .values = {{"error", Win32}}},
        {.format = "SetEntriesInAclW error", .kind = Failure, .meaning = kListStays, .causes = kNoMemory},
        {.format = "SetNamedSecurityInfo call failed: %d",
         .kind = Failure,
         .meaning = kListStays,
         .values = {{"error", Win32}}},
    };
}

std::vector<Text> DetectionTexts()
{
    using enum Kind;
    return {
        {.format = "DetectTPMPlatform(%s,%s)",
         .kind = Begin,
         .meaning = "A stack is tried.",
         .values = {{"install folder"}, {"stack"}}},
        {.format = "Remove old Tsp1_x64.dll",
         .kind = Progress,
         .meaning = "A shim must not stand in for NTRU's stack while that is asked."},
        {.format = "Remove old Tspi_x64.dll",
         .kind = Progress,
         .meaning = "A shim must not stand in for Kelo's stack while that is asked."},
        {.format = "NTRU service not running",
         .kind = Decision,
         .meaning = "NTRU's service is not there or does not run, so it is not restarted."},
        {.format = "restarting NTRU TSS service...", .kind = Progress, .meaning = "NTRU's service is restarted."},
        {.format = "NTRU TSS service restarted", .kind = Progress, .meaning = "NTRU's service runs again."},
        {.format = "Unable to restart NTRU TSS service",
         .kind = Failure,
         .meaning = "NTRU's service was not restarted; the stack is not asked and counts as not usable (10016).",
         .causes = "The lines before say why.",
         .toDo = "Start the service tcsd_win32.exe by hand, then install again."},
    };
}

std::vector<Text> LeftoverTexts()
{
    using enum Kind;
    return {
        {.format = "Try to kill Kelo services left behind in previous installation",
         .kind = Begin,
         .meaning = "Toolkit programs that still run are to be ended."},
        {.format = "kill PatchAgent.exe --> %s",
         .kind = Noise,
         .meaning = "OK: the program was ended. ERROR: it was not running, which is usual, unless a line before says "
                    "that it could not be ended.",
         .values = {{"OK or ERROR"}}},
        {.format = "kill VaultCourier.exe --> %s",
         .kind = Noise,
         .meaning = "OK: the program was ended. ERROR: it was not running, which is usual, unless a line before says "
                    "that it could not be ended.",
         .values = {{"OK or ERROR"}}},
    };
}

std::vector<Text> RestartTexts()
{
    using enum Kind;
    return {
        {.format = "Restart Kelo Service",
         .kind = Begin,
         .meaning = "The service of Kelo's stack is restarted. Its result does not matter to what follows."},
    };
}

std::vector<Text> ProbeTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "Load %s",
         .kind = Begin,
         .meaning = "The stack's detection library is loaded.",
         .values = {{"path"}}},
        {.format = "Failed to Load Library: %s Err: %d",
         .kind = Failure,
         .meaning = "The stack's detection library could not be loaded; the stack counts as not usable (10016).",
         .values = {{"path"}, {"error", Win32}},
         .causes = "stkprobe.dll, or a library that it needs (the stack's own among them), is missing (126); a "
                   "32-bit library lies where a 64-bit one is needed (193).",
         .toDo = "Check that the stack is installed and that stkprobe.dll is in the path named."},
        {.format = "Library Loaded, now checking for TSS...",
         .kind = Progress,
         .meaning = "The detection library is loaded."},
        {.format = "Failed to get Function Pointer to DetectTSS()",
         .kind = Failure,
         .meaning = kBadProbe,
         .toDo = kRepair},
        {.format = "Failed to Detect TSS rc='%d'",
         .kind = Failure,
         .meaning = "The detection library does not find its stack.",
         .values = {{"answer", StackAnswer}},
         .causes = "The stack is not installed, or its service does not run or does not reach the TPM.",
         .toDo = "Install the stack, or start its service, then install the toolkit again."},
        {.format = "Detected TSS", .kind = Progress, .meaning = "The stack is there."},
        {.format = "Function isEnabled() not found", .kind = Failure, .meaning = kBadProbe, .toDo = kRepair},
        {.format = "TPM is not enabled rc: %d",
         .kind = Failure,
         .meaning = "The TPM is switched off; the stack counts as not usable.",
         .values = {{"result code", ResultCode}},
         .causes = "The TPM is disabled in the firmware.",
         .toDo = kSwitchOnTpm},
        {.format = "TPM is enabled", .kind = Progress, .meaning = "The TPM is switched on."},
        {.format = "Function isActivated() Not found", .kind = Failure, .meaning = kBadProbe, .toDo = kRepair},
        {.format = "TPM is activated",
         .kind = Decision,
         .meaning = "The stack and the TPM are usable: this stack is chosen, and the set-up succeeds.",
         .exitCode = 0},
        {.format = "TPM is not activated rc: %d",
         .kind = Failure,
         .meaning = "The TPM is not activated; the stack counts as not usable.",
         .values = {{"result code", ResultCode}},
         .causes = "The TPM is deactivated in the firmware.",
         .toDo = kSwitchOnTpm},
        {.format = "Function isOwned() Not found",
         .kind = Warning,
         .meaning = "Whether the TPM has an owner could not be asked; the SRK is not looked at.",
         .causes = "The stack's stkprobe.dll is of another version."},
        {.format = "Function ValidSRKAuth() Not found",
         .kind = Warning,
         .meaning = "The SRK's authorization could not be asked.",
         .causes = "The stack's stkprobe.dll is of another version."},
        {.format = "SRK is in correct auth format",
         .kind = Progress,
         .meaning = "The SRK's authorization is as the toolkit needs it."},
        {.format = "SRK is in incorrect auth format!",
         .kind = Warning,
         .meaning = "The SRK's authorization is not as the toolkit needs it. The set-up goes on; an event in the "
                    "Application log says that the TPM must be reset.",
         .causes = "Other software took ownership of the TPM.",
         .toDo = "Clear the TPM in the firmware settings, and have the toolkit take ownership."},
        {.format = "Cannot determine SRK auth format",
         .kind = Warning,
         .meaning = "The detection library does not know the state of the SRK."},
        {.format = "DetectTPMPlatform Exception Caught - Unable to Detect TSS Properly",
         .kind = Failure,
         .meaning = "The detection library crashed; the stack counts as not usable (10016).",
         .causes = "stkprobe.dll, or a library of the stack, has an error or is of another version.",
         .toDo = "Update or reinstall the stack, then install the toolkit again.",
         .exitCode = -1},
        {.format = "Found Kelo TSS", .kind = Progress, .meaning = "The service of Kelo's stack is installed."},
        {.format = "Found NTRU TSS", .kind = Progress, .meaning = "The service of NTRU's stack is installed."},
        {.format = "Found a single TCS = %s that is different than the default %s. Set the default to its TSS",
         .kind = Decision,
         .meaning = "Only one stack is installed, and it takes the place of the one asked for.",
         .values = {{"stack found"}, {"stack asked for"}}},
        {.format = "No default TSS vendor platform specified AND no valid TSS & TPM state detected --> Unable to "
                   "install Toolkit!",
         .kind = Failure,
         .meaning = "No stack is usable and none was asked for: the set-up fails.",
         .causes = "The failures of the detections before say what is missing.",
         .toDo = "Mend the stack or the TPM, or give TSS_VENDOR to install without a usable one.",
         .exitCode = -1},
        {.format = "No default TPM platform specified - installation will fail.",
         .kind = Failure,
         .meaning = "No stack is usable, and the one asked for is unknown: the set-up fails.",
         .causes = "TSS_VENDOR is neither KELO nor NTRU12.",
         .toDo = "Correct TSS_VENDOR.",
         .exitCode = -1},
    };
}

std::vector<Text> DefaultTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "Set to default TPM Platform: %s",
         .kind = Decision,
         .meaning = "No stack is usable; the machine is prepared for this one, and the set-up succeeds.",
         .values = {{"stack"}},
         .exitCode = 0},
        {.format = "Kelo TSS not present so copy 'shim' TSPI.dll",
         .kind = Decision,
         .meaning = "Kelo's stack is not installed, so a shim takes the place of its library."},
        {.format = "remove old TSP1.dll found in System32 directory...",
         .kind = Progress,
         .meaning = "An old shim for NTRU's stack is removed."},
        {.format = "if NTRU present and older version then copy to system32 directory...",
         .kind = Progress,
         .meaning = "The version of NTRU's stack is looked at."},
        {.format = "NTRU not present so copy 'shim' TSP1.dll",
         .kind = Decision,
         .meaning = "NTRU's stack is not installed, so a shim takes the place of its library."},
        {.format = "CopyTSP1FileImp - Enter", .kind = Progress, .meaning = "NTRU's library is looked for."},
        {.format = "CopyTSP1FileImp - Unable to get path to NTRU binary from Service Manager",
         .kind = Noise,
         .meaning = "NTRU's service is not installed; its library is looked for in the usual folder."},
        {.format = "CopyTSP1FileImp - Unable to get path to PROGRAM_FILES",
         .kind = Warning,
         .meaning = "Windows did not name its program folder; NTRU's stack counts as not installed."},
        {.format = "Path to NTRU TSS binaries: %s",
         .kind = Progress,
         .meaning = "Where NTRU's library is looked for.",
         .values = {{"path"}}},
        {.format = "CopyTSP1FileImp - NTRU TSS not installed err: %d",
         .kind = Noise,
         .meaning = "NTRU's library is not there; a shim will take its place.",
         .values = {{"error", Win32}}},
        {.format = "CopyTSP1FileImp - Unable to get Tsp1_x64.dll version info size err: %d",
         .kind = Warning,
         .meaning = "The version of NTRU's library cannot be read; a shim of before stays.",
         .values = {{"error", Win32}}},
        {.format = "CopyTSP1FileImp - NTRU TSS Version: <Not Available>",
         .kind = Warning,
         .meaning = "NTRU's library has no version; a shim of before stays."},
        {.format = "CopyTSP1FileImp - NTRU TSS Version: %d.%d.%d.%d",
         .kind = Progress,
         .meaning = "The version of NTRU's library. From 1.2.1.25 on it needs no shim.",
         .values = {{"major"}, {"minor"}, {"build"}, {"revision"}}},
        {.format = "CopyTSP1FileImp - Unable to get path to SYSTEM32",
         .kind = Warning,
         .meaning = "Windows did not name its system directory; a shim of before stays."},
        {.format = "CopyTSP1FileImp - Found updated TSS Version must ensure no Tsp1_x64.dll exists in System32 "
                   "directory",
         .kind = Decision,
         .meaning = "NTRU's stack needs no shim, so one that is there is deleted. A failure is not logged."},
        {.format = "CopyTSP1FileImp - Exit - return 0",
         .kind = Progress,
         .meaning = "The look at NTRU's library is over."},
        {.format = "CopyTSP1FileImp - Unknown exception caught return 1",
         .kind = Warning,
         .meaning = "The look at NTRU's library was broken off.",
         .causes = kNoMemory},
        {.format = "Copying Kelo \"Shim\" TSP<x>_x64.dll to System32 Directory",
         .kind = Progress,
         .meaning = "The shim is copied into the system directory."},
        {.format = "Unable to get path to SYSTEM32",
         .kind = Failure,
         .meaning = "Windows did not name its system directory; the shim was not copied.",
         .causes = kNoMemory},
        {.format = "Copied %s to %s",
         .kind = Progress,
         .meaning = "The shim is in place.",
         .values = {{"source"}, {"target"}}},
        {.format = "%s not found, unable to copy to %s",
         .kind = Failure,
         .meaning = "The shim is missing from the toolkit's folder: applications find no stack.",
         .values = {{"source"}, {"target"}},
         .toDo = kRepair},
        {.format = "%s unable to copy to %s err: %d",
         .kind = Failure,
         .meaning = "The shim could not be copied: applications find no stack.",
         .values = {{"source"}, {"target"}, {"error", Win32}},
         .causes = "A file of that name is there already (80), or the folder denies access.",
         .toDo = "Remove the old file, or restart Windows, then repair the installation."},
    };
}

std::vector<Text> CopyTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "CopyTCGDLL - Copying stkprobe.dll to system32 folder",
         .kind = Begin,
         .meaning = "The chosen stack's detection library is copied."},
        {.format = "Copied stkprobe.dll successfully", .kind = Progress, .meaning = "The library is in place."},
        {.format = "CopyTCGDLL - Copying %s to %s failed err: %d",
         .kind = Warning,
         .meaning = "The library could not be copied at first; the old one is moved aside and the copy tried again.",
         .values = {{"source"}, {"target"}, {"error", Win32}},
         .causes = "The old library is in use; or the new one is missing (2)."},
        {.format = "CopyTCGDLL - Unable to Delete %s rc: %d",
         .kind = Warning,
         .meaning = "An earlier backup of the library could not be deleted.",
         .values = {{"backup"}, {"error", Win32}},
         .causes = kInUse,
         .noiseOn = {2}},
        {.format = "CopyTCGDLL - Unable to rename %s to %s rc: %d",
         .kind = Warning,
         .meaning = "The old library could not be moved aside; the copy is tried again nevertheless.",
         .values = {{"library"}, {"backup"}, {"error", Win32}},
         .causes = kInUse,
         .noiseOn = {2}},
        {.format = "CopyTCGDLL - Copied file %s to %s",
         .kind = Progress,
         .meaning = "The library is in place, at the second try.",
         .values = {{"source"}, {"target"}}},
        {.format = "CopyTCGDLL - Unable to copy file %s to %s rc: %d",
         .kind = Failure,
         .meaning = "The library was not copied: programs that use the stack through it do not work, or use an old "
                    "one. The set-up still ends with 0.",
         .values = {{"source"}, {"target"}, {"error", Win32}},
         .causes = "stkprobe.dll is missing from the stack's folder in the toolkit (2), the old one is in use (32), or "
                   "the folder denies access (5).",
         .toDo = "Close programs that use the TPM or restart Windows, then repair the installation."},
        {.format = "Unknown exception caught trying to copy stkprobe.dll",
         .kind = Failure,
         .meaning = "The copy was broken off.",
         .causes = kNoMemory},
    };
}

std::vector<Text> RemovalTexts()
{
    using enum Kind;
    return {
        {.format = "UninstallTCGDLL() -->", .kind = Begin, .meaning = "The removal of the shims begins."},
        {.format = "Remove TSP1_x64 and/or TSPI_x64 from System32",
         .kind = Progress,
         .meaning = "Both shims are looked for."},
        {.format = "<-- UninstallTCGDLL()",
         .kind = Progress,
         .meaning = "The removal of the shims is over. A removal succeeds whatever happened.",
         .exitCode = 0},
    };
}

std::vector<Text> ShimTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {.format = "RemoveTSP1File - enter %d",
         .kind = Progress,
         .meaning = "A shim is removed from the system directory: TSP1_x64.dll (0, 1) or Tspi_x64.dll (2).",
         .values = {{"which shim"}}},
        {.format = "RemoveTSP1File - Unable to get path to SYSTEM32",
         .kind = Warning,
         .meaning = "Windows did not name its system directory; a shim that is there stays."},
        {.format = "RemoveTSP1File - Failed to get Attributes for %s, err: %d",
         .kind = Warning,
         .meaning = "The file has no attributes at all, and stays.",
         .values = {{"file"}, {"error", Win32}}},
        {.format = "RemoveTSP1File - Deleted Tsp<x>_x64.dll", .kind = Progress, .meaning = "The shim is deleted."},
        {.format = "RemoveTSP1File - Failed to delete file %s, err: %d",
         .kind = Warning,
         .meaning = "The shim could not be deleted; it is moved aside. With error 2 it was not there, which is usual.",
         .values = {{"file"}, {"error", Win32}},
         .causes = kInUse,
         .noiseOn = {2}},
        {.format = "RemoveTSP1File - Unable to remove .bak file, err: %d",
         .kind = Warning,
         .meaning = "An earlier backup of the shim could not be deleted.",
         .values = {{"error", Win32}},
         .causes = kInUse},
        {.format = "RemoveTSP1File - Failed to move file %s, err: %d",
         .kind = Warning,
         .meaning = "The shim could not be moved aside, and stays. With error 2 it was not there, which is usual.",
         .values = {{"file"}, {"error", Win32}},
         .causes = kInUse,
         .toDo = "Restart Windows and delete the file.",
         .noiseOn = {2}},
        {.format = "RemoveTSP1File - exit",
         .kind = Progress,
         .meaning = "The removal ends without a file moved; the line before tells whether there was one."},
        {.format = "RemoveTSP1File - Moved Tsp<x>_x64.dll to %s",
         .kind = Progress,
         .meaning = "The shim is in use, and was moved aside.",
         .values = {{"backup"}}},
    };
}

} // namespace

std::vector<StepTexts> TssTexts()
{
    return {
        {"", FrameTexts()},
        {"stack set-up", SetupTexts()},
        {"command unblocking", UnblockTexts()},
        {"policy access", PolicyTexts()},
        {"platform detection", DetectionTexts()},
        {"processes left behind", LeftoverTexts()},
        {"restart of the stack", RestartTexts()},
        {"probe library", ProbeTexts()},
        {"default stack", DefaultTexts()},
        {"library copy", CopyTexts()},
        {"stack set-up's end", EndTexts()},
        {"stack removal", RemovalTexts()},
        {"", ShimTexts()},
    };
}

} // namespace catalogue
