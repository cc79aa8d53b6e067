// Kinds of handles that CloseHandle closes.
#pragma once

namespace winsim
{

inline constexpr char kFile[] = "file";
inline constexpr char kProcess[] = "process";
inline constexpr char kThread[] = "thread";
inline constexpr char kToken[] = "token";

} // namespace winsim
