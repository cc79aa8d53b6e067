// Checks access on a simulated machine. Has the JSON form of owners, access lists and the token.
#include "winsim/machine/security.h"

#include "winsim/base/sid.h"
#include "winsim/base/text.h"
#include "winsim/machine/area_schemas.h"
#include "winsim/machine/inheritance.h"
#include "winsim/machine/privileges.h"
#include "winsim/machine/security_fields.h"

#include <algorithm>

namespace winsim
{

namespace
{

// As Windows numbers them.
constexpr std::uint32_t kReadControl = 0x20000;
constexpr std::uint32_t kWriteDac = 0x40000;
constexpr std::uint32_t kWriteOwner = 0x80000;
constexpr std::uint32_t kHandableDown = 0xF; // the flags that say which objects inherit an entry
constexpr std::uint32_t kInheritOnly = 0x8;
constexpr std::uint32_t kInherited = 0x10;
constexpr char kTakeOwnership[] = "SeTakeOwnershipPrivilege";

constexpr NamedValue kRights[] = {
    {0x10000, "DELETE"},
    {kReadControl, "READ_CONTROL"},
    {kWriteDac, "WRITE_DAC"},
    {kWriteOwner, "WRITE_OWNER"},
    {0x0001, "KEY_QUERY_VALUE"},
    {0x0002, "KEY_SET_VALUE"},
    {0x0004, "KEY_CREATE_SUB_KEY"},
};

std::uint32_t RightOf(const Reader& reader)
{
    const std::string text = reader.Text();
    for (const NamedValue& right : kRights)
    {
        if (text == right.name)
            return right.value;
    }
    reader.Fail("not a right such as WRITE_DAC");
}

// A list of SIDs.
using SidsForm = List<std::string, SidForm>;

struct PrivilegesForm : List<std::string>
{
    void Read(const Reader& reader, std::vector<std::string>& names) const
    {
        reader.Elements([](const Reader& name) {
            if (FindPrivilege(name.Text()) == nullptr)
                name.Fail("not a privilege such as SeTakeOwnershipPrivilege");
        });
        List<std::string>::Read(reader, names);
    }
};

// Only privileges that the token has can be enabled.
struct EnabledField
{
    void Read(const Reader& reader, Token& token) const
    {
        reader.Elements([&](const Reader& name) {
            if (!token.HasPrivilege(name.Text()))
                name.Fail("not one of the token's privileges");
        });
        List<std::string>().Read(reader, token.enabled);
    }
    std::optional<Json> Save(const Token& token, const Token&) const { return Json(token.enabled); }
    Json Schema(Json& definitions) const { return List<std::string>().Schema(definitions); }
};

// Whether a list grants all wanted rights: for each right, the first entry that contains it decides.
bool ListGrants(const std::vector<AccessEntry>& list, const Token& token, std::uint32_t wanted,
                const GenericRights& generic)
{
    for (const AccessEntry& entry : list)
    {
        if ((entry.inheritance & kInheritOnly) != 0 || !token.Holds(entry.trustee))
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

template <>
struct Fields<Token>
{
    static constexpr char kName[] = "token";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"user", "SID of the user", "`\"S-1-5-21-1004336348-1177238915-682003330-1001\"`"},
              Always(&Token::user, SidForm()));
        visit(Key{"groups", "SIDs of the groups: a list", "administrators, users, everyone, authenticated users"},
              Always(&Token::groups, SidsForm()));
        visit(Key{"privileges", "privileges by Windows' names, such as `\"SeTakeOwnershipPrivilege\"`: a list",
                  "an administrator's"},
              Always(&Token::privileges, PrivilegesForm()));
        visit(Key{"enabled", "those of them that are enabled: a list",
                  "`SeChangeNotifyPrivilege` and `SeImpersonatePrivilege`, if they are among `privileges`"},
              EnabledField());
    }
};

void SidForm::Read(const Reader& reader, std::string& sid) const
{
    sid = reader.Text();
    if (BytesOfSid(sid).empty())
        reader.Fail("not a SID such as S-1-5-32-544");
}

void RightsForm::Read(const Reader& reader, std::uint32_t& mask) const
{
    if (reader.Value().is_number())
    {
        mask = reader.As<std::uint32_t>();
        return;
    }
    mask = 0;
    reader.Elements([&](const Reader& right) { mask |= RightOf(right); });
}

Json RightsForm::Schema(Json& definitions) const
{
    Json names = Json::array();
    for (const NamedValue& right : kRights)
        names.push_back(right.name);
    definitions["rights"] = {
        {"anyOf", {Definition("dword"), {{"type", "array"}, {"items", {{"enum", std::move(names)}}}}}}};
    return Definition("rights");
}

void InheritanceField::Read(const Reader& reader, AccessEntry& entry) const
{
    entry.inheritance = reader.As<std::uint32_t>();
    if (entry.inheritance > kHandableDown)
        reader.Fail("not inheritance flags, a number from 0 to 15");
}

std::optional<Json> InheritanceField::Save(const AccessEntry& entry, const AccessEntry&) const
{
    return Json(entry.inheritance & kHandableDown);
}

Json InheritanceField::Schema(Json&) const
{
    return {{"type", "integer"}, {"minimum", 0}, {"maximum", kHandableDown}};
}

void InheritedField::Read(const Reader& reader, AccessEntry& entry) const
{
    entry.inheritance |= reader.Flag() ? kInherited : 0;
}

std::optional<Json> InheritedField::Save(const AccessEntry& entry, const AccessEntry&) const
{
    return (entry.inheritance & kInherited) != 0 ? std::optional<Json>(true) : std::nullopt;
}

void EntryTypeForm::Read(const Reader& reader, bool& isDenial) const
{
    isDenial = reader.Text() == "deny";
    if (!isDenial && reader.Text() != "allow")
        reader.Fail("neither allow nor deny");
}

void Token::Load(const Reader& reader)
{
    ReadFields(reader, *this);
}

Json Token::ToJson() const
{
    return JsonOfFields(*this);
}

Json SchemaOfToken(Json& definitions)
{
    return SchemaOf<Token>(definitions);
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

bool Security::Grants(const Token& token, std::uint32_t rights, const GenericRights& generic) const
{
    std::uint32_t wanted = MappedRights(rights, generic);
    if (token.Holds(Owner()))
        wanted &= ~(kReadControl | kWriteDac);
    if (token.IsEnabled(kTakeOwnership))
        wanted &= ~kWriteOwner;
    if ((wanted & deniedAccess) != 0)
        return false;
    return !access || ListGrants(*access, token, wanted, generic);
}

} // namespace winsim
