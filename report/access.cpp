// Names trustees and rights.
#include "report/access.h"

#include "winsim/machine/windows_names.h"

#include <fmt/format.h>

#include <span>

namespace report
{

namespace
{

using winsim::Json;

// Adds the names of a table's rights that are completely in the mask and not yet completely named.
void Take(std::span<const winsim::NamedValue> rights, std::uint32_t mask, std::uint32_t& rest, std::string& names)
{
    for (const winsim::NamedValue& right : rights)
    {
        if ((mask & right.value) != right.value || (rest & right.value) == 0)
            continue;
        names += (names.empty() ? "" : " | ") + std::string(right.name);
        rest &= ~right.value;
    }
}

// What an entry of a key or a folder applies to, besides the key or folder itself.
std::string DescribeInheritance(const Json& entry, Secured secured)
{
    constexpr std::uint32_t kFiles = 1;
    constexpr std::uint32_t kFolders = 2;
    constexpr std::uint32_t kInheritOnly = 8;
    const std::uint32_t flags = entry.value("inheritance", 0u);
    const bool hasFiles = (flags & kFiles) != 0;
    const bool hasFolders = (flags & kFolders) != 0;
    std::string text;
    if (secured == Secured::Key && hasFolders)
        text = "subkeys";
    else if (secured == Secured::Folder && (hasFiles || hasFolders))
        text = hasFiles && hasFolders ? "contents" : hasFiles ? "files" : "subfolders";
    if (!text.empty())
        text.insert(0, (flags & kInheritOnly) != 0 ? "only its " : "and its ");
    return entry.value("inherited", false) ? text + (text.empty() ? "" : ", ") + "inherited" : text;
}

} // namespace

std::string NameOfTrustee(const std::string& sid)
{
    for (const winsim::Account& known : winsim::kAccounts)
    {
        if (sid == known.sid)
            return known.name;
    }
    return sid;
}

std::string NameOfRights(std::uint32_t mask, Secured secured)
{
    std::string names;
    std::uint32_t rest = mask;
    Take(winsim::kGenericRightNames, mask, rest, names);
    if (secured == Secured::Key)
        Take(winsim::kKeyRightNames, mask, rest, names);
    else
        Take(winsim::kFileRightNames, mask, rest, names);
    Take(winsim::kStandardRightNames, mask, rest, names);
    if (rest != 0 || mask == 0)
        names += fmt::format("{}{:#x}", names.empty() ? "" : " | ", rest);
    return names;
}

std::vector<std::vector<std::string>> RowsOfList(const Json& list, Secured secured)
{
    std::vector<std::vector<std::string>> rows;
    for (const Json& entry : list)
        rows.push_back({entry.value("type", "allow"), NameOfTrustee(entry.value("trustee", "")),
                        NameOfRights(entry.value("mask", 0u), secured), DescribeInheritance(entry, secured)});
    return rows;
}

} // namespace report
