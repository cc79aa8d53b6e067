// Kinds of handles that CloseHandle closes, beside files.
#pragma once

namespace winsim
{

inline constexpr char kProcess[] = "process";
inline constexpr char kThread[] = "thread";
inline constexpr char kToken[] = "token";

} // namespace winsim
