// Keeps the keys and values of a simulated registry, and their JSON form.
#include "winsim/machine/registry.h"

#include "winreg.h"
#include "winsim/base/text.h"
#include "winsim_types.h"

#include <fmt/format.h>

namespace winsim
{

namespace
{

struct TypeName
{
    std::uint32_t type;
    const char* name;
};

constexpr TypeName kTypeNames[] = {
    {REG_NONE, "REG_NONE"},     {REG_SZ, "REG_SZ"},       {REG_EXPAND_SZ, "REG_EXPAND_SZ"},
    {REG_BINARY, "REG_BINARY"}, {REG_DWORD, "REG_DWORD"}, {REG_MULTI_SZ, "REG_MULTI_SZ"},
    {REG_QWORD, "REG_QWORD"},
};

constexpr const char* kRoots[] = {"HKLM", "HKCU", "HKCR", "HKU"};

std::string BytesOfText(std::string_view utf8)
{
    std::string bytes;
    for (const char16_t unit : Utf16(utf8))
    {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes + std::string(2, '\0');
}

// The text of a value that holds exactly one, with its terminator.
std::optional<std::string> TextOfBytes(const std::string& bytes)
{
    if (bytes.size() < 2 || bytes.size() % 2 != 0)
        return std::nullopt;
    std::u16string units;
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        units +=
            static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    if (units.find(u'\0') != units.size() - 1)
        return std::nullopt;
    units.pop_back();
    // Half a surrogate pair is no text for a description.
    std::string text = CodePage::Get(65001).FromUtf16(units);
    if (Utf16(text) != units)
        return std::nullopt;
    return text;
}

template <typename Number>
std::string BytesOfNumber(Number number)
{
    std::string bytes;
    for (std::size_t i = 0; i < sizeof number; ++i)
        bytes += static_cast<char>(number >> 8 * i & 0xFF);
    return bytes;
}

std::uint32_t DwordOfBytes(const std::string& bytes)
{
    std::uint32_t number = 0;
    for (int i = 3; i >= 0; --i)
        number = number << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
    return number;
}

std::uint32_t TypeOf(const Reader& reader)
{
    if (reader.Value().is_number())
        return reader.As<std::uint32_t>();
    const std::string name = reader.Text();
    for (const TypeName& known : kTypeNames)
    {
        if (name == known.name)
            return known.type;
    }
    reader.Fail("not a registry type");
}

Json JsonOfType(std::uint32_t type)
{
    for (const TypeName& known : kTypeNames)
    {
        if (type == known.type)
            return known.name;
    }
    return type;
}

std::string BytesOfHex(const Reader& reader)
{
    const std::string hex = reader.Text();
    if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        reader.Fail("not pairs of hexadecimal digits");
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string HexOfBytes(const std::string& bytes)
{
    std::string hex;
    for (const char byte : bytes)
        hex += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    return hex;
}

RegistryValue ValueOf(const std::string& name, const Reader& reader);

// What the value is at first, and what it becomes.
RegistryValue ChangingValueOf(const std::string& name, const Reader& reader)
{
    std::vector<RegistryValue> values;
    reader.Elements([&](const Reader& value) { values.push_back(ValueOf(name, value)); });
    if (values.empty())
        reader.Fail("an empty list");
    RegistryValue first = std::move(values.front());
    first.later.assign(values.begin() + 1, values.end());
    return first;
}

// A value is a number (REG_DWORD), a text (REG_SZ), or an object with a type and either form or bytes in hexadecimal;
// or a list of them, for a value that changes with each read.
RegistryValue ValueOf(const std::string& name, const Reader& reader)
{
    if (reader.Value().is_number())
        return {name, REG_DWORD, BytesOfNumber(reader.As<std::uint32_t>()), {}};
    if (reader.Value().is_string())
        return {name, REG_SZ, BytesOfText(reader.Text()), {}};
    if (reader.Value().is_array())
        return ChangingValueOf(name, reader);

    RegistryValue value{name, REG_NONE, {}, {}};
    ObjectReader object{reader};
    if (!object.With("type", [&](const Reader& member) { value.type = TypeOf(member); }))
        reader.Fail("no type");
    object.With("hex", [&](const Reader& member) { value.bytes = BytesOfHex(member); });
    object.With("text", [&](const Reader& member) { value.bytes = BytesOfText(member.Text()); });
    object.With("number", [&](const Reader& member) {
        value.bytes = value.type == REG_QWORD ? BytesOfNumber(member.As<std::uint64_t>())
                                              : BytesOfNumber(member.As<std::uint32_t>());
    });
    object.Done();
    return value;
}

Json JsonOfValue(const RegistryValue& value)
{
    if (!value.later.empty())
    {
        Json list = Json::array({JsonOfValue({value.name, value.type, value.bytes, {}})});
        for (const RegistryValue& later : value.later)
            list.push_back(JsonOfValue(later));
        return list;
    }
    if (value.type == REG_DWORD && value.bytes.size() == 4)
        return DwordOfBytes(value.bytes);
    const auto text = IsTextType(value.type) ? TextOfBytes(value.bytes) : std::nullopt;
    if (text && value.type == REG_SZ)
        return *text;
    Json json{{"type", JsonOfType(value.type)}};
    if (text)
        json["text"] = *text;
    else
        json["hex"] = HexOfBytes(value.bytes);
    return json;
}

bool HasKnownRoot(const std::string& path)
{
    const std::string root = FoldCase(path.substr(0, path.find('\\')));
    for (const char* known : kRoots)
    {
        if (root == known)
            return true;
    }
    return false;
}

} // namespace

bool IsTextType(std::uint32_t type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

void Registry::Load(const Reader& reader)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        if (!HasKnownRoot(path))
            member.Fail("a key begins with HKLM, HKCU, HKCR or HKU");
        if (path.back() == '\\' || path.find("\\\\") != std::string::npos)
            member.Fail("a key's name is empty");
        RegistryKey& key = Create(path);
        ObjectReader object{member};
        object.With("values", [&](const Reader& values) {
            values.Members([&](const std::string& name, const Reader& value) {
                key.values[FoldCase(name)] = ValueOf(name, value);
            });
        });
        key.security.Read(object);
        object.Done();
    });
}

Json Registry::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, key] : m_keys)
    {
        Json& entry = json[key.path] = Json::object();
        for (const auto& [name, value] : key.values)
            entry["values"][value.name] = JsonOfValue(value);
        key.security.Write(entry);
    }
    return json;
}

