// Shows the parts of a run's story.
#include "report/story_view.h"

#include <fmt/format.h>

#include <algorithm>

namespace report
{

namespace
{

using catalogue::Kind;

constexpr std::size_t kLabelWidth = 15;

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
    std::string shown = ShowFact(style, title, PlaceOf(story, first));
    shown += ShowFact(style, "", first.what);
    shown += ShowFact(style, "Meaning", first.meaning);
    for (const std::string& number : first.numbers)
        shown += ShowFact(style, "", number);
    shown += ShowFact(style, "Usual causes", first.causes);
    shown += ShowFact(style, "What to do", first.toDo);
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

// The time of a line after the run's beginning.
std::string RelativeTime(const Story& story, const StoryLine& line)
{
    if (!line.ms || !story.beginMs)
        return "?";
    const std::int64_t ms = *line.ms - *story.beginMs;
    return fmt::format("{}{}.{:03}", ms < 0 ? "-" : "+", std::abs(ms) / 1000, std::abs(ms) % 1000);
}

std::size_t CountOf(const Story& story, const StoryStep& step)
{
    std::size_t count = 0;
    for (const std::size_t index : step.lines)
        count += story.lines[index].count;
    return count;
}

// The problem to name in a step's row.
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

constexpr std::size_t kLevelWidth = 13;

// The number of a step's lines, and their duration.
std::string FiguresOfLines(const Story& story, const StoryStep& step)
{
    const std::size_t lines = CountOf(story, step);
    if (lines == 0)
        return {};
    return fmt::format("{:>11}{:>8} {}", DurationOf(TimeOf(story, step)), lines, lines == 1 ? "line" : "lines");
}

std::string Title(const Style& style, const std::vector<StepFigures>& figures, std::size_t nameWidth)
{
    if (figures.empty())
        return Bold(style, "Steps");
    return Bold(style,
                Fit("Steps", 2 + kLevelWidth + nameWidth) + fmt::format("{:>11}{:>8}{:>8}", "time", "calls", "failed"));
}

// A row of the table, without its remark.
std::string RowOf(const Story& story, std::size_t index, const std::vector<StepFigures>& figures, std::size_t nameWidth)
{
    const StoryStep& step = story.steps[index];
    const std::string name = step.Name() + (step.subject.empty() ? "" : ", " + step.subject);
    std::string row = Fit(name, nameWidth);
    if (figures.empty())
        row += FiguresOfLines(story, step);
    else if (figures[index].calls != 0 || !step.lines.empty())
        row += fmt::format("{:>11}{:>8}{:>8}", DurationOf(figures[index].ms), figures[index].calls,
                           figures[index].failed == 0 ? "-" : std::to_string(figures[index].failed));
    row.erase(row.find_last_not_of(' ') + 1);
    return row;
}

std::string ShowCall(const Style& style, const RunCall& call)
{
    const std::string text = call.count > 1 ? fmt::format("{}  ({} times)", call.shown, call.count) : call.shown;
    const Level level = call.isFault ? Level::Failed : call.isFailure ? Level::Warning : Level::Noise;
    return fmt::format("{:12}> {}\n", "", Paint(style, level, Wrap(style, text, 14, 16)));
}

// Writes the lines of a log, step by step, with the calls between them.
class LinesWriter
{
public:
    LinesWriter(const Style& style, const Story& story, bool withMeanings)
        : m_style(style), m_story(story), m_withMeanings(withMeanings), m_step(story.steps.size())
    {}

    std::string Write(const std::vector<RunCall>& calls)
    {
        auto call = calls.begin();
        for (; call != calls.end() && call->isBeforeLog; ++call)
            WriteCall(*call);
        for (std::size_t i = 0; i < m_story.lines.size(); ++i)
        {
            WriteLine(m_story.lines[i]);
            for (; call != calls.end() && call->line == i; ++call)
                WriteCall(*call);
        }
        return std::move(m_text);
    }

private:
    // Writes the heading of a step, unless it is still the same step.
    void Enter(std::size_t step)
    {
        if (step == m_step || step >= m_story.steps.size())
            return;
        m_step = step;
        m_text += "  " + Bold(m_style, "-- " + m_story.steps[step].Name()) + "\n";
    }

