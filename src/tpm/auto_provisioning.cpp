// Checks whether automatic provisioning can be switched on this system, and has it switched off.
#include "tpm/auto_provisioning.h"

#include "log/module_logs.h"
#include "tpm/set_auto_provisioning.h"
#include "windows/windows_version.h"

namespace
{

enum class Platform
{
    kSupported,
    kUnsupported,
    kUnknown,
};

// Required: the texts name the installation in the removal too.
Platform CheckPlatform()
{
    if (!IsWindowsVersionAtLeast(6, 2))
    {
        WriteLog(g_tpmLog, "Target system is not Win8+");
        return Platform::kUnsupported;
    }
    const auto wow64 = IsWow64();
    if (!wow64)
    {
        WriteLog(g_tpmLog, "Win8Install - failed to detect process on host os type: %d", GetLastError());
        return Platform::kUnknown;
    }
    if (*wow64)
    {
        WriteLog(g_tpmLog, "Win8Install - This is a x86 process running on x64 system don't execute!");
        return Platform::kUnsupported;
    }
    return Platform::kSupported;
}

} // namespace

int Win8Install(bool disable)
{
    const Platform platform = CheckPlatform();
    if (platform == Platform::kSupported && disable)
        SetAutoProvisioning(false);
    return platform == Platform::kUnknown ? -1 : 0;
}

int Win8Uninstall()
{
    return CheckPlatform() == Platform::kUnknown ? -1 : 0;
}
