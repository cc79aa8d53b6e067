// Checks a run.
#include "tests/faults/oracle.h"

#include "tests/faults/allowances.h"
#include "tests/faults/values.h"
#include "winsim/machine/fault_table.h"
#include "winsim/toolkit/install_log.h"

#include "winsim_types.h"

#include <algorithm>
#include <functional>
#include <string_view>

namespace
{

using winsim::CallRecord;
using winsim::Fault;
using winsim::Json;
using winsim::Outcome;

constexpr std::uint32_t kCommonAppData = 0x23;

std::string MessageIn(const CallRecord& record)
{
    std::string message = winsim::MessageOf(record.in["str"].get<std::string>());
    if (message.ends_with('\n'))
        message.pop_back();
    return message;
}

// The calls by which the program acts, with their results.
std::vector<std::string> ActionsIn(const Outcome& outcome)
{
    std::vector<std::string> actions;
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
    {
        const CallRecord& record = outcome.calls[i];
        if (record.isHousekeeping || IsLogCall(outcome, i))
            continue;
        // The numbers of handles depend on the logs' handles.
        const std::string result = record.result.dump();
        actions.push_back(record.name + " -> " + result.substr(0, result.find('#')));
    }
    return actions;
}

// Whether a line begins with the header and contains no control characters but tabs.
bool IsWellFormed(const std::string& line)
{
    return winsim::BeginsWithHeader(line) && std::none_of(line.begin(), line.end(), [](char c) {
               return static_cast<unsigned char>(c) < ' ' && c != '\t';
           });
}

class Checker
{
public:
    Checker(const SweepCase& sweepCase, const Baseline& baseline, const std::vector<Fault>& faults,
            const Outcome& outcome)
        : m_case(sweepCase),
          m_baseline(baseline),
          m_faults(faults),
          m_outcome(outcome),
          m_steps(StepsBegunIn(sweepCase, outcome)),
          m_logLines(winsim::LogLines(baseline.machine, outcome.machine))
    {
        for (const Fault& fault : faults)
        {
            if (const auto place = PlaceOf(outcome, fault))
                m_places.insert(*place);
        }
    }

    std::vector<std::string> Check()
    {
        CheckEnd();
        CheckHandles();
        CheckOutput();
        CheckLog();
        CheckEndBanner();
        CheckExceptions();
        CheckChanges();
        // A run that waits for ever does not reach its end.
        if (m_outcome.isEndless || EndsEarly())
            return std::move(m_complaints);
        if (AreAllLogCalls())
            CheckActions();
        if (!IsAnyLogCall() && !IsMemoryRefused())
            CheckNaming();
        if (!IsLogMissing())
            CheckSteps();
        return std::move(m_complaints);
    }

private:
    void Complain(const std::string& text) { m_complaints.push_back(text); }

    const CallRecord& Failed(std::size_t place) const { return m_outcome.calls[place]; }

    void CheckEnd()
    {
        if (m_outcome.death)
            Complain("it died: " + *m_outcome.death);
        if (m_places.empty())
            Complain("no planned failure was reached");
        const auto mayWait = [&](std::size_t place) { return MayWaitForEver(Failed(place), StepAt(m_steps, place)); };
        if (m_outcome.isEndless && std::none_of(m_places.begin(), m_places.end(), mayWait))
            Complain("it waits for ever");
        const int expected = ExpectedExitCode();
        if (!m_outcome.isEndless && !IsLogMissing() && m_outcome.exitCode != expected)
            Complain("the exit code is " + std::to_string(m_outcome.exitCode) + ", not " + std::to_string(expected));
    }

    // The error of the nth call of a name; nothing if the call was not made.
    std::optional<std::uint32_t> ErrorOf(std::string_view name, unsigned occurrence) const
    {
        for (const CallRecord& record : m_outcome.calls)
        {
            if (record.name == name && --occurrence == 0)
                return record.error;
        }
        return std::nullopt;
    }

    bool IsLogged(std::string_view beginning) const
    {
        return std::any_of(m_outcome.calls.begin(), m_outcome.calls.end(), [&](const CallRecord& record) {
            return record.name == "fputs" && MessageIn(record).starts_with(beginning);
        });
    }

