// The steps of the stack set-up as lines of a script.
#pragma once

#include "tests/support/service_script.h"
#include "tests/support/simulated_run.h"
#include "tests/support/windows_script.h"

#include <fmt/format.h>

// The line that begins what the set-up logs about a stack.
inline constexpr char kRule[] = "log: --------------------------------------------";

inline constexpr char kTsp1[] = R"(C:\Windows\system32\TSP1_x64.dll)";
inline constexpr char kTsp1Backup[] = R"(C:\Windows\system32\Tsp1.bak)";
inline constexpr char kTspi[] = R"(C:\Windows\system32\Tspi_x64.dll)";
inline constexpr char kTspiCopied[] = R"(C:\Windows\system32\TSPI_x64.dll)";
inline constexpr char kTspiBackup[] = R"(C:\Windows\system32\Tspi.bak)";
inline constexpr char kTarget[] = R"(C:\Program Files\Kelo Systems Corp\Toolkit\)";

inline constexpr unsigned kNoAttributes = 4294967295;
inline constexpr unsigned kArchive = 32;
inline constexpr unsigned kFail = 0x80004005;

// A target whose path has `length` characters up to the vendor's folder.
inline std::string TargetOfLength(std::size_t length)
{
    return R"(C:\)" + std::string(length - 4, 'd') + "\\";
}

// The recorded result of a call that returns an HRESULT or another signed status.
inline int Signed(unsigned status)
{
    return static_cast<int>(status);
}

inline const std::string kSystemFolderIsA = FolderIsA(kSystemFolder, R"(C:\Windows\system32)");

// RemoveTSP1File up to the deletion.
inline Script BeginOfRemoval(unsigned slot, const std::string& file, unsigned attributes)
{
    return {"log: RemoveTSP1File - enter " + std::to_string(slot), kSystemFolderIsA,
            Call("GetFileAttributesA", {file}, attributes)};
}

// RemoveTSP1File when it finds the shim and deletes it.
inline Script Removal(unsigned slot)
{
    const std::string file = slot == 2 ? kTspi : kTsp1;
    return {BeginOfRemoval(slot, file, kArchive), Call("DeleteFileA", {file}, 1),
            "log: RemoveTSP1File - Deleted Tsp<x>_x64.dll"};
}

// RemoveTSP1File when it finds nothing.
inline Script RemovalOfNothing(unsigned slot)
{
    const std::string file = slot == 2 ? kTspi : kTsp1;
    const std::string backup = slot == 2 ? kTspiBackup : kTsp1Backup;
    return {BeginOfRemoval(slot, file, kNoAttributes),
            Call("DeleteFileA", {file}, 0),
            "log: RemoveTSP1File - Failed to delete file " + file + ", err: 2",
            Call("DeleteFileA", {backup}, 0),
            Call("MoveFileA", {file, backup}, 0),
            "log: RemoveTSP1File - Failed to move file " + file + ", err: 2",
            "log: RemoveTSP1File - exit"};
}

// ---- Access lists ----

// A trustee of an access list and its access mask.
struct ExpectedAccess
{
    const char* sid;
    int trusteeType;
    unsigned mask;
};

inline constexpr unsigned kGenericRead = 0x80000000;
inline constexpr unsigned kGenericAll = 0x10000000;
inline constexpr int kUnknownTrustee = 0;
inline constexpr int kGroupTrustee = 2;
inline constexpr char kUsers[] = "S-1-5-32-545";
inline constexpr char kAdministrators[] = "S-1-5-32-544";
inline constexpr char kLocalSystem[] = "S-1-5-18";
inline constexpr char kNetworkService[] = "S-1-5-20";

inline std::string MakeSid(unsigned number, unsigned first, unsigned second = 0)
{
    return Call("AllocateAndInitializeSid", {{0, 0, 0, 0, 0, 5}, second == 0 ? 1 : 2, first, second, 0, 0, 0, 0, 0, 0},
                1, {{"pSid", fmt::format("sid#{}", number)}});
}

inline std::string FreeSid(unsigned number)
{
    return Call("FreeSid", {fmt::format("sid#{}", number)});
}

// The list as the set-up's calls pass and return it.
inline winsim::Json AclOf(const std::vector<ExpectedAccess>& list, unsigned inheritance)
{
    winsim::Json acl = winsim::Json::array();
    for (const ExpectedAccess& one : list)
        acl.push_back({{"AceType", 0}, {"AceFlags", inheritance}, {"Mask", one.mask}, {"Sid", one.sid}});
    return acl;
}

inline std::string MakeList(const std::vector<ExpectedAccess>& list, unsigned inheritance)
{
    winsim::Json entries = winsim::Json::array();
    for (const ExpectedAccess& one : list)
        entries.push_back(
            {{"grfAccessPermissions", one.mask},
             {"grfAccessMode", 2},
             {"grfInheritance", inheritance},
             {"Trustee", {{"TrusteeForm", 0}, {"TrusteeType", one.trusteeType}, {"ptstrName", one.sid}}}});
    return Call("SetEntriesInAclW", {list.size(), entries, nullptr}, 0, {{"NewAcl", AclOf(list, inheritance)}});
}

// The list that an object has after it was set.
inline std::vector<ExpectedAccess> Mapped(std::vector<ExpectedAccess> list, const winsim::GenericRights& generic)
{
    for (ExpectedAccess& one : list)
        one.mask = MappedRights(one.mask, generic);
    return list;
}

// The list as the machine keeps it.
inline std::vector<winsim::AccessEntry> EntriesOf(const std::vector<ExpectedAccess>& list, unsigned inheritance,
                                                  const winsim::GenericRights& generic)
{
    std::vector<winsim::AccessEntry> entries;
    for (const ExpectedAccess& one : Mapped(list, generic))
        entries.push_back({one.sid, one.mask, inheritance, false});
    return entries;
}
