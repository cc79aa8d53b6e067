// Copies the detection library into the Windows system directory.
#include "tss/copy_tcg_dll.h"

#include "log/module_logs.h"
#include "tss/probe_library_path.h"
#include "windows/exception_guard.h"
#include "windows/full_path.h"
#include "windows/pinned_path.h"
#include "windows/text.h"
#include "windows/trusted_owner.h"

#include <windows.h>

#include <algorithm>

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
    // A directory that does not fit is not written; only its length is returned.
    return length < sizeof directory ? BoundedPath{directory} : BoundedPath{};
}

// The directories of a path on a drive.
PinnedPath DirectoriesOf(const BoundedPath& path)
{
    constexpr std::size_t kDriveLength = 2;
    const std::wstring wide = ToWide(path.Get());
    const std::size_t drive = std::min(wide.size(), kDriveLength);
    return {wide.substr(0, drive), wide.substr(drive), PinnedPath::Kind::Directory, READ_CONTROL};
}

// The environment names the directory: 0 when it may be written to, or a Win32 error when it is on no drive, a link, or
// an ordinary user's. A missing directory is left to the copy, which fails.
DWORD Check(PinnedPath& directories, const BoundedPath& path)
{
    if (!IsPathOnDrive(path.Get()))
        return ERROR_FILENAME_EXCED_RANGE;
    DWORD error = directories.Pin();
    // A path that cannot be converted has no parts to check.
    if (error == ERROR_SUCCESS && directories.Parts().empty())
        return ERROR_NO_UNICODE_TRANSLATION;
    for (const UniqueKernelHandle& directory : directories.Parts())
    {
        if (error == ERROR_SUCCESS || IsMissing(error))
            error = CheckOwner(directory.Get());
    }
    return IsMissing(error) ? ERROR_SUCCESS : error;
}

void LogCopyFailure(const BoundedPath& source, const BoundedPath& destination, DWORD error)
{
    WriteLog(g_tssLog, "CopyTCGDLL - Copying %s to %s failed err: %d", source.Get(), destination.Get(), error);
}

bool Copy(const BoundedPath& source, const BoundedPath& destination)
{
    return CopyFileA(source.Get(), destination.Get(), FALSE) != FALSE;
}

// Moves a file that is in use out of the way. The copy is tried again even if that fails.
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
    PinnedPath directories = DirectoriesOf(folder);
    if (const DWORD error = Check(directories, folder); error != ERROR_SUCCESS)
    {
        LogCopyFailure(source, destination, error);
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
