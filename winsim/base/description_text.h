// Reading the text of a machine description.
#pragma once

#include "winsim/base/json.h"

#include <string_view>

namespace winsim
{

// The JSON of a description's text (UTF-8). Throws DescriptionError for a text that is no JSON, and, with the path, for
// an object that has a key twice.
Json ParseDescription(std::string_view text);

} // namespace winsim
