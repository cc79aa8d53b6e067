// SIDs as text and as Windows lays them out in memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// The bytes of a SID such as "S-1-5-32-544"; none when the text is no SID.
std::vector<std::uint8_t> BytesOfSid(std::string_view text);

// The text of a SID in memory.
std::string TextOfSid(const void* sid);

// How many bytes a SID in memory has.
std::size_t SizeOfSid(const void* sid);

} // namespace winsim
