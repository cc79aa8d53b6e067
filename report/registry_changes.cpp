// Shows the changes in the registry.
#include "report/area_changes.h"

#include "report/change_values.h"

#include <algorithm>

namespace report
{

namespace
{

using winsim::Change;

std::string KeyOf(const std::string& item)
{
    return item.substr(0, item.find(" ["));
}

std::string ValueOf(const std::string& item)
{
    const std::size_t begin = item.find(" [");
    return begin == std::string::npos ? "" : item.substr(begin + 2, item.size() - begin - 3);
}

bool IsValue(const Change& change)
{
    return change.item.ends_with(']') && ValueOf(change.item) != "";
}

void WriteValues(ChangeRows& rows, const std::string& key, const std::vector<Change>& changes)
{
    std::string removed;
    for (const Change& change : changes)
    {
        if (!IsValue(change) || KeyOf(change.item) != key)
            continue;
        const std::string name = ValueOf(change.item);
        if (change.kind == "removed" && !rows.IsWhole())
            removed += (removed.empty() ? "" : ", ") + name;
        else if (change.kind == "removed")
            rows.SubRow("removed", name + " (was " + DescribeValue(change.before, rows.IsWhole()) + ")");
        else if (change.kind == "added")
            rows.SubRow("added", name + " = " + DescribeValue(change.after, rows.IsWhole()));
        else
            rows.SubRow("changed", name + ": " + DescribeValue(change.before, rows.IsWhole()) + " -> " +
                                       DescribeValue(change.after, rows.IsWhole()));
    }
    if (!removed.empty())
        rows.SubRow("removed", removed);
}

void WriteKey(ChangeRows& rows, const std::string& key, const std::vector<Change>& changes)
{
    const auto own = std::find_if(changes.begin(), changes.end(),
                                  [&](const Change& change) { return change.item == key && !IsValue(change); });
    std::string title = key;
    if (own != changes.end() && own->kind != "changed")
        title += own->kind == "added" ? "  (new key)" : "  (key removed)";
    rows.Heading(title);
    WriteValues(rows, key, changes);
    if (own != changes.end())
        WriteSecurity(rows, own->before, own->after, Secured::Key);
}

} // namespace

void WriteRegistry(ChangeRows& rows, const std::vector<winsim::Change>& changes)
{
    std::vector<std::string> keys;
    for (const winsim::Change& change : changes)
    {
        if (std::find(keys.begin(), keys.end(), KeyOf(change.item)) == keys.end())
            keys.push_back(KeyOf(change.item));
    }
    for (const std::string& key : keys)
        WriteKey(rows, key, changes);
}

} // namespace report