    // One step alone decides.
    int ExpectedExitCode() const
    {
        if (m_case.IsExport())
        {
            const bool isRead =
                ErrorOf("MsiGetPropertyW", 1) == ERROR_SUCCESS ||
                (ErrorOf("MsiGetPropertyW", 1) == ERROR_MORE_DATA && ErrorOf("MsiGetPropertyW", 2) == ERROR_SUCCESS);
            // There may be no memory for the data that was read: then no tool is run.
            if (IsMemoryRefused() && !m_outcome.callCounts.contains("CreateProcessW"))
                return m_outcome.exitCode == 0 && IsLogged("Unable to launch process!") ? 0 : kNoCustomActionData;
            return isRead ? 0 : kNoCustomActionData;
        }
        if (EndsEarly())
            return -1;
        if (m_case.Action() == "/Setup")
            return IsLogged("No default TSS vendor platform specified") || IsLogged("No default TPM platform specified")
                       ? -1
                       : 0;
        if (m_case.Action() == "/Commit")
            return ErrorOf("RegCreateKeyExA", 1) == ERROR_SUCCESS && ErrorOf("RegSetValueExA", 1) == ERROR_SUCCESS ? 0
                                                                                                                   : -1;
        return 0;
    }

    // The program's last output.
    void CheckOutput()
    {
        const bool isToBeThere = !m_case.IsExport() && !m_outcome.isEndless && !EndsEarly() &&
                                 !IsAnyFailed([](const CallRecord& record) { return record.name == "printf"; });
        if (isToBeThere && !m_outcome.standardOutput.ends_with("Done!"))
            Complain("it did not print that it is done");
    }

    void CheckHandles()
    {
        for (const std::string& violation : m_outcome.violations)
            Complain("handles and memory: " + violation);
        for (const std::string& sentence : m_outcome.notSimulated)
            Complain(sentence);
    }

    void CheckLog()
    {
        for (const std::string& line : m_logLines)
        {
            if (!IsWellFormed(line))
                Complain("a malformed log line: " + line);
        }
    }

    // A run that reached its end says so once.
    void CheckEndBanner()
    {
        const auto banners = std::ranges::count_if(m_logLines, [](const std::string& line) {
            return winsim::MessageOf(line).starts_with(catalogue::kEndLine);
        });
        const bool isToBeThere = !m_case.IsExport() && !m_outcome.isEndless && !EndsEarly();
        if (banners > (isToBeThere ? 1 : 0))
            Complain("it said too often that it ends");
        if (isToBeThere && banners == 0 && !IsAnyLogCall() && !IsMemoryRefused())
            Complain("it did not say that it ends");
    }

    void CheckChanges()
    {
        for (const winsim::Change& change : Compare(m_baseline.machine, m_outcome.machine))
        {
            if (change.area == "processes")
                continue;
            if (!IsDocumented(change))
                Complain("it changed " + change.area + ": " + change.item);
            else if (change.area != "pendingMoves" && !IsAllowedValue(change, UsualValue(change)))
                Complain("it left " + change.area + ": " + change.item + " as " + change.after.dump());
        }
        if (!AreOnlyLeftOversEnded(m_baseline.machine, m_outcome.machine))
            Complain("it ended a process that is none of its own");
    }

    // The value that a run without failures leaves.
    Json UsualValue(const winsim::Change& change) const
    {
        const auto value = m_baseline.values.find({change.area, change.item});
        return value != m_baseline.values.end() ? value->second : change.before;
    }

    template <typename Is>
    bool IsAnyFailed(Is is) const
    {
        return std::any_of(m_places.begin(), m_places.end(), [&](std::size_t place) { return is(Failed(place)); });
    }
    bool IsLogs(std::size_t place) const { return IsLogCall(m_outcome, place); }
    bool IsAnyLogCall() const
    {
        return std::ranges::any_of(m_places, [&](std::size_t place) { return IsLogs(place); });
    }
    bool AreAllLogCalls() const
    {
        return std::ranges::all_of(m_places, [&](std::size_t place) { return IsLogs(place); });
    }

    // Whether one of the logs was not opened, so that writing its lines is not even tried.
    bool IsLogMissing() const
    {
        static const std::set<std::string> opening{
            "_fsopen",          "SHGetFolderPathA",           "SHCreateDirectoryExA", "CreateFileW",
            "CreateDirectoryW", "GetFileInformationByHandle", "MultiByteToWideChar"};
        return std::ranges::any_of(
                   m_places,
                   [&](std::size_t place) { return IsLogs(place) && opening.contains(Failed(place).name); }) ||
               (IsMemoryRefused() && LogsOpened(m_outcome) != LogsOpened(m_baseline.outcome));
    }

