// Files: attributes, deletion, copies, moves and opening.
#include "winsim/api/file_access.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include "fileapi.h"
#include "winbase.h"

#include <algorithm>

using winsim::Call;
using winsim::CreateError;
using winsim::File;
using winsim::FileName;
using winsim::FileNameOf;
using winsim::Files;
using winsim::Json;
using winsim::LastLink;
using winsim::MayAccess;
using winsim::OpenError;
using winsim::Simulation;

namespace
{

Files& AllFiles()
{
    return Simulation::Current().machine.files;
}

template <typename Character>
DWORD GetAttributes(Call& call, const Character* fileName)
{
    call.In("lpFileName", fileName);
    const FileName name = FileNameOf(fileName, LastLink::Keep);
    return call.ResultOf(INVALID_FILE_ATTRIBUTES, [&] {
        if (name.error != ERROR_SUCCESS)
            return call.Fail(INVALID_FILE_ATTRIBUTES, name.error);
        const File* file = AllFiles().Find(name.path);
        if (file == nullptr)
            return call.Fail(INVALID_FILE_ATTRIBUTES, winsim::MissingError(name.path));
        return call.Done(DWORD{file->Attributes()});
    });
}

DWORD DeleteError(const FileName& name)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return winsim::MissingError(name.path);
    const bool isRefused = file->isDirectory || file->IsReadOnly() || file->isInUse || !MayAccess(*file, DELETE);
    return isRefused ? ERROR_ACCESS_DENIED : winsim::UnlinkError(*file);
}

template <typename Character>
BOOL Delete(Call& call, const Character* fileName)
{
    call.In("lpFileName", fileName);
    const FileName name = FileNameOf(fileName, LastLink::Keep);
    return call.SuccessOf([&]() -> DWORD {
        if (const DWORD error = DeleteError(name); error != ERROR_SUCCESS)
            return error;
        AllFiles().Remove(name.path);
        return ERROR_SUCCESS;
    });
}

// The error of reading a copy's source.
DWORD CopySourceError(const FileName& name)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return winsim::MissingError(name.path);
    if (file->isDirectory || !MayAccess(*file, FILE_READ_DATA))
        return ERROR_ACCESS_DENIED;
    return winsim::SharingError(*file, FILE_READ_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

// The error of writing a copy's target.
DWORD CopyTargetError(const FileName& name, const File* source, bool failIfExists)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    const File* file = AllFiles().Find(name.path);
    if (file == nullptr)
        return CreateError(name.path);
    if (failIfExists)
        return ERROR_FILE_EXISTS;
    // A running program or library is mapped into memory, so its file cannot be overwritten.
    if (file == source || file->isInUse)
        return ERROR_SHARING_VIOLATION;
    const bool isGuarded = (file->Attributes() & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN)) != 0;
    if (file->isDirectory || isGuarded || !MayAccess(*file, FILE_WRITE_DATA))
        return ERROR_ACCESS_DENIED;
    return winsim::SharingError(*file, FILE_WRITE_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE);
}

// A copy gets the file's content and attributes, but keeps its own path and security.
void CopyOver(const File& source, File& target)
{
    target.content = source.content;
    target.size = source.size;
    target.version = source.version;
    target.library = source.library;
    target.attributes = source.attributes;
}

template <typename Character>
BOOL Copy(Call& call, const Character* existing, const Character* copy, BOOL failIfExists)
{
    call.In("lpExistingFileName", existing).In("lpNewFileName", copy).In("bFailIfExists", failIfExists);
    const FileName from = FileNameOf(existing);
    const FileName to = FileNameOf(copy);
    return call.SuccessOf([&]() -> DWORD {
        if (const DWORD error = CopySourceError(from); error != ERROR_SUCCESS)
            return error;
        const File* source = AllFiles().Find(from.path);
        if (const DWORD error = CopyTargetError(to, source, failIfExists != FALSE); error != ERROR_SUCCESS)
            return error;
        CopyOver(*source, winsim::OpenOrMake(to.path, false));
        return ERROR_SUCCESS;
    });
}

