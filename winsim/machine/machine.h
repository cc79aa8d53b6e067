// A simulated machine: all its state, as one value.
#pragma once

#include "winsim/machine/cng.h"
#include "winsim/machine/faults.h"
#include "winsim/machine/files.h"
#include "winsim/machine/installer.h"
#include "winsim/machine/processes.h"
#include "winsim/machine/registry.h"
#include "winsim/machine/security.h"
#include "winsim/machine/services.h"
#include "winsim/machine/smart_cards.h"
#include "winsim/machine/system.h"
#include "winsim/machine/wmi.h"

#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// A description says how the machine differs from a plain Windows 10 machine: what it does not mention is as on that
// machine, and null removes what that machine has.
struct Machine
{
    std::string title;              // one line for people
    std::vector<std::string> notes; // for people: what the description's author could not find out
    WindowsInfo windows;
    Clock clock;
    ProcessInfo process;
    NamedTexts folders;
    NamedTexts environment;
    Registry registry;
    Files files; // and libraries and programs
    PendingMoves pendingMoves;
    Token token;
    Services services;
    Processes processes;
    SmartCards smartCards;
    Cng cng;
    Wmi wmi;
    Installer installer;
    EventLog events;
    PlannedFaults faults;

    // As a compiler would make them, and compiled only once.
    Machine();
    Machine(const Machine& other);
    Machine(Machine&& other) noexcept;
    Machine& operator=(const Machine& other);
    Machine& operator=(Machine&& other) noexcept;
    ~Machine();

    // Throws DescriptionError for a description that cannot be used.
    static Machine FromJson(const Json& description);
    // Reads a file, and those that it is "like". Throws DescriptionError, also if a file cannot be read or is not JSON;
    // the error begins with the file's path.
    static Machine FromFile(const std::string& path);
    // Reads a description that is in no file. What it is "like" has its path from `folder`.
    static Machine FromText(std::string_view text, const std::string& folder);

    // The whole machine as a description: FromJson of it is the same machine again.
    Json ToJson() const;

    // The machine after the effects of a program, a function or a method: a merge patch on its description, whose nulls
    // remove what is there. Throws DescriptionError if the result does not describe a machine.
    Machine With(const Json& effects) const;

    // Lets time pass for the clock and the services.
    void Advance(std::uint64_t ms);

    bool operator==(const Machine& other) const;
};

// One difference between two machines.
struct Change
{
    std::string area; // "files", "registry", ...
    std::string kind; // "added", "removed" or "changed"
    std::string item; // a path, a key and value, a name
    Json before;      // null when added
    Json after;       // null when removed
};

// What a run changed, in the order of the areas. The clock is not a change.
std::vector<Change> Compare(const Machine& before, const Machine& after);

Json ToJson(const Change& change);

} // namespace winsim
