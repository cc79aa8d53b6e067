// Parses the text of a machine description.
#pragma once

#include "winsim/base/json.h"

#include <string_view>

namespace winsim
{

// Parses a description (UTF-8), which may have comments as in C++. Throws DescriptionError if the text is not JSON, or
// if an object has a key twice; the error then names the path of the key.
Json ParseDescription(std::string_view text);

} // namespace winsim
