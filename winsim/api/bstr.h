// COM's strings and variants, as parameters of the simulated machine's calls.
#pragma once

#include "oleauto.h"
#include "winsim/base/json.h"
#include "winsim/process/gate.h"

#include <string>

namespace winsim
{

// The text of a COM string; empty for null. If `text` is not an allocated COM string, it is empty too, and a violation
// by the call is noted.
std::string TextOf(const Call& call, BSTR text);

// The text for a recorded parameter: null stays null.
Json NotedBstr(BSTR text);

// A variant of the process that was passed to a call, and that the process has to clear.
struct HeldVariant
{
    static constexpr char kKind[] = "variant";
};

} // namespace winsim
