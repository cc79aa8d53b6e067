// The registry.
#include "winsim/machine/registry.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winreg.h"

#include <algorithm>
#include <cstring>

using winsim::Call;
using winsim::Json;
using winsim::RegistryKey;
using winsim::RegistryValue;
using winsim::Simulation;

namespace
{

// The object of a key's handle.
struct OpenKey
{
    static constexpr char kKind[] = "key";

    std::string path;
    REGSAM access;
};

bool IsPredefined(HKEY key)
{
    return key == HKEY_LOCAL_MACHINE || key == HKEY_CURRENT_USER || key == HKEY_CLASSES_ROOT || key == HKEY_USERS;
}

// The path of a key's handle and a subkey; none if the handle is not that of a key.
std::optional<std::string> PathOf(const Call& call, HKEY key, const std::string& subKey)
{
    std::string path;
    if (key == HKEY_LOCAL_MACHINE)
        path = "HKLM";
    else if (key == HKEY_CURRENT_USER)
        path = "HKCU";
    else if (key == HKEY_CLASSES_ROOT)
        path = "HKCR";
    else if (key == HKEY_USERS)
        path = "HKU";
    else if (const auto* open = call.Find<OpenKey>(key))
        path = open->path;
    else
        return std::nullopt;

    std::string below = subKey;
    while (!below.empty() && below.back() == '\\')
        below.pop_back();
    if (!below.empty())
        path += "\\" + below;
    return path;
}

// The functions below return the call's status.

LSTATUS GiveHandle(Call& call, const std::string& path, REGSAM access, PHKEY result)
{
    *result = static_cast<HKEY>(Simulation::Current().handles.Open(OpenKey{path, access}));
    call.Out("phkResult", *result);
    return ERROR_SUCCESS;
}

LSTATUS OpenKeyAt(Call& call, const std::string& path, REGSAM access, PHKEY result)
{
    const winsim::Machine& machine = Simulation::Current().machine;
    const RegistryKey* key = machine.registry.Find(path);
    if (key == nullptr)
        return ERROR_FILE_NOT_FOUND;
    if (!key->security.Grants(machine.token, access, winsim::kKeyRights))
        return ERROR_ACCESS_DENIED;
    return GiveHandle(call, path, access, result);
}

// The key of a path. If it or its parents do not exist, they are made with the owner and the inherited access list that
// the process would give them.
RegistryKey& OpenOrMakeKey(const std::string& path)
{
    winsim::Machine& machine = Simulation::Current().machine;
    if (RegistryKey* const key = machine.registry.Find(path))
        return *key;
    const std::size_t parentEnd = path.rfind('\\');
    const winsim::Security container =
        parentEnd == std::string::npos ? winsim::Security() : OpenOrMakeKey(path.substr(0, parentEnd)).security;
    RegistryKey& made = machine.registry.Create(path);
    made.security = winsim::SecurityOfNew(container, machine.token, winsim::kKeyKind);
    return made;
}

LSTATUS OpenSubKey(Call& call, HKEY key, const std::string& subKey, REGSAM access, PHKEY result)
{
    return call.StatusOf([&] {
        const auto path = PathOf(call, key, subKey);
        return path ? OpenKeyAt(call, *path, access, result) : ERROR_INVALID_HANDLE;
    });
}

LSTATUS DeleteValue(Call& call, HKEY key, const std::string& name)
{
    return call.StatusOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        const auto* open = call.Find<OpenKey>(key);
        if (open == nullptr)
            return ERROR_INVALID_HANDLE;
        if ((open->access & KEY_SET_VALUE) == 0)
            return ERROR_ACCESS_DENIED;
        RegistryKey* target = simulation.machine.registry.Find(open->path);
        if (target == nullptr || !simulation.machine.registry.DeleteValue(*target, name))
            return ERROR_FILE_NOT_FOUND;
        return ERROR_SUCCESS;
    });
}

