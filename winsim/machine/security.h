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
inline constexpr GenericRights kGenericServiceRights = {0x2008D, 0x20002, 0x20170, 0xF01FF};
inline constexpr GenericRights kGenericProcessRights = {0x20410, 0x20BEA, 0x121001, 0x1FFFFF};
inline constexpr GenericRights kGenericTokenRights = {0x2001A, 0x200E0, 0x20000, 0xF01FF};

// The token of the process.
struct Token
{
    std::string user;
    std::vector<std::string> groups;
    std::vector<std::string> privileges; // by name, such as "SeTakeOwnershipPrivilege"
    std::vector<std::string> enabled;    // the privileges that are enabled

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

    // The rights of a handle that is opened with `rights`, without generic rights. MAXIMUM_ALLOWED stands for every
    // right that is granted. None: one of the rights is not granted, or there is none.
    std::optional<std::uint32_t> Opened(const Token& token, std::uint32_t rights, const GenericRights& generic) const;

    bool operator==(const Security&) const = default;
};

// A mask whose generic rights are replaced by the rights that they mean.
std::uint32_t MappedRights(std::uint32_t mask, const GenericRights& generic);

// The same as Security::Opened for an object that grants every right except those in `denied`.
std::optional<std::uint32_t> OpenedWithout(std::uint32_t denied, std::uint32_t rights, const GenericRights& generic);

} // namespace winsim
