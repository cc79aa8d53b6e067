// Builds the explanation of a log.
#include "explain/explanation.h"

#include "explain/options.h"
#include "report/page.h"
#include "report/story_view.h"

#include <fmt/format.h>

#include <filesystem>

namespace
{

using report::Level;
using report::Problem;
using report::Story;
using report::Style;
using winsim::Json;

constexpr std::size_t kOthersOnFirstScreen = 4;

std::string ActionOf(const Story& story)
{
    if (!story.actionSwitch.empty())
        return story.actionSwitch;
    if (story.action == catalogue::Action::Setup)
        return "(/Setup)";
    if (story.action == catalogue::Action::Removal)
        return "(removal)";
    return "(no action)";
}

std::string CommandOf(const Story& story)
{
    std::string command = ActionOf(story);
    for (const std::string& option : story.options)
        command += " " + option;
    return command;
}

std::string ShowRunInALine(const Style& style, const Story& story, std::size_t number)
{
    const std::string began = story.beginMs ? report::DateAndTimeOf(*story.beginMs).substr(0, 19) : "?";
    const std::string begin = fmt::format("  {:>3}  {:<19}  {} ", number, began, report::Fit(ActionOf(story), 15));
    const std::size_t column = report::LengthOf(begin);
    return begin + report::Paint(style, story.level, report::Wrap(style, story.headline, column, column)) + "\n";
}

std::string ShowRun(const ExplainOptions& options, const Style& style, const Story& story, std::size_t number,
                    std::size_t count)
{
    const std::string which = count == 1 ? "Run" : fmt::format("Run {} of {}", number, count);
    std::string shown = report::Bold(style, report::Wrap(style, which + ": " + CommandOf(story), 0, 2)) + "\n";
    shown += report::ShowVerdict(style, story, options.isAll ? story.problems.size() : kOthersOnFirstScreen);
    shown += "\n" + report::ShowFacts(style, story);
    shown += "\n" + report::ShowSteps(style, story);
    if (options.isAll)
        shown += "\n" + report::ShowLines(style, story, true);
    return shown;
}

Json JsonOf(const Story& story, const Problem& problem)
{
    Json json = {{"level", NameOf(problem.level)},
                 {"step", problem.step},
                 {"what", problem.what},
                 {"meaning", problem.meaning},
                 {"numbers", problem.numbers},
                 {"causes", problem.causes},
                 {"toDo", problem.toDo}};
    json["line"] = problem.line ? Json(story.lines[*problem.line].number) : Json();
    return json;
}

Json JsonOf(const report::StoryLine& line)
{
    Json json = {{"number", line.number}, {"message", line.message},   {"step", line.step},
                 {"count", line.count},   {"damaged", line.isDamaged}, {"kind", nullptr}};
    json["time"] = line.ms ? Json(report::DateAndTimeOf(*line.ms)) : Json();
    if (line.text != nullptr)
    {
        json["kind"] = catalogue::NameOf(line.kind);
        json["meaning"] = line.text->meaning;
        json["values"] = line.values;
    }
    return json;
}

template <typename Value>
Json OrNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json();
}

Json JsonOf(const Story& story)
{
    Json json = {{"action", story.actionSwitch}, {"options", story.options},   {"stack", story.stack},
                 {"thread", story.thread},       {"headline", story.headline}, {"level", NameOf(story.level)},
                 {"hasBegin", story.hasBegin},   {"hasEnd", story.hasEnd},     {"inferredFrom", story.inferredFrom}};
    json["exitCode"] = OrNull(story.exitCode);
    json["began"] = story.beginMs ? Json(report::DateAndTimeOf(*story.beginMs)) : Json();
    json["durationMs"] = story.DurationMs();
    json["problems"] = Json::array();
    for (const Problem& problem : story.problems)
        json["problems"].push_back(JsonOf(story, problem));
    json["steps"] = Json::array();
    for (const report::StoryStep& step : story.steps)
        json["steps"].push_back({{"name", step.Name()}, {"level", NameOf(step.level)}, {"subject", step.subject}});
    json["lines"] = Json::array();
    for (const report::StoryLine& line : story.lines)
        json["lines"].push_back(JsonOf(line));
    return json;
}

} // namespace

std::size_t ChosenRun(const ExplainOptions& options, const std::vector<Story>& stories)
{
    if (options.run > stories.size())
        throw std::invalid_argument(fmt::format("the log has no run {} ({} in all)", options.run,
                                                report::Counted(stories.size(), "run", "runs")));
    if (options.run != 0)
        return options.run - 1;
    for (const Level least : {Level::Missing, Level::Warning})
    {
        for (std::size_t i = stories.size(); i > 0; --i)
        {
            if (stories[i - 1].level >= least)
                return i - 1;
        }
    }
    if (stories.empty())
        throw std::invalid_argument("the log has no run");
    return stories.size() - 1;
}

std::string ExplainInText(const ExplainOptions& options, const Style& style, const std::vector<Story>& stories)
{
    const std::string name = std::filesystem::path(options.logPath).filename().string();
    if (stories.empty())
        return name + ": no line of a log\n";
    std::string shown;
    if (stories.size() > 1)
    {
        shown += fmt::format("{}: {}\n\n", name, report::Counted(stories.size(), "run", "runs"));
        for (std::size_t i = 0; i < stories.size(); ++i)
            shown += ShowRunInALine(style, stories[i], i + 1);
        if (!options.isAll && options.run == 0)
            shown += "  --run N tells of another one, --all of every one\n";
        shown += "\n";
    }
    const std::size_t chosen = ChosenRun(options, stories);
    for (std::size_t i = 0; i < stories.size(); ++i)
    {
        if (i == chosen || (options.isAll && options.run == 0))
            shown += ShowRun(options, style, stories[i], i + 1, stories.size()) + "\n";
    }
    shown.pop_back();
    return shown;
}

std::string ExplainInPage(const ExplainOptions& options, const std::vector<Story>& stories)
{
    std::vector<report::PageRun> runs;
    for (const Story& story : stories)
        runs.push_back({.story = &story, .command = CommandOf(story)});
    const std::string title = std::filesystem::path(options.logPath).filename().string() + ", explained";
    return report::Page(title, runs, stories.empty() ? 0 : ChosenRun(options, stories));
}

Json ExplainInJson(const std::vector<Story>& stories)
{
    Json runs = Json::array();
    for (const Story& story : stories)
        runs.push_back(JsonOf(story));
    return {{"runs", runs}};
}
