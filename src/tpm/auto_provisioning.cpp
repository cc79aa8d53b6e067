// Decides whether automatic provisioning can be switched on this system.
#include "tpm/auto_provisioning.h"

#include "tpm/tpm_log.h"
#include "windows/windows_version.h"

#include <windows.h>

namespace
{

enum class Platform
{
    kSupported,
    kUnsupported,
    kUnknown,
};

// The lines name the installation: the removal makes the same checks and is meant to write the same lines.
Platform CheckPlatform()
{
    if (!IsWindowsVersionAtLeast(6, 2))
    {
        WriteLog(g_tpmLog, "Target system is not Win8+");
        return Platform::kUnsupported;
    }
    BOOL wow64 = FALSE;
    if (!IsWow64Process(GetCurrentProcess(), &wow64))
    {
        WriteLog(g_tpmLog, "Win8Install - failed to detect process on host os type: %d", GetLastError());
        return Platform::kUnknown;
    }
    if (wow64)
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
