// Where in a rehearsal each step of its action begins.
#pragma once

#include "catalogue/catalogue.h"
#include "winsim/process/program.h"

#include <string>
#include <vector>

namespace report
{

// A step that was begun, and the index of the call that begins it.
struct BegunStep
{
    const catalogue::Step* step;
    std::size_t record;
};

// Whether a call writes, or was to write, one of the lines that a step has.
bool IsLineOf(const catalogue::Step& step, const winsim::CallRecord& record);

// The steps among `steps`, those of the run's action, that a run began, in their order. Lines count that were to be
// written, also when that failed.
std::vector<BegunStep> StepsBegunIn(const std::vector<catalogue::Step>& steps, const winsim::Outcome& outcome);

} // namespace report
