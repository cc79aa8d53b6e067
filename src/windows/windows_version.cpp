// Asks Windows for its version.
#include "windows/windows_version.h"

bool IsWindowsVersionAtLeast(DWORD major, DWORD minor)
{
    OSVERSIONINFOEXW wanted{};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwMajorVersion = major;
    wanted.dwMinorVersion = minor;

    // Required: the service-pack condition is in the mask but not among the tested types; it has no effect.
    ULONGLONG conditions = 0;
    conditions = VerSetConditionMask(conditions, VER_MAJORVERSION, VER_GREATER_EQUAL);
    conditions = VerSetConditionMask(conditions, VER_MINORVERSION, VER_GREATER_EQUAL);
    conditions = VerSetConditionMask(conditions, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&wanted, VER_MAJORVERSION | VER_MINORVERSION, conditions) != FALSE;
}

DWORD GetWindowsMajorVersion()
{
    OSVERSIONINFOEXA version{};
    auto* plainVersion = reinterpret_cast<OSVERSIONINFOA*>(&version);
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXA);
    if (!GetVersionExA(plainVersion))
    {
        version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
        if (!GetVersionExA(plainVersion))
            return 0;
    }
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT ? version.dwMajorVersion : 0;
}

std::optional<bool> IsWow64()
{
    BOOL wow64 = FALSE;
    if (!IsWow64Process(GetCurrentProcess(), &wow64))
        return std::nullopt;
    return wow64 == TRUE;
}
