// The files of resources/strings, built in.
#pragma once

#include <span>

namespace winsim
{

struct StringTableText
{
    const char* name; // of the file, without its extension
    const char* lines;
};

std::span<const StringTableText> StringTableTexts();

} // namespace winsim
