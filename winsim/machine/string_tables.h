// The string tables that resource libraries of a simulated machine hold even if the texts are not described.
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

// Declared here, and defined for each program that runs on the machine (winsim/toolkit/string_tables.cpp), because the
// tables are those of the program's own libraries.

// The tables by their names, such as "de" or "pt-BR".
const std::map<std::string, StringTable>& StringTables();

// The table of the resource library with a file name; null if no resource library has that name.
const StringTable* TableOfLibrary(const std::string& fileName);

} // namespace winsim
