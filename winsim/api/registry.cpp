// The registry.
#include "winsim/machine/registry.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winnt.h"
#include "winreg.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

using winsim::Call;
using winsim::Json;
using winsim::RegistryKey;
using winsim::RegistryValue;
using winsim::Simulation;

namespace
{

constexpr REGSAM kDelete = 0x10000;
constexpr REGSAM kWow64Key64 = 0x100;
constexpr REGSAM kWow64Key32 = 0x200;
constexpr std::size_t kLongestKeyName = 255;

// The object of a key's handle.
struct OpenKey
{
    static constexpr char kKind[] = "key";

    std::string path;
    winsim::Identity key;
    REGSAM access;
};

// A predefined key.
struct Root
{
    HKEY handle;
    const char* path;        // null: not simulated
    bool mayHaveKeys = true; // whether a program may make keys directly below it
};

const Root kPredefinedKeys[] = {
    {HKEY_LOCAL_MACHINE, "HKLM", false},
    {HKEY_CURRENT_USER, "HKCU"},
    {HKEY_CLASSES_ROOT, nullptr},
    {HKEY_USERS, nullptr},
};

const Root* RootOf(HKEY key)
{
    const auto root = std::ranges::find(kPredefinedKeys, key, &Root::handle);
    return root == std::end(kPredefinedKeys) ? nullptr : &*root;
}

// The key of a handle: its path and the rights of the handle, or a Win32 error.
struct Place
{
    std::string path = {};
    REGSAM access = 0;
    LSTATUS error = ERROR_SUCCESS;
};

Place PlaceOf(const Call& call, HKEY key)
{
    const winsim::Machine& machine = Simulation::Current().machine;
    if (const Root* const root = RootOf(key))
    {
        // HKEY_CLASSES_ROOT is a view of two other trees, and HKEY_USERS contains a user's own.
        if (root->path == nullptr)
            return {.error = static_cast<LSTATUS>(call.NotSimulated("HKEY_CLASSES_ROOT and HKEY_USERS"))};
        const RegistryKey* const described = machine.registry.Find(root->path);
        const winsim::Security security = described != nullptr ? described->security : winsim::Security();
        return {root->path, security.Opened(machine.token, MAXIMUM_ALLOWED, winsim::kKeyRights).value_or(0)};
    }
    const auto* open = call.Find<OpenKey>(key);
    if (open == nullptr)
        return {.error = ERROR_INVALID_HANDLE};
    const RegistryKey* const opened = machine.registry.Find(open->path);
    if (opened == nullptr || opened->identity.number != open->key.number)
        return {.error = ERROR_KEY_DELETED};
    return {open->path, open->access};
}

// The place of a key below the key of a handle. Backslashes at the end, and those that follow another one, do not
// count.
Place PlaceBelow(const Call& call, HKEY key, const std::string& subKey)
{
    Place place = PlaceOf(call, key);
    if (place.error != ERROR_SUCCESS)
        return place;
    if (subKey.starts_with('\\'))
        return {.error = ERROR_BAD_PATHNAME};
    for (std::size_t start = 0; start < subKey.size();)
    {
        const std::size_t end = std::min(subKey.find('\\', start), subKey.size());
        const std::string name = subKey.substr(start, end - start);
        start = end + 1;
        if (name.empty())
            continue;
        if (winsim::Utf16(name).size() > kLongestKeyName)
            return {.error = ERROR_INVALID_PARAMETER};
        place.path += "\\" + name;
    }
    return place;
}

// The functions below return the call's status.

LSTATUS GiveHandle(Call& call, const RegistryKey& key, REGSAM access, PHKEY result)
{
    *result = static_cast<HKEY>(Simulation::Current().handles.Open(OpenKey{key.path, key.identity, access}));
    call.Out("phkResult", *result);
    return ERROR_SUCCESS;
}

// The rights that are asked for, without the flags for one of the two views of the registry.
REGSAM RightsIn(REGSAM access)
{
    return access & ~(kWow64Key64 | kWow64Key32);
}

// The error of asking for the 32-bit view of the registry, if this process does not have it anyway.
LSTATUS ViewError(const Call& call, REGSAM access)
{
    const bool is32Bit = Simulation::Current().machine.windows.isWow64;
    const REGSAM other = is32Bit ? kWow64Key64 : kWow64Key32;
    return (access & other) == 0 ? ERROR_SUCCESS
                                 : static_cast<LSTATUS>(call.NotSimulated("the registry's other view (KEY_WOW64_...)"));
}

LSTATUS OpenKeyAt(Call& call, const std::string& path, REGSAM access, PHKEY result)
{
    const winsim::Machine& machine = Simulation::Current().machine;
    const RegistryKey* key = machine.registry.Find(path);
    if (key == nullptr)
        return ERROR_FILE_NOT_FOUND;
    const auto opened = key->security.Opened(machine.token, RightsIn(access), winsim::kKeyRights);
    return opened ? GiveHandle(call, *key, *opened, result) : ERROR_ACCESS_DENIED;
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

// The keys that every Windows has directly below HKEY_LOCAL_MACHINE: a description need not mention them.
constexpr std::string_view kHives[] = {"HARDWARE", "SAM", "SECURITY", "SOFTWARE", "SYSTEM"};

bool IsInHive(const std::string& path)
{
    const std::size_t start = path.find('\\') + 1;
    const std::string first = path.substr(start, path.find('\\', start) - start);
    return std::ranges::any_of(kHives, [&](std::string_view hive) { return winsim::SameName(first, hive); });
}

// The error of making a key where there is none.
LSTATUS MakeError(const std::string& path)
{
    const winsim::Machine& machine = Simulation::Current().machine;
    std::string nearest = path;
    while (machine.registry.Find(nearest) == nullptr && nearest.find('\\') != std::string::npos)
        nearest.resize(nearest.rfind('\\'));
    const auto root = std::ranges::find_if(
        kPredefinedKeys, [&](const Root& one) { return one.path != nullptr && winsim::SameName(one.path, nearest); });
    if (root != std::end(kPredefinedKeys) && !root->mayHaveKeys && !IsInHive(path))
        return ERROR_INVALID_PARAMETER;
    // The nearest existing key must grant the right to make a subkey.
    const RegistryKey* parent = machine.registry.Find(nearest);
    return parent == nullptr || parent->security.Grants(machine.token, KEY_CREATE_SUB_KEY, winsim::kKeyRights)
               ? ERROR_SUCCESS
               : ERROR_ACCESS_DENIED;
}

LSTATUS OpenSubKey(Call& call, HKEY key, const std::string& subKey, DWORD options, REGSAM access, PHKEY result)
{
    if (result != nullptr)
        *result = nullptr;
    return call.StatusOf([&]() -> LSTATUS {
        if (result == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (options != 0)
            return static_cast<LSTATUS>(call.NotSimulated("opening a key by options"));
        if (const LSTATUS error = ViewError(call, access); error != ERROR_SUCCESS)
            return error;
        const Place place = PlaceBelow(call, key, subKey);
        if (place.error != ERROR_SUCCESS)
            return place.error;
        if (!subKey.empty() || RootOf(key) == nullptr)
            return OpenKeyAt(call, place.path, access, result);
        // A predefined key is not opened again.
        *result = key;
        call.Out("phkResult", *result);
        return ERROR_SUCCESS;
    });
}

// Ends a call about the values of a key: `work` acts on the key's path.
template <typename Work>
LSTATUS StatusWith(Call& call, HKEY key, REGSAM neededAccess, Work work)
{
    return call.StatusOf([&]() -> LSTATUS {
        const Place place = PlaceOf(call, key);
        if (place.error != ERROR_SUCCESS)
            return place.error;
        return (place.access & neededAccess) == neededAccess ? work(place.path) : ERROR_ACCESS_DENIED;
    });
}

LSTATUS DeleteValue(Call& call, HKEY key, const std::string& name)
{
    return StatusWith(call, key, KEY_SET_VALUE, [&](const std::string& path) -> LSTATUS {
        winsim::Registry& registry = Simulation::Current().machine.registry;
        RegistryKey* target = registry.Find(path);
        return target != nullptr && registry.DeleteValue(*target, name) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
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

// Writes a value's type and size (for an ANSI caller) where a query asks for them.
void GiveTypeAndSize(const RegistryValue& value, std::size_t size, LPDWORD type, LPDWORD sizePlace)
{
    if (type != nullptr)
        *type = value.type;
    if (sizePlace != nullptr)
        *sizePlace = static_cast<DWORD>(size);
}

// What a query that is made to fail leaves in the caller's variables: the value's type and size. Windows does not
// promise that a call that fails leaves them alone.
void LeaveTypeAndSize(HKEY key, LPCSTR valueName, LPDWORD type, LPDWORD size)
{
    Simulation& simulation = Simulation::Current();
    if (!simulation.handles.IsOpen<OpenKey>(key) || valueName == nullptr)
        return;
    const std::string& path = simulation.handles.Find<OpenKey>(key, {})->path;
    if (const RegistryValue* value = simulation.machine.registry.FindValue(path, simulation.FromAnsi(valueName)))
        GiveTypeAndSize(*value, AnsiBytes(*value).size(), type, size);
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
    Call call{__func__};
    call.In("hKey", hKey).In("lpSubKey", lpSubKey).In("ulOptions", ulOptions).In("samDesired", samDesired);
    const std::string subKey = lpSubKey == nullptr ? std::string() : Simulation::Current().FromAnsi(lpSubKey);
    return OpenSubKey(call, hKey, subKey, ulOptions, samDesired, phkResult);
}

LSTATUS WINAPI RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult)
{
    Call call{__func__};
    call.In("hKey", hKey).In("lpSubKey", lpSubKey).In("ulOptions", ulOptions).In("samDesired", samDesired);
    const std::string subKey = lpSubKey == nullptr ? std::string() : winsim::Utf8(lpSubKey);
    return OpenSubKey(call, hKey, subKey, ulOptions, samDesired, phkResult);
}

LSTATUS WINAPI RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR lpClass, DWORD dwOptions,
                               REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                               LPDWORD lpdwDisposition)
{
    Call call{__func__};
    call.In("hKey", hKey)
        .In("lpSubKey", lpSubKey)
        .In("Reserved", Reserved)
        .In("lpClass", lpClass)
        .In("dwOptions", dwOptions)
        .In("samDesired", samDesired)
        .In("lpSecurityAttributes", lpSecurityAttributes);
    if (phkResult != nullptr)
        *phkResult = nullptr;
    return call.StatusOf([&]() -> LSTATUS {
        if (lpSubKey == nullptr)
            return ERROR_BADKEY;
        if (Reserved != 0 || phkResult == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (dwOptions != REG_OPTION_NON_VOLATILE || lpSecurityAttributes != nullptr)
            return static_cast<LSTATUS>(call.NotSimulated("making a key with options or a security descriptor"));
        if (const LSTATUS error = ViewError(call, samDesired); error != ERROR_SUCCESS)
            return error;
        const Place place = PlaceBelow(call, hKey, Simulation::Current().FromAnsi(lpSubKey));
        if (place.error != ERROR_SUCCESS)
            return place.error;
        const bool isNew = Simulation::Current().machine.registry.Find(place.path) == nullptr;
        if (const LSTATUS error = isNew ? MakeError(place.path) : ERROR_SUCCESS; error != ERROR_SUCCESS)
            return error;

        const RegistryKey& key = OpenOrMakeKey(place.path);
        const DWORD disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        if (lpdwDisposition != nullptr)
            *lpdwDisposition = disposition;
        call.Out("lpdwDisposition", disposition);
        if (!isNew)
            return OpenKeyAt(call, place.path, samDesired, phkResult);
        // The maker of a key gets the requested rights, whatever access list the new key inherits.
        const auto access = winsim::OpenedWithout(0, RightsIn(samDesired), winsim::kKeyRights);
        return GiveHandle(call, key, access.value_or(0), phkResult);
    });
}

LSTATUS WINAPI RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
                                LPDWORD lpcbData)
{
    Call call{__func__};
    call.In("hKey", hKey).In("lpValueName", lpValueName).In("lpReserved", lpReserved);
    if (lpcbData != nullptr)
        call.In("lpcbData", *lpcbData);
    if (call.Fault())
        LeaveTypeAndSize(hKey, lpValueName, lpType, lpcbData);
    return StatusWith(call, hKey, KEY_QUERY_VALUE, [&](const std::string& path) -> LSTATUS {
        Simulation& simulation = Simulation::Current();
        if (lpReserved != nullptr || (lpData != nullptr && lpcbData == nullptr))
            return ERROR_INVALID_PARAMETER;
        const std::string name = lpValueName == nullptr ? std::string() : simulation.FromAnsi(lpValueName);
        const auto value = simulation.machine.registry.ReadValue(path, name);
        if (!value)
            return ERROR_FILE_NOT_FOUND;

        std::string bytes = call.GivesNothing() ? std::string() : AnsiBytes(*value);
        const DWORD room = lpcbData != nullptr ? *lpcbData : 0;
        GiveTypeAndSize(*value, bytes.size(), lpType, lpcbData);
        call.Out("lpType", value->type).Out("lpcbData", static_cast<DWORD>(bytes.size()));
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
    Call call{__func__};
    // Text is converted before Windows' kernel gets the data, which checks its address.
    const bool hasData = lpData != nullptr || cbData == 0;
    if (!hasData && winsim::IsTextType(dwType))
        call.Needs(lpData);
    std::string bytes = lpData != nullptr ? std::string(reinterpret_cast<const char*>(lpData), cbData) : std::string();
    call.In("hKey", hKey).In("lpValueName", lpValueName).In("Reserved", Reserved).In("dwType", dwType);
    if (call.IsRecording())
        call.In("lpData", NotedData(dwType, bytes)).In("cbData", cbData);
    return StatusWith(call, hKey, KEY_SET_VALUE, [&](const std::string& path) -> LSTATUS {
        Simulation& simulation = Simulation::Current();
        if (Reserved != 0)
            return ERROR_INVALID_PARAMETER;
        if (!hasData)
            return ERROR_NOACCESS;
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
        simulation.machine.registry.SetValue(OpenOrMakeKey(path), name, dwType, std::move(bytes));
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegDeleteValueA(HKEY hKey, LPCSTR lpValueName)
{
    Call call{__func__};
    call.In("hKey", hKey).In("lpValueName", lpValueName);
    return DeleteValue(call, hKey,
                       lpValueName == nullptr ? std::string() : Simulation::Current().FromAnsi(lpValueName));
}

LSTATUS WINAPI RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName)
{
    Call call{__func__};
    call.In("hKey", hKey).In("lpValueName", lpValueName);
    return DeleteValue(call, hKey, lpValueName == nullptr ? std::string() : winsim::Utf8(lpValueName));
}

LSTATUS WINAPI RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey)
{
    Call call{__func__};
    call.In("hKey", hKey).In("lpSubKey", lpSubKey);
    return call.StatusOf([&]() -> LSTATUS {
        if (lpSubKey == nullptr)
            return ERROR_INVALID_PARAMETER;
        const Place place = PlaceBelow(call, hKey, winsim::Utf8(lpSubKey));
        if (place.error != ERROR_SUCCESS)
            return place.error;
        winsim::Machine& machine = Simulation::Current().machine;
        const RegistryKey* key = machine.registry.Find(place.path);
        if (key == nullptr)
            return ERROR_FILE_NOT_FOUND;
        const bool isRoot = place.path.find('\\') == std::string::npos;
        if (isRoot || machine.registry.HasSubkeys(place.path) ||
            !key->security.Grants(machine.token, kDelete, winsim::kKeyRights))
            return ERROR_ACCESS_DENIED;
        machine.registry.Remove(place.path);
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegCloseKey(HKEY hKey)
{
    Call call{__func__};
    call.In("hKey", hKey);
    return call.StatusOfClosing(
        [&] { return RootOf(hKey) != nullptr || call.Close<OpenKey>(hKey) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE; });
}
