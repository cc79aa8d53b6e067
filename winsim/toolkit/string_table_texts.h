// The files in resources/strings, built into winsim.
#pragma once

#include <span>

namespace winsim
{

struct StringTableText
{
    const char* name; // the file's name without its extension
    const char* lines;
};

std::span<const StringTableText> StringTableTexts();

} // namespace winsim
