// The place in a run where each step of its action begins.
#pragma once

#include "report/begun_steps.h"
#include "tests/faults/sweep_case.h"

#include <string>
#include <vector>

using catalogue::Step;
using report::BegunStep;

// The steps of a case's action in their order.
const std::vector<Step>& StepsOf(const SweepCase& sweepCase);

// The steps that a run began, in their order. A line counts even if writing it failed.
std::vector<BegunStep> StepsBegunIn(const SweepCase& sweepCase, const winsim::Outcome& outcome);

// Checks the order of the steps that are not optional, by their signs: their lines or, without lines, their call.
// Returns the name of the first step that is out of order; "" if there is none.
std::string StepOutOfOrder(const SweepCase& sweepCase, const winsim::Outcome& outcome);

// The end of the step that a record belongs to: the record that begins the next step, or the run's end.
std::size_t EndOfStep(const std::vector<BegunStep>& begun, const winsim::Outcome& outcome, std::size_t record);

// The name of the step that a record belongs to; "" before the first step.
std::string StepAt(const std::vector<BegunStep>& begun, std::size_t record);
