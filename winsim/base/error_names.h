// The names of errors, by the kind of error that a call fails with. A fault can be requested by such a name.
#pragma once

#include "winsim/base/named_values.h"

#include <cstdint>
#include <optional>
#include <span>
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

// The kind of error that a call fails with.
ErrorKind ErrorKindOf(std::string_view call);

// The number of an error's name; none if no error of that kind has the name.
std::optional<std::uint32_t> ErrorNamed(ErrorKind kind, std::string_view name);

// The errors of a call, in words with an example: "Win32 error such as ERROR_ACCESS_DENIED".
const char* DescribeErrors(std::string_view call);

// All errors of a kind that have names.
std::span<const NamedValue> NamesOf(ErrorKind kind);

// Whether a number is a failure if it is an error of that kind.
bool IsFailure(ErrorKind kind, std::uint32_t error);

} // namespace winsim
