// Libraries on a simulated machine: files with functions, texts or both.
#pragma once

#include "winsim/base/description.h"
#include "winsim/machine/string_tables.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace winsim
{

// What a library's function does when it is called.
struct LibraryExport
{
    std::int32_t result = 0;
    std::string throws; // one of ThrownThings, instead of a result
    Json effects;       // what it changes on the machine: a merge patch on the description; null: nothing

    bool operator==(const LibraryExport&) const = default;
};

struct Library
{
    std::map<std::string, LibraryExport> exports; // by name
    std::vector<std::string> missing;             // functions that this machine's copy of a Windows library lacks
    std::uint32_t loadError = 0;                  // what loading it fails with; 0: it can be loaded
    std::string table;                            // the name of the string table that it holds
    std::optional<Texts> texts;                   // described texts; without either, the file's name decides

    // The texts that the library has at this path, and whether it has texts at all.
    const Texts& TextsAt(const std::string& path) const;
    bool IsForTexts(const std::string& path) const { return texts || !TextsAt(path).empty(); }

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const Library&) const = default;
};

// Whether the file name of a path is that of a resource library.
bool IsResourceLibrary(const std::string& path);

// Something that a function can throw instead of returning a result.
struct ThrownThing
{
    const char* name; // as descriptions write it
    void (*raise)();
};

std::span<const ThrownThing> ThrownThings();

} // namespace winsim
