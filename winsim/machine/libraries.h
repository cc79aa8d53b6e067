// Libraries on a simulated machine: files with functions.
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
    std::string throws; // instead of a result: one of ThrownThings
    Json effects;       // what it changes on the machine: a merge patch on the description; null for nothing

    bool operator==(const LibraryExport&) const = default;
};

struct Library
{
    std::map<std::string, LibraryExport> exports; // by name
    std::vector<std::string> missing;             // functions that a library of Windows lacks on this machine
    std::uint32_t loadError = 0;                  // loading it fails with this error
    std::string table;                            // the name of the table whose texts it holds
    std::optional<Texts> texts;                   // described texts; without either, the file's name tells

    // The texts that it holds as the file of a path, and whether it is there for texts at all.
    const Texts& TextsAt(const std::string& path) const;
    bool IsForTexts(const std::string& path) const { return texts || !TextsAt(path).empty(); }

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const Library&) const = default;
};

// Whether the file of a path is a resource library by its name.
bool IsResourceLibrary(const std::string& path);

// Something that can come out of a function instead of a result.
struct ThrownThing
{
    const char* name; // in descriptions
    void (*raise)();
};

std::span<const ThrownThing> ThrownThings();

} // namespace winsim
