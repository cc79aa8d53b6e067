// Reads the version of Windows, languages, the clock, folders and variables.
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/unique_handle.h"

#include <shlobj.h>

#include <cwchar>

namespace describe
{

namespace
{

constexpr int kRedirectionTrustPolicy = 16;

struct ShellFolder
{
    const char* name; // in descriptions
    int csidl;
    std::string Places::*place;
};

constexpr ShellFolder kFolders[] = {
    {"commonAppData", CSIDL_COMMON_APPDATA, &Places::commonAppData},
    {"windows", CSIDL_WINDOWS, &Places::windows},
    {"system", CSIDL_SYSTEM, &Places::system},
    {"programFiles", CSIDL_PROGRAM_FILES, &Places::programFiles},
};

// A function of kernel32.dll that old versions of Windows lack; null there.
template <typename Function>
Function KernelFunction(const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), name)));
}

// Whether Windows knows the policy by which a process does not follow links that users made.
bool HasRedirectionTrust()
{
    const auto getPolicy = KernelFunction<BOOL(WINAPI*)(HANDLE, int, void*, SIZE_T)>("GetProcessMitigationPolicy");
    DWORD policy = 0;
    return getPolicy != nullptr && getPolicy(GetCurrentProcess(), kRedirectionTrustPolicy, &policy, sizeof policy);
}

LANGID UiLanguage()
{
    const auto getLanguage = KernelFunction<LANGID(WINAPI*)()>("GetThreadUILanguage");
    return getLanguage != nullptr ? getLanguage() : GetUserDefaultUILanguage();
}

void ReadVersion(Capture& capture)
{
    winsim::WindowsInfo& windows = capture.machine.windows;
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)))
        return capture.notes.AddError("windows.version", GetLastError());
    windows.major = version.dwMajorVersion;
    windows.minor = version.dwMinorVersion;
    windows.build = version.dwBuildNumber;
    windows.servicePack = version.wServicePackMajor;
    windows.platform = version.dwPlatformId;
}

void ReadClock(winsim::Clock& clock)
{
    constexpr std::uint64_t kFrom1601To1970Ms = 11'644'473'600'000;
    constexpr std::uint64_t kUnitsInMs = 10'000;
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t units = static_cast<std::uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
    clock.utcMs = static_cast<std::int64_t>(units / kUnitsInMs - kFrom1601To1970Ms);
    clock.tickCount = GetTickCount();
    TIME_ZONE_INFORMATION zone{};
    clock.isDaylight = GetTimeZoneInformation(&zone) == TIME_ZONE_ID_DAYLIGHT;
    clock.zoneBias = zone.Bias;
    clock.daylightBias = zone.DaylightBias;
}

void ReadVariables(Capture& capture)
{
    winsim::Json variables = winsim::Json::object();
    for (const char* name : AskedVariables())
    {
        wchar_t text[0x8000] = {};
        if (GetEnvironmentVariableW(ToWide(name).c_str(), text, static_cast<DWORD>(std::size(text))) != 0)
            variables[name] = FromWide(text);
    }
    capture.machine.environment.Load({variables, "environment"});
}

} // namespace

void ReadWindows(Capture& capture)
{
    winsim::WindowsInfo& windows = capture.machine.windows;
    ReadVersion(capture);
    BOOL isWow64 = FALSE;
    if (!IsWow64Process(GetCurrentProcess(), &isWow64))
        capture.notes.AddError("windows.wow64", GetLastError());
    windows.isWow64 = isWow64 != FALSE;
    windows.hasRedirectionTrust = HasRedirectionTrust();
    windows.codePage = GetACP();
    windows.uiLanguage = UiLanguage();
    windows.userLanguage = GetUserDefaultLangID();
    ReadClock(capture.machine.clock);
    ReadVariables(capture);
    capture.machine.title =
        "A captured machine with Windows " + windows.VersionText() + "." + std::to_string(windows.build);
}

void ReadFolders(Capture& capture)
{
    winsim::Json folders = winsim::Json::object();
    for (const ShellFolder& folder : kFolders)
    {
        wchar_t path[MAX_PATH] = {};
        const HRESULT result =
            SHGetFolderPathW(nullptr, folder.csidl | CSIDL_FLAG_DONT_VERIFY, nullptr, SHGFP_TYPE_CURRENT, path);
        if (result != S_OK)
        {
            capture.notes.AddError(std::string("folders.") + folder.name, static_cast<std::uint32_t>(result));
            continue;
        }
        folders[folder.name] = FromWide(path);
        capture.places.*folder.place = FromWide(path);
    }
    capture.machine.folders.Load({folders, "folders"});
    // Where the installer starts programs.
    capture.machine.process.currentDirectory = capture.places.system;
}

} // namespace describe
