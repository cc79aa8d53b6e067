// Runs the program on a described machine for a test.
#include "tests/support/simulated_run.h"

#include "winsim/machine/effects.h"
#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/program_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace
{

using winsim::CallRecord;
using winsim::Json;

const winsim::Program& TestImage()
{
    static const winsim::Program program = winsim::ImageBeside("KeloCustomActionTests.so");
    return program;
}

// The calls that write one log line. The script shows the line instead.
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
    std::vector<Json> in;
    for (const auto& [name, value] : record.in.items())
        in.push_back(value);
    return CallLine(record.name, in, record.result, record.out);
}

// The calls that check a path or an owner before a name is used, and those that find the functions for these checks.
// Their own tests show them; the scripts of all other tests leave them out.
class Precautions
{
public:
    explicit Precautions(const std::vector<CallRecord>& calls) : m_isOne(calls.size())
    {
        for (std::size_t i = 0; i < calls.size(); ++i)
        {
            m_isOne[i] = IsOne(calls, i);
            if (m_isOne[i] && calls[i].result.is_string())
                m_open.insert(calls[i].result.get<std::string>());
        }
    }

    bool IsOne(std::size_t call) const { return m_isOne[call]; }

private:
    // Has to be asked about every call, in order.
    bool IsOne(const std::vector<CallRecord>& calls, std::size_t i)
    {
        static const std::set<std::string> always{"CreateDirectoryW",          "GetFileInformationByHandle",
                                                  "GetFinalPathNameByHandleW", "GetSecurityInfo",
                                                  "GetTokenInformation",       "EqualSid"};
        constexpr unsigned kOpenLinkItself = 0x00200000;
        constexpr unsigned kQueryToken = 0x8;
        const CallRecord& call = calls[i];
        if (call.name == "CreateFileW")
            return (call.in["dwFlagsAndAttributes"].get<unsigned>() & kOpenLinkItself) != 0;
        if (call.name == "OpenProcessToken")
            return call.in["DesiredAccess"] == kQueryToken;
        if (call.name == "CloseHandle")
            return Closes(call.in["hObject"]);
        if (call.name == "LoadLibraryA" && i + 1 < calls.size())
            return IsLookUp(calls[i + 1]);
        if (call.name == "GetProcAddress")
            return IsLookUp(call);
        if (call.name == "FreeLibrary")
            return Closes(call.in["hLibModule"]);
        return always.contains(call.name);
    }

    static bool IsLookUp(const CallRecord& call)
    {
        static const std::set<std::string> names{"GetFinalPathNameByHandleW", "SetProcessMitigationPolicy"};
        const Json name = call.in.value("lpProcName", Json());
        return call.name == "GetProcAddress" && name.is_string() && names.contains(name.get<std::string>());
    }

    // Whether a check opened this handle. After that its name may be used for another handle.
    bool Closes(const Json& handle) { return handle.is_string() && m_open.erase(handle.get<std::string>()) != 0; }

    std::vector<bool> m_isOne;
    std::set<std::string> m_open; // handles
};

Script ScriptOf(const winsim::Outcome& outcome, const Precautions& precautions, std::size_t begin, std::size_t end)
{
    Script script;
    for (std::size_t i = begin; i < end; ++i)
    {
        const CallRecord& record = outcome.calls[i];
        if (!record.isHousekeeping && !IsPartOfLogLine(record) && !precautions.IsOne(i))
            script.push_back(ScriptLine(record));
    }
    return script;
}

winsim::RunOptions ToRunOptions(const SimulatedRunOptions& options)
{
    winsim::RunOptions run;
    if (!options.recordsParameters)
        run.parametersOf.emplace();
    for (const std::string& fault : options.faults)
        run.faults.push_back(winsim::ParseFault(fault));
    for (const std::string& acts : options.meanwhile)
        run.meanwhile.push_back(winsim::ParseMeanwhile(acts));
    return run;
}

void WriteScripts(const winsim::Outcome& outcome, SimulatedRun& run)
{
    const Precautions precautions{outcome.calls};
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
        run.isPrecaution.push_back(precautions.IsOne(i));
    run.startScript = ScriptOf(outcome, precautions, 0, outcome.bodyBegin);
    run.script = ScriptOf(outcome, precautions, outcome.bodyBegin, outcome.bodyEnd);
    run.endScript = ScriptOf(outcome, precautions, outcome.bodyEnd, outcome.calls.size());
}

SimulatedRun Finish(const winsim::Machine& before, winsim::Outcome outcome, const SimulatedRunOptions& options)
{
    SimulatedRun run;
    run.before = before;
    run.exitCode = outcome.exitCode;
    run.result = std::to_string(outcome.exitCode);
    for (const std::string& line : winsim::LogLines(before, outcome.machine))
        run.log.push_back(winsim::MessageOf(line));
    if (options.recordsParameters)
        WriteScripts(outcome, run);
    for (const std::string& violation : options.mayViolate ? std::vector<std::string>() : outcome.violations)
        ADD_FAILURE() << "handles and memory: " << violation;
    for (const std::string& sentence : outcome.notSimulated)
        ADD_FAILURE() << sentence;
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

winsim::Machine WindowsOf(const std::string& version)
{
    return winsim::Machine::FromJson({{"windows", {{"version", version}}}});
}

winsim::Machine Changed(winsim::Machine machine, const Json& changes)
{
    winsim::ApplyEffects(machine, changes);
    return machine;
}

winsim::Machine Changed(winsim::Machine machine, const char* changes)
{
    return Changed(std::move(machine), Json::parse(changes));
}

std::string TextOf(const winsim::Machine& machine, const std::string& path)
{
    const winsim::File* file = machine.files.Find(path);
    return file == nullptr ? "(none)" : file->content;
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
    static const winsim::Program library = winsim::ImageBeside("KeloCustomActionLibrary.so");
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

SimulatedRun CallFunction(const std::string& name, const std::vector<std::string>& arguments,
                          const SimulatedRunOptions& options)
{
    return CallFunction(MachineOf("{}"), name, arguments, options);
}

void ExpectLines(const Script& actual, const Script& expected, const char* what)
{
    const auto [difference, wanted] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (difference == actual.end() && wanted == expected.end())
        return;
    ADD_FAILURE() << what << " differs at line " << difference - actual.begin() + 1 << " of " << actual.size()
                  << ", wanted " << expected.size()
                  << "\n  is:     " << (difference == actual.end() ? "(the end)" : *difference)
                  << "\n  wanted: " << (wanted == expected.end() ? "(the end)" : *wanted)
                  << "\n  before: " << (difference == actual.begin() ? "(nothing)" : *(difference - 1));
}

void ExpectRun(const SimulatedRun& run, const std::string& result, const Script& script)
{
    ExpectLog(run, result, script);
    ExpectLines(run.script, script, "the script");
}

void ExpectLog(const SimulatedRun& run, const std::string& result, const Script& script)
{
    EXPECT_EQ(run.result, result);
    ExpectLines(run.log, LogOf(script), "the log");
}
