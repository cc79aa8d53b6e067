// The errors that each call can fail with on Windows, for those who try every failure.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace winsim
{

// The errors of a call, at least two for each call that can fail: Win32 errors, HRESULTs or status values, as the call
// gives them. Empty for a call that cannot fail.
std::span<const std::uint32_t> ErrorsOf(std::string_view call);

// Whether the call is one that winsim knows to be unable to fail.
bool CannotFail(std::string_view call);

} // namespace winsim
