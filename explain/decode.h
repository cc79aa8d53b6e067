// Reading a log of any encoding.
#pragma once

#include <string>
#include <string_view>

// The text of a file as UTF-8: by its byte order mark, or UTF-16 when every other byte is zero, or UTF-8 when it is
// valid, or else in the given code page. Throws std::invalid_argument for an unknown code page.
std::string Decode(std::string_view bytes, unsigned codePage);
