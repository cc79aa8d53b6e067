// Applies what a described program, function or method changes on the machine.
#pragma once

#include "winsim/machine/machine.h"

namespace winsim
{

// Applies effects: a merge patch on the machine's description, such as {"services": {"Spooler": {...}}}. Null effects
// do nothing. Throws DescriptionError if the result does not describe a machine.
void ApplyEffects(Machine& machine, const Json& effects);

} // namespace winsim
