// Reads a log in any encoding.
#pragma once

#include <string>
#include <string_view>

// The text of a file as UTF-8. The encoding is that of the byte order mark; or UTF-16 if every other byte is zero; or
// UTF-8 if the file is valid UTF-8; or else the given code page. Throws std::invalid_argument for an unknown code page.
std::string Decode(std::string_view bytes, unsigned codePage);
