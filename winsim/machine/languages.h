// Looks languages up by their numbers.
#pragma once

#include "winsim/machine/language_table.h"

namespace winsim
{

// A language by its identifier, also one without a variant; null for one that is not known.
const Language* FindLanguage(std::uint16_t id);

} // namespace winsim
