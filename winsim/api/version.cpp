// Versions of Windows, and what kind of process this is.
#include "winsim/process/gate.h"
#include "winsim/process/kernel_objects.h"
#include "winsim/process/simulation.h"

#include "msvcrt.h"
#include "winbase.h"
#include "winver.h"

#include <bit>
#include <cstring>
#include <string>

using winsim::Call;
using winsim::Json;
using winsim::Simulation;

namespace
{

// A condition mask holds three bits for each type of version number, in the order of the types' bits.
constexpr unsigned kBitsPerCondition = 3;

// If several types are given, the highest one counts.
unsigned ConditionShift(DWORD type)
{
    return static_cast<unsigned>(std::bit_width(type) - 1) * kBitsPerCondition;
}

BYTE ConditionOf(DWORDLONG mask, DWORD type)
{
    return static_cast<BYTE>(mask >> ConditionShift(type) & 0x7);
}

bool Holds(DWORD actual, BYTE condition, DWORD wanted)
{
    switch (condition)
    {
    case VER_EQUAL:
        return actual == wanted;
    case VER_GREATER:
        return actual > wanted;
    case VER_GREATER_EQUAL:
        return actual >= wanted;
    case VER_LESS:
        return actual < wanted;
    case VER_LESS_EQUAL:
        return actual <= wanted;
    default:
        return false;
    }
}

// If both the major and the minor version are tested, they are compared as one number: the minor version only counts if
// the major versions are equal.
bool VersionHolds(const winsim::WindowsInfo& windows, const OSVERSIONINFOEXW& wanted, DWORD types, DWORDLONG mask)
{
    if ((types & VER_BUILDNUMBER) != 0 &&
        !Holds(windows.build, ConditionOf(mask, VER_BUILDNUMBER), wanted.dwBuildNumber))
        return false;
    if ((types & VER_PLATFORMID) != 0 &&
        !Holds(windows.platform, ConditionOf(mask, VER_PLATFORMID), wanted.dwPlatformId))
        return false;

    struct Level
    {
        DWORD type;
        DWORD actual;
        DWORD wanted;
    };
    const Level levels[] = {
        {VER_MAJORVERSION, windows.major, wanted.dwMajorVersion},
        {VER_MINORVERSION, windows.minor, wanted.dwMinorVersion},
        {VER_SERVICEPACKMAJOR, windows.servicePack, wanted.wServicePackMajor},
        {VER_SERVICEPACKMINOR, 0, wanted.wServicePackMinor},
    };
    bool holds = true;
    for (const Level& level : levels)
    {
        if ((types & level.type) == 0)
            continue;
        holds = Holds(level.actual, ConditionOf(mask, level.type), level.wanted);
        if (level.actual != level.wanted)
            return holds;
    }
    return holds;
}

// The error of asking for the process of a handle, which has to be the program's own.
DWORD OwnProcessError(const Call& call, HANDLE process)
{
    if (process == INVALID_HANDLE_VALUE)
        return ERROR_SUCCESS;
    const auto* open = call.Find<winsim::OpenProcessHandle>(process);
    if (open == nullptr)
        return ERROR_INVALID_HANDLE;
    if ((open->access & (PROCESS_QUERY_INFORMATION | PROCESS_QUERY_LIMITED_INFORMATION)) == 0)
        return ERROR_ACCESS_DENIED;
    const bool isOwn = open->id == Simulation::Current().machine.process.processId;
    return isOwn ? DWORD{ERROR_SUCCESS} : call.NotSimulated("other processes");
}

} // namespace

BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA lpVersionInformation)
{
    Call call{__func__};
    call.Needs(lpVersionInformation);
    const DWORD size = lpVersionInformation->dwOSVersionInfoSize;
    call.In("dwOSVersionInfoSize", size);
    return call.SuccessOf([&]() -> DWORD {
        if (size != sizeof(OSVERSIONINFOA) && size != sizeof(OSVERSIONINFOEXA))
            return ERROR_INSUFFICIENT_BUFFER;

        const winsim::WindowsInfo& windows = Simulation::Current().machine.windows;
        OSVERSIONINFOEXA version{};
        version.dwOSVersionInfoSize = size;
        version.dwMajorVersion = windows.major;
        version.dwMinorVersion = windows.minor;
        version.dwBuildNumber = windows.build;
        version.dwPlatformId = windows.platform;
        version.wServicePackMajor = static_cast<WORD>(windows.servicePack);
        version.wProductType = 1;
        if (windows.servicePack != 0)
            std::snprintf(version.szCSDVersion, sizeof version.szCSDVersion, "Service Pack %u", windows.servicePack);
        std::memcpy(static_cast<void*>(lpVersionInformation), &version, size);
        if (call.IsRecording())
            call.Out("lpVersionInformation", Json{{"dwMajorVersion", windows.major},
                                                  {"dwMinorVersion", windows.minor},
                                                  {"dwBuildNumber", windows.build},
                                                  {"dwPlatformId", windows.platform}});
        return ERROR_SUCCESS;
    });
}

ULONGLONG WINAPI VerSetConditionMask(ULONGLONG ConditionMask, DWORD TypeMask, BYTE Condition)
{
    Call call{__func__};
    call.In("ConditionMask", ConditionMask).In("TypeMask", TypeMask).In("Condition", static_cast<DWORD>(Condition));
    if (TypeMask == 0)
        return call.Done(ULONGLONG{0});
    return call.Done(ConditionMask | static_cast<ULONGLONG>(Condition & 0x7) << ConditionShift(TypeMask) |
                     ULONGLONG{1} << 63);
}

BOOL WINAPI VerifyVersionInfoW(LPOSVERSIONINFOEXW lpVersionInformation, DWORD dwTypeMask, DWORDLONG dwlConditionMask)
{
    Call call{__func__};
    call.Needs(lpVersionInformation);
    if (call.IsRecording())
        call.In("lpVersionInformation", Json{{"dwOSVersionInfoSize", lpVersionInformation->dwOSVersionInfoSize},
                                             {"dwMajorVersion", lpVersionInformation->dwMajorVersion},
                                             {"dwMinorVersion", lpVersionInformation->dwMinorVersion},
                                             {"wServicePackMajor", lpVersionInformation->wServicePackMajor},
                                             {"wServicePackMinor", lpVersionInformation->wServicePackMinor}})
            .In("dwTypeMask", dwTypeMask)
            .In("dwlConditionMask", dwlConditionMask);
    return call.SuccessOf([&]() -> DWORD {
        if (dwTypeMask == 0 || dwlConditionMask == 0)
            return ERROR_BAD_ARGUMENTS;
        if ((dwTypeMask & (VER_SUITENAME | VER_PRODUCT_TYPE)) != 0)
            return call.NotSimulated("suites and types of products");
        if (!VersionHolds(Simulation::Current().machine.windows, *lpVersionInformation, dwTypeMask, dwlConditionMask))
            return ERROR_OLD_WIN_VERSION;
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI IsWow64Process(HANDLE hProcess, PBOOL Wow64Process)
{
    Call call{__func__};
    call.In("hProcess", hProcess).Needs(Wow64Process);
    return call.SuccessOf([&]() -> DWORD {
        if (const DWORD error = OwnProcessError(call, hProcess); error != ERROR_SUCCESS)
            return error;
        *Wow64Process = Simulation::Current().machine.windows.isWow64 ? TRUE : FALSE;
        call.Out("Wow64Process", *Wow64Process);
        return ERROR_SUCCESS;
    });
}
