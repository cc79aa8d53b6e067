// The expected script of an operation that consists of steps, each of which has its own tests.
#pragma once

#include "tests/support/simulated_run.h"

#include <algorithm>

// Collects lines, and the scripts of steps that it runs one after the other on one machine, each in its own process.
// Each step gets the machine that the step before left.
class StepSequence
{
public:
    explicit StepSequence(winsim::Machine machine) : m_machine(std::move(machine)) {}

    void Add(const Script& lines) { m_script.Append({lines}); }

    // Runs a function. Returns its result as text.
    std::string Step(const std::string& function, const std::vector<std::string>& arguments = {},
                     const SimulatedRunOptions& options = {})
    {
        return StepWithout({}, function, arguments, options);
    }

    // The same without some lines that only occur when the function runs on its own.
    std::string StepWithout(const Script& omitted, const std::string& function,
                            const std::vector<std::string>& arguments = {}, const SimulatedRunOptions& options = {})
    {
        const SimulatedRun run = CallFunction(m_machine, function, arguments, options);
        for (const std::string& line : run.script)
        {
            if (std::ranges::find(omitted, line) == omitted.end())
                m_script.push_back(line);
        }
        m_machine = run.After();
        return run.result;
    }

    operator const Script&() const { return m_script; }

private:
    winsim::Machine m_machine;
    Script m_script;
};