// The bytes of a value for an ANSI caller: text is converted, with its terminators.
std::string AnsiBytes(const RegistryValue& value)
{
    if (!winsim::IsTextType(value.type))
        return value.bytes;
    std::u16string units;
    for (std::size_t i = 0; i + 1 < value.bytes.size(); i += 2)
        units += static_cast<char16_t>(static_cast<unsigned char>(value.bytes[i]) |
                                       static_cast<unsigned char>(value.bytes[i + 1]) << 8);
    const auto codePage = Simulation::Current().machine.windows.codePage;
    return winsim::CodePage::Get(codePage).FromUtf16(units);
}

// A value's bytes for a recorded call.
Json NotedData(DWORD type, const std::string& bytes)
{
    if (winsim::IsTextType(type))
    {
        std::string text = bytes;
        if (!text.empty() && text.back() == '\0')
            text.pop_back();
        return Simulation::Current().FromAnsi(text);
    }
    if (type == REG_DWORD && bytes.size() == sizeof(DWORD))
    {
        DWORD number = 0;
        std::memcpy(&number, bytes.data(), sizeof number);
        return number;
    }
    Json list = Json::array();
    for (const char byte : bytes)
        list.push_back(static_cast<unsigned char>(byte));
    return list;
}

} // namespace

LSTATUS WINAPI RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult)
{
    Call call{"RegOpenKeyExA"};
    call.In("hKey", hKey).In("lpSubKey", lpSubKey).In("ulOptions", ulOptions).In("samDesired", samDesired);
    const std::string subKey = lpSubKey == nullptr ? std::string() : Simulation::Current().FromAnsi(lpSubKey);
    return OpenSubKey(call, hKey, subKey, samDesired, phkResult);
}

LSTATUS WINAPI RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult)
{
    Call call{"RegOpenKeyExW"};
    call.In("hKey", hKey).In("lpSubKey", lpSubKey).In("ulOptions", ulOptions).In("samDesired", samDesired);
    return OpenSubKey(call, hKey, lpSubKey == nullptr ? std::string() : winsim::Utf8(lpSubKey), samDesired, phkResult);
}

LSTATUS WINAPI RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR lpClass, DWORD dwOptions,
                               REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                               LPDWORD lpdwDisposition)
{
    Call call{"RegCreateKeyExA"};
    call.In("hKey", hKey)
        .In("lpSubKey", lpSubKey)
        .In("Reserved", Reserved)
        .In("lpClass", lpClass)
        .In("dwOptions", dwOptions)
        .In("samDesired", samDesired)
        .In("lpSecurityAttributes", lpSecurityAttributes);
    return call.StatusOf([&] {
        Simulation& simulation = Simulation::Current();
        if (lpSubKey == nullptr)
            return ERROR_BADKEY;
        const auto path = PathOf(call, hKey, simulation.FromAnsi(lpSubKey));
        if (!path)
            return ERROR_INVALID_HANDLE;

        winsim::Registry& registry = simulation.machine.registry;
        const bool isNew = registry.Find(*path) == nullptr;
        // The nearest existing key must grant the right to make a subkey.
        std::string nearest = *path;
        while (registry.Find(nearest) == nullptr && nearest.find('\\') != std::string::npos)
            nearest.resize(nearest.rfind('\\'));
        const RegistryKey* parent = registry.Find(nearest);
        if (isNew && parent != nullptr &&
            !parent->security.Grants(simulation.machine.token, KEY_CREATE_SUB_KEY, winsim::kKeyRights))
            return ERROR_ACCESS_DENIED;

        OpenOrMakeKey(*path);
        const DWORD disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        if (lpdwDisposition != nullptr)
            *lpdwDisposition = disposition;
        call.Out("lpdwDisposition", disposition);
        // The maker of a key gets the requested rights, whatever access list the new key inherits.
        return isNew ? GiveHandle(call, *path, samDesired, phkResult) : OpenKeyAt(call, *path, samDesired, phkResult);
    });
}

