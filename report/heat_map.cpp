// Collects machines and fills the page of the map.
#include "report/heat_map.h"

#include "catalogue/catalogue.h"
#include "report/page.h"

#include <algorithm>

namespace report
{

namespace
{

using winsim::Json;

// The action of a command-line switch or an export's name.
std::optional<catalogue::Action> ActionOf(const std::string& actionSwitch)
{
    const auto action = catalogue::ActionOf(actionSwitch);
    return !action && !actionSwitch.empty() && actionSwitch.front() != '/' ? catalogue::Action::Export : action;
}

void AddOnce(std::vector<std::string>& names, const std::string& name)
{
    if (std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
}

} // namespace

std::vector<Heat> HeatOf(const Story& story)
{
    std::vector<Heat> heats;
    for (const StoryStep& step : story.steps)
    {
        const auto same =
            std::find_if(heats.begin(), heats.end(), [&](const Heat& heat) { return heat.step == step.Name(); });
        if (same != heats.end())
            same->level = std::max(same->level, step.level);
        else
            heats.push_back({step.Name(), step.level});
    }
    return heats;
}

void HeatMap::Add(const std::string& place, const std::string& title, const std::string& status,
                  const std::string& result, const std::vector<Heat>& steps)
{
    ++m_count;
    std::string key = status;
    for (const Heat& heat : steps)
        key += "\n" + heat.step + "\t" + NameInPage(heat.level);
    auto row = m_rows.find(key);
    if (row == m_rows.end())
    {
        if (m_rows.size() == kMostRows)
        {
            ++m_left;
            return;
        }
        row = m_rows.emplace(key, Row{.status = status, .steps = steps}).first;
    }
    ++row->second.count;
    if (m_count <= kMostSingle || row->second.machines.size() < kMostNamed)
        row->second.machines.push_back({{"place", place}, {"title", title}, {"result", result}});
}

std::vector<std::string> HeatMap::StepNames(const std::string& actionSwitch) const
{
    std::vector<std::string> seen;
    for (const auto& [key, row] : m_rows)
    {
        for (const Heat& heat : row.steps)
            AddOnce(seen, heat.step);
    }
    std::vector<std::string> names;
    if (const auto action = ActionOf(actionSwitch))
    {
        for (const catalogue::Step& step : catalogue::StepsOf(*action))
            names.emplace_back(step.name);
    }
    for (const std::string& name : seen)
        AddOnce(names, name);
    return names;
}

std::string HeatMap::Page(const std::string& title, const std::string& summary, const std::string& actionSwitch) const
{
    const std::vector<std::string> names = StepNames(actionSwitch);
    Json rows = Json::array();
    for (const auto& [key, row] : m_rows)
    {
        Json levels = Json::array();
        for (const std::string& name : names)
        {
            const auto heat =
                std::find_if(row.steps.begin(), row.steps.end(), [&](const Heat& one) { return one.step == name; });
            levels.push_back(heat != row.steps.end() ? Json(NameInPage(heat->level)) : Json());
        }
        rows.push_back({{"count", row.count}, {"status", row.status}, {"levels", levels}, {"machines", row.machines}});
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Json& one, const Json& other) { return one["count"] > other["count"]; });
    return WithData(kHeatMapText, {{"title", title},
                                   {"summary", summary},
                                   {"isEachAlone", m_count <= kMostSingle},
                                   {"left", m_left},
                                   {"mostRows", kMostRows},
                                   {"steps", names},
                                   {"rows", rows}});
}

} // namespace report
