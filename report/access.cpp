// Names trustees and rights.
#include "report/access.h"

#include <fmt/format.h>

#include <span>

namespace report
{

namespace
{

using winsim::Json;

struct Named
{
    const char* sid;
    const char* name;
};

constexpr Named kTrustees[] = {
    {"S-1-1-0", "Everyone"},
    {"S-1-3-0", "Creator Owner"},
    {"S-1-5-11", "Authenticated Users"},
    {"S-1-5-18", "LocalSystem"},
    {"S-1-5-19", "LocalService"},
    {"S-1-5-20", "NetworkService"},
    {"S-1-5-32-544", "Administrators"},
    {"S-1-5-32-545", "Users"},
    {"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", "TrustedInstaller"},
};

struct Right
{
    std::uint32_t mask;
    const char* name;
};

// Wider rights come before the rights that they include.
constexpr Right kGenericRights[] = {
    {0x10000000, "GENERIC_ALL"},
    {0x80000000, "GENERIC_READ"},
    {0x40000000, "GENERIC_WRITE"},
    {0x20000000, "GENERIC_EXECUTE"},
};
constexpr Right kKeyRights[] = {
    {0xF003F, "KEY_ALL_ACCESS"},     {0x20019, "KEY_READ"},  {0x20006, "KEY_WRITE"},
    {0x1, "KEY_QUERY_VALUE"},        {0x2, "KEY_SET_VALUE"}, {0x4, "KEY_CREATE_SUB_KEY"},
    {0x8, "KEY_ENUMERATE_SUB_KEYS"}, {0x10, "KEY_NOTIFY"},   {0x20, "KEY_CREATE_LINK"},
};
constexpr Right kFileRights[] = {
    {0x1F01FF, "FILE_ALL_ACCESS"},    {0x120089, "FILE_GENERIC_READ"},
    {0x120116, "FILE_GENERIC_WRITE"}, {0x1200A0, "FILE_GENERIC_EXECUTE"},
    {0x1, "FILE_READ_DATA"},          {0x2, "FILE_WRITE_DATA"},
    {0x4, "FILE_APPEND_DATA"},        {0x8, "FILE_READ_EA"},
    {0x10, "FILE_WRITE_EA"},          {0x20, "FILE_EXECUTE"},
    {0x40, "FILE_DELETE_CHILD"},      {0x80, "FILE_READ_ATTRIBUTES"},
    {0x100, "FILE_WRITE_ATTRIBUTES"},
};
constexpr Right kStandardRights[] = {
    {0x10000, "DELETE"},      {0x20000, "READ_CONTROL"}, {0x40000, "WRITE_DAC"},
    {0x80000, "WRITE_OWNER"}, {0x100000, "SYNCHRONIZE"},
};

// Adds the names of a table's rights that are completely in the mask and not yet completely named.
void Take(std::span<const Right> rights, std::uint32_t mask, std::uint32_t& rest, std::string& names)
{
    for (const Right& right : rights)
    {
        if ((mask & right.mask) != right.mask || (rest & right.mask) == 0)
            continue;
        names += (names.empty() ? "" : " | ") + std::string(right.name);
        rest &= ~right.mask;
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
    for (const Named& known : kTrustees)
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
    Take(kGenericRights, mask, rest, names);
    if (secured == Secured::Key)
        Take(kKeyRights, mask, rest, names);
    else
        Take(kFileRights, mask, rest, names);
    Take(kStandardRights, mask, rest, names);
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
