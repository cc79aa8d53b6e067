// The ways in which each call can fail on Windows, for sweeps that try every failure.
#pragma once

#include "winsim/machine/faults.h"

#include <optional>
#include <string_view>
#include <vector>

namespace winsim
{

// The failures of the occurrence-th call of a name: at least two if the call can fail, otherwise none. The error is a
// Win32 error, an HRESULT or a status, depending on the call; 0 means a result of zero without a reason. For a function
// of a loaded library, the errors are other results that it can return.
std::vector<Fault> FailuresOf(std::string_view call, unsigned occurrence);

// The failure of the occurrence-th call of a name that says that there is no memory, if the call has one.
std::optional<Fault> ShortageOfMemory(std::string_view call, unsigned occurrence);

// The calls that can fail, except functions of loaded libraries.
std::vector<std::string> FallibleCalls();

// Whether the call is in the table of calls that cannot fail.
bool CannotFail(std::string_view call);

// What is wrong with a requested fault: winsim has no such call, the call cannot fail or cannot succeed with nothing,
// or the error is not a failure of it. Empty if nothing is wrong, and for every function of a library, because only a
// machine knows its libraries.
std::string ComplaintAbout(const Fault& fault);

// Whether the call is a function of a loaded library, such as "library.dll!Function".
bool IsLibraryFunction(std::string_view call);

} // namespace winsim
