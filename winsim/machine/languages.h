// Looks languages up by their numbers.
#pragma once

#include "winsim/machine/language_table.h"

namespace winsim
{

// The language with an identifier, which may lack a variant; null if Windows does not know it.
const Language* FindLanguage(std::uint16_t id);

} // namespace winsim
