// Checks access on a simulated machine, and keeps the JSON form of owners, access lists and the token.
#include "winsim/machine/security.h"

#include "winnt.h"
#include "winsim/base/sid.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/machine/privileges.h"

#include <algorithm>

namespace winsim
{

namespace
{

struct RightName
{
    std::uint32_t mask;
    const char* name;
};

constexpr RightName kRightNames[] = {
    {DELETE, "DELETE"},
    {READ_CONTROL, "READ_CONTROL"},
    {WRITE_DAC, "WRITE_DAC"},
    {WRITE_OWNER, "WRITE_OWNER"},
    {0x0001, "KEY_QUERY_VALUE"},
    {0x0002, "KEY_SET_VALUE"},
    {0x0004, "KEY_CREATE_SUB_KEY"},
};

constexpr std::uint32_t kInheritanceFlags =
    OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | NO_PROPAGATE_INHERIT_ACE | INHERIT_ONLY_ACE;

std::uint32_t RightOf(const Reader& reader)
{
    const std::string text = reader.Text();
    for (const RightName& right : kRightNames)
    {
        if (text == right.name)
            return right.mask;
    }
    reader.Fail("not a right such as WRITE_DAC");
}

// A mask is a number, or a list of the rights' names.
std::uint32_t MaskOf(const Reader& reader)
{
    if (reader.Value().is_number())
        return reader.As<std::uint32_t>();
    std::uint32_t mask = 0;
    reader.Elements([&](const Reader& right) { mask |= RightOf(right); });
    return mask;
}

std::string SidOf(const Reader& reader)
{
    if (BytesOfSid(reader.Text()).empty())
        reader.Fail("not a SID such as S-1-5-32-544");
    return reader.Text();
}

std::vector<std::string> TextsOf(const Reader& reader)
{
    std::vector<std::string> texts;
    reader.Elements([&](const Reader& text) { texts.push_back(text.Text()); });
    return texts;
}

std::uint32_t InheritanceOf(const Reader& reader)
{
    const auto flags = reader.As<std::uint32_t>();
    if (flags > kInheritanceFlags)
        reader.Fail("not inheritance flags, a number from 0 to 15");
    return flags;
}

std::vector<std::string> PrivilegesOf(const Reader& reader)
{
    reader.Elements([](const Reader& name) {
        if (FindPrivilege(name.Text()) == nullptr)
            name.Fail("not a privilege such as SeTakeOwnershipPrivilege");
    });
    return TextsOf(reader);
}

std::vector<std::string> EnabledOf(const Reader& reader, const Token& token)
{
    reader.Elements([&](const Reader& name) {
        if (!token.HasPrivilege(name.Text()))
            name.Fail("not one of the token's privileges");
    });
    return TextsOf(reader);
}

AccessEntry EntryOf(const Reader& reader)
{
    AccessEntry entry;
    ObjectReader object{reader};
    if (!object.With("trustee", [&](const Reader& trustee) { entry.trustee = SidOf(trustee); }))
        reader.Fail("no trustee");
    object.With("mask", [&](const Reader& mask) { entry.mask = MaskOf(mask); });
    object.With("inheritance", [&](const Reader& flags) { entry.inheritance = InheritanceOf(flags); });
    object.With("type", [&](const Reader& type) {
        entry.isDenial = type.Text() == "deny";
        if (!entry.isDenial && type.Text() != "allow")
            type.Fail("neither allow nor deny");
    });
    bool isInherited = false;
    object.Read("inherited", isInherited);
    entry.inheritance |= isInherited ? INHERITED_ACE : 0;
    object.Done();
    return entry;
}

Json JsonOf(const AccessEntry& entry)
{
    Json json{{"trustee", entry.trustee},
              {"mask", entry.mask},
              {"inheritance", entry.inheritance & kInheritanceFlags},
              {"type", entry.isDenial ? "deny" : "allow"}};
    if ((entry.inheritance & INHERITED_ACE) != 0)
        json["inherited"] = true;
    return json;
}

// Whether a list grants all rights that are still wanted: the first entry that speaks of a right decides.
bool ListGrants(const std::vector<AccessEntry>& list, const Token& token, std::uint32_t wanted,
                const GenericRights& generic)
{
    for (const AccessEntry& entry : list)
    {
        if ((entry.inheritance & INHERIT_ONLY_ACE) != 0 || !token.Holds(entry.trustee))
            continue;
        const std::uint32_t mask = MappedRights(entry.mask, generic);
        if (entry.isDenial && (wanted & mask) != 0)
            return false;
        wanted &= ~mask;
    }
    return wanted == 0;
}

bool Contains(const std::vector<std::string>& texts, const std::string& text)
{
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& one) { return SameName(one, text); });
}

} // namespace

void Token::Load(const Reader& reader)
{
    const auto readSids = [](const Reader& sids) {
        sids.Elements([](const Reader& sid) { SidOf(sid); });
        return TextsOf(sids);
    };
    ObjectReader object{reader};
    object.With("user", [&](const Reader& sid) { user = SidOf(sid); });
    object.With("groups", [&](const Reader& sids) { groups = readSids(sids); });
    object.With("privileges", [&](const Reader& names) { privileges = PrivilegesOf(names); });
    object.With("enabled", [&](const Reader& names) { enabled = EnabledOf(names, *this); });
    object.Done();
}

Json Token::ToJson() const
{
    return {{"user", user}, {"groups", groups}, {"privileges", privileges}, {"enabled", enabled}};
}

bool Token::Holds(const std::string& sid) const
{
    return user == sid || std::find(groups.begin(), groups.end(), sid) != groups.end();
}

bool Token::HasPrivilege(const std::string& name) const
{
    return Contains(privileges, name);
}

bool Token::IsEnabled(const std::string& name) const
{
    return HasPrivilege(name) && Contains(enabled, name);
}

void Token::Enable(const std::string& name, bool isEnabled)
{
    std::erase_if(enabled, [&](const std::string& one) { return SameName(one, name); });
    if (isEnabled)
        enabled.push_back(name);
}

void Security::Read(ObjectReader& object)
{
    object.With("owner", [&](const Reader& sid) { owner = SidOf(sid); });
    object.With("access", [&](const Reader& list) {
        access.emplace();
        list.Elements([&](const Reader& entry) { access->push_back(EntryOf(entry)); });
    });
    object.Read("protected", isProtected);
    object.With("deniedAccess", [&](const Reader& mask) { deniedAccess = MaskOf(mask); });
}

void Security::Write(Json& entry) const
{
    if (owner)
        entry["owner"] = *owner;
    if (access)
    {
        Json& list = entry["access"] = Json::array();
        for (const AccessEntry& one : *access)
            list.push_back(JsonOf(one));
    }
    if (isProtected)
        entry["protected"] = true;
    if (deniedAccess != 0)
        entry["deniedAccess"] = deniedAccess;
}

bool Security::Grants(const Token& token, std::uint32_t rights, const GenericRights& generic) const
{
    std::uint32_t wanted = MappedRights(rights, generic);
    if (token.Holds(Owner()))
        wanted &= ~(READ_CONTROL | WRITE_DAC);
    if (token.IsEnabled(SE_TAKE_OWNERSHIP_NAME))
        wanted &= ~WRITE_OWNER;
    if ((wanted & deniedAccess) != 0)
        return false;
    return !access || ListGrants(*access, token, wanted, generic);
}

} // namespace winsim
