// Reads registry keys.
#include "describe/capture.h"
#include "describe/read_security.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/unique_handle.h"
#include "winsim/base/text.h"

#include <algorithm>
#include <vector>

namespace describe
{

namespace
{

constexpr char kRoot[] = "HKLM";
constexpr DWORD kMostNameUnits = 16384;

bool IsAsked(const AskedKey& asked, const std::string& name)
{
    return std::ranges::any_of(asked.values, [&](const char* one) { return winsim::SameName(one, name); });
}

// A value by its index; the size of the data is a guess that grows.
LSTATUS ReadValue(HKEY key, DWORD index, std::wstring& name, DWORD& type, std::string& bytes)
{
    bytes.resize(256);
    for (;;)
    {
        name.resize(kMostNameUnits);
        DWORD units = kMostNameUnits;
        auto size = static_cast<DWORD>(bytes.size());
        const LSTATUS error = RegEnumValueW(key, index, name.data(), &units, nullptr, &type,
                                            reinterpret_cast<BYTE*>(bytes.data()), &size);
        if (error == ERROR_MORE_DATA)
        {
            bytes.resize(std::max<std::size_t>(size, 2 * bytes.size()));
            continue;
        }
        name.resize(error == ERROR_SUCCESS ? units : 0);
        bytes.resize(error == ERROR_SUCCESS ? size : 0);
        return error;
    }
}

void ReadValues(Capture& capture, HKEY open, const AskedKey& asked, winsim::RegistryKey& key)
{
    std::wstring name;
    DWORD type = 0;
    std::string bytes;
    for (DWORD i = 0;; ++i)
    {
        const LSTATUS error = ReadValue(open, i, name, type, bytes);
        if (error == ERROR_NO_MORE_ITEMS)
            return;
        if (error != ERROR_SUCCESS)
            return capture.notes.AddError("registry." + key.path + ".values", static_cast<std::uint32_t>(error));
        if (IsAsked(asked, FromWide(name)))
            capture.machine.registry.SetValue(key, FromWide(name), type, bytes);
    }
}

// A key on the way to an asked one, or that key itself. Null if there is no such key, or if it cannot be opened at all,
// which is noted.
winsim::RegistryKey* ReadKey(Capture& capture, const std::string& path)
{
    if (winsim::RegistryKey* known = capture.machine.registry.Find(path); known != nullptr && known->security.owner)
        return known;
    const std::size_t below = path.find('\\');
    const std::wstring subKey = below == std::string::npos ? L"" : ToWide(path.substr(below + 1));
    UniqueRegistryKey open;
    const LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, subKey.c_str(), 0, READ_CONTROL, open.Put());
    if (error == ERROR_FILE_NOT_FOUND)
        return nullptr;
    winsim::RegistryKey& key = capture.machine.registry.Create(path);
    if (error != ERROR_SUCCESS)
    {
        capture.notes.AddError("registry." + path, static_cast<std::uint32_t>(error));
        return nullptr;
    }
    ReadSecurity(capture, open.Get(), SE_REGISTRY_KEY, "registry." + path, key.security);
    return &key;
}

void ReadAsked(Capture& capture, const AskedKey& asked)
{
    const std::string path = asked.path;
    for (std::size_t end = path.find('\\'); end != std::string::npos; end = path.find('\\', end + 1))
    {
        if (ReadKey(capture, path.substr(0, end)) == nullptr)
            return;
    }
    winsim::RegistryKey* key = ReadKey(capture, path);
    if (key == nullptr || asked.values.empty())
        return;
    UniqueRegistryKey open;
    const LSTATUS error =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, ToWide(path.substr(sizeof kRoot)).c_str(), 0, KEY_QUERY_VALUE, open.Put());
    if (error != ERROR_SUCCESS)
        return capture.notes.AddError("registry." + path + ".values", static_cast<std::uint32_t>(error));
    ReadValues(capture, open.Get(), asked, *key);
}

} // namespace

void ReadRegistry(Capture& capture)
{
    // The other roots are on every machine.
    for (const char* root : {"HKCR", "HKCU", "HKU"})
        capture.machine.registry.Create(root);
    for (const AskedKey& asked : AskedKeys())
        ReadAsked(capture, asked);
}

} // namespace describe
