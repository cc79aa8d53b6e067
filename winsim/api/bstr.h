// COM's strings and variants as the calls of the simulated machine take them.
#pragma once

#include "oleauto.h"
#include "winsim/base/json.h"
#include "winsim/process/gate.h"

#include <string>

namespace winsim
{

// The text of a COM string; null gives an empty one. Anything that is not a COM string that is still there is noted as
// a violation of the call, and gives an empty text too.
std::string TextOf(const Call& call, BSTR text);

// The same as a parameter of a call's record: null stays null.
Json NotedBstr(BSTR text);

// A variant of the process's own that was handed to a call: it has to be cleared.
struct HeldVariant
{
    static constexpr char kKind[] = "variant";
};

} // namespace winsim
