// Proves how each line of services, stacks and drivers shows an error number beyond 31 bits: signed or unsigned, as its
// format requires.
#include "tests/support/simulated_run.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace
{

// The error that each failing call sets, and its two renderings.
constexpr char kError[] = "3735928559";
constexpr char kSigned[] = "-559038737";

// A function of the program with its arguments.
struct Function
{
    const char* name;
    std::vector<std::string> arguments = {};
};

// A function, the calls in it that fail (with that error, unless one has its own), and the line with the error of the
// last failure.
struct Row
{
    Function function;
    const char* failures; // separated by blanks
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

const Function kInstallation{"InstallTkService", {"KELO", R"(C:\Toolkit)"}};
const Function kRemoval{"UnInstallTkService"};
const Function kStop{"StopService", {"KlPCR"}};
const Function kShimCopy{"CopyTSP1FileImp"};
const Function kShimRemoval{"RemoveTSP1File", {"0"}};
const Function kPolicyAccess{"SetPolicyDirectoryAccess"};
const Function kConfigAccess{"SetConfigFileAccess"};
const Function kLibraryCopy{"CopyTCGDLL", {R"(C:\Toolkit\)", "KELO"}};
const Function kOwnership{"TakeKeyOwnership", {R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"}};

const Row kRows[] = {
    {{"IsServiceRunning", {"tcsd_x86"}}, "OpenSCManagerW", "OpenSCManager failed ({signed})"},
    {{"StartServiceByName", {"tcsd_x86"}}, "OpenSCManagerW", "OpenSCManager failed ({signed})"},
    {{"StartServiceByName", {"tcsd_x86"}}, "StartServiceA", "Cannot start tcsd_x86 service: 0xDEADBEEF"},
    {{"StopServiceByName", {"tcsd_x86"}}, "OpenSCManagerW", "OpenSCManager failed ({signed})"},
    {{"RestartServiceByName", {"tcsd_x86"}}, "OpenSCManagerW", "OpenSCManager failed ({signed})"},
    {{"RestartServiceByName", {"tcsd_x86"}}, "StartServiceA", "Cannot start tcsd_x86 service: 0xDEADBEEF"},
    {{"KillProcessByName", {"PatchAgent.exe"}}, "TerminateProcess", "error: {signed}"},
    {kStop, "QueryServiceStatusEx#1", "CKlTkService::StopService - failed to query Service Status {signed}"},
    {kStop, "QueryServiceStatusEx#2", "QueryServiceStatusEx failed ({signed})"},
    {{"StopService", {"Pending"}}, "QueryServiceStatusEx#2", "QueryServiceStatusEx failed ({signed})"},
    {kInstallation, "OpenSCManagerW#1", "InstallTkService - failed to open the SCM. {signed}"},
    {kInstallation, "OpenServiceW#1=5 CloseServiceHandle#1",
     "InstallTkService - failed to open the KlPCR Service. {signed} (this is expected)"},
    {kInstallation, "OpenSCManagerW#2", "InstallTkService - failed to open the SCM. {signed}"},
    {kInstallation, "OpenServiceW#2", "InstallTkService - failed to open the KlPCR Service! {signed}"},
    {kInstallation, "ChangeServiceConfigW", "InstallTkService failed to change KlPCR Service configuration {signed}"},
    {kInstallation, "StartServiceW", "InstallTkService failed to start the KlPCR Service {signed}"},
    {kRemoval, "OpenSCManagerW", "UnInstallTkService - failed to open the SCM. {signed}"},
    {kRemoval, "OpenServiceW", "UnInstallTkService - failed to open the KlPCR Service! {signed}"},
    {kRemoval, "DeleteService", "UnInstallTkService - failed to delete the service {signed}"},
    {kShimRemoval, "DeleteFileA#1",
     R"(RemoveTSP1File - Failed to delete file C:\Windows\system32\TSP1_x64.dll, err: {signed})"},
    {kShimRemoval, "DeleteFileA#2", "RemoveTSP1File - Unable to remove .bak file, err: {signed}"},
    {{"RemoveTSP1File", {"2"}},
     "MoveFileA",
     R"(RemoveTSP1File - Failed to move file C:\Windows\system32\Tspi_x64.dll, err: {signed})"},
    {{"RemoveTSP1File", {"0xDEADBEEF"}}, "", "RemoveTSP1File - enter {signed}"},
    {{"CopyShimFile", {R"(C:\Toolkit\)", "NTRU12", "0"}},
     "CopyFileA",
     R"(C:\Toolkit\NTRU12\TSP1-kelo.dll unable to copy to C:\Windows\system32\TSP1_x64.dll err: {signed})"},
    {kShimCopy, "GetFileAttributesW#1=2 GetFileAttributesW#2",
     "CopyTSP1FileImp - NTRU TSS not installed err: {signed}"},
    {kShimCopy, "GetFileVersionInfoSizeW",
     "CopyTSP1FileImp - Unable to get Tsp1_x64.dll version info size err: {signed}"},
    {kLibraryCopy, "CopyFileA#1",
     R"(CopyTCGDLL - Copying C:\Toolkit\KELO\stkprobe.dll to C:\Windows\system32\stkprobe.dll failed err: {signed})"},
    {kLibraryCopy, "CopyFileA=32 DeleteFileA",
     R"(CopyTCGDLL - Unable to Delete C:\Windows\system32\stkprobe.bk1 rc: {signed})"},
    {kLibraryCopy, "CopyFileA=32 MoveFileA",
     R"(CopyTCGDLL - Unable to rename C:\Windows\system32\stkprobe.dll to C:\Windows\system32\stkprobe.bk1 rc: {signed})"},
    {kLibraryCopy, "CopyFileA#1=32 CopyFileA#2",
     R"(CopyTCGDLL - Unable to copy file C:\Toolkit\KELO\stkprobe.dll to C:\Windows\system32\stkprobe.dll rc: {signed})"},
    {kPolicyAccess, "GetNamedSecurityInfoW", "GetNamedSecurityInfoW error: {signed} "},
    {kPolicyAccess, "AllocateAndInitializeSid#1", "AllocateAndInitializeSid (Everyone) error: {signed} "},
    {kPolicyAccess, "AllocateAndInitializeSid#2", "AllocateAndInitializeSid (Admin) error: {signed} "},
    {kPolicyAccess, "AllocateAndInitializeSid#3", "AllocateAndInitializeSid (System) error: {signed} "},
    {kPolicyAccess, "AllocateAndInitializeSid#4", "AllocateAndInitializeSid (Network Service) error: {signed} "},
    {kPolicyAccess, "SetNamedSecurityInfoW", "SetNamedSecurityInfo call failed: {signed}"},
    {kPolicyAccess, "SHCreateDirectoryExW", "SHCreateDirectoryExW error: {signed} "},
    {kConfigAccess, "GetNamedSecurityInfoW", "GetNamedSecurityInfoW error: {signed} "},
    {kConfigAccess, "AllocateAndInitializeSid#1", "AllocateAndInitializeSid (Everyone) error: {signed} "},
    {kConfigAccess, "AllocateAndInitializeSid#2", "AllocateAndInitializeSid (Admin) error: {signed} "},
    {kConfigAccess, "AllocateAndInitializeSid#3", "AllocateAndInitializeSid (System) error: {signed} "},
    {kConfigAccess, "AllocateAndInitializeSid#4", "AllocateAndInitializeSid (Network Service) error: {signed} "},
    {kConfigAccess, "SetNamedSecurityInfoW", "SetNamedSecurityInfo call failed: {signed}"},
    {kOwnership, "AllocateAndInitializeSid#1", "AllocateAndInitializeSid (Everyone) error {unsigned}"},
    {kOwnership, "AllocateAndInitializeSid#2", "AllocateAndInitializeSid (Admin) error {unsigned}"},
    {kOwnership, "AllocateAndInitializeSid#3", "AllocateAndInitializeSid (Admin) error {unsigned}"},
    {kOwnership, "SetNamedSecurityInfoW#1", "First SetNamedSecurityInfo call failed: {unsigned}"},
    {kOwnership, "OpenProcessToken", "OpenProcessToken failed: {unsigned}"},
    {kOwnership, "SetNamedSecurityInfoW#2", "Could not set owner. Error: {unsigned}"},
    {kOwnership, "SetNamedSecurityInfoW#3", "Second SetNamedSecurityInfo call failed: {unsigned}"},
    {{"DetectTPMPlatform", {R"(C:\Toolkit\)", "(null)"}},
     "LoadLibraryA",
     R"(Failed to Load Library: C:\Toolkit\stkprobe.dll Err: {signed})"},
    {{"IsWOW64Process"}, "IsWow64Process", "IsWOW64Process - failed to detect process on host os type: {signed}"},
    {{"Win8Install", {"true"}}, "IsWow64Process", "Win8Install - failed to detect process on host os type: {signed}"},
    {{"RunDriverStager", {R"(C:\Toolkit\TPM_VSCard\)", "install"}},
     "CreateProcessW",
     "Kelo Toolkit Installation -> Failed to launch DriverStager rc: {signed}"},
    {{"ConfigureSmartCardService"},
     "ChangeServiceConfigW",
     "CTPMSmartCard::ConfigureSmartCardService - Failed to change Service to 'Auto' {signed}"},
    {{"ConfigureCertPropService"},
     "ChangeServiceConfigW",
     "CTPMSmartCard::ConfigureCertPropService - Failed to change Service to 'Auto' {signed}"},
};

TEST(ErrorNumbers, ALineShowsAnErrorBeyond31BitsAsItsFormatSays)
{
    for (const Row& row : kRows)
    {
        SimulatedRunOptions options;
        std::istringstream failures(row.failures);
        for (std::string failure; failures >> failure;)
            options.faults.push_back(failure.find('=') == std::string::npos ? failure + "=" + kError : failure);
        const std::string line =
            fmt::format(fmt::runtime(row.line), fmt::arg("signed", kSigned), fmt::arg("unsigned", kError));
        EXPECT_THAT(CallFunction(MachineOf(kMachine), row.function.name, row.function.arguments, options).log,
                    testing::Contains(line).Times(1))
            << row.function.name << " with " << row.failures;
    }
}

} // namespace
