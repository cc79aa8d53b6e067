// The programs that can be started on a simulated machine: files that say what they do.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// What a program does when it is started with certain arguments.
struct ProgramRun
{
    std::optional<std::string> arguments; // everything after the program's name; none: any arguments
    std::uint32_t startError = 0;         // what starting it fails with; 0: it can be started
    std::uint32_t exitCode = 0;
    std::uint64_t runMs = 0;
    bool neverEnds = false;
    Json effects; // what it changes on the machine when it ends: a merge patch on the description; null: nothing

    bool operator==(const ProgramRun&) const = default;
};

struct ProgramFile
{
    std::vector<ProgramRun> runs;

    // What the program does with these arguments; if that is not described, it ends at once with 0.
    ProgramRun RunWith(const std::string& arguments) const;

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const ProgramFile&) const = default;
};

} // namespace winsim
