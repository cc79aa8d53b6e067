// Takes objects away. An administrator may own everything, and the owner may replace an access list.
#include "proof/leftovers.h"

#include "proof/privilege.h"
#include "src/windows/unique_handle.h"

#include <windows.h>

#include <aclapi.h>
#include <winsvc.h>

#include <vector>

namespace proof
{

namespace
{

constexpr DWORD kMostWaitMs = 10000;
constexpr wchar_t kTakeOwnership[] = L"SeTakeOwnershipPrivilege";

// Gives an object to the administrators, and everybody every access to it. SetNamedSecurityInfoW follows links, so this
// is not for a link.
void Open(std::wstring name, SE_OBJECT_TYPE type)
{
    SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY};
    PSID administrators = nullptr;
    if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  &administrators))
        return;
    SetNamedSecurityInfoW(name.data(), type, OWNER_SECURITY_INFORMATION, administrators, nullptr, nullptr, nullptr);
    SetNamedSecurityInfoW(name.data(), type, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                          nullptr, nullptr, nullptr);
    FreeSid(administrators);
}

std::vector<std::wstring> KeysBelow(const std::wstring& path)
{
    std::vector<std::wstring> names;
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS)
        return names;
    wchar_t name[256] = {};
    for (DWORD i = 0; RegEnumKeyW(key.Get(), i, name, 256) == ERROR_SUCCESS; ++i)
        names.emplace_back(name);
    return names;
}

void RemoveOpenKey(const std::wstring& path)
{
    Open(L"MACHINE\\" + path, SE_REGISTRY_KEY);
    for (const std::wstring& below : KeysBelow(path))
        RemoveOpenKey(path + L"\\" + below);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
}

void End(SC_HANDLE service)
{
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed) ||
        status.dwProcessId == 0)
        return;
    // Some of them never stop by themselves.
    const UniqueKernelHandle process{OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, status.dwProcessId)};
    if (process && TerminateProcess(process.Get(), 0))
        WaitForSingleObject(process.Get(), kMostWaitMs);
}

std::wstring CommandLineOf(SC_HANDLE service)
{
    std::vector<BYTE> buffer(8192); // the most that there can be
    auto* configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    DWORD needed = 0;
    return QueryServiceConfigW(service, configuration, static_cast<DWORD>(buffer.size()), &needed)
               ? configuration->lpBinaryPathName
               : L"";
}

bool IsBelow(std::wstring path, const std::wstring& folder)
{
    if (path.starts_with(L'"'))
        path.erase(0, 1);
    return path.size() > folder.size() &&
           CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, path.data(), static_cast<int>(folder.size()),
                          folder.data(), static_cast<int>(folder.size())) == CSTR_EQUAL;
}

std::vector<std::wstring> NamesOfServices(SC_HANDLE manager)
{
    DWORD needed = 0;
    DWORD count = 0;
    std::vector<BYTE> buffer;
    const auto list = [&] {
        DWORD resume = 0;
        return EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, buffer.data(),
                                     static_cast<DWORD>(buffer.size()), &needed, &count, &resume, nullptr);
    };
    while (!list() && GetLastError() == ERROR_MORE_DATA)
        buffer.resize(buffer.size() + needed);
    std::vector<std::wstring> names;
    const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(buffer.data());
    for (DWORD i = 0; i < count; ++i)
        names.emplace_back(services[i].lpServiceName);
    return names;
}

} // namespace

void RemoveTree(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    const bool isLink = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    const bool isFolder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!isLink)
    {
        EnablePrivilege(kTakeOwnership);
        Open(path, SE_FILE_OBJECT);
        SetFileAttributesW(path.c_str(), isFolder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL);
        if (isFolder)
            RemoveTrees(path + L"\\*");
    }
    // Wine tells links of folders and of files apart in another way than Windows.
    if (!(isFolder ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str())) && isLink)
        isFolder ? DeleteFileW(path.c_str()) : RemoveDirectoryW(path.c_str());
}

void RemoveTrees(const std::wstring& pattern)
{
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    const std::wstring folder = pattern.substr(0, pattern.rfind(L'\\') + 1);
    do
    {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..")
            RemoveTree(folder + name);
    } while (FindNextFileW(search, &found));
    FindClose(search);
}

void RemoveKey(const std::wstring& path)
{
    EnablePrivilege(kTakeOwnership);
    RemoveOpenKey(path);
}

void RemoveStandInKeys()
{
    const std::wstring top = L"SOFTWARE\\KeloStandIns";
    for (const std::wstring& name : KeysBelow(top))
    {
        if (name.ends_with(L".exe") || name == L"CertJobPlanner.dll")
            RemoveKey(top + L"\\" + name);
    }
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, top.c_str()); // if nothing else is there
}

bool RemoveServicesBelow(const std::wstring& folder)
{
    const UniqueServiceHandle manager{
        OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE)};
    bool isAnyRemoved = false;
    for (const std::wstring& name : NamesOfServices(manager.Get()))
    {
        constexpr DWORD kRights = SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS | DELETE;
        const UniqueServiceHandle service{OpenServiceW(manager.Get(), name.c_str(), kRights)};
        if (!service || !IsBelow(CommandLineOf(service.Get()), folder))
            continue;
        End(service.Get());
        isAnyRemoved = DeleteService(service.Get()) || isAnyRemoved;
    }
    return isAnyRemoved;
}

} // namespace proof
