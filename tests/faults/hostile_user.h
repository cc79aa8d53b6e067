// What an ordinary user can do to the places that the program uses below the common application data, before it runs
// and between any two of its calls.
#pragma once

#include "winsim/machine/machine.h"
#include "winsim/process/meanwhile.h"

#include <cstddef>
#include <string>
#include <vector>

// The machine with what an attacker would like to have changed: an empty folder, one like the program's own, and a file
// in Windows' system folder.
winsim::Machine MachineWithVictims(winsim::Machine machine);

// The same machine with files in the user's own folder, at the root of the system drive and in the current directory
// that have the names of what the program loads and starts, where Windows' search order or a path without quotation
// marks comes by them. The language is one that no library of texts is there for.
winsim::Machine MachineWithPlantedFiles(winsim::Machine machine);

// Whether a file is one of those.
bool IsPlanted(const std::string& path);

// Machines on which the variable "windir" is the user's own: it names a folder of the user's, or a link.
std::vector<winsim::Machine> MachinesWithAnotherWindowsFolder(const winsim::Machine& machine);

// One way to misuse a place: with a link, a second name or an object of the wrong kind.
struct Attack
{
    const char* name;                 // of the way
    std::string place;                // what is misused, for people
    std::vector<std::string> acts;    // tried one by one: what a text holds ends with its first act that cannot be done
    std::vector<std::string> undoing; // acts one call later; none: it stays
};

// Every way for every place.
const std::vector<Attack>& AllAttacks();

// The one way that no open handle is in: an empty folder of the policies becomes a link as it stands.
Attack TurningOfPolicies();

// The folder that it then leads to.
extern const std::string kTurnedTo;

// What happens when an attack comes after the ordinal-th call of a run.
std::vector<winsim::Meanwhile> After(std::size_t ordinal, const Attack& attack);

// Whether a path is one that the user may have changed by an attack, or the program by its task.
bool MayDiffer(const std::string& path);
