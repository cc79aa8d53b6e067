// Shows changes area by area.
#include "report/changes_view.h"

#include "report/area_changes.h"
#include "report/merged_changes.h"

#include <algorithm>

namespace report
{

namespace
{

using winsim::Change;

struct AreaName
{
    const char* area;
    const char* title;
    const char* one;
    const char* many;
};

constexpr AreaName kAreaNames[] = {
    {"registry", "Registry", "in the registry", "in the registry"},
    {"files", "Files and folders", "file or folder", "files and folders"},
    {"pendingMoves", "At the next start of Windows", "at the next start", "at the next start"},
    {"services", "Services", "service", "services"},
    {"processes", "Processes", "process", "processes"},
    {"programs", "Programs", "program", "programs"},
    {"smartCards", "Smart cards", "of the smart cards", "of the smart cards"},
    {"cng", "Cryptography (CNG)", "of the cryptography", "of the cryptography"},
    {"wmi", "Automatic provisioning and WMI", "in WMI", "in WMI"},
    {"installer", "Install session", "of the install session", "of the install session"},
    {"events", "Event log", "event", "events"},
    {"token", "Token", "of the token", "of the token"},
};

AreaName NamesOf(const std::string& area)
{
    for (const AreaName& names : kAreaNames)
    {
        if (area == names.area)
            return names;
    }
    return {area.c_str(), area.c_str(), "elsewhere", "elsewhere"};
}

void WriteArea(ChangeRows& rows, const std::vector<Change>& changes)
{
    const std::string area = changes.front().area;
    rows.Area(NamesOf(area).title);
    if (area == "registry")
        return WriteRegistry(rows, changes);
    if (area == "files")
        return WriteFiles(rows, changes);
    for (const Change& change : changes)
    {
        if (area == "services")
            WriteService(rows, change);
        else
            WriteOther(rows, change);
    }
}

// Expects the changes of each area in a row.
std::string WriteAreas(const Style& style, const std::vector<Change>& changes, bool isWhole)
{
    ChangeRows rows{style, isWhole};
    for (auto begin = changes.begin(); begin != changes.end();)
    {
        const auto end = std::find_if(begin, changes.end(), [&](const Change& one) { return one.area != begin->area; });
        WriteArea(rows, {begin, end});
        begin = end;
    }
    return rows.Take();
}

} // namespace

std::string CountChanges(const std::vector<Change>& changes)
{
    const std::vector<Change> merged = MergeChanges(changes);
    if (merged.empty())
        return "none";
    std::string text = std::to_string(merged.size()) + ":";
    std::vector<std::string> told;
    for (const Change& change : merged)
    {
        if (std::find(told.begin(), told.end(), change.area) != told.end())
            continue;
        const auto count = static_cast<std::size_t>(std::count_if(
            merged.begin(), merged.end(), [&](const Change& other) { return other.area == change.area; }));
        const AreaName names = NamesOf(change.area);
        text += (told.empty() ? " " : ", ") + Counted(count, names.one, names.many);
        told.push_back(change.area);
    }
    return text;
}

std::string ShowChanges(const Style& style, const std::vector<Change>& changes, bool withEverything)
{
    const std::string title = Bold(style, "Changes on the machine");
    if (changes.empty())
        return title + ": none\n";
    return title + "\n" + WriteAreas(style, MergeChanges(changes), withEverything);
}

} // namespace report
