// The names of errors, for those who ask for failures, by the kind of error that a call fails with.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace winsim
{

enum class ErrorKind
{
    Win32,     // ERROR_ACCESS_DENIED and the like: the last error, or what the call returns
    HResult,   // E_FAIL, WBEM_E_ACCESS_DENIED
    NtStatus,  // STATUS_ACCESS_DENIED
    SmartCard, // SCARD_E_NO_SERVICE
};

// The kind of error that a call fails with, by the call's name.
ErrorKind ErrorKindOf(std::string_view call);

// The number of a name; nothing when errors of that kind have no such name.
std::optional<std::uint32_t> ErrorNamed(ErrorKind kind, std::string_view name);

// What errors of a call are, in a few words with an example: "Win32 error such as ERROR_ACCESS_DENIED".
const char* DescribeErrors(std::string_view call);

// Whether an error of that kind is a failure at all.
bool IsFailure(ErrorKind kind, std::uint32_t error);

} // namespace winsim
