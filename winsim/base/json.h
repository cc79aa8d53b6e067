// The JSON of machine descriptions and recorded calls: objects keep their order.
#pragma once

#include <nlohmann/json.hpp>

namespace winsim
{

using Json = nlohmann::ordered_json;

} // namespace winsim
