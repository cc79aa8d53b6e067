// SIDs and access lists in the memory of the process.
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

// The text of a SID from AllocateAndInitializeSid. If it is not such a SID or was freed: none, and a violation by the
// call is noted.
std::optional<std::string> SidText(const Call& call, const void* sid);

// A SID for a recorded call: its text or null.
Json NotedSid(const void* sid);

// Convert between entries and an access list with Windows' layout, and show such a list in a recorded call.
std::vector<std::uint8_t> BytesOfAcl(const std::vector<AccessEntry>& entries);
std::vector<AccessEntry> EntriesOfAcl(const ACL* acl);
Json NotedAcl(const ACL* acl);

} // namespace winsim
