// The table of what came of many machines.
#pragma once

#include "rehearse/machine_line.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>

// Counts machines by their outcomes: the status and the step of the first failure. There are few of both, so that it
// stays small whatever the number of machines.
class Outcomes
{
public:
    void Add(const MachineLine& machine);

    std::size_t Count() const { return m_count; }

    // How many machines have a status: "990 incomplete, 10 endless"; the most frequent first.
    std::string Summary() const;

    // A row for each outcome, the most frequent first: its count, status and step, the place and the result of the
    // first machine that had it. Empty without machines.
    std::string Table() const;

private:
    struct Outcome
    {
        std::size_t count = 0;
        std::string example; // the place of a machine
        std::string result;  // that machine's
    };

    std::map<std::pair<std::string, std::string>, Outcome> m_outcomes; // by status and step
    std::size_t m_count = 0;
};

// Where a machine's description is: "machines/a.json", or "-:17" for the line of standard input.
std::string PlaceOf(const winsim::Json& line);
