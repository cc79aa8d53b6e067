// Shows the changes of files and folders.
#include "report/area_changes.h"

#include "report/change_values.h"
#include "winsim/toolkit/install_log.h"

#include <algorithm>

namespace report
{

namespace
{

using winsim::Change;
using winsim::Json;

bool IsFolder(const Json& file)
{
    return file.is_object() && file.value("directory", false);
}

std::string DescribeFile(const Json& file)
{
    if (!file.is_object())
        return "";
    if (file.contains("link"))
        return "  (a link to " + file["link"].get<std::string>() + ")";
    if (file.contains("library") || file.contains("exports"))
        return "  (a library)";
    if (file.contains("program"))
        return "  (a program)";
    if (file.contains("text"))
        return "  (" + Counted(file["text"].get<std::string>().size(), "byte", "bytes") + ")";
    if (file.contains("size"))
        return "  (" + Counted(file["size"].get<std::size_t>(), "byte", "bytes") + ")";
    return "";
}

// A removed file and an added file with the same content are one moved file.
void WriteMoved(ChangeRows& rows, std::vector<Change>& changes)
{
    for (std::size_t i = 0; i < changes.size(); ++i)
    {
        const auto came = std::find_if(changes.begin(), changes.end(), [&](const Change& other) {
            return changes[i].kind == "removed" && other.kind == "added" && !IsFolder(other.after) &&
                   !other.after.empty() && other.after == changes[i].before;
        });
        if (came == changes.end())
            continue;
        rows.Row("moved", changes[i].item + " -> " + came->item);
        const std::string gone = changes[i].item;
        const std::string there = came->item;
        std::erase_if(changes, [&](const Change& one) { return one.item == gone || one.item == there; });
        i = static_cast<std::size_t>(-1);
    }
}

void WriteFileDifferences(ChangeRows& rows, const Change& change)
{
    Json before = change.before;
    Json after = change.after;
    for (Json* file : {&before, &after})
    {
        for (const char* told : {"access", "owner", "protected"})
            file->erase(told);
    }
    for (const char* const content : {"library", "program"})
    {
        if (rows.IsWhole() || before.value(content, Json()) == after.value(content, Json()))
            continue;
        rows.Detail(after.contains(content) ? std::string("now another ") + content
                                            : std::string("no ") + content + " any more");
        before.erase(content);
        after.erase(content);
    }
    for (const std::string& line : Differences(before, after, rows.IsWhole()))
        rows.Detail(line);
}

void WriteFile(ChangeRows& rows, const Change& change)
{
    const Json& file = change.kind == "removed" ? change.before : change.after;
    const bool isLog = winsim::IsInstallLog(change.item);
    const char* const noun = IsFolder(file) ? "folder" : "file";
    if (change.kind == "added")
        rows.Row(std::string("new ") + noun, change.item + (isLog ? "  (the log)" : DescribeFile(file)));
    else if (change.kind == "removed")
        rows.Row("deleted", change.item + DescribeFile(file));
    else
        rows.Row(isLog ? "written" : "changed", change.item + (isLog ? "  (the log)" : ""));
    if (change.kind == "changed" && !isLog)
        WriteFileDifferences(rows, change);
    if (change.kind != "removed")
        WriteSecurity(rows, change.before, change.after, IsFolder(file) ? Secured::Folder : Secured::File);
}

} // namespace

void WriteFiles(ChangeRows& rows, std::vector<winsim::Change> changes)
{
    WriteMoved(rows, changes);
    for (const char* kind : {"added", "changed", "removed"})
    {
        for (const winsim::Change& change : changes)
        {
            if (change.kind == kind)
                WriteFile(rows, change);
        }
    }
}

} // namespace report
