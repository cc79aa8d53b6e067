// Runs the program on a described machine for a test.
#include "tests/support/simulated_run.h"

#include "winsim/toolkit/install_log.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// The calls that make sure of a path or an owner before a name is used, and those by which the functions for that are
// found. Their own tests show them; to all others a run is what it would be without.
class Precautions
{
public:
    explicit Precautions(const std::vector<CallRecord>& calls) : m_isOne(calls.size())
    {
        for (std::size_t i = 0; i < calls.size(); ++i)
        {
            if (!IsOne(calls, i))
                continue;
            m_isOne[i] = true;
            for (const Json& handle : {calls[i].result, calls[i].out.value("ppSecurityDescriptor", Json())})
            {
                if (handle.is_string() && IsNumbered(handle.get<std::string>()))
                    m_handles.insert(handle.get<std::string>());
            }
        }
    }

    bool IsOne(std::size_t call) const { return m_isOne[call]; }

    // A line in which handles are numbered as if these calls had not been made.
    std::string Renumbered(const std::string& line) const
    {
        std::string renumbered;
        std::size_t done = 0;
        for (std::size_t mark = line.find('#'); mark != std::string::npos; mark = line.find('#', mark + 1))
        {
            const std::size_t start = line.rfind('"', mark) + 1;
            const std::size_t end = line.find_first_not_of("0123456789", mark + 1);
            if (start < done || end == mark + 1 || end == std::string::npos || line[end] != '"')
                continue;
            const std::string kind = line.substr(start, mark - start);
            const unsigned long number = std::stoul(line.substr(mark + 1, end - mark - 1));
            renumbered += line.substr(done, mark + 1 - done) + std::to_string(number - CountBefore(kind, number));
            done = end;
        }
        return renumbered + line.substr(done);
    }

private:
    bool IsOne(const std::vector<CallRecord>& calls, std::size_t i) const
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
            return IsHandle(call.in["hObject"]);
        if (call.name == "LoadLibraryA" && i + 1 < calls.size())
            return IsLookUp(calls[i + 1]);
        if (call.name == "GetProcAddress")
            return IsLookUp(call);
        if (call.name == "FreeLibrary")
            return IsHandle(call.in["hLibModule"]);
        return always.contains(call.name);
    }

    // Such as "file#12".
    static bool IsNumbered(const std::string& handle)
    {
        const std::size_t mark = handle.find('#');
        return mark != std::string::npos && mark + 1 < handle.size() &&
               handle.find_first_not_of("0123456789", mark + 1) == std::string::npos;
    }

    static bool IsLookUp(const CallRecord& call)
    {
        static const std::set<std::string> names{"GetFinalPathNameByHandleW", "SetProcessMitigationPolicy"};
        const Json name = call.in.value("lpProcName", Json());
        return call.name == "GetProcAddress" && name.is_string() && names.contains(name.get<std::string>());
    }

    bool IsHandle(const Json& handle) const
    {
        return handle.is_string() && m_handles.contains(handle.get<std::string>());
    }

    unsigned long CountBefore(const std::string& kind, unsigned long number) const
    {
        return static_cast<unsigned long>(std::ranges::count_if(m_handles, [&](const std::string& handle) {
            return handle.starts_with(kind + "#") && std::stoul(handle.substr(kind.size() + 1)) < number;
        }));
    }

    std::vector<bool> m_isOne;
    std::set<std::string> m_handles;
};

std::vector<std::string> ScriptOf(const winsim::Outcome& outcome, const Precautions& precautions, std::size_t begin,
                                  std::size_t end)
{
    std::vector<std::string> script;
    for (std::size_t i = begin; i < end; ++i)
    {
        const CallRecord& record = outcome.calls[i];
        if (!record.isHousekeeping && !IsPartOfLogLine(record) && !precautions.IsOne(i))
            script.push_back(precautions.Renumbered(ScriptLine(record)));
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
    const Precautions precautions{outcome.calls};
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
        run.isPrecaution.push_back(precautions.IsOne(i));
    run.startScript = ScriptOf(outcome, precautions, 0, outcome.bodyBegin);
    run.script = ScriptOf(outcome, precautions, outcome.bodyBegin, outcome.bodyEnd);
    run.endScript = ScriptOf(outcome, precautions, outcome.bodyEnd, outcome.calls.size());
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
