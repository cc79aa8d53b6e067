// Finds the beginnings of steps.
#include "report/begun_steps.h"

#include "winsim/toolkit/install_log.h"

#include <algorithm>

namespace report
{

namespace
{

bool Begins(const catalogue::Step& step, const winsim::CallRecord& record)
{
    return step.call != nullptr ? record.name == step.call : IsLineOf(step, record);
}

} // namespace

bool IsLineOf(const catalogue::Step& step, const winsim::CallRecord& record)
{
    if (record.name != "fputs" || !record.in.contains("str"))
        return false;
    const std::string message = winsim::MessageOf(record.in["str"].get<std::string>());
    return std::any_of(step.lines.begin(), step.lines.end(),
                       [&](const char* line) { return message.starts_with(line); });
}

std::vector<BegunStep> StepsBegunIn(const std::vector<catalogue::Step>& steps, const winsim::Outcome& outcome)
{
    std::vector<BegunStep> begun;
    std::size_t next = outcome.bodyBegin;
    // A process that died did not reach the end.
    const std::size_t end = outcome.bodyEnd != 0 ? outcome.bodyEnd : outcome.calls.size();
    for (const catalogue::Step& step : steps)
    {
        for (std::size_t i = next; i < end; ++i)
        {
            if (!Begins(step, outcome.calls[i]))
                continue;
            begun.push_back({&step, i});
            next = i + 1;
            break;
        }
    }
    return begun;
}

} // namespace report
