// The rules for every run, whichever calls failed in it.
#pragma once

#include "tests/faults/steps.h"
#include "tests/faults/sweep_case.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The run of a case without failures.
struct Baseline
{
    winsim::Machine machine;
    winsim::Outcome outcome;
    std::vector<BegunStep> steps;
    std::map<std::string, std::multiset<std::string>> messages;         // of each step
    std::map<std::pair<std::string, std::string>, winsim::Json> values; // of changed things, by area and item
    std::vector<std::string> actions; // the calls that are not the log's own, with their results
};

Baseline MakeBaseline(const SweepCase& sweepCase);

// Whether the log itself made this call.
bool IsLogCall(const winsim::Outcome& outcome, std::size_t call);

// The place of a planned failure in a run; nothing if the run did not reach it.
std::optional<std::size_t> PlaceOf(const winsim::Outcome& outcome, const winsim::Fault& fault);

// The violations in a run with these planned faults, each as a sentence.
std::vector<std::string> Complaints(const SweepCase& sweepCase, const Baseline& baseline,
                                    const std::vector<winsim::Fault>& faults, const winsim::Outcome& outcome);
