// Copies the detection library into the Windows system directory.
#include "tss/copy_tcg_dll.h"

#include "platform/exception_guard.h"
#include "tss/probe_library_path.h"
#include "tss/tss_log.h"

#include <windows.h>

namespace
{

constexpr char kSystemFolder[] = "\\system32";
constexpr char kBackupFile[] = "\\stkprobe.bk1";

BoundedPath WindowsDirectory()
{
    char directory[BoundedPath::kSize] = {};
    UINT length = GetEnvironmentVariableA("windir", directory, sizeof directory);
    if (length == 0)
        length = GetWindowsDirectoryA(directory, sizeof directory);
    // A directory that does not fit gives its length alone.
    return length < sizeof directory ? BoundedPath{directory} : BoundedPath{};
}

void LogCopyFailure(const BoundedPath& source, const BoundedPath& destination, DWORD error)
{
    WriteLog(g_tssLog, "CopyTCGDLL - Copying %s to %s failed err: %d", source.Get(), destination.Get(), error);
}

bool Copy(const BoundedPath& source, const BoundedPath& destination)
{
    return CopyFileA(source.Get(), destination.Get(), FALSE) != FALSE;
}

// Moves a file that is in use out of the way. Failures are logged, and the copy is tried again all the same.
void MoveAside(const BoundedPath& file, const BoundedPath& backup)
{
    if (!DeleteFileA(backup.Get()))
        WriteLog(g_tssLog, "CopyTCGDLL - Unable to Delete %s rc: %d", backup.Get(), GetLastError());
    if (!MoveFileA(file.Get(), backup.Get()))
        WriteLog(g_tssLog, "CopyTCGDLL - Unable to rename %s to %s rc: %d", file.Get(), backup.Get(), GetLastError());
}

void CopyProbeLibrary(const char* target, const char* vendor)
{
    WriteLog(g_tssLog, "CopyTCGDLL - Copying stkprobe.dll to system32 folder");
    const BoundedPath folder = WindowsDirectory().Append(kSystemFolder);
    const BoundedPath backup = BoundedPath{folder}.Append(kBackupFile);
    const BoundedPath destination = BoundedPath{folder}.Append(kProbeLibraryFile);
    const BoundedPath source = ProbeLibraryPath(target, vendor);
    // The backup's path fits where the destination's does.
    static_assert(sizeof kBackupFile == sizeof kProbeLibraryFile);
    if (source.IsEmpty() || destination.IsEmpty())
    {
        LogCopyFailure(source, destination, ERROR_FILENAME_EXCED_RANGE);
        return;
    }

    if (Copy(source, destination))
    {
        WriteLog(g_tssLog, "Copied stkprobe.dll successfully");
        return;
    }
    LogCopyFailure(source, destination, GetLastError());
    MoveAside(destination, backup);
    if (Copy(source, destination))
        WriteLog(g_tssLog, "CopyTCGDLL - Copied file %s to %s", source.Get(), destination.Get());
    else
        WriteLog(g_tssLog, "CopyTCGDLL - Unable to copy file %s to %s rc: %d", source.Get(), destination.Get(),
                 GetLastError());
}

} // namespace

int CopyTCGDLL(const char* target, const char* vendor)
{
    if (!CallGuarded([=] { CopyProbeLibrary(target, vendor); }))
        WriteLog(g_tssLog, "Unknown exception caught trying to copy stkprobe.dll");
    return 0;
}
