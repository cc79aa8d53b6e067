// The ways in which each call can fail on Windows, for those who try every failure.
#pragma once

#include "winsim/process/gate.h"

#include <string_view>
#include <vector>

namespace winsim
{

// The failures of one call, the occurrence-th of its name: at least two for each call that can fail. The error is a
// Win32 error, an HRESULT or a status, as the call gives it; 0 stands for a result of zero without a reason. For a
// function of a loaded library they are other results that it can have. Empty for a call that cannot fail.
std::vector<Fault> FailuresOf(std::string_view call, unsigned occurrence);

// The calls that can fail, without the functions of loaded libraries.
std::vector<std::string> FallibleCalls();

// Whether the call is one that is known to be unable to fail.
bool CannotFail(std::string_view call);

// What is wrong with a fault that somebody asks for: winsim has no such call, the call cannot fail or give nothing, or
// the error is no failure of it. Empty when nothing is. Functions of libraries are not looked at: a machine tells which
// there are.
std::string ComplaintAbout(const Fault& fault);

// Whether the call is a function of a loaded library, such as "stkprobe.dll!DetectTSS".
bool IsLibraryFunction(std::string_view call);

} // namespace winsim
