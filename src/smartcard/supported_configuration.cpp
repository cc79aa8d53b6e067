// Checks whether the smart-card steps may run on this system.
#include "log/module_logs.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/windows_version.h"

bool CTPMSmartCard::IsWOW64Process()
{
    const auto wow64 = IsWow64();
    if (!wow64)
        WriteLog(g_smartcardLog, "IsWOW64Process - failed to detect process on host os type: %d", GetLastError());
    return wow64.value_or(false);
}

bool CTPMSmartCard::IsVistaOrLater()
{
    if (IsWindowsVersionAtLeast(6, 0))
        return true;
    WriteLog(g_smartcardLog, "This is a XP system!");
    return false;
}

bool CTPMSmartCard::IsSupportedConfiguration(bool allowWow64)
{
    if (!allowWow64 && IsWOW64Process())
    {
        WriteLog(g_smartcardLog,
                 "IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!");
        return false;
    }
    return IsVistaOrLater();
}
