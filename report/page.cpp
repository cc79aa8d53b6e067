// Inserts the data of runs into the page.
#include "report/page.h"

#include "report/lanes.h"
#include "report/story_view.h"
#include "winsim/base/json.h"

#include <algorithm>
#include <fstream>

namespace report
{

namespace
{

using winsim::Json;

constexpr std::string_view kPlaceOfData = "@DATA@";

// The explanations of a text, which are the same for all its lines.
Json JsonOf(const catalogue::Text& text)
{
    return {{"meaning", text.meaning}, {"causes", text.causes}, {"toDo", text.toDo}};
}

Json JsonOf(const Story& story, const StoryLine& line, std::int64_t ms)
{
    Json json = {{"number", line.number}, {"t", ms},           {"level", NameInPage(LevelOf(line))},
                 {"text", line.message},  {"step", line.step}, {"count", line.count}};
    json["end"] = line.last && story.beginMs ? std::max(ms, *line.last - *story.beginMs) : ms;
    json["kind"] = line.text != nullptr ? catalogue::NameOf(line.kind) : "unknown";
    json["about"] = line.text != nullptr ? Json(line.text - catalogue::Texts().data()) : Json();
    if (const auto numbers = NumbersOf(line); !numbers.empty())
        json["numbers"] = numbers;
    return json;
}

Json JsonOf(const Problem& problem)
{
    Json json = {{"level", NameInPage(problem.level)}, {"what", problem.what},     {"meaning", problem.meaning},
                 {"numbers", problem.numbers},         {"causes", problem.causes}, {"toDo", problem.toDo}};
    json["line"] = problem.line ? Json(*problem.line) : Json();
    return json;
}

Json JsonOf(const Span& span)
{
    Json json = {{"from", span.fromMs},
                 {"to", span.toMs},
                 {"name", span.name},
                 {"level", span.isWait ? "wait" : NameInPage(span.level)}};
    if (span.line)
        json["line"] = *span.line;
    return json;
}

Json JsonOf(const RunCall& call)
{
    return {{"t", call.ms},      {"line", call.line},   {"text", call.text},
            {"full", call.full}, {"count", call.count}, {"error", call.isFailure}};
}

Json JsonOf(const Lane& lane);
Json JsonOf(const PageRun& run);

template <typename Items>
Json ListOf(const Items& items)
{
    Json list = Json::array();
    for (const auto& item : items)
        list.push_back(JsonOf(item));
    return list;
}

Json JsonOf(const Lane& lane)
{
    return {{"name", lane.name}, {"spans", ListOf(lane.spans)}};
}

// The problems, beginning with the one to look at first.
std::vector<Problem> FirstFirst(const Story& story)
{
    std::vector<Problem> problems = story.problems;
    if (story.first)
        std::rotate(problems.begin(), problems.begin() + static_cast<std::ptrdiff_t>(*story.first),
                    problems.begin() + static_cast<std::ptrdiff_t>(*story.first) + 1);
    return problems;
}

Json StepsOf(const Story& story)
{
    Json steps = Json::array();
    for (const StoryStep& step : story.steps)
    {
        const std::string name = step.Name() + (step.subject.empty() ? "" : ", " + step.subject);
        steps.push_back({{"name", name},
                         {"level", NameInPage(step.level)},
                         {"doing", step.step != nullptr ? step.step->doing : ""},
                         {"note", step.note}});
    }
    return steps;
}

Json LinesOf(const Story& story)
{
    Json lines = Json::array();
    std::int64_t ms = 0;
    for (const StoryLine& line : story.lines)
    {
        if (line.ms && story.beginMs)
            ms = std::max(ms, *line.ms - *story.beginMs);
        lines.push_back(JsonOf(story, line, ms));
    }
    return lines;
}

Json JsonOf(const PageRun& run)
{
    const Story& story = *run.story;
    Json json = {{"command", run.command},
                 {"headline", story.headline},
                 {"level", NameInPage(story.level)},
                 {"durationMs", story.DurationMs()},
                 {"problems", ListOf(FirstFirst(story))},
                 {"steps", StepsOf(story)},
                 {"lines", LinesOf(story)},
                 {"lanes", ListOf(LanesOf(story))},
                 {"calls", ListOf(run.calls)},
                 {"changes", run.changes}};
    const Problem* const first = story.FirstProblem();
    json["first"] = first != nullptr && first->line ? Json(*first->line) : Json();
    json["facts"] = Json::array();
    for (const auto& [name, value] : FactsOf(story))
        json["facts"].push_back({name, value});
    return json;
}

// JSON that cannot end the page's script, whatever a log contains.
std::string Embedded(const Json& json)
{
    const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string embedded;
    embedded.reserve(text.size());
    for (const char c : text)
        embedded += c == '<' ? "\\u003c" : std::string(1, c);
    return embedded;
}

} // namespace

const char* NameInPage(Level level)
{
    constexpr const char* kNames[] = {"done", "not-told", "noise", "warning", "missing", "failed"};
    return kNames[static_cast<std::size_t>(level)];
}

std::string WithData(std::string_view page, const Json& data)
{
    std::string text(page);
    text.replace(text.find(kPlaceOfData), kPlaceOfData.size(), Embedded(data));
    return text;
}

std::string Page(const std::string& title, const std::vector<PageRun>& runs, std::size_t chosen)
{
    const Json data = {
        {"title", title}, {"texts", ListOf(catalogue::Texts())}, {"runs", ListOf(runs)}, {"chosen", chosen}};
    return WithData(kPageText, data);
}

void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error(path + ": cannot be written");
}

} // namespace report
