// Shows the changes of services.
#include "report/area_changes.h"

#include "report/change_values.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace report
{

namespace
{

using winsim::Change;
using winsim::Json;

std::string StartOf(const Json& service)
{
    const std::string start = service.value("start", "demand");
    return start == "auto" ? "automatically" : start == "demand" ? "on demand" : "\"" + start + "\"";
}

// Members that describe how a service behaves later in a rehearsal.
bool IsOfRehearsal(const std::string& name)
{
    constexpr std::string_view kNames[] = {"onStart", "onStop", "states", "checkPoint", "waitHint", "processId"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

std::string WordsOf(const std::string& member)
{
    constexpr std::pair<const char*, const char*> kWords[] = {
        {"binaryPath", "program"},       {"loadOrderGroup", "group"},     {"dependencies", "depends on"},
        {"account", "account"},          {"displayName", "shown as"},     {"description", "described as"},
        {"errorControl", "on an error"}, {"controlsAccepted", "controls"}};
    for (const auto& [name, words] : kWords)
    {
        if (member == name)
            return words;
    }
    return member;
}

void WriteServiceMembers(ChangeRows& rows, const Json& service)
{
    for (const auto& [name, value] : service.items())
    {
        if (name == "state" || name == "start" || (!rows.IsWhole() && IsOfRehearsal(name)))
            continue;
        std::string text;
        if (value.is_array())
        {
            for (const Json& element : value)
                text += (text.empty() ? "" : ", ") + Brief(element, rows.IsWhole());
        }
        else
            text = Brief(value, rows.IsWhole());
        rows.Detail(WordsOf(name) + ": " + text);
    }
}

void WriteServiceDifferences(ChangeRows& rows, const Change& change)
{
    std::size_t hidden = 0;
    std::vector<std::string> lines;
    Json all = change.before;
    all.update(change.after);
    for (const auto& [name, value] : all.items())
    {
        const Json before = change.before.value(name, Json());
        const Json after = change.after.value(name, Json());
        if (before == after)
            continue;
        if (!rows.IsWhole() && IsOfRehearsal(name))
            ++hidden;
        else
            lines.push_back(WordsOf(name) + ": " + DescribeDifference(before, after, rows.IsWhole()));
    }
    if (lines.empty() && hidden != 0)
        lines.emplace_back("what it does later");
    rows.Row("changed", change.item + ", " + lines.front());
    for (std::size_t i = 1; i < lines.size(); ++i)
        rows.Detail(lines[i]);
}

} // namespace

void WriteService(ChangeRows& rows, const winsim::Change& change)
{
    if (change.kind == "changed")
        return WriteServiceDifferences(rows, change);
    const Json& service = change.kind == "added" ? change.after : change.before;
    const std::string state = service.value("state", "stopped");
    if (change.kind == "removed")
        return rows.Row("removed", change.item + " (it was " + state + ")");
    rows.Row("new", change.item + ": starts " + StartOf(service) + ", is " + state);
    WriteServiceMembers(rows, service);
}

} // namespace report
