// Reports a rehearsal, or another run, to people.
#include "rehearse/report.h"
#include "report/run_view.h"
#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/secrets.h"
#include "winsim/toolkit/toolkit_files.h"

#include <fmt/format.h>

#include <algorithm>

namespace
{

using report::RunCall;
using report::Story;
using report::WatchedRun;
using winsim::Json;
using winsim::Machine;
using winsim::Outcome;

using Facts = std::vector<std::pair<std::string, std::string>>;

std::string CommandOf(const Options& options)
{
    if (!options.exportName.empty())
        return options.exportName;
    return options.arguments.empty() ? "(no action)" : winsim::HideSecrets(winsim::JoinCommandLine(options.arguments));
}

Story StoryOf(const std::vector<std::string>& lines, const report::KnownEnd& end)
{
    std::string log;
    for (const std::string& line : lines)
        log += line + "\n";
    return report::Tell(report::ReadLogLines(log), end);
}

std::string DescribeMachine(const Options& options, const Machine& machine)
{
    return fmt::format("{} (Windows {}.{}, {})", machine.title, machine.windows.major, machine.windows.minor,
                       options.machinePath);
}

// The step of the first call with this fault; "" for none.
std::string StepOf(const winsim::Fault& fault, const std::vector<RunCall>& calls, const Story& story)
{
    const auto call = std::find_if(calls.begin(), calls.end(), [&](const RunCall& one) {
        return one.isFault && one.full.starts_with(fault.call + "{");
    });
    return call == calls.end() || story.steps.empty() ? "" : story.steps[call->step].Name();
}

// How often a fault took place, or that it did not.
std::string DescribeFault(const winsim::Fault& fault, unsigned reached, const Outcome& outcome, const std::string& step)
{
    const auto counted = outcome.callCounts.find(fault.call);
    const unsigned calls = counted == outcome.callCounts.end() ? 0 : counted->second;
    const std::string text =
        fmt::format("{}: {} of {} call{}", TextOf(fault), reached == 0 ? "NOT REACHED," : std::to_string(reached),
                    calls, calls == 1 ? "" : "s");
    return step.empty() ? text : text + fmt::format(", in the step \"{}\"", step);
}

// The facts on the first screen besides the result.
Facts FirstFactsOf(const Options& options, const Machine& before, const Outcome& outcome, const Story& story)
{
    constexpr std::size_t kMost = 3;
    const std::size_t count = outcome.faults.size();
    const auto calls = count == 0 ? std::vector<RunCall>() : CallsOf(outcome, story, report::CallChoice::Own);
    Facts facts;
    for (std::size_t i = 0; i < count && (options.isVerbose || count <= kMost || i + 1 < kMost); ++i)
        facts.emplace_back("Fault", DescribeFault(outcome.faults[i], outcome.faultsReached[i], outcome,
                                                  StepOf(outcome.faults[i], calls, story)));
    if (facts.size() < count)
        facts.emplace_back("Faults", fmt::format("and {} more: --verbose", count - facts.size()));
    if (options.exportName.empty() && winsim::LacksToolkit(before))
        facts.emplace_back("Toolkit", "not on this machine: none of its libraries and programs is in " +
                                          winsim::ToolkitFolder(before));
    if (!outcome.violations.empty())
        facts.emplace_back("Wrong use",
                           report::Counted(outcome.violations.size(), "handle or block", "handles and blocks") +
                               " treated wrongly, see below");
    if (!outcome.notSimulated.empty())
        facts.emplace_back("Not real",
                           "the program asked for what is not simulated, see below: on Windows, the run may "
                           "be different from there on");
    return facts;
}

Facts FactsOf(const Options& options, const Machine& before, const Outcome& outcome)
{
    Facts facts{{"Machine", DescribeMachine(options, before)}};
    if (!options.isVerbose)
        return facts;
    if (options.exportName.empty())
        facts.emplace_back("Program", before.process.path);
    facts.emplace_back("Printed", outcome.standardOutput);
    return facts;
}

std::vector<std::string> DescribeActs(const std::vector<winsim::TriedAct>& acts)
{
    std::vector<std::string> lines;
    for (const winsim::TriedAct& tried : acts)
    {
        const std::string end = tried.error == 0 ? "done" : fmt::format("refused ({})", tried.error);
        lines.push_back(fmt::format("after call {}: {}: {}", tried.afterCall, TextOf(tried.act), end));
    }
    return lines;
}

} // namespace

std::string SwitchOf(const Options& options)
{
    if (!options.exportName.empty())
        return options.exportName;
    return options.arguments.empty() ? "" : options.arguments.front();
}

Story StoryOf(const Options& options, const Machine& before, const Outcome& outcome)
{
    report::KnownEnd end{.actionSwitch = SwitchOf(options), .noResult = WhyNoResult(outcome).value_or("")};
    if (end.noResult.empty())
        end.exitCode = outcome.exitCode;
    return StoryOf(winsim::LogLines(before, outcome.machine), end);
}

std::string TextReport(const Options& options, const report::Style& style, const Machine& before,
                       const Outcome& outcome)
{
    WatchedRun run{.command = CommandOf(options), .story = StoryOf(options, before, outcome)};
    run.firstFacts = FirstFactsOf(options, before, outcome, run.story);
    run.facts = FactsOf(options, before, outcome);
    run.changes = Compare(before, outcome.machine);
    if (!outcome.triedActs.empty())
        run.sections.emplace_back("Meanwhile", DescribeActs(outcome.triedActs));
    if (!outcome.violations.empty())
        run.sections.emplace_back("Handles and memory treated wrongly", outcome.violations);
    if (!outcome.notSimulated.empty())
        run.sections.emplace_back("Not simulated", outcome.notSimulated);
    run.waitedMs = static_cast<std::int64_t>(outcome.clockMs);
    run.figures = FiguresOf(outcome, run.story);
    if (options.trace != Trace::None)
        run.calls = CallsOf(outcome, run.story,
                            options.trace == Trace::All ? report::CallChoice::All : report::CallChoice::OfSteps);
    return ShowRun(style, run, options.isVerbose);
}

std::string TextReportOf(const Json& seen, const Options& options, const report::Style& style, const Machine& machine)
{
    report::KnownEnd end{.actionSwitch = SwitchOf(options)};
    if (const Json& exitCode = seen.at("exitCode"); exitCode.is_null())
        end.noResult = seen.at("noResult").get<std::string>();
    else
        end.exitCode = exitCode.get<int>();
    WatchedRun run{.command = CommandOf(options),
                   .story = StoryOf(seen.at("log").get<std::vector<std::string>>(), end)};
    for (const Json& change : seen.at("changes"))
        run.changes.push_back({change.at("area").get<std::string>(), change.at("kind").get<std::string>(),
                               change.at("item").get<std::string>(), change.at("before"), change.at("after")});
    for (const Json& fact : seen.value("facts", Json::array()))
        run.facts.emplace_back(fact.at(0).get<std::string>(), fact.at(1).get<std::string>());
    run.facts.emplace_back("Machine", DescribeMachine(options, machine));
    return ShowRun(style, run, options.isVerbose);
}
