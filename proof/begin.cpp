// Decides whether the kit may begin, and describes it and this Windows.
#include "proof/steps.h"
#include "src/windows/unique_handle.h"

#include <windows.h>

#include <shlobj.h>
#include <winsvc.h>

namespace proof
{

namespace
{

constexpr int kForm = 1; // of the report

bool HasService(const wchar_t* name)
{
    const UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    const UniqueServiceHandle service{OpenServiceW(manager.Get(), name, SERVICE_QUERY_STATUS)};
    return static_cast<bool>(service);
}

bool HasValue(const wchar_t* path, const wchar_t* name)
{
    UniqueRegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, key.Put()) == ERROR_SUCCESS &&
           RegQueryValueExW(key.Get(), name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

// What of the toolkit is here; empty if nothing is. What a removal of the sample package leaves is not the toolkit.
std::wstring ToolkitHere()
{
    for (const wchar_t* service : {L"KlPCR", L"tcsd_x86"})
    {
        if (HasService(service))
            return L"the service " + std::wstring(service);
    }
    for (const wchar_t* key : {L"SOFTWARE\\Kelo Systems Corp\\Common", L"SOFTWARE\\Kelo Systems Corp.\\Common"})
    {
        if (HasValue(key, L"Installation Path"))
            return L"the registry key HKLM\\" + std::wstring(key);
    }
    const std::wstring folder = StandardFolder(CSIDL_PROGRAM_FILES) + L"\\Kelo Systems Corp";
    return Exists(folder) ? folder : L"";
}

OSVERSIONINFOEXW RealVersion()
{
    using GetVersion = LONG WINAPI(OSVERSIONINFOEXW*);
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    // GetVersionExW tells a program no newer version than its manifest names.
    const FARPROC function = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
    if (function != nullptr)
        reinterpret_cast<GetVersion*>(reinterpret_cast<void*>(function))(&version);
    return version;
}

} // namespace

std::wstring WhyNotHere()
{
    if (!IsUserAnAdmin())
        return L"This needs an administrator's rights: right-click prove.cmd and choose \"Run as administrator\".";
    if (const std::wstring found = ToolkitHere(); !found.empty())
        return L"The toolkit is on this machine (" + found +
               L"), and the proof would change it. Use a virtual machine without the toolkit.";
    // With this file, the folders are the kit's own, from an earlier run that was cut off.
    for (const wchar_t* folder : {L"C:\\Standins", L"C:\\Linked"})
    {
        if (Exists(folder) && !Exists(L"C:\\Standins\\Tests\\winsim_conformance.exe"))
            return L"There is a folder " + std::wstring(folder) +
                   L" on this machine, and the tests need that name. Rename the folder.";
    }
    return L"";
}

Json DescribeKitAndWindows()
{
    const OSVERSIONINFOEXW version = RealVersion();
    Json windows = {{"version", std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion)},
                    {"build", version.dwBuildNumber},
                    {"servicePack", version.wServicePackMajor},
                    {"isServer", version.wProductType != VER_NT_WORKSTATION}};
    if (const std::string wine = WineVersion(); !wine.empty())
        windows["wine"] = wine;
    return {{"form", kForm}, {"kit", Json::parse(ReadBytes(InKit(L"kit.json")), nullptr, false)}, {"windows", windows}};
}

} // namespace proof
