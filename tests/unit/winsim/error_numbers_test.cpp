// Proves how each line of services, stacks and drivers shows an error number beyond 31 bits: signed or unsigned, as its
// format requires.
#include "tests/support/simulated_run.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

// The error that each failing call sets, and its two renderings.
constexpr char kError[] = "3735928559";
constexpr char kSigned[] = "-559038737";

// A function of the program, the calls in it that fail (with that error, unless one has its own), and the line with the
// error of the last failure.
struct Row
{
    const char* function;
    std::vector<std::string> arguments;
    std::vector<std::string> failures;
    const char* line;
};

constexpr char kMachine[] = R"({
    "services": {
        "tcsd_x86": {"binaryPath": "\"C:\\Kelo\\tcsd_x86.exe\"", "start": "demand"},
        "tcsd_win32.exe": {"binaryPath": "\"C:\\NTRU\\tcsd_win32.exe\""},
        "KlPCR": {"state": "running", "binaryPath": "\"C:\\Toolkit\\KlPCR.exe\"",
                  "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 10},
                                        {"afterMs": 10, "state": "stopped"}]}},
        "Pending": {"state": "stopPending", "waitHint": 10, "states": [{"afterMs": 15, "state": "stopped"}]},
        "TBS": null
    },
    "processes": [{"id": 8, "name": "PatchAgent.exe"}],
    "registry": {"HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List": {"owner": "S-1-5-18", "access": [
        {"trustee": "S-1-5-18", "mask": 268435456, "inheritance": 2},
        {"trustee": "S-1-5-32-544", "mask": 2147483648, "inheritance": 2}]}},
    "files": {
        "C:\\NTRU\\TSP1_x64.dll": {"version": "1.2.1.25"},
        "C:\\ProgramData\\Kelo Systems Corp\\Common": {"directory": true}
    },
    "programs": {"C:\\Toolkit\\KlPCR.exe": {"runs": []}}
})";

