// Files: attributes, deletion, copies, moves and opening.
#include "winsim/api/file_access.h"
#include "winsim/api/kernel_objects.h"
#include "winsim/core/gate.h"
#include "winsim/core/simulation.h"

#include "fileapi.h"
#include "winbase.h"

using winsim::Call;
using winsim::CreateError;
using winsim::File;
using winsim::FileName;
using winsim::FileNameOf;
using winsim::Files;
using winsim::MayAccess;
using winsim::OpenError;
using winsim::Simulation;

namespace
{

Files& AllFiles()
{
    return Simulation::Current().machine.files;
}

DWORD GetAttributes(Call& call, const FileName& name)
{
    if (const auto fault = call.Fault())
        return call.Fail(INVALID_FILE_ATTRIBUTES, *fault);
    if (name.error != ERROR_SUCCESS)
        return call.Fail(INVALID_FILE_ATTRIBUTES, name.error);
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return call.Fail(INVALID_FILE_ATTRIBUTES, winsim::MissingError(name.path));
    return call.Done(DWORD{file->Attributes()});
}

DWORD DeleteError(const FileName& name)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return winsim::MissingError(name.path);
    const bool isRefused = file->isDirectory || file->IsReadOnly() || file->isInUse || !MayAccess(*file, DELETE);
    return isRefused ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

BOOL Delete(Call& call, const FileName& name)
{
    if (const auto fault = call.Fault())
        return call.Fail(FALSE, *fault);
    if (const DWORD error = DeleteError(name); error != ERROR_SUCCESS)
        return call.Fail(FALSE, error);
    AllFiles().Remove(name.path);
    return call.Done(TRUE);
}

// The error of a copy's reading side.
DWORD CopySourceError(const FileName& name)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return winsim::MissingError(name.path);
    return file->isDirectory || !MayAccess(*file, winsim::kReadData) ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

// The error of a copy's writing side.
DWORD CopyTargetError(const FileName& name, const File* source, bool failIfExists)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return CreateError(name.path);
    if (failIfExists)
        return ERROR_FILE_EXISTS;
    // A file that runs is mapped into memory, which a copy over it would have to change.
    if (file == source || file->isInUse)
        return ERROR_SHARING_VIOLATION;
    const bool isGuarded = (file->Attributes() & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN)) != 0;
    if (file->isDirectory || isGuarded || !MayAccess(*file, winsim::kWriteData))
        return ERROR_ACCESS_DENIED;
    return ERROR_SUCCESS;
}

// A copy takes over what a file is, not where it stands and who may use it.
void CopyOver(const File& source, File& target)
{
    target.content = source.content;
    target.size = source.size;
    target.version = source.version;
    target.library = source.library;
    target.attributes = source.attributes;
}

BOOL Copy(Call& call, const FileName& from, const FileName& to, BOOL failIfExists)
{
    if (const auto fault = call.Fault())
        return call.Fail(FALSE, *fault);
    if (const DWORD error = CopySourceError(from); error != ERROR_SUCCESS)
        return call.Fail(FALSE, error);
    const File* source = AllFiles().Find(from.path);
    if (const DWORD error = CopyTargetError(to, source, failIfExists != FALSE); error != ERROR_SUCCESS)
        return call.Fail(FALSE, error);
    CopyOver(*source, winsim::OpenOrMake(to.path, false));
    return call.Done(TRUE);
}

DWORD MoveError(const FileName& from, const FileName& to, bool mayReplace)
{
    if (from.error != ERROR_SUCCESS)
        return from.error;
    const File* source = AllFiles().Find(from.path);
    if (source == nullptr)
        return winsim::MissingError(from.path);
    if (!MayAccess(*source, DELETE))
        return ERROR_ACCESS_DENIED;
    if (to.error != ERROR_SUCCESS)
        return to.error;
    const File* target = AllFiles().Find(to.path);
    if (target == source)
        return ERROR_SUCCESS;
    if (target == nullptr)
        return CreateError(to.path);
    if (!mayReplace)
        return ERROR_ALREADY_EXISTS;
    return DeleteError(to);
}

BOOL Move(Call& call, const FileName& from, const FileName& to, bool mayReplace)
{
    if (const DWORD error = MoveError(from, to, mayReplace); error != ERROR_SUCCESS)
        return call.Fail(FALSE, error);
    if (AllFiles().Find(to.path) != AllFiles().Find(from.path))
        AllFiles().Remove(to.path);
    AllFiles().Move(from.path, to.path);
    return call.Done(TRUE);
}

