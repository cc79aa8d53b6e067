// Tables of texts that libraries of a simulated machine hold without being described.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace winsim
{

// Texts by their identifiers, UTF-8.
using Texts = std::map<std::uint32_t, std::string>;

// The texts of one language.
struct StringTable
{
    std::uint32_t language = 0; // as Windows numbers languages
    std::uint32_t codePage = 0; // the ANSI code page of the language
    Texts texts;
};

// Declared here and defined by those who make machines for a program (winsim/toolkit/string_tables.cpp): they know the
// texts of the program's own libraries.

// The tables by their names, such as "de" or "pt-BR".
const std::map<std::string, StringTable>& StringTables();

// The table that the resource library of a file name holds; null when it is no name of a resource library.
const StringTable* TableOfLibrary(const std::string& fileName);

} // namespace winsim
