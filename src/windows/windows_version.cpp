// Asks Windows for its version.
#include "windows/windows_version.h"

bool IsWindowsVersionAtLeast(DWORD major, DWORD minor)
{
    OSVERSIONINFOEXW wanted{};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwMajorVersion = major;
    wanted.dwMinorVersion = minor;

    // The service-pack condition is in the mask but not in the tested types: it is meant to have no effect.
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