// The error that open handles to a file or directory, or to files in it, give to renaming it.
DWORD HeldError(const File& source)
{
    const DWORD error = winsim::UnlinkError(source);
    return error != ERROR_SUCCESS || !source.isDirectory ? error : winsim::OpenBelowError(source);
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
    if (const DWORD error = HeldError(*source); error != ERROR_SUCCESS)
        return error;
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

// Notes a move for the next start of Windows. Only the source must exist.
BOOL MoveAtNextStart(Call& call, const FileName& from, const FileName* to)
{
    if (from.error != ERROR_SUCCESS)
        return call.Fail(FALSE, from.error);
    if (AllFiles().Find(from.path) == nullptr)
        return call.Fail(FALSE, winsim::MissingError(from.path));
    if (to != nullptr && to->error != ERROR_SUCCESS)
        return call.Fail(FALSE, to->error);
    Simulation::Current().machine.pendingMoves.moves.push_back({from.named, to == nullptr ? "" : to->named});
    return call.Done(TRUE);
}

// The volume's serial number: each drive of the simulated machine is a volume.
DWORD VolumeOf(const File& file)
{
    constexpr DWORD kFirstVolume = 0x5AFE0000;
    return kFirstVolume + static_cast<unsigned char>(winsim::FoldCase(file.path.substr(0, 1)).front());
}

// Makes the file if it is missing, and empties it if its content is replaced.
File& OpenForUse(const FileName& name, const winsim::Opening& opening)
{
    constexpr DWORD kSettable = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    const bool existed = AllFiles().Find(name.path) != nullptr;
    File& file = winsim::OpenOrMake(name.path, false);
    if (!existed && (opening.flags & kSettable) != 0)
        file.attributes = FILE_ATTRIBUTE_ARCHIVE | (opening.flags & kSettable);
    if (opening.Replaces())
    {
        file.content.clear();
        file.size.reset();
    }
    return file;
}

} // namespace

DWORD WINAPI GetFileAttributesA(LPCSTR lpFileName)
{
    Call call{"GetFileAttributesA"};
    return GetAttributes(call, lpFileName);
}

DWORD WINAPI GetFileAttributesW(LPCWSTR lpFileName)
{
    Call call{"GetFileAttributesW"};
    return GetAttributes(call, lpFileName);
}

BOOL WINAPI DeleteFileA(LPCSTR lpFileName)
{
    Call call{"DeleteFileA"};
    return Delete(call, lpFileName);
}

BOOL WINAPI DeleteFileW(LPCWSTR lpFileName)
{
    Call call{"DeleteFileW"};
    return Delete(call, lpFileName);
}

BOOL WINAPI CopyFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName, BOOL bFailIfExists)
{
    Call call{"CopyFileA"};
    return Copy(call, lpExistingFileName, lpNewFileName, bFailIfExists);
}

BOOL WINAPI CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists)
{
    Call call{"CopyFileW"};
    return Copy(call, lpExistingFileName, lpNewFileName, bFailIfExists);
}

BOOL WINAPI MoveFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName)
{
    Call call{"MoveFileA"};
    call.In("lpExistingFileName", lpExistingFileName).In("lpNewFileName", lpNewFileName);
    return call.ResultOf(FALSE, [&] {
        return Move(call, FileNameOf(lpExistingFileName, LastLink::Keep), FileNameOf(lpNewFileName, LastLink::Keep),
                    false);
    });
}

