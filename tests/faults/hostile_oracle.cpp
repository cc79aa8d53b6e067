// Checks a run against the same one without the hostile user.
#include "tests/faults/hostile_oracle.h"

#include "tests/faults/hostile_user.h"
#include "winsim/toolkit/install_log.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>

namespace
{

using winsim::CallRecord;
using winsim::Outcome;

// The lines of an operation on the policies or the configuration file. They may differ from run to run.
struct AccessLines
{
    const char* success; // the line's beginning
    const char* failure; // follows the reason, if there is one
};

constexpr AccessLines kAccessLines[] = {
    {"Successfully changed DACL for directory: ", "Unable to Set security on the Policy Directory"},
    {"Successfully changed DACL for file: ", "Unable to Set Security on the file Kelo_Config.ini"},
};
constexpr const char* kReasons[] = {
    "GetNamedSecurityInfoW error: ",
    "SHCreateDirectoryExW error: ",
    "SetNamedSecurityInfo call failed: ",
};

struct LoggedLine
{
    std::string stream; // the stream of the log object that wrote it
    std::string message;
};

bool IsReason(const std::string& message)
{
    return std::ranges::any_of(kReasons, [&](const char* reason) { return message.starts_with(reason); });
}

bool IsAccessLine(const std::string& message)
{
    return IsReason(message) || std::ranges::any_of(kAccessLines, [&](const AccessLines& lines) {
               return message.starts_with(lines.success) || message.starts_with(lines.failure);
           });
}

// Whether these are the lines that the two operations log one after the other.
bool AreOfBothOperations(const std::vector<std::string>& messages)
{
    auto next = messages.begin();
    const auto begins = [&](const char* line) { return next != messages.end() && next->starts_with(line); };
    for (const AccessLines& lines : kAccessLines)
    {
        if (!begins(lines.success))
        {
            if (next != messages.end() && IsReason(*next))
                ++next;
            if (!begins(lines.failure))
                return false;
        }
        ++next;
    }
    return next == messages.end();
}

template <typename IsWanted>
std::vector<LoggedLine> LinesOf(const Outcome& outcome, IsWanted isWanted)
{
    std::vector<LoggedLine> lines;
    for (const CallRecord& record : outcome.calls)
    {
        if (record.name != "fputs")
            continue;
        std::string message = winsim::MessageOf(record.in["str"].get<std::string>());
        if (isWanted(message))
            lines.push_back({record.in["stream"].dump(), std::move(message)});
    }
    return lines;
}

std::vector<std::string> MessagesOf(const std::vector<LoggedLine>& lines)
{
    std::vector<std::string> messages;
    for (const LoggedLine& line : lines)
        messages.push_back(line.message);
    return messages;
}

std::map<std::string, std::vector<std::string>> ByStream(const std::vector<LoggedLine>& lines)
{
    std::map<std::string, std::vector<std::string>> streams;
    for (const LoggedLine& line : lines)
        streams[line.stream].push_back(line.message);
    return streams;
}

class HostileChecker
{
public:
    HostileChecker(const Outcome& undisturbed, const Outcome& outcome) : m_undisturbed(undisturbed), m_outcome(outcome)
    {}

    std::vector<std::string> Check()
    {
        if (m_outcome.isEndless)
            Complain("it waits for ever");
        if (m_outcome.exitCode != m_undisturbed.exitCode)
            Complain("the exit code is " + std::to_string(m_outcome.exitCode) + ", not " +
                     std::to_string(m_undisturbed.exitCode));
        for (const std::string& violation : m_outcome.violations)
            Complain("handles and memory: " + violation);
        for (const std::string& sentence : m_outcome.notSimulated)
            Complain(sentence);
        if (m_outcome.images != m_undisturbed.images)
            Complain("it loaded or started other files");
        CheckChanges();
        CheckLog();
        const auto isAny = [](const std::string&) { return true; };
        if (!IsDisturbed() && MessagesOf(LinesOf(m_outcome, isAny)) != MessagesOf(LinesOf(m_undisturbed, isAny)))
            Complain("an attack that Windows refuses changed the log");
        return std::move(m_complaints);
    }

private:
    void Complain(const std::string& text) { m_complaints.push_back(text); }

    bool IsDisturbed() const
    {
        return std::ranges::any_of(m_outcome.triedActs, [](const winsim::TriedAct& tried) { return tried.error == 0; });
    }

    // Nothing outside the program's own places differs from the run without the user.
    void CheckChanges()
    {
        for (const winsim::Change& change : Compare(m_undisturbed.machine, m_outcome.machine))
        {
            if (change.area != "files" || !MayDiffer(change.item))
                Complain("it " + change.kind + " " + change.area + ": " + change.item);
        }
    }

    // Each log object is silent or writes all its lines, and all of them write in the order of the steps.
    void CheckLog()
    {
        const auto accessLines = MessagesOf(LinesOf(m_outcome, &IsAccessLine));
        if (!accessLines.empty() && !AreOfBothOperations(accessLines))
            Complain("other lines about the policies and the configuration file, from: " + accessLines.front());
        const auto lines = LinesOf(m_outcome, std::not_fn(&IsAccessLine));
        const auto expected = LinesOf(m_undisturbed, std::not_fn(&IsAccessLine));
        std::set<std::string> written;
        auto objects = ByStream(expected);
        for (const auto& [stream, messages] : ByStream(lines))
        {
            const auto object = std::ranges::find_if(objects, [&](const auto& one) { return one.second == messages; });
            if (object == objects.end())
            {
                Complain("a log that is neither silent nor whole, with: " + messages.front());
                return;
            }
            written.insert(object->first);
            objects.erase(object);
        }
        std::vector<LoggedLine> remaining = expected;
        std::erase_if(remaining, [&](const LoggedLine& line) { return !written.contains(line.stream); });
        if (MessagesOf(remaining) != MessagesOf(lines))
            Complain("the lines are in another order");
    }

    const Outcome& m_undisturbed;
    const Outcome& m_outcome;
    std::vector<std::string> m_complaints;
};

} // namespace

std::vector<std::string> HostileComplaints(const Outcome& undisturbed, const Outcome& outcome)
{
    return HostileChecker{undisturbed, outcome}.Check();
}
