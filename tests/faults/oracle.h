// What must hold for every run, whichever calls failed in it.
#pragma once

#include "tests/faults/steps.h"
#include "tests/faults/sweep_case.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// A case as it runs when nothing fails.
struct Baseline
{
    winsim::Machine machine;
    winsim::Outcome outcome;
    std::vector<BegunStep> steps;
    std::map<std::string, std::multiset<std::string>> messages;         // that each step logs
    std::map<std::pair<std::string, std::string>, winsim::Json> values; // of what changes, by area and item
    std::vector<std::string> actions; // the calls that are not the log's own, with their results
};

Baseline MakeBaseline(const SweepCase& sweepCase);

// Whether a call of a run is the log's own.
bool IsLogCall(const winsim::Outcome& outcome, std::size_t call);

// Where in a run the fault-th failure of a plan was; nothing when the run did not get there.
std::optional<std::size_t> PlaceOf(const winsim::Outcome& outcome, const winsim::Fault& fault);

// What is wrong with a run in which `faults` were planned: a sentence each.
std::vector<std::string> Complaints(const SweepCase& sweepCase, const Baseline& baseline,
                                    const std::vector<winsim::Fault>& faults, const winsim::Outcome& outcome);