LSTATUS WINAPI RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
                                LPDWORD lpcbData)
{
    Call call{"RegQueryValueExA"};
    call.In("hKey", hKey).In("lpValueName", lpValueName).In("lpReserved", lpReserved);
    if (lpcbData != nullptr)
        call.In("lpcbData", *lpcbData);
    return call.StatusOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        const auto* open = call.Find<OpenKey>(hKey);
        if (open == nullptr)
            return ERROR_INVALID_HANDLE;
        if ((open->access & KEY_QUERY_VALUE) == 0)
            return ERROR_ACCESS_DENIED;
        if (lpReserved != nullptr || (lpData != nullptr && lpcbData == nullptr))
            return ERROR_INVALID_PARAMETER;
        const std::string name = lpValueName == nullptr ? std::string() : simulation.FromAnsi(lpValueName);
        const auto value = simulation.machine.registry.ReadValue(open->path, name);
        if (!value)
            return ERROR_FILE_NOT_FOUND;

        std::string bytes = call.GivesNothing() ? std::string() : AnsiBytes(*value);
        if (lpType != nullptr)
            *lpType = value->type;
        call.Out("lpType", value->type).Out("lpcbData", static_cast<DWORD>(bytes.size()));
        if (lpcbData == nullptr)
            return ERROR_SUCCESS;
        const DWORD room = *lpcbData;
        *lpcbData = static_cast<DWORD>(bytes.size());
        if (lpData == nullptr)
            return ERROR_SUCCESS;
        if (room < bytes.size())
            return ERROR_MORE_DATA;
        std::memcpy(lpData, bytes.data(), bytes.size());
        // Text stored without a terminator gets one if there is room; the returned size does not include it.
        if (winsim::IsTextType(value->type) && !bytes.empty() && bytes.back() != '\0' && room > bytes.size())
            lpData[bytes.size()] = 0;
        if (call.IsRecording())
            call.Out("lpData", NotedData(value->type, bytes));
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD Reserved, DWORD dwType, const BYTE* lpData,
                              DWORD cbData)
{
    Call call{"RegSetValueExA"};
    std::string bytes(reinterpret_cast<const char*>(lpData), cbData);
    call.In("hKey", hKey).In("lpValueName", lpValueName).In("Reserved", Reserved).In("dwType", dwType);
    if (call.IsRecording())
        call.In("lpData", NotedData(dwType, bytes)).In("cbData", cbData);
    return call.StatusOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        const auto* open = call.Find<OpenKey>(hKey);
        if (open == nullptr)
            return ERROR_INVALID_HANDLE;
        if ((open->access & KEY_SET_VALUE) == 0)
            return ERROR_ACCESS_DENIED;
        RegistryKey* key = simulation.machine.registry.Find(open->path);
        if (key == nullptr)
            return ERROR_FILE_NOT_FOUND;

        if (winsim::IsTextType(dwType))
        {
            // Windows includes the terminator that follows the data even if the caller did not count it.
            if (!bytes.empty() && bytes.back() != '\0' && lpData[cbData] == 0)
                bytes += '\0';
            std::string stored;
            for (const char16_t unit : winsim::CodePage::Get(simulation.machine.windows.codePage).ToUtf16(bytes))
            {
                stored += static_cast<char>(unit & 0xFF);
                stored += static_cast<char>(unit >> 8);
            }
            bytes = std::move(stored);
        }
        const std::string name = lpValueName == nullptr ? std::string() : simulation.FromAnsi(lpValueName);
        simulation.machine.registry.SetValue(*key, name, dwType, std::move(bytes));
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegDeleteValueA(HKEY hKey, LPCSTR lpValueName)
{
    Call call{"RegDeleteValueA"};
    call.In("hKey", hKey).In("lpValueName", lpValueName);
    return DeleteValue(call, hKey,
                       lpValueName == nullptr ? std::string() : Simulation::Current().FromAnsi(lpValueName));
}

LSTATUS WINAPI RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName)
{
    Call call{"RegDeleteValueW"};
    call.In("hKey", hKey).In("lpValueName", lpValueName);
    return DeleteValue(call, hKey, lpValueName == nullptr ? std::string() : winsim::Utf8(lpValueName));
}

LSTATUS WINAPI RegCloseKey(HKEY hKey)
{
    Call call{"RegCloseKey"};
    call.In("hKey", hKey);
    return call.StatusOfClosing(
        [&] { return IsPredefined(hKey) || call.Close<OpenKey>(hKey) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE; });
}