const RegistryKey* Registry::Find(const std::string& path) const
{
    const auto key = m_keys.find(FoldCase(path));
    return key == m_keys.end() ? nullptr : &key->second;
}

RegistryKey* Registry::Find(const std::string& path)
{
    const auto key = m_keys.find(FoldCase(path));
    return key == m_keys.end() ? nullptr : &key->second;
}

RegistryKey& Registry::Create(const std::string& path)
{
    const std::size_t parentEnd = path.rfind('\\');
    if (parentEnd != std::string::npos)
        Create(path.substr(0, parentEnd));
    RegistryKey& key = m_keys[FoldCase(path)];
    if (key.path.empty())
        key.path = path;
    return key;
}

const RegistryValue* Registry::FindValue(const std::string& path, const std::string& name) const
{
    const RegistryKey* key = Find(path);
    if (key == nullptr)
        return nullptr;
    const auto value = key->values.find(FoldCase(name));
    return value == key->values.end() ? nullptr : &value->second;
}

std::optional<RegistryValue> Registry::ReadValue(const std::string& path, const std::string& name)
{
    RegistryKey* key = Find(path);
    if (key == nullptr)
        return std::nullopt;
    const auto found = key->values.find(FoldCase(name));
    if (found == key->values.end())
        return std::nullopt;
    const RegistryValue read = found->second;
    if (!read.later.empty())
    {
        found->second = read.later.front();
        found->second.later.assign(read.later.begin() + 1, read.later.end());
    }
    return read;
}

void Registry::SetValue(RegistryKey& key, const std::string& name, std::uint32_t type, std::string bytes)
{
    RegistryValue& value = key.values[FoldCase(name)];
    if (value.name.empty())
        value.name = name;
    value.type = type;
    value.bytes = std::move(bytes);
    value.later.clear();
}

bool Registry::DeleteValue(RegistryKey& key, const std::string& name)
{
    return key.values.erase(FoldCase(name)) != 0;
}

} // namespace winsim
