// The keys and values of a simulated registry, and their JSON form.
#include "winsim/machine/registry.h"

#include "winsim/base/text.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/security_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace winsim
{

namespace
{

// As Windows numbers them.
constexpr std::uint32_t kText = 1;
constexpr std::uint32_t kExpandableText = 2;
constexpr std::uint32_t kDword = 4;
constexpr std::uint32_t kTexts = 7;
constexpr std::uint32_t kQword = 11;

constexpr NamedValue kTypes[] = {
    {0, "REG_NONE"},       {kText, "REG_SZ"},     {kExpandableText, "REG_EXPAND_SZ"},
    {3, "REG_BINARY"},     {kDword, "REG_DWORD"}, {kTexts, "REG_MULTI_SZ"},
    {kQword, "REG_QWORD"},
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

// The text of a value that holds exactly one text, with its terminator; none for other values.
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
    // A description cannot hold half a surrogate pair.
    if (!IsWellFormed(units))
        return std::nullopt;
    return Utf8(units);
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

struct TypeForm
{
    void Read(const Reader& reader, std::uint32_t& type) const
    {
        if (reader.Value().is_number())
        {
            type = reader.As<std::uint32_t>();
            return;
        }
        const auto known = std::ranges::find(kTypes, reader.Text(), &NamedValue::name);
        if (known == std::end(kTypes))
            reader.Fail("not a registry type");
        type = known->value;
    }
    Json Save(std::uint32_t type) const { return NameOf(type, kTypes); }
    Json Schema(Json& definitions) const { return Named{kTypes, ""}.Schema(definitions); }
};

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

// The text that describes a value; none if it is described by its bytes.
std::optional<std::string> SavedText(const RegistryValue& value)
{
    return IsTextType(value.type) ? TextOfBytes(value.bytes) : std::nullopt;
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

constexpr char kHexSchema[] = R"({"type": "string", "pattern": "^([0-9a-fA-F]{2})*$"})";
constexpr char kNumberSchema[] = R"({"$ref": "#/$defs/size"})";

} // namespace

// A value as an object: its bytes are given in one of three forms.
template <>
struct Fields<RegistryValue>
{
    static constexpr char kName[] = "registryValue";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"type",
                  "`\"REG_NONE\"`, `\"REG_SZ\"`, `\"REG_EXPAND_SZ\"`, `\"REG_BINARY\"`, `\"REG_DWORD\"`, "
                  "`\"REG_MULTI_SZ\"`, `\"REG_QWORD\"`, or the type's number; required",
                  "", "no type"},
              Always(&RegistryValue::type, TypeForm()));
        visit(Key{"text", "a text, stored with a terminating zero", ""},
              OwnField{[](const Reader& reader, RegistryValue& value) { value.bytes = BytesOfText(reader.Text()); },
                       [](const RegistryValue& value) {
                           const auto text = SavedText(value);
                           return text ? std::optional<Json>(*text) : std::nullopt;
                       },
                       kTextSchema});
        visit(Key{"number", "a number, stored in 4 bytes, or in 8 for `REG_QWORD`", ""},
              OwnField{[](const Reader& reader, RegistryValue& value) {
                           value.bytes = value.type == kQword ? BytesOfNumber(reader.As<std::uint64_t>())
                                                              : BytesOfNumber(reader.As<std::uint32_t>());
                       },
                       [](const RegistryValue&) { return std::optional<Json>(); }, SchemaText{kNumberSchema}});
        visit(Key{"hex", "the stored bytes in hexadecimal; text is UTF-16, the low byte first", ""},
              OwnField{[](const Reader& reader, RegistryValue& value) { value.bytes = BytesOfHex(reader); },
                       [](const RegistryValue& value) {
                           return SavedText(value) ? std::nullopt : std::optional<Json>(HexOfBytes(value.bytes));
                       },
                       SchemaText{kHexSchema}});
    }
};