    // Whether the program was refused a piece of memory.
    bool IsMemoryRefused() const
    {
        return IsAnyFailed([](const CallRecord& record) { return record.name == winsim::kAllocation; });
    }

    static std::ptrdiff_t LogsOpened(const Outcome& outcome)
    {
        return std::count_if(outcome.calls.begin(), outcome.calls.end(), [](const CallRecord& record) {
            return record.name == "_fsopen" && !record.result.is_null();
        });
    }

    // Without its command line, the program can do nothing.
    bool EndsEarly() const
    {
        return IsAnyFailed([](const CallRecord& record) { return record.name == "CommandLineToArgvW"; });
    }

    // In these machines, the only exceptions to catch come from a library and are thrown in any case. Refused memory is
    // a different matter.
    void CheckExceptions()
    {
        if (IsMemoryRefused())
            return;
        const auto isCaught = [](const CallRecord& record) {
            return record.name == "fputs" && MessageIn(record).find("xception") != std::string::npos;
        };
        const auto count = [&](const Outcome& outcome) {
            return std::count_if(outcome.calls.begin(), outcome.calls.end(), isCaught);
        };
        if (count(m_outcome) > count(m_baseline.outcome))
            Complain("an exception was thrown");
    }

    // A log that cannot be written changes nothing else that the program does, and loses no other line.
    void CheckActions()
    {
        const std::vector<std::string> actions = ActionsIn(m_outcome);
        const auto [mine, theirs] =
            std::mismatch(actions.begin(), actions.end(), m_baseline.actions.begin(), m_baseline.actions.end());
        if (mine != actions.end() || theirs != m_baseline.actions.end())
            Complain("a failing log changed what it does: " + (mine == actions.end() ? "(nothing)" : *mine));
        if (m_outcome.exitCode != m_baseline.outcome.exitCode)
            Complain("a failing log changed the exit code");
        const auto isWriting = [&](std::size_t place) { return Failed(place).name == "fputs"; };
        const auto lost = static_cast<std::size_t>(std::count_if(m_places.begin(), m_places.end(), isWriting));
        if (!IsLogMissing() && m_logLines.size() + lost != m_baseline.outcome.callCounts.at("fputs"))
            Complain("a failing log lost other lines");
    }

    void CheckSteps()
    {
        std::size_t next = 0;
        for (const BegunStep& expected : m_baseline.steps)
        {
            const auto found = std::find_if(m_steps.begin() + static_cast<std::ptrdiff_t>(next), m_steps.end(),
                                            [&](const BegunStep& step) { return step.step == expected.step; });
            if (found != m_steps.end())
                next = static_cast<std::size_t>(found - m_steps.begin()) + 1;
            else if (!expected.step->isOptional)
                Complain(std::string("the step \"") + expected.step->name + "\" did not follow");
        }
        if (const std::string early = StepOutOfOrder(m_case, m_outcome); !early.empty())
            Complain("the step \"" + early + "\" came too early");
    }

    // Each failure has its own line before the next step begins, or is one that may be silent.
    void CheckNaming()
    {
        std::map<std::string, std::size_t> named; // number of failures, by step
        for (auto place = m_places.rbegin(); place != m_places.rend(); ++place)
        {
            const std::string step = StepAt(m_steps, *place);
            const std::vector<std::string> lines = LinesAfter(*place);
            if (winsim::IsLibraryFunction(Failed(*place).name) || IsAsEver(*place) ||
                (m_places.size() > 1 && IsToldIn(lines, Failed(*place).error)) ||
                PassesInSilence(Failed(*place), step, lines))
                continue;
            if (++named[step] > CountNewLines(step, *place))
                Complain("nothing in the log of the step \"" + step + "\" names the failure of " + Failed(*place).name +
                         Failed(*place).in.dump());
        }
    }

    // Whether the next line ends in this error. The step may also write the line elsewhere in any case, where another
    // failure prevented it.
    static bool IsToldIn(const std::vector<std::string>& lines, std::uint32_t error)
    {
        return error != 0 && !lines.empty() && lines.front().ends_with(": " + std::to_string(error));
    }

