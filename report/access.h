// Owners, rights and access lists in words.
#pragma once

#include "winsim/base/json.h"

#include <cstdint>
#include <string>
#include <vector>

namespace report
{

// What an access list is of.
enum class Secured
{
    Key,
    Folder,
    File,
};

// A group or an account by its SID: "Administrators"; a SID without a name of its own as it stands.
std::string NameOfTrustee(const std::string& sid);

// The rights of a mask by their names: "GENERIC_READ", "KEY_READ | WRITE_OWNER".
std::string NameOfRights(std::uint32_t mask, Secured secured);

// An access list, as descriptions have it, as rows of a table: "allow", the trustee, the rights, what inherits.
std::vector<std::vector<std::string>> RowsOfList(const winsim::Json& list, Secured secured);

} // namespace report
