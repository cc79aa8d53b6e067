// Checks access on a simulated machine. Has the JSON form of owners, access lists and the token.
#include "winsim/machine/security.h"

#include "winsim/base/sid.h"
#include "winsim/base/text.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/inheritance.h"
#include "winsim/machine/privileges.h"
#include "winsim/machine/security_fields.h"

#include <algorithm>
#include <iterator>

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
constexpr std::uint32_t kMaximumAllowed = 0x2000000;
constexpr char kTakeOwnership[] = "SeTakeOwnershipPrivilege";

struct GenericRight
{
    std::uint32_t right;
    std::uint32_t GenericRights::*means;
};

constexpr GenericRight kGenericRights[] = {
    {0x80000000, &GenericRights::read},
    {0x40000000, &GenericRights::write},
    {0x20000000, &GenericRights::execute},
    {0x10000000, &GenericRights::all},
};

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

// The rights of a handle for an object of which grants(rights) is true when it grants all these rights.
template <typename Grants>
std::optional<std::uint32_t> OpenedBy(std::uint32_t rights, const GenericRights& generic, Grants grants)
{
    std::uint32_t opened = MappedRights(rights & ~kMaximumAllowed, generic);
    if (!grants(opened))
        return std::nullopt;
    if ((rights & kMaximumAllowed) == 0)
        return opened;
    for (std::uint32_t right = 1; right <= generic.all; right <<= 1)
    {
        if ((generic.all & right) != 0 && grants(right))
            opened |= right;
    }
    return opened != 0 ? std::optional(opened) : std::nullopt;
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
        visit(Key{"user", "SID or account name of the user", "`\"S-1-5-21-1004336348-1177238915-682003330-1001\"`"},
              Always(&Token::user, SidForm()));
        visit(Key{"groups", "SIDs or account names of the groups: a list",
                  "administrators, users, everyone, authenticated users"},
              Always(&Token::groups, SidsForm()));
        visit(Key{"privileges", "privileges by Windows' names, such as `\"SeTakeOwnershipPrivilege\"`: a list",
                  "an administrator's"},
              Always(&Token::privileges, PrivilegesForm()));
        visit(Key{"enabled", "which of these privileges are enabled: a list",
                  "`SeChangeNotifyPrivilege` and `SeImpersonatePrivilege`, if they are among `privileges`"},
              EnabledField());
    }
};

template struct AreaOfFields<Token>;

void SidForm::Read(const Reader& reader, std::string& sid) const
{
    sid = reader.Text();
    const auto account = std::ranges::find(kAccounts, sid, &Account::name);
    if (account != std::end(kAccounts))
        sid = account->sid;
    else if (BytesOfSid(sid).empty())
        reader.Fail("neither a SID such as S-1-5-32-544 nor an account such as Administrators");
}

Json SidForm::Schema(Json& definitions) const
{
    Json forms{{{"type", "string"}, {"pattern", "^S-1-[0-9]+(-[0-9]+)*$"}}};
    for (const Account& account : kAccounts)
        forms.push_back({{"const", account.name}, {"description", account.sid}});
    definitions["sid"] = {{"anyOf", std::move(forms)}};
    return Definition("sid");
}

void InheritanceField::Read(const Reader& reader, AccessEntry& entry) const
{
    MaskForm{kInheritanceFlags}.Read(reader, entry.inheritance);
    if (entry.inheritance > kHandableDown)
        reader.Fail("not inheritance flags, a number from 0 to 15");
}

std::optional<Json> InheritanceField::Save(const AccessEntry& entry, const AccessEntry&) const
{
    return Json(entry.inheritance & kHandableDown);
}

Json InheritanceField::Schema(Json& definitions) const
{
    Json schema = MaskForm{kInheritanceFlags}.Schema(definitions);
    schema["anyOf"][0] = {{"type", "integer"}, {"minimum", 0}, {"maximum", kHandableDown}};
    return schema;
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

std::uint32_t MappedRights(std::uint32_t mask, const GenericRights& generic)
{
    std::uint32_t mapped = mask;
    for (const GenericRight& one : kGenericRights)
    {
        if ((mask & one.right) != 0)
            mapped = (mapped & ~one.right) | generic.*one.means;
    }
    return mapped;
}

std::optional<std::uint32_t> OpenedWithout(std::uint32_t denied, std::uint32_t rights, const GenericRights& generic)
{
    const std::uint32_t refused = MappedRights(denied, generic);
    return OpenedBy(rights, generic, [&](std::uint32_t wanted) { return (wanted & refused) == 0; });
}

std::optional<std::uint32_t> Security::Opened(const Token& token, std::uint32_t rights,
                                              const GenericRights& generic) const
{
    return OpenedBy(rights, generic, [&](std::uint32_t wanted) { return Grants(token, wanted, generic); });
}

bool Security::Grants(const Token& token, std::uint32_t rights, const GenericRights& generic) const
{
    std::uint32_t wanted = MappedRights(rights, generic);
    if (token.Holds(Owner()))
        wanted &= ~(kReadControl | kWriteDac);
    if (token.IsEnabled(kTakeOwnership))
        wanted &= ~kWriteOwner;
    if ((wanted & MappedRights(deniedAccess, generic)) != 0)
        return false;
    return !access || ListGrants(*access, token, wanted, generic);
}

} // namespace winsim
