// Memory that a call hands out for the process to give back with LocalFree.
#pragma once

namespace winsim
{

// The kind of its blocks.
inline constexpr char kBlock[] = "block";

} // namespace winsim
