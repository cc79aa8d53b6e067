// Reads the names of a library's functions from its file, without loading it.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace describe
{

// The names of the functions that a 64-bit image exports, from the bytes of its file. Nothing if it is no such image,
// or a damaged one.
std::optional<std::set<std::string>> ExportedFunctions(std::string_view image);

} // namespace describe
