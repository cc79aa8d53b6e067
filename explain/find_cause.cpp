// Rehearses failures and compares their logs.
#include "explain/find_cause.h"

#include "report/calls.h"
#include "winsim/machine/fault_table.h"
#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/program_image.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

namespace
{

constexpr char kExport[] = "SRK_Auth_Change";

// Calls that are unlikely causes: their failure has no effect, or it belongs to the log itself.
constexpr std::string_view kUnlikely[] = {
    "CloseHandle",
    "CloseServiceHandle",
    "DeregisterEventSource",
    "FreeLibrary",
    "GetTimeZoneInformation",
    "LocalFree",
    "RegCloseKey",
    "SCardReleaseContext",
    "SHCreateDirectoryExA",
    "_fsopen",
    "fclose",
    "fflush",
    "fputs",
    "printf",
};

// All the calls that find, check and open one log: if any of them fails, that log is silent.
constexpr char kLogOpening[] = "opening of a log";

bool IsUnlikely(const Cause& cause)
{
    return cause.call == kLogOpening ||
           std::find(std::begin(kUnlikely), std::end(kUnlikely), cause.call) != std::end(kUnlikely);
}

winsim::Outcome Run(const winsim::Machine& machine, const std::vector<std::string>& arguments,
                    const winsim::RunOptions& options)
{
    return arguments.empty() ? winsim::ImageBeside("KeloCustomActionLibrary.so").RunExport(machine, options, kExport)
                             : winsim::ImageBeside("KeloCustomAction.so").Run(machine, options);
}

// A message without the numbers that differ from run to run.
std::string Comparable(const report::StoryLine& line)
{
    if (line.text == nullptr)
        return line.message;
    std::vector<std::string> values = line.values;
    for (std::size_t i = 0; i < values.size() && i < line.text->values.size(); ++i)
    {
        const std::string_view name = line.text->values[i].name;
        if (name == "process" || name == "thread")
            values[i] = "#";
    }
    return values.size() == line.text->values.size() ? catalogue::Fill(*line.text, values) : line.message;
}

// Whether a log matches a story: completely, or in the part that the story contains.
bool Fits(const report::Story& story, const std::vector<std::string>& part, const std::vector<std::string>& whole)
{
    if (story.hasBegin && story.hasEnd)
        return part == whole;
    if (part.size() > whole.size())
        return false;
    if (story.hasBegin)
        return std::equal(part.begin(), part.end(), whole.begin());
    if (story.hasEnd)
        return std::equal(part.rbegin(), part.rend(), whole.rbegin());
    return std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

// The command, ready to be pasted into a shell in the project's folder.
std::string CommandFor(const std::string& failure, const std::string& machinePath,
                       const std::vector<std::string>& arguments)
{
    std::string command = "./run --machine " + machinePath + " --fault '" + failure + "'";
    if (arguments.empty())
        return command + " --export " + kExport;
    for (const std::string& argument : arguments)
        command += " " + argument;
    return command;
}

// "CloseHandle (23 calls), RegCloseKey": the number of calls of each name.
std::string NamesOf(const std::vector<Cause>& causes)
{
    std::map<std::string, std::size_t> counts;
    for (const Cause& cause : causes)
        ++counts[cause.call];
    std::string names;
    for (const auto& [name, count] : counts)
        names += (names.empty() ? "" : ", ") + name + (count == 1 ? "" : fmt::format(" ({} calls)", count));
    return names;
}

// The error of a failure: the text after the equals sign, with the error's name.
std::string ErrorOf(const std::string& failure)
{
    const winsim::Fault fault = winsim::ParseFault(failure);
    if (fault.givesNothing)
        return "success with nothing to show";
    const catalogue::Number known = catalogue::Explain(fault.error, report::MeaningOfErrors(fault.call));
    const std::string number = failure.substr(failure.rfind('=') + 1);
    return winsim::IsLibraryFunction(fault.call) || known.name.empty() ? number : number + " " + known.name;
}

std::string DescribeCause(const Cause& cause)
{
    if (cause.call == kLogOpening)
        return fmt::format("opening log {} of the program fails, for example so:", cause.occurrence);
    std::string line = cause.occurrence == 0
                           ? fmt::format("every {} fails with ", cause.call)
                           : fmt::format("{} (call {} of that name) fails with ", cause.call, cause.occurrence);
    for (const std::string& failure : cause.failures)
        line += (failure == cause.failures.front() ? "" : " or ") + ErrorOf(failure);
    return line;
}

} // namespace

std::string ShowCauses(const report::Style& style, const CauseSearch& search, const std::string& machinePath,
                       const std::vector<std::string>& arguments)
{
    std::string shown =
        report::Bold(style, "Causes") +
        fmt::format(" ({} rehearsed on {})\n", report::Counted(search.tried, "failure", "failures"), machinePath);
    if (search.isWithoutFailure)
        return shown + "  " +
               report::Wrap(style,
                            "The log is that of a run in which no call fails. Failures of these calls leave no "
                            "trace in it: " +
                                NamesOf(search.causes) + ".",
                            2, 2) +
               "\n";
    if (search.causes.empty())
        return shown + "  " +
               report::Wrap(style,
                            "No failure of one call, or of every call of one name, gives this log on this machine: "
                            "the machine differs from the description, or more than that failed.",
                            2, 2) +
               "\n";
    for (std::size_t i = 0; i < search.causes.size(); ++i)
    {
        const Cause& cause = search.causes[i];
        const std::string line = DescribeCause(cause);
        shown += fmt::format("  {:>3}  ", i + 1) + report::Wrap(style, line, 7, 7) + "\n       " +
                 CommandFor(cause.failures.front(), machinePath, arguments) + "\n";
    }
    return shown;
}

winsim::Json JsonOf(const CauseSearch& search)
{
    winsim::Json causes = winsim::Json::array();
    for (const Cause& cause : search.causes)
        causes.push_back({{"call", cause.call}, {"occurrence", cause.occurrence}, {"failures", cause.failures}});
    return {{"tried", search.tried}, {"withoutFailure", search.isWithoutFailure}, {"causes", causes}};
}

std::vector<std::string> ComparableLines(const report::Story& story)
{
    std::vector<std::string> lines;
    for (const report::StoryLine& line : story.lines)
    {
        std::string comparable = Comparable(line);
        if (lines.empty() || lines.back() != comparable)
            lines.push_back(std::move(comparable));
    }
    return lines;
}

CauseFinder::CauseFinder(winsim::Machine machine, std::vector<std::string> arguments)
    : m_machine(std::move(machine)), m_arguments(std::move(arguments))
{}

std::string CauseFinder::LogWith(const std::vector<std::string>& faults) const
{
    winsim::RunOptions options;
    options.arguments = m_arguments;
    options.recordCalls = false;
    for (const std::string& fault : faults)
        options.faults.push_back(winsim::ParseFault(fault));
    const winsim::Outcome outcome = Run(m_machine, m_arguments, options);
    std::string log;
    for (const std::string& line : winsim::LogLines(m_machine, outcome.machine))
        log += line + "\n";
    return log;
}

std::vector<std::string> CauseFinder::LinesWith(const std::vector<std::string>& faults) const
{
    return ComparableLines(report::Tell(report::ReadLogLines(LogWith(faults))));
}

winsim::Outcome CauseFinder::RunWithoutFailure() const
{
    winsim::RunOptions options;
    options.arguments = m_arguments;
    options.parametersOf.emplace();
    return Run(m_machine, m_arguments, options);
}

std::size_t CauseFinder::ForEachFailure(const Use& use) const
{
    const winsim::Outcome baseline = RunWithoutFailure();
    std::map<std::string, unsigned> occurrences;
    std::size_t tried = 0;
    unsigned openings = 0;
    for (std::size_t i = 0; i < baseline.calls.size(); ++i)
    {
        const std::string& name = baseline.calls[i].name;
        const unsigned occurrence = ++occurrences[name];
        // A program opens its logs, one after the other, before its own part begins.
        const bool isBefore = i < baseline.bodyBegin;
        openings += isBefore && name == "SHGetFolderPathA" ? 1 : 0;
        const Cause call = isBefore && openings > 0 ? Cause{kLogOpening, openings, {}} : Cause{name, occurrence, {}};
        for (const winsim::Fault& fault : winsim::FailuresOf(name, occurrence))
        {
            ++tried;
            use(call, TextOf(fault), LinesWith({TextOf(fault)}));
        }
    }
    return tried;
}

std::size_t CauseFinder::ForEachLastingFailure(const Use& use) const
{
    std::size_t tried = 0;
    for (const auto& [name, count] : RunWithoutFailure().callCounts)
    {
        for (const winsim::Fault& fault : winsim::FailuresOf(name, 0))
        {
            ++tried;
            use(Cause{name, 0, {}}, TextOf(fault), LinesWith({TextOf(fault)}));
        }
    }
    return tried;
}

CauseSearch CauseFinder::Find(const report::Story& story) const
{
    const std::vector<std::string> wanted = ComparableLines(story);
    CauseSearch search;
    search.isWithoutFailure = Fits(story, wanted, LinesWith({}));
    const Use add = [&](const Cause& call, const std::string& failure, const auto& lines) {
        if (!Fits(story, wanted, lines))
            return;
        const bool isSame = !search.causes.empty() && search.causes.back().call == call.call &&
                            search.causes.back().occurrence == call.occurrence;
        if (!isSame)
            search.causes.push_back(call);
        search.causes.back().failures.push_back(failure);
    };
    search.tried = ForEachFailure(add);
    if (search.causes.empty())
        search.tried += ForEachLastingFailure(add);
    std::stable_partition(search.causes.begin(), search.causes.end(),
                          [](const Cause& cause) { return !IsUnlikely(cause); });
    return search;
}

std::size_t CauseFinder::CountCauses(std::vector<std::size_t>& counts) const
{
    struct Group
    {
        std::set<std::string> calls;
        std::size_t failures = 0;
    };
    const std::vector<std::string> baseline = LinesWith({});
    std::map<std::vector<std::string>, Group> groups;
    const std::size_t tried = ForEachFailure([&](const Cause& call, const std::string&, const auto& lines) {
        if (lines == baseline)
            return;
        Group& group = groups[lines];
        group.calls.insert(fmt::format("{}#{}", call.call, call.occurrence));
        ++group.failures;
    });
    for (const auto& [lines, group] : groups)
        counts.insert(counts.end(), group.failures, group.calls.size());
    return tried;
}

CauseFigures CauseFinder::Measure() const
{
    std::vector<std::size_t> counts;
    const std::size_t tried = CountCauses(counts);
    return FiguresOf(tried, std::move(counts));
}

CauseFigures FiguresOf(std::size_t tried, std::vector<std::size_t> causes)
{
    CauseFigures figures{tried, causes.size(), 0};
    if (causes.empty())
        return figures;
    const auto middle = causes.begin() + static_cast<std::ptrdiff_t>(causes.size() / 2);
    std::nth_element(causes.begin(), middle, causes.end());
    figures.medianCauses = *middle;
    return figures;
}
