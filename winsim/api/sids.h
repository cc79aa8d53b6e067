// SIDs and access lists that the process holds in its memory.
#pragma once

#include "winnt.h"
#include "winsim/base/json.h"
#include "winsim/machine/security.h"
#include "winsim/process/gate.h"

#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// The text of a SID from AllocateAndInitializeSid. Nothing, with a violation of the call noted, when it is none or
// freed already.
std::optional<std::string> SidText(const Call& call, const void* sid);

// How recorded calls show a SID: its text, or null.
Json NotedSid(const void* sid);

// Entries as Windows lays them out: an access list (ACL with its entries), and how recorded calls show one.
std::vector<std::uint8_t> BytesOfAcl(const std::vector<AccessEntry>& entries);
std::vector<AccessEntry> EntriesOfAcl(const ACL* acl);
Json NotedAcl(const ACL* acl);

} // namespace winsim
