// Shows the changes in the smaller areas of a machine.
#include "report/area_changes.h"

#include "report/change_values.h"

#include <fmt/format.h>

#include <algorithm>

namespace report
{

namespace
{

using winsim::Change;
using winsim::Json;

void WriteMove(ChangeRows& rows, const Change& change)
{
    const Json& move = change.after.is_null() ? change.before : change.after;
    const std::string to = move.value("to", "");
    const std::string what = move.value("from", "") + (to.empty() ? "" : " -> " + to);
    const char* const verb = to.empty() ? "delete" : "move";
    if (change.kind == "added")
        rows.Row(verb, what);
    else
        rows.Row("given up", fmt::format("{} {}", verb, what));
}

void WriteProcess(ChangeRows& rows, const Change& change)
{
    const Json& process = change.kind == "added" ? change.after : change.before;
    const std::string id = process.contains("id") ? fmt::format(" ({})", process["id"].dump()) : "";
    rows.Row(change.kind == "added" ? "started" : "ended", process["name"].get<std::string>() + id);
}

void WriteEvent(ChangeRows& rows, const Json& event)
{
    const auto type = event.value("type", 0);
    std::string text = fmt::format("event {} of \"{}\"", event.value("id", 0), event.value("source", ""));
    for (const Json& part : event.value("strings", Json::array()))
        text += ": " + Brief(part, rows.IsWhole());
    rows.Row(type == 1 ? "error" : type == 2 ? "warning" : "entry", text);
}

void WriteContextFunctions(ChangeRows& rows, const Change& change)
{
    const auto nameOf = [](const Json& function) {
        return function.value("function", "") + " in the context \"" + function.value("context", "") + "\"";
    };
    const auto find = [&](const Json& list, const Json& function) {
        for (const Json& one : list)
        {
            if (nameOf(one) == nameOf(function))
                return one.value("providers", Json::array());
        }
        return Json::array();
    };
    Json all = change.before;
    for (const Json& function : change.after)
        all.push_back(function);
    std::vector<std::string> told;
    for (const Json& function : all)
    {
        const Json before = find(change.before, function);
        const Json after = find(change.after, function);
        const std::string name = nameOf(function);
        if (before == after || std::find(told.begin(), told.end(), name) != told.end())
            continue;
        told.push_back(name);
        rows.Row("providers", name + ": " + DescribeDifference(before, after, rows.IsWhole()));
    }
}

void WriteProviders(ChangeRows& rows, const Change& change)
{
    const auto image = [](const Json& provider) {
        const std::string name = provider.value("userMode", Json::object()).value("image", "");
        return name.empty() ? "" : "  (" + name + ")";
    };
    for (const auto& [name, provider] : change.after.items())
    {
        if (!change.before.contains(name))
            rows.Row("registered", name + image(provider));
        else if (change.before[name] != provider)
            rows.Row("changed", name + "  " + Brief(change.before[name], rows.IsWhole()) + " -> " +
                                    Brief(provider, rows.IsWhole()));
    }
    for (const auto& [name, provider] : change.before.items())
    {
        if (!change.after.contains(name))
            rows.Row("removed", name + image(provider));
    }
}

void WritePlainly(ChangeRows& rows, const Change& change)
{
    if (change.kind == "changed")
    {
        for (const std::string& line : Differences(change.before, change.after, rows.IsWhole()))
            rows.Row("changed", change.item + ": " + line);
        return;
    }
    const Json& value = change.kind == "added" ? change.after : change.before;
    rows.Row(change.kind,
             change.item + (value.is_object() && value.empty() ? "" : ": " + Brief(value, rows.IsWhole())));
}

bool HasName(const Change& change)
{
    return (change.kind == "added" ? change.after : change.before).contains("name");
}

} // namespace

void WriteOther(ChangeRows& rows, const winsim::Change& change)
{
    if (change.area == "pendingMoves")
        WriteMove(rows, change);
    else if (change.area == "processes" && change.item.starts_with('#') && HasName(change))
        WriteProcess(rows, change);
    else if (change.area == "events" && change.kind == "added")
        WriteEvent(rows, change.after);
    else if (change.area == "cng" && change.item == "contextFunctions" && change.kind == "changed")
        WriteContextFunctions(rows, change);
    else if (change.area == "cng" && change.item == "providers" && change.kind == "changed")
        WriteProviders(rows, change);
    else
        WritePlainly(rows, change);
}

} // namespace report
