// Shows owners and access lists as tables.
#include "report/area_changes.h"

#include <algorithm>

namespace report
{

namespace
{

using winsim::Json;

void WriteList(ChangeRows& rows, const char* title, const Json& list, Secured secured)
{
    if (list.is_null())
        return rows.SubRow(title, "no list of its own");
    std::string verb = title;
    const auto cells = RowsOfList(list, secured);
    std::vector<std::size_t> widths(3, 0);
    for (const auto& row : cells)
    {
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], LengthOf(row[i]));
    }
    for (const auto& row : cells)
    {
        std::string text;
        for (std::size_t i = 0; i < row.size(); ++i)
            text += i < widths.size() ? Fit(row[i], widths[i]) + "  " : row[i];
        while (text.ends_with(' '))
            text.pop_back();
        rows.SubRow(verb, text, widths[0] + widths[1] + 4);
        verb.clear();
    }
    if (cells.empty())
        rows.SubRow(verb, "empty: nobody has any right");
}

} // namespace

void WriteSecurity(ChangeRows& rows, const winsim::Json& before, const winsim::Json& after, Secured secured)
{
    const auto member = [](const Json& object, const char* name) {
        return object.is_object() ? object.value(name, Json()) : Json();
    };
    if (after.is_null())
        return;
    const Json owner = member(after, "owner");
    if (owner != member(before, "owner") && owner.is_string() && (rows.IsWhole() || !before.is_null()))
    {
        const Json was = member(before, "owner");
        rows.SubRow("owner", NameOfTrustee(owner.get<std::string>()) +
                                 (was.is_string() ? " (was " + NameOfTrustee(was.get<std::string>()) + ")" : ""));
    }
    const Json was = member(before, "access");
    const Json list = member(after, "access");
    if (list == was)
        return;
    if (!was.is_null())
        WriteList(rows, "access was", was, secured);
    WriteList(rows, was.is_null() ? "access" : "access now", list, secured);
    if (member(after, "protected") == true)
        rows.SubRow("", "inherits nothing");
}

} // namespace report