    void WriteCall(const RunCall& call)
    {
        Enter(call.step);
        m_text += ShowCall(m_style, call);
    }

    void WriteLine(const StoryLine& line)
    {
        Enter(line.step);
        const Level level = LevelOf(line);
        const std::string text = Wrap(m_style, line.message, 14, 14);
        m_text += fmt::format("  {:>10}  ", RelativeTime(m_story, line));
        m_text += level == Level::Done ? text : Paint(m_style, level, text);
        if (line.count > 1)
            m_text += fmt::format("\n{:14}{} times in {}", "", line.count,
                                  line.ms && line.last ? DurationOf(*line.last - *line.ms) : "?");
        if (line.text == nullptr)
            m_text += fmt::format("\n{:14}= not a line of the program, or damaged", "");
        else if (m_withMeanings)
            m_text += fmt::format("\n{:14}= {}", "", Wrap(m_style, line.text->meaning, 16, 16));
        m_text += "\n";
    }

    const Style& m_style;
    const Story& m_story;
    bool m_withMeanings;
    std::size_t m_step;
    std::string m_text;
};

} // namespace

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

std::string ShowFact(const Style& style, const std::string& label, const std::string& text)
{
    if (text.empty())
        return {};
    const std::size_t column = kLabelWidth + 2;
    return "  " + Fit(label, kLabelWidth) + Wrap(style, text, column, column) + "\n";
}

std::string ShowHeadline(const Style& style, const Story& story)
{
    return "  " + Paint(style, story.level, Wrap(style, story.headline, 2, 2)) + "\n";
}

std::string ShowVerdict(const Style& style, const Story& story, std::size_t mostOthers)
{
    const std::string problems = ShowProblems(style, story, mostOthers, "--all");
    return ShowHeadline(style, story) + (problems.empty() ? "" : "\n" + problems);
}

std::string ShowProblems(const Style& style, const Story& story, std::size_t mostOthers, const char* moreOption)
{
    const Problem* const first = story.FirstProblem();
    if (first == nullptr)
        return {};
    std::string shown = ShowFirst(style, story, *first);
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
        shown += fmt::format("  and {} more: {}\n", others - mostOthers, moreOption);
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
        result += (story.exitCode ? ", inferred from " : "; ") + story.inferredFrom;
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
    const auto unknown = [](const StoryLine& line) { return line.text == nullptr; };
    if (const auto count = static_cast<std::size_t>(std::count_if(story.lines.begin(), story.lines.end(), unknown)))
        facts.emplace_back("Damaged",
                           fmt::format("{}, or damaged; the first is line {}",
                                       Counted(count, "line is not the program's", "lines are not the program's"),
                                       std::find_if(story.lines.begin(), story.lines.end(), unknown)->number));
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
        shown += ShowFact(style, label, text);
    return shown;
}

std::string ShowSteps(const Style& style, const Story& story, const std::vector<StepFigures>& figures)
{
    constexpr std::size_t kFiguresWidth = 27;
    const std::size_t nameWidth = std::min<std::size_t>(27, style.width - kFiguresWidth - kLevelWidth - 2);
    std::string shown = Title(style, figures, nameWidth) + "\n";
    for (std::size_t i = 0; i < story.steps.size(); ++i)
    {
        const StoryStep& step = story.steps[i];
        shown +=
            "  " + Paint(style, step.level, Fit(NameOf(step.level), kLevelWidth)) + RowOf(story, i, figures, nameWidth);
        std::string remark = RemarkOf(story, step);
        if (step.lines.empty() && step.level != Level::Done && !figures.empty() && figures[i].failed != 0)
            remark += (remark.empty() ? "" : "; ") + figures[i].lastFailure;
        if (!remark.empty())
            shown += "\n" + std::string(15, ' ') + Wrap(style, remark, 15, 15);
        shown += "\n";
    }
    return shown;
}

std::string ShowLines(const Style& style, const Story& story, bool withMeanings, const std::vector<RunCall>& calls)
{
    const bool isEmpty = story.lines.empty() && calls.empty();
    return Bold(style, "Log") + (isEmpty ? ": none\n" : "\n") + LinesWriter{style, story, withMeanings}.Write(calls);
}

} // namespace report
