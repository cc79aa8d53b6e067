// Builds the view of a run.
#include "report/run_view.h"

#include "report/changes_view.h"
#include "report/story_view.h"

#include <fmt/format.h>

namespace report
{

namespace
{

constexpr std::size_t kMostOtherProblems = 4;

std::string DescribeResult(const Story& story)
{
    if (!story.exitCode)
        return "none";
    std::string text = fmt::format("exit code {}", *story.exitCode);
    if (const auto step = DecidingStep(story))
        text += fmt::format(", decided in the step \"{}\"", story.steps[*step].Name());
    return story.inferredFrom.empty() ? text : text + ", " + story.inferredFrom;
}

std::int64_t TimeOfStep(const WatchedRun& run, std::size_t index)
{
    return run.figures.empty() ? TimeOf(run.story, run.story.steps[index]) : run.figures[index].ms;
}

// The steps that took time: "2.400 s: 1.500 s in command unblocking".
std::string DescribeTime(const WatchedRun& run)
{
    const std::int64_t whole = run.waitedMs.value_or(run.story.DurationMs());
    if (whole == 0)
        return "none";
    std::string text = DurationOf(whole);
    for (std::size_t i = 0; i < run.story.steps.size(); ++i)
    {
        if (TimeOfStep(run, i) == whole)
            return text + ", in " + run.story.steps[i].Name();
    }
    const char* separator = ": ";
    for (std::size_t i = 0; i < run.story.steps.size(); ++i)
    {
        constexpr std::int64_t kTenth = 10;
        if (TimeOfStep(run, i) * kTenth < whole)
            continue;
        text += separator + DurationOf(TimeOfStep(run, i)) + " in " + run.story.steps[i].Name();
        separator = ", ";
    }
    return text;
}

// A failure that no line reports: the last call that failed in the deciding step, or in any step if there is no log.
std::string ShowSilentFailure(const Style& style, const WatchedRun& run)
{
    const bool isTold = run.story.FirstProblem() != nullptr && !IsBrokenOff(run.story);
    if (run.story.level != Level::Failed || isTold || run.figures.empty())
        return {};
    const std::optional<std::size_t> step = DecidingStep(run.story);
    if (!step && !run.story.steps.empty())
        return {};
    return ShowFact(style, "First failure",
                    step ? fmt::format("no line, step \"{}\"", run.story.steps[*step].Name()) : "no line") +
           ShowFact(style, "", run.figures[step.value_or(0)].lastFailure);
}

using Facts = std::vector<std::pair<std::string, std::string>>;

std::string ShowFacts(const Style& style, const Facts& facts)
{
    std::string shown;
    for (const auto& [label, text] : facts)
        shown += ShowFact(style, label, text);
    return shown;
}

// The facts on the first screen.
std::string ShowFirstFacts(const Style& style, const WatchedRun& run)
{
    std::string shown = ShowFact(style, "Result", DescribeResult(run.story));
    shown += ShowFact(style, run.waitedMs ? "Waits" : "Time", DescribeTime(run));
    return shown + ShowFact(style, "Changes", CountChanges(run.changes)) + ShowFacts(style, run.firstFacts);
}

std::string ShowOtherFacts(const Style& style, const WatchedRun& run, bool withEverything)
{
    Facts facts = FactsOf(run.story);
    std::erase_if(facts, [&](const auto& fact) {
        return fact.first == "Result" || !(withEverything || fact.first == "Stack" || fact.first == "Expected noise");
    });
    return ShowFacts(style, facts) + ShowFacts(style, run.facts);
}

std::string ShowSection(const Style& style, const std::string& title, const std::vector<std::string>& lines)
{
    std::string shown = Bold(style, title) + "\n";
    for (const std::string& line : lines)
        shown += "  " + Wrap(style, line, 2, 4) + "\n";
    return shown;
}

} // namespace

std::string ShowRun(const Style& style, const WatchedRun& run, bool withEverything)
{
    const std::size_t mostOthers = withEverything ? run.story.problems.size() : kMostOtherProblems;
    std::string shown = Bold(style, Wrap(style, "Run: " + run.command, 0, 2)) + "\n";
    shown += ShowHeadline(style, run.story) + "\n" + ShowFirstFacts(style, run);
    std::string problems = ShowSilentFailure(style, run);
    problems += ShowProblems(style, run.story, mostOthers, "--verbose");
    if (!problems.empty())
        shown += "\n" + problems + "\n";
    shown += ShowOtherFacts(style, run, withEverything);
    if (!run.story.steps.empty())
        shown += "\n" + ShowSteps(style, run.story, run.figures);
    shown += "\n" + ShowChanges(style, run.changes, withEverything);
    for (const auto& [title, lines] : run.sections)
        shown += "\n" + ShowSection(style, title, lines);
    return shown + "\n" + ShowLines(style, run.story, withEverything, run.calls);
}

} // namespace report
