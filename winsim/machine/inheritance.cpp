// Passes the inheritable entries of access lists on, by the rules of Windows' automatic inheritance.
#include "winsim/machine/inheritance.h"

#include <windows.h>

#include <utility>

namespace winsim
{

namespace
{

constexpr std::uint32_t kInheritable = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;

constexpr char kAdministratorsSid[] = "S-1-5-32-544";
constexpr char kLocalSystemSid[] = "S-1-5-18";

// Placeholders in inheritable entries for the owner and the group of a new object. The simulated machine's objects have
// no group.
constexpr char kCreatorOwnerSid[] = "S-1-3-0";
constexpr char kCreatorGroupSid[] = "S-1-3-1";

bool IsInherited(const AccessEntry& entry)
{
    return (entry.inheritance & INHERITED_ACE) != 0;
}

std::vector<AccessEntry> InheritedIn(const Security& security)
{
    std::vector<AccessEntry> list = security.access.value_or(std::vector<AccessEntry>());
    std::erase_if(list, [](const AccessEntry& entry) { return !IsInherited(entry); });
    return list;
}

// Adds what a container's entry becomes in an object's list: an entry for the object itself, an entry that it passes
// on, both, or one entry that does both.
void AppendInherited(std::vector<AccessEntry>& list, const AccessEntry& entry, const std::string& owner,
                     const ObjectKind& kind)
{
    const std::uint32_t needed = kind.isContainer ? CONTAINER_INHERIT_ACE : OBJECT_INHERIT_ACE;
    const bool isForIt = (entry.inheritance & needed) != 0;
    const bool goesOn = kind.isContainer && (entry.inheritance & kInheritable) != 0 &&
                        (entry.inheritance & NO_PROPAGATE_INHERIT_ACE) == 0;

    AccessEntry effective = entry;
    effective.inheritance = INHERITED_ACE;
    effective.mask = MappedRights(entry.mask, kind.generic);
    if (entry.trustee == kCreatorOwnerSid)
        effective.trustee = owner;
    AccessEntry handedOn = entry;
    handedOn.inheritance = (entry.inheritance & kInheritable) | INHERITED_ACE;

    const bool isSame = effective.mask == entry.mask && effective.trustee == entry.trustee;
    if (isForIt && goesOn && isSame && entry.trustee != kCreatorGroupSid)
    {
        list.push_back(handedOn);
        return;
    }
    if (isForIt && entry.trustee != kCreatorGroupSid)
        list.push_back(effective);
    handedOn.inheritance |= INHERIT_ONLY_ACE;
    if (goesOn)
        list.push_back(handedOn);
}

// The entries that an object with this owner inherits from a container's list, marked as inherited, in Windows' order.
std::vector<AccessEntry> InheritedEntries(const std::vector<AccessEntry>& container, const std::string& owner,
                                          const ObjectKind& kind)
{
    std::vector<AccessEntry> list;
    for (const AccessEntry& entry : container)
        AppendInherited(list, entry, owner, kind);
    return list;
}

std::string OwnerOfNew(const Token& creator)
{
    return creator.Holds(kAdministratorsSid) ? kAdministratorsSid : creator.user;
}

std::vector<AccessEntry> DefaultList(const std::string& owner, const ObjectKind& kind)
{
    return {{owner, kind.generic.all, 0, false}, {kLocalSystemSid, kind.generic.all, 0, false}};
}

} // namespace

Security SecurityOfNew(const Security& container, const Token& creator, const ObjectKind& kind)
{
    Security security;
    security.owner = OwnerOfNew(creator);
    if (!container.access)
        return security;
    security.access = InheritedEntries(*container.access, *security.owner, kind);
    if (security.access->empty())
        security.access = DefaultList(*security.owner, kind);
    return security;
}

void ReplaceList(Security& security, std::vector<AccessEntry> list, const Security* container, const ObjectKind& kind)
{
    std::vector<AccessEntry> inherited;
    if (security.isProtected)
    {
        for (AccessEntry& entry : list)
            entry.inheritance &= ~INHERITED_ACE;
    }
    else
    {
        std::erase_if(list, IsInherited);
        inherited = container != nullptr && container->access
                        ? InheritedEntries(*container->access, security.Owner(), kind)
                        : InheritedIn(security);
    }
    for (AccessEntry& entry : list)
    {
        if ((entry.inheritance & INHERIT_ONLY_ACE) == 0)
            entry.mask = MappedRights(entry.mask, kind.generic);
    }
    list.insert(list.end(), inherited.begin(), inherited.end());
    security.access = std::move(list);
}

} // namespace winsim
