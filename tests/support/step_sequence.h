// The expected script of an operation that is made of steps, each of which is proven on its own elsewhere.
#pragma once

#include "tests/support/expected_script.h"

#include <string>
#include <vector>

// Collects lines, and the scripts of steps that it runs one after the other on one machine, each in a process of its
// own. The machine passes on from step to step. A step closes what it opens, so that the next one's handles have the
// same numbers.
class StepSequence
{
public:
    explicit StepSequence(winsim::Machine machine) : m_machine(std::move(machine)) {}

    void Line(const std::string& line) { Lines({line}); }
    void Log(const std::string& message) { Line("log: " + message); }

    void Lines(const Script& lines) { m_script.insert(m_script.end(), lines.begin(), lines.end()); }

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
        Script script = run.script;
        std::erase_if(script, [&](const std::string& line) {
            return std::find(omitted.begin(), omitted.end(), line) != omitted.end();
        });
        Lines(script);
        m_machine = run.After();
        return run.result;
    }

    const Script& Whole() const { return m_script; }

private:
    winsim::Machine m_machine;
    Script m_script;
};
