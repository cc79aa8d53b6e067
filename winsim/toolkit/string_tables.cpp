// Reads the program's string tables, which are built in.
#include "winsim/machine/string_tables.h"

#include "winsim/base/text.h"
#include "winsim/toolkit/string_table_texts.h"

#include <sstream>
#include <stdexcept>

namespace winsim
{

namespace
{

constexpr char kLibraryPrefix[] = "Internationalization_";
constexpr char kLibrarySuffix[] = ".dll";

// Parses a table. A line has an identifier, a tab and a text. Comments begin with "#"; two of them give the language
// and the code page.
StringTable Parse(const std::string& lines)
{
    StringTable table;
    std::istringstream stream(lines);
    const auto numberIn = [](const std::string& line, const std::string& start, int base, std::uint32_t& number) {
        if (line.starts_with(start))
            number = static_cast<std::uint32_t>(std::stoul(line.substr(start.size()), nullptr, base));
    };
    for (std::string line; std::getline(stream, line);)
    {
        numberIn(line, "# language 0x", 16, table.language);
        numberIn(line, "# code page ", 10, table.codePage);
        const std::size_t tab = line.find('\t');
        if (!line.starts_with('#') && tab != std::string::npos)
            table.texts[static_cast<std::uint32_t>(std::stoul(line.substr(0, tab)))] = line.substr(tab + 1);
    }
    return table;
}

} // namespace

const std::map<std::string, StringTable>& StringTables()
{
    static const std::map<std::string, StringTable> tables = [] {
        std::map<std::string, StringTable> all;
        for (const StringTableText& text : StringTableTexts())
            all[text.name] = Parse(text.lines);
        return all;
    }();
    return tables;
}

const StringTable* TableOfLibrary(const std::string& fileName)
{
    for (const auto& [name, table] : StringTables())
    {
        if (SameName(fileName, kLibraryPrefix + name + kLibrarySuffix))
            return &table;
    }
    return nullptr;
}

} // namespace winsim