    // How many lines a step writes after this place that it does not write when nothing fails.
    std::size_t CountNewLines(const std::string& step, std::size_t place) const
    {
        std::multiset<std::string> expected;
        if (const auto asEver = m_baseline.messages.find(step); asEver != m_baseline.messages.end())
            expected = asEver->second;
        std::size_t count = 0;
        for (std::size_t i = m_outcome.bodyBegin; i < m_outcome.calls.size(); ++i)
        {
            if (m_outcome.calls[i].name != "fputs" || StepAt(m_steps, i) != step)
                continue;
            const auto known = expected.find(MessageIn(m_outcome.calls[i]));
            if (known != expected.end())
                expected.erase(known);
            else if (i > place)
                ++count;
        }
        return count;
    }

    std::vector<std::string> LinesAfter(std::size_t place) const
    {
        std::vector<std::string> lines;
        for (std::size_t i = place; i < m_outcome.calls.size(); ++i)
        {
            if (m_outcome.calls[i].name == "fputs")
                lines.push_back(MessageIn(m_outcome.calls[i]));
        }
        return lines;
    }

    // Whether a call had the same result as without planned failures.
    bool IsAsEver(std::size_t place) const
    {
        const auto isSame = [&](const CallRecord& record) { return record.name == Failed(place).name; };
        const auto begin = m_outcome.calls.begin();
        auto before = std::count_if(begin, begin + static_cast<std::ptrdiff_t>(place), isSame);
        const auto usual = std::ranges::find_if(
            m_baseline.outcome.calls, [&](const CallRecord& record) { return isSame(record) && before-- == 0; });
        return usual != m_baseline.outcome.calls.end() && usual->result == Failed(place).result &&
               usual->error == Failed(place).error;
    }

    const SweepCase& m_case;
    const Baseline& m_baseline;
    const std::vector<Fault>& m_faults;
    const Outcome& m_outcome;
    std::vector<BegunStep> m_steps;
    std::vector<std::string> m_logLines;
    std::set<std::size_t> m_places; // of the failures that took place
    std::vector<std::string> m_complaints;
};

} // namespace

Baseline MakeBaseline(const SweepCase& sweepCase)
{
    Baseline baseline;
    baseline.machine = MachineOf(sweepCase);
    baseline.outcome = Run(sweepCase, baseline.machine, {});
    baseline.steps = StepsBegunIn(sweepCase, baseline.outcome);
    for (std::size_t i = 0; i < baseline.outcome.calls.size(); ++i)
    {
        if (baseline.outcome.calls[i].name == "fputs")
            baseline.messages[StepAt(baseline.steps, i)].insert(MessageIn(baseline.outcome.calls[i]));
    }
    baseline.actions = ActionsIn(baseline.outcome);
    for (const winsim::Change& change : Compare(baseline.machine, baseline.outcome.machine))
        baseline.values[{change.area, change.item}] = change.after;
    return baseline;
}

// The calls by which a log checks its path follow the query for the folder.
bool IsLogCall(const Outcome& outcome, std::size_t call)
{
    static const std::set<std::string> always{
        "GetSystemTime", "GetTimeZoneInformation", "GetCurrentThreadId", "_fsopen", "fputs", "fflush",
        "fclose",        "SHCreateDirectoryExA"};
    static const std::set<std::string> onTheWay{
        "CloseHandle",    "CreateDirectoryW",          "CreateFileW",  "FreeLibrary",
        "GetProcAddress", "GetFinalPathNameByHandleW", "LoadLibraryA", "GetFileInformationByHandle",
        "_fsopen",        "SHCreateDirectoryExA"};
    const auto isQuestion = [](const CallRecord& record) {
        return record.name == "SHGetFolderPathA" && record.in["csidl"] == kCommonAppData;
    };
    const std::vector<CallRecord>& calls = outcome.calls;
    if (always.contains(calls[call].name) || isQuestion(calls[call]))
        return true;
    while (call > 0 && (calls[call].isHousekeeping || onTheWay.contains(calls[call].name)))
        --call;
    return isQuestion(calls[call]);
}

std::optional<std::size_t> PlaceOf(const Outcome& outcome, const Fault& fault)
{
    unsigned occurrence = 0;
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
    {
        if (outcome.calls[i].name == fault.call && ++occurrence == fault.occurrence)
            return i;
    }
    return std::nullopt;
}

std::vector<std::string> Complaints(const SweepCase& sweepCase, const Baseline& baseline,
                                    const std::vector<Fault>& faults, const Outcome& outcome)
{
    return Checker{sweepCase, baseline, faults, outcome}.Check();
}
