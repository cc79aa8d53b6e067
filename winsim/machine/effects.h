// What a described program or library does to the machine.
#pragma once

#include "winsim/machine/machine.h"

namespace winsim
{

// Applies effects: a merge patch on the machine's description, such as {"services": {"KlPCR": {...}}}. Null effects do
// nothing. Throws DescriptionError when the machine would make no sense any more.
void ApplyEffects(Machine& machine, const Json& effects);

} // namespace winsim
