// The registry of a simulated machine.
#pragma once

#include "winsim/base/description.h"
#include "winsim/machine/identity.h"
#include "winsim/machine/security.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// A value as the registry stores it: text is UTF-16, with the terminators that were written.
struct RegistryValue
{
    std::string name; // as it was created
    std::uint32_t type = 0;
    std::string bytes;
    std::vector<RegistryValue> later; // what other writers turn it into, one value after each read

    bool operator==(const RegistryValue&) const = default;
};

struct RegistryKey
{
    std::string path; // as it was created, such as "HKLM\SOFTWARE\Microsoft"
    Identity identity;
    std::map<std::string, RegistryValue> values; // by folded name
    Security security;

    bool operator==(const RegistryKey&) const = default;
};

// Keys and values. Paths begin with "HKLM", "HKCU", "HKCR" or "HKU"; case does not matter.
class Registry
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    const RegistryKey* Find(const std::string& path) const;
    RegistryKey* Find(const std::string& path);

    // The key of a path; made, with all missing parents, if it does not exist.
    RegistryKey& Create(const std::string& path);
    void Remove(const std::string& path);
    bool HasSubkeys(const std::string& path) const;
    // Gives each key the identity that the key of the same path has in `before`.
    void KeepIdentities(const Registry& before);

    const RegistryValue* FindValue(const std::string& path, const std::string& name) const;
    // A value as a program reads it: it then becomes the next of its `later` values, if there is one.
    std::optional<RegistryValue> ReadValue(const std::string& path, const std::string& name);
    void SetValue(RegistryKey& key, const std::string& name, std::uint32_t type, std::string bytes);
    // Returns whether there was such a value.
    bool DeleteValue(RegistryKey& key, const std::string& name);

    bool operator==(const Registry&) const = default;

private:
    std::map<std::string, RegistryKey> m_keys; // by folded path
    Identity m_last;                           // that was given to a key
};

// Whether a registry type holds text.
bool IsTextType(std::uint32_t type);

} // namespace winsim
