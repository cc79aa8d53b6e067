// What an ordinary user can do to the program's places below the common application data, before it runs and between
// any two of its calls.
#pragma once

#include "winsim/machine/machine.h"
#include "winsim/process/meanwhile.h"

#include <cstddef>
#include <string>
#include <vector>

// The machine with targets that an attacker would like to have changed: an empty folder, a folder like the program's
// own, and a file in Windows' system folder.
winsim::Machine MachineWithVictims(winsim::Machine machine);

// The same machine with planted files, which have the names of files that the program loads and starts. They lie where
// Windows' search order or a path without quotation marks leads: in the user's own folder, at the root of the system
// drive and in the current directory. The language is one without a library of texts.
winsim::Machine MachineWithPlantedFiles(winsim::Machine machine);

// Whether a file is one of the planted ones.
bool IsPlanted(const std::string& path);

// Machines where the user controls the variable "windir": it names a folder of the user's, or a link.
std::vector<winsim::Machine> MachinesWithAnotherWindowsFolder(const winsim::Machine& machine);

// One way to misuse a place: with a link, a second name or an object of the wrong kind.
struct Attack
{
    const char* name;                 // the name of this way
    std::string place;                // the misused place, for people
    std::vector<std::string> acts;    // each text is tried on its own and stops at its first act that fails
    std::vector<std::string> undoing; // acts one call later; empty: the attack stays
};

// Every way of misuse for every place.
const std::vector<Attack>& AllAttacks();

// The one attack that no open handle prevents: an empty folder of the policies becomes a link in place.
Attack TurningOfPolicies();

// The target of that link.
extern const std::string kTurnedTo;

// The acts of an attack after the ordinal-th call of a run.
std::vector<winsim::Meanwhile> After(std::size_t ordinal, const Attack& attack);

// Whether the user may have changed this path by an attack, or the program as part of its task.
bool MayDiffer(const std::string& path);