BOOL WINAPI MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags)
{
    Call call{"MoveFileExW"};
    call.In("lpExistingFileName", lpExistingFileName).In("lpNewFileName", lpNewFileName).In("dwFlags", dwFlags);
    return call.ResultOf(FALSE, [&] {
        const FileName from = FileNameOf(lpExistingFileName, LastLink::Keep);
        const FileName to = FileNameOf(lpNewFileName, LastLink::Keep);
        if ((dwFlags & MOVEFILE_DELAY_UNTIL_REBOOT) != 0)
            return MoveAtNextStart(call, from, lpNewFileName == nullptr ? nullptr : &to);
        return Move(call, from, to, (dwFlags & MOVEFILE_REPLACE_EXISTING) != 0);
    });
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
    // A fault without an error gives a null handle, which is not the value that reports a failure.
    if (const auto fault = call.Fault())
        return *fault == ERROR_SUCCESS ? call.Done(HANDLE{}) : call.Fail(INVALID_HANDLE_VALUE, *fault);
    const bool opensLink = (dwFlagsAndAttributes & FILE_FLAG_OPEN_REPARSE_POINT) != 0;
    const FileName name = FileNameOf(lpFileName, opensLink ? LastLink::Keep : LastLink::Follow);
    const winsim::Opening opening{winsim::FileAccessOf(dwDesiredAccess) | FILE_READ_ATTRIBUTES, dwShareMode,
                                  dwCreationDisposition, dwFlagsAndAttributes};
    if (const DWORD error = OpenError(name, opening); error != ERROR_SUCCESS)
        return call.Fail(INVALID_HANDLE_VALUE, error);

    const bool existed = AllFiles().Find(name.path) != nullptr;
    const File& file = OpenForUse(name, opening);
    const HANDLE handle =
        Simulation::Current().handles.Open(winsim::OpenFile{file.identity, opening.access, opening.share, name.path});
    const bool saysSo = dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS;
    return call.Fail(handle, existed && saysSo ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
}

BOOL WINAPI GetFileInformationByHandle(HANDLE hFile, LPBY_HANDLE_FILE_INFORMATION lpFileInformation)
{
    Call call{"GetFileInformationByHandle"};
    call.In("hFile", hFile);
    return call.SuccessOf([&]() -> DWORD {
        const auto* open = call.Find<winsim::OpenFile>(hFile);
        const File* file = open == nullptr ? nullptr : AllFiles().FindByIdentity(open->file);
        if (file == nullptr)
            return open == nullptr ? ERROR_INVALID_HANDLE : ERROR_ACCESS_DENIED;
        const std::uint64_t size = file->size.value_or(file->content.size());
        BY_HANDLE_FILE_INFORMATION& information = *lpFileInformation = {};
        information.dwFileAttributes = file->Attributes();
        information.dwVolumeSerialNumber = VolumeOf(*file);
        information.nFileSizeHigh = static_cast<DWORD>(size >> 32);
        information.nFileSizeLow = static_cast<DWORD>(size);
        information.nNumberOfLinks = AllFiles().CountNames(*file);
        information.nFileIndexHigh = static_cast<DWORD>(file->identity.number >> 32);
        information.nFileIndexLow = static_cast<DWORD>(file->identity.number);
        if (call.IsRecording())
            call.Out("lpFileInformation", Json{{"dwFileAttributes", information.dwFileAttributes},
                                               {"dwVolumeSerialNumber", information.dwVolumeSerialNumber},
                                               {"nNumberOfLinks", information.nNumberOfLinks},
                                               {"nFileIndexHigh", information.nFileIndexHigh},
                                               {"nFileIndexLow", information.nFileIndexLow}});
        return ERROR_SUCCESS;
    });
}

DWORD WINAPI GetFinalPathNameByHandleW(HANDLE hFile, LPWSTR lpszFilePath, DWORD cchFilePath, DWORD dwFlags)
{
    Call call{"GetFinalPathNameByHandleW"};
    call.In("hFile", hFile).In("cchFilePath", cchFilePath).In("dwFlags", dwFlags);
    return call.ResultOf(DWORD{0}, [&] {
        const auto* open = call.Find<winsim::OpenFile>(hFile);
        if (open == nullptr)
            return call.Fail(DWORD{0}, ERROR_INVALID_HANDLE);
        const std::u16string path = u"\\\\?\\" + winsim::Utf16(open->path);
        // If the buffer is too small, the result is the needed size with the terminator.
        if (path.size() >= cchFilePath)
            return call.Done(static_cast<DWORD>(path.size() + 1));
        std::copy_n(path.c_str(), path.size() + 1, lpszFilePath);
        call.Out("lpszFilePath", winsim::Utf8(path));
        return call.Done(static_cast<DWORD>(path.size()));
    });
}
