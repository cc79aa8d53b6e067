// Finds the steps in a run.
#include "tests/faults/steps.h"

#include <algorithm>

namespace
{

using winsim::CallRecord;

bool IsSignOf(const Step& step, const CallRecord& record)
{
    return step.lines.empty() ? record.name == step.call : report::IsLineOf(step, record);
}

} // namespace

const std::vector<Step>& StepsOf(const SweepCase& sweepCase)
{
    using catalogue::Action;
    return catalogue::StepsOf(sweepCase.IsExport() ? Action::Export : catalogue::ActionOf(sweepCase.Action()).value());
}

std::vector<BegunStep> StepsBegunIn(const SweepCase& sweepCase, const winsim::Outcome& outcome)
{
    return report::StepsBegunIn(StepsOf(sweepCase), outcome);
}

std::string StepOutOfOrder(const SweepCase& sweepCase, const winsim::Outcome& outcome)
{
    const auto begin = outcome.calls.begin() + static_cast<std::ptrdiff_t>(outcome.bodyBegin);
    const auto end = outcome.calls.begin() + static_cast<std::ptrdiff_t>(outcome.bodyEnd);
    auto latest = begin;
    for (const Step& step : StepsOf(sweepCase))
    {
        if (step.isOptional)
            continue;
        const auto sign = std::find_if(begin, end, [&](const CallRecord& record) { return IsSignOf(step, record); });
        if (sign == end)
            continue;
        if (sign < latest)
            return step.name;
        latest = sign;
    }
    return "";
}

std::size_t EndOfStep(const std::vector<BegunStep>& begun, const winsim::Outcome& outcome, std::size_t record)
{
    for (const BegunStep& step : begun)
    {
        if (step.record > record)
            return step.record;
    }
    return outcome.calls.size();
}

std::string StepAt(const std::vector<BegunStep>& begun, std::size_t record)
{
    std::string name;
    for (const BegunStep& step : begun)
    {
        if (step.record <= record)
            name = step.step->name;
    }
    return name;
}
