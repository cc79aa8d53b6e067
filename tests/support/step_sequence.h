// The expected script of an operation that is made of steps, each of which is proven on its own elsewhere.
#pragma once

#include "tests/support/expected_script.h"

#include <fmt/format.h>

#include <map>
#include <string>
#include <vector>

// Collects lines, and the scripts of steps that it runs one after the other on one machine, each in a process of its
// own. The machine passes on from step to step, and the handles are numbered on.
class StepSequence
{
public:
    explicit StepSequence(winsim::Machine machine) : m_machine(std::move(machine)) {}

    void Line(const std::string& line) { Lines({line}); }
    void Log(const std::string& message) { Line("log: " + message); }

    // Lines whose handles are numbered from 1.
    void Lines(const Script& lines)
    {
        const std::map<std::string, unsigned> before = m_opened;
        for (const std::string& line : lines)
            m_script.push_back(NumberedOn(line, before));
    }

    // Runs a function. Its result as text.
    std::string Step(const std::string& function, const std::vector<std::string>& arguments = {},
                     const SimulatedRunOptions& options = {})
    {
        return StepWithout({}, function, arguments, options);
    }

    // The same without some of its lines, which a function that runs on its own has around it.
    std::string StepWithout(const Script& omitted, const std::string& function,
                            const std::vector<std::string>& arguments = {}, const SimulatedRunOptions& options = {})
    {
        const SimulatedRun run = CallFunction(m_machine, function, arguments, options);
        const unsigned blocks = m_opened["block"] + BlocksOf(run.outcome);
        Script script = run.script;
        std::erase_if(script, [&](const std::string& line) {
            return std::find(omitted.begin(), omitted.end(), line) != omitted.end();
        });
        Lines(script);
        m_opened["block"] = blocks;
        m_machine = run.After();
        return run.result;
    }

    const Script& Whole() const { return m_script; }

private:
    // Raises the numbers of a line's handles by those that were opened before, and notes the highest.
    std::string NumberedOn(const std::string& line, const std::map<std::string, unsigned>& before)
    {
        std::string numbered;
        std::size_t done = 0;
        for (std::size_t mark = line.find('#'); mark != std::string::npos; mark = line.find('#', mark + 1))
        {
            const std::size_t start = line.rfind('"', mark) + 1;
            const std::size_t end = line.find_first_not_of("0123456789", mark + 1);
            const std::string kind = line.substr(start, mark - start);
            if (end == mark + 1 || end == std::string::npos || line[end] != '"')
                continue;
            const auto opened = before.find(kind);
            const unsigned number = static_cast<unsigned>(std::stoul(line.substr(mark + 1, end - mark - 1))) +
                                    (opened == before.end() ? 0 : opened->second);
            m_opened[kind] = std::max(m_opened[kind], number);
            numbered += line.substr(done, mark + 1 - done) + std::to_string(number);
            done = end;
        }
        return numbered + line.substr(done);
    }

    // Most of the memory that calls hand out does not show in a script.
    static unsigned BlocksOf(const winsim::Outcome& outcome)
    {
        unsigned blocks = 0;
        for (std::size_t i = outcome.bodyBegin; i < outcome.bodyEnd; ++i)
        {
            const winsim::CallRecord& call = outcome.calls[i];
            const bool gives = call.name == "SetEntriesInAclW" || call.name == "GetNamedSecurityInfoW";
            if ((call.name == "LocalAlloc" && !call.result.is_null()) || (gives && call.result == 0))
                ++blocks;
        }
        return blocks;
    }

    winsim::Machine m_machine;
    Script m_script;
    std::map<std::string, unsigned> m_opened; // handles by kind
};