namespace
{

// A value is a number (REG_DWORD), a text (REG_SZ), or an object with the type and a number, a text or hexadecimal
// bytes.
struct ValueForm
{
    void Read(const Reader& reader, RegistryValue& value) const
    {
        if (reader.Value().is_number())
        {
            value.type = kDword;
            value.bytes = BytesOfNumber(reader.As<std::uint32_t>());
        }
        else if (reader.Value().is_string())
        {
            value.type = kText;
            value.bytes = BytesOfText(reader.Text());
        }
        else
            ReadFields(reader, value);
    }
    Json Save(const RegistryValue& value) const
    {
        if (value.type == kDword && value.bytes.size() == 4)
            return DwordOfBytes(value.bytes);
        const auto text = SavedText(value);
        return text && value.type == kText ? Json(*text) : JsonOfFields(value);
    }
    Json Schema(Json& definitions) const
    {
        return {{"anyOf", {{{"type", "string"}}, Definition("dword"), SchemaOf<RegistryValue>(definitions)}}};
    }
};

// One value, or a list of them for a value that changes after each read.
struct ChangingValueForm
{
    using Values = List<RegistryValue, ValueForm>;

    void Read(const Reader& reader, RegistryValue& value) const
    {
        if (!reader.Value().is_array())
            return ValueForm().Read(reader, value);
        std::vector<RegistryValue> values;
        Values().Read(reader, values);
        if (values.empty())
            reader.Fail("an empty list");
        value = std::move(values.front());
        value.later.assign(values.begin() + 1, values.end());
    }
    Json Save(const RegistryValue& value) const
    {
        if (value.later.empty())
            return ValueForm().Save(value);
        Json list = Values().Save(value.later);
        list.insert(list.begin(), ValueForm().Save(value));
        return list;
    }
    Json Schema(Json& definitions) const
    {
        Json list = Values().Schema(definitions);
        list["minItems"] = 1;
        return {{"anyOf", {ValueForm().Schema(definitions), std::move(list)}}};
    }
};

// The values of a key, each with its name as it was created.
struct ValuesForm
{
    using Values = decltype(RegistryKey::values);

    void Read(const Reader& reader, Values& values) const
    {
        reader.Members([&](const std::string& name, const Reader& member) {
            RegistryValue value;
            ChangingValueForm().Read(member, value);
            value.name = name;
            for (RegistryValue& later : value.later)
                later.name = name;
            values[FoldCase(name)] = std::move(value);
        });
    }
    Json Save(const Values& values) const
    {
        Json json = Json::object();
        for (const auto& [folded, value] : values)
            json[value.name] = ChangingValueForm().Save(value);
        return json;
    }
    Json Schema(Json& definitions) const { return ByName<Values, ChangingValueForm>().Schema(definitions); }
};

} // namespace

template <>
struct Fields<RegistryKey>
{
    static constexpr char kName[] = "registryKey";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"values", "values by name; the name `\"\"` is the key's default value", "none"},
              Member(&RegistryKey::values, ValuesForm()));
        VisitPart(visit, &RegistryKey::security);
    }
};

bool IsTextType(std::uint32_t type)
{
    return type == kText || type == kExpandableText || type == kTexts;
}

void Registry::Load(const Reader& reader)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        if (!HasKnownRoot(path))
            member.Fail("a key begins with HKLM, HKCU, HKCR or HKU");
        if (path.back() == '\\' || path.find("\\\\") != std::string::npos)
            member.Fail("a key's name is empty");
        ReadFields(member, Create(path));
    });
}

Json Registry::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, key] : m_keys)
        json[key.path] = JsonOfFields(key);
    return json;
}

Json SchemaOfRegistry(Json& definitions)
{
    constexpr char kPath[] = R"(^([Hh][Kk][Ll][Mm]|[Hh][Kk][Cc][Uu]|[Hh][Kk][Cc][Rr]|[Hh][Kk][Uu])(\\[^\\]+)*$)";
    return {{"type", "object"},
            {"additionalProperties", false},
            {"patternProperties", {{kPath, OrNull(SchemaOf<RegistryKey>(definitions))}}}};
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
    const auto [made, isNew] = m_keys.try_emplace(FoldCase(path));
    RegistryKey& key = made->second;
    if (isNew)
    {
        key.path = path;
        key.identity = {++m_last.number};
    }
    return key;
}

void Registry::Remove(const std::string& path)
{
    m_keys.erase(FoldCase(path));
}

bool Registry::HasSubkeys(const std::string& path) const
{
    const std::string beginning = FoldCase(path) + "\\";
    const auto next = m_keys.lower_bound(beginning);
    return next != m_keys.end() && next->first.starts_with(beginning);
}

void Registry::KeepIdentities(const Registry& before)
{
    m_last.number = std::max(m_last.number, before.m_last.number);
    for (auto& [folded, key] : m_keys)
    {
        const auto old = before.m_keys.find(folded);
        key.identity = old != before.m_keys.end() ? old->second.identity : Identity{++m_last.number};
    }
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
