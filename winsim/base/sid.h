// SIDs as text and as Windows lays them out in memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// The bytes of a SID such as "S-1-5-32-544"; empty if the text is not a SID.
std::vector<std::uint8_t> BytesOfSid(std::string_view text);

// The text of a SID in memory.
std::string TextOfSid(const void* sid);

// The size of a SID in memory, in bytes.
std::size_t SizeOfSid(const void* sid);

} // namespace winsim
