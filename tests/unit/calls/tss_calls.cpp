// The tss module's functions, for tests.
#include "tests/unit/calls/modules.h"
#include "tss/config_access.h"
#include "tss/copy_tcg_dll.h"
#include "tss/detect_tpm_platform.h"
#include "tss/ntru_tsp_library.h"
#include "tss/setup_tcg_dll.h"
#include "tss/shim_files.h"
#include "tss/unblock_tpm_commands.h"

#include <windows.h>

namespace
{

DWORD Slot(const CallArguments& arguments, std::size_t index)
{
    return static_cast<DWORD>(arguments.Number(index));
}

// Arguments: the target, then the vendors to detect one after the other. Returns "true 0", "false 10015", ...
std::string DetectEach(const CallArguments& arguments)
{
    std::string results;
    for (std::size_t i = 1; i < arguments.Count(); ++i)
    {
        DWORD resultCode = 0xDEADBEEF;
        const bool usable = DetectTPMPlatform(arguments.TextOrNull(0), arguments.TextOrNull(i), &resultCode);
        results += (results.empty() ? "" : ", ") + ResultText(usable) + " " + ResultText(resultCode);
    }
    return results;
}

// Arguments: the rights to open the token with, the privilege, and whether to enable it.
std::string SetPrivilegeOfProcess(const CallArguments& arguments)
{
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), static_cast<DWORD>(arguments.Number(0)), &token);
    const bool set = SetPrivilege(token, arguments.Text(1).c_str(), arguments.Flag(2));
    CloseHandle(token);
    return ResultText(set);
}

constexpr TestCall kCalls[] = {
    {"SetupTCGDLL", [](const CallArguments& a) { return ResultText(SetupTCGDLL(a.TextOrNull(0), a.TextOrNull(1))); }},
    {"UninstallTCGDLL", [](const CallArguments&) { return ResultText(UninstallTCGDLL()); }},
    {"DetectTPMPlatform", &DetectEach},
    {"UnblockTpmCommands", [](const CallArguments&) { return ResultText(UnblockTpmCommands()); }},
    {"TakeKeyOwnership", [](const CallArguments& a) { return ResultText(TakeKeyOwnership(a.Wide(0).c_str())); }},
    {"DeleteRegistryValue",
     [](const CallArguments& a) { return ResultText(DeleteRegistryValue(a.Wide(0).c_str(), a.Wide(1).c_str())); }},
    {"SetPrivilege", &SetPrivilegeOfProcess},
    {"RemoveTSP1File", [](const CallArguments& a) { return ResultText(RemoveTSP1File(Slot(a, 0))); }},
    {"CopyShimFile",
     [](const CallArguments& a) { return ResultText(CopyShimFile(a.Text(0).c_str(), a.Text(1).c_str(), Slot(a, 2))); }},
    {"CopyTSP1FileImp", [](const CallArguments&) { return ResultText(CopyTSP1FileImp()); }},
    {"CopyTCGDLL", [](const CallArguments& a) { return ResultText(CopyTCGDLL(a.Text(0).c_str(), a.Text(1).c_str())); }},
    {"SetPolicyDirectoryAccess", [](const CallArguments&) { return ResultText(SetPolicyDirectoryAccess()); }},
    {"SetConfigFileAccess", [](const CallArguments&) { return ResultText(SetConfigFileAccess()); }},
};

} // namespace

std::span<const TestCall> TssCalls()
{
    return kCalls;
}
