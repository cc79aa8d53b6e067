// Access control on a simulated machine: owners and access lists of objects, and the token of the process.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// One entry of an access list, for the trustee with a SID such as "S-1-5-32-544".
struct AccessEntry
{
    std::string trustee;
    std::uint32_t mask = 0;
    std::uint32_t inheritance = 0; // CONTAINER_INHERIT_ACE, ...
    bool isDenial = false;

    bool operator==(const AccessEntry&) const = default;
};

// What the generic rights mean on one kind of object.
struct GenericRights
{
    std::uint32_t read;
    std::uint32_t write;
    std::uint32_t execute;
    std::uint32_t all;
};

inline constexpr GenericRights kKeyRights = {0x20019, 0x20006, 0x20019, 0xF003F};
inline constexpr GenericRights kFileRights = {0x120089, 0x120116, 0x1200A0, 0x1F01FF};

// The token of the process.
struct Token
{
    std::string user;
    std::vector<std::string> groups;
    std::vector<std::string> privileges; // by name, such as "SeTakeOwnershipPrivilege"
    std::vector<std::string> enabled;    // the privileges that are enabled

    void Load(const Reader& reader);
    Json ToJson() const;

    // Whether a SID is that of the user or of one of the groups.
    bool Holds(const std::string& sid) const;
    bool HasPrivilege(const std::string& name) const;
    bool IsEnabled(const std::string& name) const;
    void Enable(const std::string& name, bool isEnabled);

    bool operator==(const Token&) const = default;
};

// The security of one key or file.
struct Security
{
    std::optional<std::string> owner;               // none: LocalSystem
    std::optional<std::vector<AccessEntry>> access; // none: everybody may do everything
    bool isProtected = false;                       // inherits no entries
    std::uint32_t deniedAccess = 0;                 // rights that the process is refused until the list is replaced

    std::string Owner() const { return owner.value_or("S-1-5-18"); }

    // Whether a process with this token is granted all these rights. The owner may always read the security and
    // replace the list; a process with SeTakeOwnershipPrivilege enabled may always take ownership.
    bool Grants(const Token& token, std::uint32_t rights, const GenericRights& generic) const;

    bool operator==(const Security&) const = default;
};

} // namespace winsim
