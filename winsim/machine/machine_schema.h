// The schema of machine descriptions.
#pragma once

#include "winsim/base/json.h"

namespace winsim
{

// The JSON schema that machines/machine.schema.json holds, from the declarations of all keys.
Json MachineSchema();

} // namespace winsim