// Windows notes the names for its next start. Only the one that is to be moved must be there.
BOOL MoveAtNextStart(Call& call, const FileName& from, const FileName* to)
{
    if (from.error != ERROR_SUCCESS)
        return call.Fail(FALSE, from.error);
    if (AllFiles().Find(from.path) == nullptr)
        return call.Fail(FALSE, winsim::MissingError(from.path));
    if (to != nullptr && to->error != ERROR_SUCCESS)
        return call.Fail(FALSE, to->error);
    Simulation::Current().machine.pendingMoves.moves.push_back({from.path, to == nullptr ? "" : to->path});
    return call.Done(TRUE);
}

} // namespace

DWORD WINAPI GetFileAttributesA(LPCSTR lpFileName)
{
    Call call{"GetFileAttributesA"};
    call.In("lpFileName", lpFileName);
    return GetAttributes(call, FileNameOf(lpFileName));
}

DWORD WINAPI GetFileAttributesW(LPCWSTR lpFileName)
{
    Call call{"GetFileAttributesW"};
    call.In("lpFileName", lpFileName);
    return GetAttributes(call, FileNameOf(lpFileName));
}

BOOL WINAPI DeleteFileA(LPCSTR lpFileName)
{
    Call call{"DeleteFileA"};
    call.In("lpFileName", lpFileName);
    return Delete(call, FileNameOf(lpFileName));
}

BOOL WINAPI DeleteFileW(LPCWSTR lpFileName)
{
    Call call{"DeleteFileW"};
    call.In("lpFileName", lpFileName);
    return Delete(call, FileNameOf(lpFileName));
}

BOOL WINAPI CopyFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName, BOOL bFailIfExists)
{
    Call call{"CopyFileA"};
    call.In("lpExistingFileName", lpExistingFileName)
        .In("lpNewFileName", lpNewFileName)
        .In("bFailIfExists", bFailIfExists);
    return Copy(call, FileNameOf(lpExistingFileName), FileNameOf(lpNewFileName), bFailIfExists);
}

BOOL WINAPI CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists)
{
    Call call{"CopyFileW"};
    call.In("lpExistingFileName", lpExistingFileName)
        .In("lpNewFileName", lpNewFileName)
        .In("bFailIfExists", bFailIfExists);
    return Copy(call, FileNameOf(lpExistingFileName), FileNameOf(lpNewFileName), bFailIfExists);
}

BOOL WINAPI MoveFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName)
{
    Call call{"MoveFileA"};
    call.In("lpExistingFileName", lpExistingFileName).In("lpNewFileName", lpNewFileName);
    if (const auto fault = call.Fault())
        return call.Fail(FALSE, *fault);
    return Move(call, FileNameOf(lpExistingFileName), FileNameOf(lpNewFileName), false);
}

BOOL WINAPI MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags)
{
    Call call{"MoveFileExW"};
    call.In("lpExistingFileName", lpExistingFileName).In("lpNewFileName", lpNewFileName).In("dwFlags", dwFlags);
    if (const auto fault = call.Fault())
        return call.Fail(FALSE, *fault);
    const FileName to = FileNameOf(lpNewFileName);
    if ((dwFlags & MOVEFILE_DELAY_UNTIL_REBOOT) != 0)
        return MoveAtNextStart(call, FileNameOf(lpExistingFileName), lpNewFileName == nullptr ? nullptr : &to);
    return Move(call, FileNameOf(lpExistingFileName), to, (dwFlags & MOVEFILE_REPLACE_EXISTING) != 0);
}

HANDLE WINAPI CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                          LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                          DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)
{
    Call call{"CreateFileW"};
    call.In("lpFileName", lpFileName)
        .In("dwDesiredAccess", dwDesiredAccess)
        .In("dwShareMode", dwShareMode)
        .In("lpSecurityAttributes", lpSecurityAttributes)
        .In("dwCreationDisposition", dwCreationDisposition)
        .In("dwFlagsAndAttributes", dwFlagsAndAttributes)
        .In("hTemplateFile", hTemplateFile);
    // A fault without an error is a result of zero: no handle, and no failure that the value tells of.
    if (const auto fault = call.Fault())
        return *fault == ERROR_SUCCESS ? call.Done(HANDLE{}) : call.Fail(INVALID_HANDLE_VALUE, *fault);
    const FileName name = FileNameOf(lpFileName);
    if (const DWORD error = OpenError(name, dwDesiredAccess, dwCreationDisposition); error != ERROR_SUCCESS)
        return call.Fail(INVALID_HANDLE_VALUE, error);

    const bool existed = AllFiles().Find(name.path) != nullptr;
    File& file = winsim::OpenOrMake(name.path, false);
    if (!existed && (dwFlagsAndAttributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN)) != 0)
        file.attributes =
            FILE_ATTRIBUTE_ARCHIVE | (dwFlagsAndAttributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    if (dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == TRUNCATE_EXISTING)
    {
        file.content.clear();
        file.size.reset();
    }
    const HANDLE handle = Simulation::Current().handles.Open(winsim::kFile, name.path);
    const bool saysSo = dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS;
    return call.Fail(handle, existed && saysSo ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
}
