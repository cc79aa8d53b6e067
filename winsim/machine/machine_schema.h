// The schema of machine descriptions.
#pragma once

#include "winsim/base/json.h"

namespace winsim
{

// The JSON schema in machines/machine.schema.json, made from the declarations of all keys.
Json MachineSchema();

} // namespace winsim
