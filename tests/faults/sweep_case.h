// The cases of the sweep: every described machine with every action, and with the exported entry point.
#pragma once

#include "winsim/process/program.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

struct SweepCase
{
    std::string machineFile;            // relative to the project's folder, such as "machines/srk-upgrade.json"
    std::vector<std::string> arguments; // empty: the exported entry point
    std::string name;                   // for people and tests: letters, digits and underscores

    bool IsExport() const { return arguments.empty(); }
    // "/Setup" and so on; empty for the entry point.
    std::string Action() const { return IsExport() ? std::string() : arguments.front(); }
};

// The name of a case in a test's messages.
inline void PrintTo(const SweepCase& sweepCase, std::ostream* out)
{
    *out << sweepCase.name;
}

std::vector<SweepCase> AllCases();

// The first of those that a case tries with a stride: another one in each case.
std::size_t FirstTried(const SweepCase& sweepCase, std::size_t stride);

// The machine of a case. Each file is read once: reading takes as long as some runs.
const winsim::Machine& MachineOf(const SweepCase& sweepCase);

// Runs a case with planned failures and with acts of another process during the run. Throws exceptions that leave the
// program.
winsim::Outcome Run(const SweepCase& sweepCase, const winsim::Machine& machine,
                    const std::vector<winsim::Fault>& faults, const std::vector<winsim::Meanwhile>& meanwhile = {});

// The command that repeats such a run, from the project's folder.
std::string CommandFor(const SweepCase& sweepCase, const std::vector<winsim::Fault>& faults,
                       const std::vector<winsim::Meanwhile>& meanwhile = {});
