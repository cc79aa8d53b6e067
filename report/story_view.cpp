// Writes the parts of a run's story.
#include "report/story_view.h"

#include <fmt/format.h>

#include <algorithm>

namespace report
{

namespace
{

using catalogue::Kind;

constexpr std::size_t kLabelWidth = 15;

// A labelled paragraph, indented by two. Nothing for an empty text.
std::string Paragraph(const Style& style, const std::string& label, const std::string& text)
{
    if (text.empty())
        return {};
    const std::size_t column = kLabelWidth + 2;
    return "  " + Fit(label, kLabelWidth) + Wrap(style, text, column, column) + "\n";
}

std::string PlaceOf(const Story& story, const Problem& problem)
{
    if (!problem.line)
        return fmt::format("step \"{}\"", problem.step);
    return fmt::format("line {}, step \"{}\"", story.lines[*problem.line].number, problem.step);
}

std::string ShowFirst(const Style& style, const Story& story, const Problem& first)
{
    const char* const title = story.exitCode == -1            ? "Why"
                              : !story.hasEnd                 ? "Its last line"
                              : first.level == Level::Failed  ? "First failure"
                              : first.level == Level::Missing ? "First missing"
                                                              : "First warning";
    std::string shown = Paragraph(style, title, PlaceOf(story, first));
    shown += Paragraph(style, "", first.what);
    shown += Paragraph(style, "Meaning", first.meaning);
    for (const std::string& number : first.numbers)
        shown += Paragraph(style, "", number);
    shown += Paragraph(style, "Usual causes", first.causes);
    shown += Paragraph(style, "What to do", first.toDo);
    return shown;
}

std::string ShowOther(const Style& style, const Story& story, const Problem& problem)
{
    const std::string place =
        problem.line ? fmt::format("line {}", story.lines[*problem.line].number) : std::string("no line");
    const std::string begin = "  " + Paint(style, problem.level, Fit(NameOf(problem.level), 9)) + Fit(place, 11);
    std::string text = problem.what;
    for (const std::string& number : problem.numbers)
        text += " (" + number + ")";
    return begin + Wrap(style, text, 22, 22) + "\n" + std::string(22, ' ') + Wrap(style, problem.meaning, 22, 22) +
           "\n";
}

// What the time of a line is, after the run's beginning.
std::string RelativeTime(const Story& story, const StoryLine& line)
{
    if (!line.ms || !story.beginMs)
        return "?";
    const std::int64_t ms = *line.ms - *story.beginMs;
    return fmt::format("{}{}.{:03}", ms < 0 ? "-" : "+", std::abs(ms) / 1000, std::abs(ms) % 1000);
}

// The time from a step's first line to what follows its last one.
std::int64_t TimeOf(const Story& story, const StoryStep& step)
{
    std::int64_t time = 0;
    for (const std::size_t index : step.lines)
    {
        const StoryLine& line = story.lines[index];
        const auto end = index + 1 < story.lines.size() ? story.lines[index + 1].ms : line.last;
        if (line.ms && end && *end > *line.ms)
            time += *end - *line.ms;
    }
    return time;
}

std::size_t CountOf(const Story& story, const StoryStep& step)
{
    std::size_t count = 0;
    for (const std::size_t index : step.lines)
        count += story.lines[index].count;
    return count;
}

// The problem that a step's row names.
std::string RemarkOf(const Story& story, const StoryStep& step)
{
    for (const Problem& problem : story.problems)
    {
        const bool isOfStep =
            problem.line ? &story.steps[story.lines[*problem.line].step] == &step : problem.step == step.Name();
        if (problem.level == step.level && isOfStep)
            return problem.what;
    }
    return step.level == Level::Untold && !step.note.empty() ? "nothing is logged" : "";
}

} // namespace

std::string ShowVerdict(const Style& style, const Story& story, std::size_t mostOthers)
{
    std::string shown = "  " + Paint(style, story.level, Wrap(style, story.headline, 2, 2)) + "\n";
    const Problem* const first = story.FirstProblem();
    if (first == nullptr)
        return shown;
    shown += "\n" + ShowFirst(style, story, *first);
    std::size_t others = 0;
    std::string list;
    for (const Problem& problem : story.problems)
    {
        if (&problem != first && others++ < mostOthers)
            list += ShowOther(style, story, problem);
    }
    if (others == 0)
        return shown;
    shown += "\n" + Bold(style, "Also") + "\n" + list;
    if (others > mostOthers)
        shown += fmt::format("  and {} more: --all\n", others - mostOthers);
    return shown;
}

std::vector<std::pair<std::string, std::string>> FactsOf(const Story& story)
{
    std::vector<std::pair<std::string, std::string>> facts;
    if (story.beginMs)
        facts.emplace_back("Began", fmt::format("{} UTC, took {}, thread {}", DateAndTimeOf(*story.beginMs),
                                                DurationOf(story.DurationMs()), story.thread));
    std::string result = story.exitCode ? fmt::format("exit code {}", *story.exitCode) : "exit code not known";
    if (!story.inferredFrom.empty())
        result += ", inferred from " + story.inferredFrom;
    facts.emplace_back("Result", result);
    if (story.action == catalogue::Action::Setup)
        facts.emplace_back("Stack", story.stack.empty() ? "none chosen" : story.stack);
    if (!story.hasBegin)
        facts.emplace_back("Note", "The beginning of this run is not in the log.");
    for (const StoryStep& step : story.steps)
    {
        if (step.level == Level::Untold)
            facts.emplace_back("Not in the log", fmt::format("{}: {}", step.Name(), step.note));
    }
    const auto noise = static_cast<std::size_t>(std::count_if(
        story.lines.begin(), story.lines.end(), [](const StoryLine& line) { return line.kind == Kind::Noise; }));
    if (noise != 0)
        facts.emplace_back("Expected noise", Counted(noise, "line sounds like a failure and is none",
                                                     "lines sound like failures and are none"));
    return facts;
}

std::string ShowFacts(const Style& style, const Story& story)
{
    std::string shown;
    for (const auto& [label, text] : FactsOf(story))
        shown += Paragraph(style, label, text);
    return shown;
}

std::string ShowSteps(const Style& style, const Story& story)
{
    std::string shown = Bold(style, "Steps") + "\n";
    for (const StoryStep& step : story.steps)
    {
        const std::string name = step.Name() + (step.subject.empty() ? "" : ", " + step.subject);
        const std::size_t lines = CountOf(story, step);
        shown += "  " + Paint(style, step.level, Fit(NameOf(step.level), 13)) + Fit(name, 27);
        if (lines != 0)
            shown +=
                fmt::format("{:>11}{:>8} {}", DurationOf(TimeOf(story, step)), lines, lines == 1 ? "line" : "lines");
        while (shown.ends_with(' '))
            shown.pop_back();
        const std::string remark = RemarkOf(story, step);
        if (!remark.empty())
            shown += "\n" + std::string(15, ' ') + Wrap(style, remark, 15, 15);
        shown += "\n";
    }
    return shown;
}

std::string ShowLines(const Style& style, const Story& story, bool withMeanings)
{
    std::string shown = Bold(style, "Log") + "\n";
    std::size_t step = story.steps.size();
    for (const StoryLine& line : story.lines)
    {
        if (line.step != step)
        {
            step = line.step;
            shown += "  " + Bold(style, "-- " + story.steps[step].Name()) + "\n";
        }
        const Level level = LevelOf(line);
        const std::string text = Wrap(style, line.message, 14, 14);
        shown += fmt::format("  {:>10}  ", RelativeTime(story, line));
        shown += level == Level::Done ? text : Paint(style, level, text);
        if (line.count > 1)
            shown += fmt::format("\n{:14}{} times in {}", "", line.count,
                                 line.ms && line.last ? DurationOf(*line.last - *line.ms) : "?");
        if (line.text == nullptr)
            shown += fmt::format("\n{:14}= not a line of the program, or damaged", "");
        else if (withMeanings)
            shown += fmt::format("\n{:14}= {}", "", Wrap(style, line.text->meaning, 16, 16));
        shown += "\n";
    }
    return shown;
}

} // namespace report