const std::vector<Row> kRows{
    {"IsServiceRunning", {"tcsd_x86"}, {"OpenSCManagerW"}, "OpenSCManager failed ({signed})"},
    {"StartServiceByName", {"tcsd_x86"}, {"OpenSCManagerW"}, "OpenSCManager failed ({signed})"},
    {"StopServiceByName", {"tcsd_x86"}, {"OpenSCManagerW"}, "OpenSCManager failed ({signed})"},
    {"RestartServiceByName", {"tcsd_x86"}, {"OpenSCManagerW"}, "OpenSCManager failed ({signed})"},
    {"StartServiceByName", {"tcsd_x86"}, {"StartServiceA"}, "Cannot start tcsd_x86 service: 0xDEADBEEF"},
    {"RestartServiceByName", {"tcsd_x86"}, {"StartServiceA"}, "Cannot start tcsd_x86 service: 0xDEADBEEF"},
    {"KillProcessByName", {"PatchAgent.exe"}, {"TerminateProcess"}, "error: {signed}"},
    {"StopService",
     {"KlPCR"},
     {"QueryServiceStatusEx#1"},
     "CKlTkService::StopService - failed to query Service Status {signed}"},
    {"StopService", {"KlPCR"}, {"QueryServiceStatusEx#2"}, "QueryServiceStatusEx failed ({signed})"},
    {"StopService", {"Pending"}, {"QueryServiceStatusEx#2"}, "QueryServiceStatusEx failed ({signed})"},
    {"InstallTkService",
     {"KELO", R"(C:\Toolkit)"},
     {"OpenSCManagerW#1"},
     "InstallTkService - failed to open the SCM. {signed}"},
    {"InstallTkService",
     {"KELO", R"(C:\Toolkit)"},
     {"OpenServiceW#1=5", "CloseServiceHandle#1"},
     "InstallTkService - failed to open the KlPCR Service. {signed} (this is expected)"},
    {"InstallTkService",
     {"KELO", R"(C:\Toolkit)"},
     {"OpenSCManagerW#2"},
     "InstallTkService - failed to open the SCM. {signed}"},
    {"InstallTkService",
     {"KELO", R"(C:\Toolkit)"},
     {"OpenServiceW#2"},
     "InstallTkService - failed to open the KlPCR Service! {signed}"},
    {"InstallTkService",
     {"KELO", R"(C:\Toolkit)"},
     {"ChangeServiceConfigW"},
     "InstallTkService failed to change KlPCR Service configuration {signed}"},
    {"InstallTkService",
     {"KELO", R"(C:\Toolkit)"},
     {"StartServiceW"},
     "InstallTkService failed to start the KlPCR Service {signed}"},
    {"UnInstallTkService", {}, {"OpenSCManagerW"}, "UnInstallTkService - failed to open the SCM. {signed}"},
    {"UnInstallTkService", {}, {"OpenServiceW"}, "UnInstallTkService - failed to open the KlPCR Service! {signed}"},
    {"UnInstallTkService", {}, {"DeleteService"}, "UnInstallTkService - failed to delete the service {signed}"},
    {"RemoveTSP1File",
     {"0"},
     {"DeleteFileA#1"},
     R"(RemoveTSP1File - Failed to delete file C:\Windows\system32\TSP1_x64.dll, err: {signed})"},
    {"RemoveTSP1File", {"0"}, {"DeleteFileA#2"}, "RemoveTSP1File - Unable to remove .bak file, err: {signed}"},
    {"RemoveTSP1File",
     {"2"},
     {"MoveFileA"},
     R"(RemoveTSP1File - Failed to move file C:\Windows\system32\Tspi_x64.dll, err: {signed})"},
    {"RemoveTSP1File", {"0xDEADBEEF"}, {}, "RemoveTSP1File - enter {signed}"},
    {"CopyShimFile",
     {R"(C:\Toolkit\)", "NTRU12", "0"},
     {"CopyFileA"},
     R"(C:\Toolkit\NTRU12\TSP1-kelo.dll unable to copy to C:\Windows\system32\TSP1_x64.dll err: {signed})"},
    {"CopyTSP1FileImp",
     {},
     {"GetFileAttributesW#1=2", "GetFileAttributesW#2"},
     "CopyTSP1FileImp - NTRU TSS not installed err: {signed}"},
    {"CopyTSP1FileImp",
     {},
     {"GetFileVersionInfoSizeW"},
     "CopyTSP1FileImp - Unable to get Tsp1_x64.dll version info size err: {signed}"},
    {"CopyTCGDLL",
     {R"(C:\Toolkit\)", "KELO"},
     {"CopyFileA#1"},
     R"(CopyTCGDLL - Copying C:\Toolkit\KELO\stkprobe.dll to C:\Windows\system32\stkprobe.dll failed err: {signed})"},
    {"CopyTCGDLL",
     {R"(C:\Toolkit\)", "KELO"},
     {"CopyFileA=32", "DeleteFileA"},
     R"(CopyTCGDLL - Unable to Delete C:\Windows\system32\stkprobe.bk1 rc: {signed})"},
    {"CopyTCGDLL",
     {R"(C:\Toolkit\)", "KELO"},
     {"CopyFileA=32", "MoveFileA"},
     R"(CopyTCGDLL - Unable to rename C:\Windows\system32\stkprobe.dll to C:\Windows\system32\stkprobe.bk1 rc: {signed})"},
    {"CopyTCGDLL",
     {R"(C:\Toolkit\)", "KELO"},
     {"CopyFileA#1=32", "CopyFileA#2"},
     R"(CopyTCGDLL - Unable to copy file C:\Toolkit\KELO\stkprobe.dll to C:\Windows\system32\stkprobe.dll rc: {signed})"},
    {"SetPolicyDirectoryAccess", {}, {"GetNamedSecurityInfoW"}, "GetNamedSecurityInfoW error: {signed} "},
    {"SetPolicyDirectoryAccess",
     {},
     {"AllocateAndInitializeSid#1"},
     "AllocateAndInitializeSid (Everyone) error: {signed} "},
    {"SetPolicyDirectoryAccess",
     {},
     {"AllocateAndInitializeSid#2"},
     "AllocateAndInitializeSid (Admin) error: {signed} "},
    {"SetPolicyDirectoryAccess",
     {},
     {"AllocateAndInitializeSid#3"},
     "AllocateAndInitializeSid (System) error: {signed} "},
    {"SetPolicyDirectoryAccess",
     {},
     {"AllocateAndInitializeSid#4"},
     "AllocateAndInitializeSid (Network Service) error: {signed} "},
    {"SetPolicyDirectoryAccess", {}, {"SetNamedSecurityInfoW"}, "SetNamedSecurityInfo call failed: {signed}"},
    {"SetConfigFileAccess", {}, {"GetNamedSecurityInfoW"}, "GetNamedSecurityInfoW error: {signed} "},
    {"SetConfigFileAccess", {}, {"AllocateAndInitializeSid#1"}, "AllocateAndInitializeSid (Everyone) error: {signed} "},
    {"SetConfigFileAccess", {}, {"AllocateAndInitializeSid#2"}, "AllocateAndInitializeSid (Admin) error: {signed} "},
    {"SetConfigFileAccess", {}, {"AllocateAndInitializeSid#3"}, "AllocateAndInitializeSid (System) error: {signed} "},
    {"SetConfigFileAccess",
     {},
     {"AllocateAndInitializeSid#4"},
     "AllocateAndInitializeSid (Network Service) error: {signed} "},
    {"SetConfigFileAccess", {}, {"SetNamedSecurityInfoW"}, "SetNamedSecurityInfo call failed: {signed}"},
    {"SetPolicyDirectoryAccess", {}, {"SHCreateDirectoryExW"}, "SHCreateDirectoryExW error: {signed} "},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"AllocateAndInitializeSid#1"},
     "AllocateAndInitializeSid (Everyone) error {unsigned}"},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"AllocateAndInitializeSid#2"},
     "AllocateAndInitializeSid (Admin) error {unsigned}"},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"AllocateAndInitializeSid#3"},
     "AllocateAndInitializeSid (Admin) error {unsigned}"},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"SetNamedSecurityInfoW#1"},
     "First SetNamedSecurityInfo call failed: {unsigned}"},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"OpenProcessToken"},
     "OpenProcessToken failed: {unsigned}"},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"SetNamedSecurityInfoW#2"},
     "Could not set owner. Error: {unsigned}"},
    {"TakeKeyOwnership",
     {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"},
     {"SetNamedSecurityInfoW#3"},
     "Second SetNamedSecurityInfo call failed: {unsigned}"},
    {"DetectTPMPlatform",
     {R"(C:\Toolkit\)", "(null)"},
     {"LoadLibraryA"},
     R"(Failed to Load Library: C:\Toolkit\stkprobe.dll Err: {signed})"},
    {"IsWOW64Process", {}, {"IsWow64Process"}, "IsWOW64Process - failed to detect process on host os type: {signed}"},
    {"Win8Install", {"true"}, {"IsWow64Process"}, "Win8Install - failed to detect process on host os type: {signed}"},
    {"RunDriverStager",
     {R"(C:\Toolkit\TPM_VSCard\)", "install"},
     {"CreateProcessW"},
     "Kelo Toolkit Installation -> Failed to launch DriverStager rc: {signed}"},
    {"ConfigureSmartCardService",
     {},
     {"ChangeServiceConfigW"},
     "CTPMSmartCard::ConfigureSmartCardService - Failed to change Service to 'Auto' {signed}"},
    {"ConfigureCertPropService",
     {},
     {"ChangeServiceConfigW"},
     "CTPMSmartCard::ConfigureCertPropService - Failed to change Service to 'Auto' {signed}"},
};

TEST(ErrorNumbers, ALineShowsAnErrorBeyond31BitsAsItsFormatSays)
{
    for (const Row& row : kRows)
    {
        SimulatedRunOptions options;
        for (const std::string& failure : row.failures)
            options.faults.push_back(failure.find('=') == std::string::npos ? failure + "=" + kError : failure);
        const std::string line =
            fmt::format(fmt::runtime(row.line), fmt::arg("signed", kSigned), fmt::arg("unsigned", kError));
        EXPECT_THAT(CallFunction(MachineOf(kMachine), row.function, row.arguments, options).log,
                    testing::Contains(line).Times(1))
            << row.function << " with " << winsim::Json(options.faults).dump();
    }
}

} // namespace
