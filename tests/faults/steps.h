// Where in a run each step of its action begins.
#pragma once

#include "report/begun_steps.h"
#include "tests/faults/sweep_case.h"

#include <string>
#include <vector>

using catalogue::Step;
using report::BegunStep;

// The steps of a case's action in their order.
const std::vector<Step>& StepsOf(const SweepCase& sweepCase);

// The steps that a run began, in their order. Lines count that were to be written, also when that failed.
std::vector<BegunStep> StepsBegunIn(const SweepCase& sweepCase, const winsim::Outcome& outcome);

// The steps that left a sign (a line of theirs or, without lines, their call) in another order than theirs: the name of
// the first that did; "" when there is none. Looks at the steps that are not optional.
std::string StepOutOfOrder(const SweepCase& sweepCase, const winsim::Outcome& outcome);

// Where the step that a record belongs to ends: the record that begins the next one, or the run's end.
std::size_t EndOfStep(const std::vector<BegunStep>& begun, const winsim::Outcome& outcome, std::size_t record);

// The name of the step that a record belongs to; "" in front of the first.
std::string StepAt(const std::vector<BegunStep>& begun, std::size_t record);
