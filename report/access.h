// Owners, rights and access lists in words.
#pragma once

#include "winsim/base/json.h"

#include <cstdint>
#include <string>
#include <vector>

namespace report
{

// The kind of object that an access list belongs to.
enum class Secured
{
    Key,
    Folder,
    File,
};

// A group or an account by its SID: "Administrators". A SID without a name is shown unchanged.
std::string NameOfTrustee(const std::string& sid);

// The names of a mask's rights: "GENERIC_READ", "KEY_READ | WRITE_OWNER".
std::string NameOfRights(std::uint32_t mask, Secured secured);

// An access list, as descriptions contain it, as table rows: "allow", the trustee, the rights, which objects inherit.
std::vector<std::vector<std::string>> RowsOfList(const winsim::Json& list, Secured secured);

} // namespace report
