// A map of many machines by the steps of an action, for a browser.
#pragma once

#include "report/story.h"
#include "winsim/base/json.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace report
{

// How a step went.
struct Heat
{
    std::string step;
    Level level = Level::Done;
};

// How each step of a run went, the worst of its parts.
std::vector<Heat> HeatOf(const Story& story);

// Collects machines, and shows them as rows. Machines with the same status whose steps went alike share a row, so that
// the page stays small whatever their number.
class HeatMap
{
public:
    // Of at most this many machines the page shows each in a row of its own.
    static constexpr std::size_t kMostSingle = 200;
    // The most rows, and the machines that a row names.
    static constexpr std::size_t kMostRows = 1000;
    static constexpr std::size_t kMostNamed = 10;

    // Adds a machine: its place ("machines/a.json", "-:17"), title, status and result.
    void Add(const std::string& place, const std::string& title, const std::string& status, const std::string& result,
             const std::vector<Heat>& steps);

    // One self-contained page (HTML, UTF-8), which needs no network, with a title and a line below it. The action's
    // switch or export gives the order of the steps.
    std::string Page(const std::string& title, const std::string& summary, const std::string& actionSwitch) const;

private:
    struct Row
    {
        std::string status;
        std::vector<Heat> steps;
        std::size_t count = 0;
        winsim::Json machines = winsim::Json::array(); // the first ones
    };

    // The columns: the steps of the action, and others that machines had.
    std::vector<std::string> StepNames(const std::string& actionSwitch) const;

    std::map<std::string, Row> m_rows; // by status and steps
    std::size_t m_count = 0;
    std::size_t m_left = 0; // machines that came when there were already kMostRows rows
};

// The page without its data, which replaces @DATA@.
extern const std::string_view kHeatMapText;

} // namespace report
