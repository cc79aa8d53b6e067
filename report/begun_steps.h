// The places in a rehearsal where the steps of its action begin.
#pragma once

#include "catalogue/catalogue.h"
#include "winsim/process/program.h"

#include <string>
#include <vector>

namespace report
{

// A step that the run began, and the index of the call that begins it.
struct BegunStep
{
    const catalogue::Step* step;
    std::size_t record;
};

// Whether a call writes, or should have written, one of the lines of a step.
bool IsLineOf(const catalogue::Step& step, const winsim::CallRecord& record);

// Which of `steps`, the steps of the run's action, the run began, in their order. A line counts even if writing it
// failed.
std::vector<BegunStep> StepsBegunIn(const std::vector<catalogue::Step>& steps, const winsim::Outcome& outcome);

} // namespace report
