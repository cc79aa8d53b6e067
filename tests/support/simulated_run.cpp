// Runs the program on a described machine for a test.
#include "tests/support/simulated_run.h"

#include "winsim/core/install_log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace
{

using winsim::CallRecord;
using winsim::Json;

// The images lie beside the test.
winsim::Program Image(const char* fileName)
{
    return winsim::Program{(std::filesystem::read_symlink("/proc/self/exe").parent_path() / fileName).string()};
}

const winsim::Program& TestImage()
{
    static const winsim::Program program = Image("KeloCustomActionTests.so");
    return program;
}

// The calls that one log line is made of. The script shows the line instead.
bool IsPartOfLogLine(const CallRecord& record)
{
    static const std::set<std::string> parts{"GetSystemTime", "GetTimeZoneInformation", "GetCurrentThreadId", "fflush"};
    return parts.contains(record.name);
}

std::string ScriptLine(const CallRecord& record)
{
    if (record.name == "fputs")
    {
        std::string message = winsim::MessageOf(record.in["str"].get<std::string>());
        if (message.ends_with('\n'))
            message.pop_back();
        return "log: " + message;
    }
    std::string line = record.name + "(";
    const char* separator = "";
    for (const auto& [name, value] : record.in.items())
    {
        line += separator + value.dump();
        separator = ", ";
    }
    line += ")";
    if (!record.result.is_null())
        line += " = " + record.result.dump();
    for (const auto& [name, value] : record.out.items())
        line += " " + name + ":" + value.dump();
    return line;
}

std::vector<std::string> ScriptOf(const winsim::Outcome& outcome, std::size_t begin, std::size_t end)
{
    std::vector<std::string> script;
    for (std::size_t i = begin; i < end; ++i)
    {
        const CallRecord& record = outcome.calls[i];
        if (!record.isHousekeeping && !IsPartOfLogLine(record))
            script.push_back(ScriptLine(record));
    }
    return script;
}

winsim::RunOptions ToRunOptions(const SimulatedRunOptions& options)
{
    winsim::RunOptions run;
    for (const std::string& fault : options.faults)
        run.faults.push_back(winsim::ParseFault(fault));
    for (const std::string& acts : options.meanwhile)
        run.meanwhile.push_back(winsim::ParseMeanwhile(acts));
    run.clockBoundMs = options.clockBoundMs;
    return run;
}

SimulatedRun Finish(const winsim::Machine& before, winsim::Outcome outcome, const SimulatedRunOptions& options)
{
    SimulatedRun run;
    run.before = before;
    run.exitCode = outcome.exitCode;
    for (const std::string& line : winsim::LogLines(before, outcome.machine))
        run.log.push_back(winsim::MessageOf(line));
    run.startScript = ScriptOf(outcome, 0, outcome.bodyBegin);
    run.script = ScriptOf(outcome, outcome.bodyBegin, outcome.bodyEnd);
    run.endScript = ScriptOf(outcome, outcome.bodyEnd, outcome.calls.size());
    for (const std::string& violation : options.mayViolate ? std::vector<std::string>() : outcome.violations)
        ADD_FAILURE() << "handles and memory: " << violation;
    if (outcome.death)
        ADD_FAILURE() << "the program died: " << *outcome.death;
    if (outcome.isEndless && !options.mayBeEndless)
        ADD_FAILURE() << "the run would wait for ever";
    run.outcome = std::move(outcome);
    return run;
}

} // namespace

winsim::Machine MachineOf(std::string_view description)
{
    return winsim::Machine::FromJson(Json::parse(description));
}

SimulatedRun RunProgram(const winsim::Machine& machine, const std::vector<std::string>& arguments,
                        const SimulatedRunOptions& options)
{
    winsim::RunOptions run = ToRunOptions(options);
    run.arguments = arguments;
    return Finish(machine, TestImage().Run(machine, run), options);
}

SimulatedRun RunExport(const winsim::Machine& machine, const std::string& name, const SimulatedRunOptions& options)
{
    static const winsim::Program library = Image("KeloCustomActionLibrary.so");
    return Finish(machine, library.RunExport(machine, ToRunOptions(options), name), options);
}

SimulatedRun CallFunction(const winsim::Machine& machine, const std::string& name,
                          const std::vector<std::string>& arguments, const SimulatedRunOptions& options)
{
    std::string result;
    winsim::Outcome outcome = TestImage().Call(machine, ToRunOptions(options), name, arguments, result);
    SimulatedRun run = Finish(machine, std::move(outcome), options);
    run.result = result;
    return run;
}
