// Places the shim library in the Windows system directory and takes it out again.
#include "tss/shim_files.h"

#include "log/module_logs.h"
#include "log/operation.h"
#include "windows/full_path.h"

#include <shlobj.h>

#include <iterator>
#include <optional>
#include <string>

namespace
{

constexpr char kShimSource[] = "TSP1-kelo.dll";

constexpr int kNotRemoved = -1;

// File names of one slot.
// Required: the removal and the copy spell the last one in different letter case.
struct SlotNames
{
    const char* removed;
    const char* copied;
    const char* backup;
};

constexpr SlotNames kSlots[] = {
    {"TSP1_x64.dll", "TSP1_x64.dll", "Tsp1.bak"},
    {"TSP1_x64.dll", "TSP1_x64.dll", "Tsp1.bak"},
    {"Tspi_x64.dll", "TSPI_x64.dll", "Tspi.bak"},
};

// Required: an unknown slot adds no file name to the system directory.
constexpr SlotNames kNoNames = {"", "", ""};

const SlotNames& NamesOf(DWORD slot)
{
    return slot < std::size(kSlots) ? kSlots[slot] : kNoNames;
}

// The system directory, with a backslash at the end.
std::optional<std::string> SystemDirectory()
{
    char directory[MAX_PATH] = {};
    // Required: any result but E_FAIL counts as success.
    if (SHGetFolderPathA(nullptr, CSIDL_SYSTEM, nullptr, SHGFP_TYPE_CURRENT, directory) == E_FAIL)
        return std::nullopt;
    return std::string(directory) + "\\";
}

void LogCopyFailure(const std::string& source, const std::string& destination, DWORD error)
{
    if (error == ERROR_FILE_NOT_FOUND)
        WriteLog(g_tssLog, "%s not found, unable to copy to %s", source.c_str(), destination.c_str());
    else
        WriteLog(g_tssLog, "%s unable to copy to %s err: %d", source.c_str(), destination.c_str(), error);
}

// Moves a file that cannot be deleted to its backup name.
int MoveToBackup(const std::string& file, const std::string& backup)
{
    if (!DeleteFileA(backup.c_str()))
    {
        const DWORD error = GetLastError();
        if (error != ERROR_FILE_NOT_FOUND)
            WriteLog(g_tssLog, "RemoveTSP1File - Unable to remove .bak file, err: %d", error);
    }
    if (!MoveFileA(file.c_str(), backup.c_str()))
    {
        WriteLog(g_tssLog, "RemoveTSP1File - Failed to move file %s, err: %d", file.c_str(), GetLastError());
        WriteLog(g_tssLog, "RemoveTSP1File - exit");
        return kNotRemoved;
    }
    WriteLog(g_tssLog, "RemoveTSP1File - Moved Tsp<x>_x64.dll to %s", backup.c_str());
    return 1;
}

int RemoveShim(DWORD slot)
{
    WriteLog(g_tssLog, "RemoveTSP1File - enter %d", slot);
    const auto system = SystemDirectory();
    if (!system)
    {
        WriteLog(g_tssLog, "RemoveTSP1File - Unable to get path to SYSTEM32");
        return 2;
    }
    const std::string file = *system + NamesOf(slot).removed;
    const std::string backup = *system + NamesOf(slot).backup;

    // Required: only zero counts as a failure; a missing file is handled as one that cannot be deleted.
    if (GetFileAttributesA(file.c_str()) == 0)
    {
        WriteLog(g_tssLog, "RemoveTSP1File - Failed to get Attributes for %s, err: %d", file.c_str(), GetLastError());
        return 0;
    }
    if (DeleteFileA(file.c_str()))
    {
        WriteLog(g_tssLog, "RemoveTSP1File - Deleted Tsp<x>_x64.dll");
        return 0;
    }
    WriteLog(g_tssLog, "RemoveTSP1File - Failed to delete file %s, err: %d", file.c_str(), GetLastError());
    return MoveToBackup(file, backup);
}

bool CopyShim(const char* target, const char* vendor, DWORD slot)
{
    WriteLog(g_tssLog, "Copying Kelo \"Shim\" TSP<x>_x64.dll to System32 Directory");
    const std::string source = std::string(target) + vendor + "\\" + kShimSource;
    const auto system = SystemDirectory();
    if (!system)
    {
        WriteLog(g_tssLog, "Unable to get path to SYSTEM32");
        return false;
    }
    const std::string destination = *system + NamesOf(slot).copied;

    // Otherwise the source would be looked for in the current directory.
    if (!IsFullPath(target))
    {
        LogCopyFailure(source, destination, ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    if (!CopyFileA(source.c_str(), destination.c_str(), TRUE))
    {
        LogCopyFailure(source, destination, GetLastError());
        return false;
    }
    WriteLog(g_tssLog, "Copied %s to %s", source.c_str(), destination.c_str());
    return true;
}

} // namespace

int RemoveTSP1File(DWORD slot)
{
    return RunOperation(g_tssLog, "RemoveTSP1File", kNotRemoved, [slot] { return RemoveShim(slot); });
}

bool CopyShimFile(const char* target, const char* vendor, DWORD slot)
{
    return RunOperation(g_tssLog, "CopyShimFile", false, [=] { return CopyShim(target, vendor, slot); });
}
