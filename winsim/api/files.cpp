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
DWORD GetAttributes(Call call, const Character* fileName)
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
BOOL Delete(Call call, const Character* fileName)
{
    call.In("lpFileName", fileName);
    const FileName name = FileNameOf(fileName, LastLink::Keep);
    return call.SuccessOf([&]() -> DWORD {
        if (const DWORD error = DeleteError(name); error != ERROR_SUCCESS)
            return error;
        Simulation::Current().DeleteName(name.path);
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
    target.program = source.program;
    target.attributes = source.attributes;
}

template <typename Character>
BOOL Copy(Call call, const Character* existing, const Character* copy, BOOL failIfExists)
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

// Whether a path is that of a directory or below it.
bool IsWithin(const std::string& path, const std::string& directory)
{
    const std::string folded = winsim::FoldCase(path);
    const std::string beginning = winsim::FoldCase(directory);
    return folded.starts_with(beginning) && (folded.size() == beginning.size() || folded[beginning.size()] == '\\');
}

// The error that open handles to a file or directory, or to files in it, give to renaming it.
DWORD HeldError(const File& source)
{
    const DWORD error = winsim::UnlinkError(source);
    return error != ERROR_SUCCESS || !source.isDirectory ? error : winsim::OpenBelowError(source);
}

DWORD MoveError(const FileName& from, const FileName& to, DWORD flags)
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
    if (source->isDirectory && IsWithin(to.path, from.path))
        return ERROR_SHARING_VIOLATION;
    const bool isOnOneDrive = winsim::SameName(from.path.substr(0, 2), to.path.substr(0, 2));
    if (!isOnOneDrive && (source->isDirectory || (flags & MOVEFILE_COPY_ALLOWED) == 0))
        return ERROR_NOT_SAME_DEVICE;
    if (target == nullptr)
        return CreateError(to.path);
    if ((flags & MOVEFILE_REPLACE_EXISTING) == 0)
        return ERROR_ALREADY_EXISTS;
    // Even a handle that shares deletion keeps a file from being replaced.
    return winsim::IsFileOpen(*target) ? ERROR_ACCESS_DENIED : DeleteError(to);
}

BOOL Move(Call& call, const FileName& from, const FileName& to, DWORD flags)
{
    if (const DWORD error = MoveError(from, to, flags); error != ERROR_SUCCESS)
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

// The rights that opening a file asks for. MAXIMUM_ALLOWED means those that the file grants.
DWORD AccessOf(const FileName& name, DWORD access)
{
    const DWORD plain = winsim::FileAccessOf(access & ~MAXIMUM_ALLOWED);
    const File* const file = AllFiles().Find(name.path);
    if ((access & MAXIMUM_ALLOWED) == 0 || file == nullptr)
        return plain | ((access & MAXIMUM_ALLOWED) != 0 ? winsim::kFileRights.all : 0);
    return plain |
           file->security.Opened(Simulation::Current().machine.token, MAXIMUM_ALLOWED, winsim::kFileRights).value_or(0);
}

// The volume's serial number: each drive of the simulated machine is a volume.
DWORD VolumeOf(const File& file)
{
    constexpr DWORD kFirstVolume = 0x5AFE0000;
    return kFirstVolume + static_cast<unsigned char>(winsim::FoldCase(file.path.substr(0, 1)).front());
}

// The present path of an open file, with the letters that its name has. Of several names it is the one that the file
// was opened by.
std::string PathOf(const winsim::OpenFile& open)
{
    const File* file = AllFiles().Find(open.path);
    const bool isThere = file != nullptr && file->identity.number == open.file.number;
    if (!isThere)
        file = AllFiles().FindByIdentity(open.file);
    const bool isMainName = file != nullptr && (!isThere || winsim::SameName(file->path, open.path));
    const std::string path = isMainName ? file->path : open.path;
    return path.find('\\') == std::string::npos ? path + "\\" : path; // the root of a drive
}

// Flags that only say how the file will be read and written, which no simulated call does.
constexpr DWORD kHints = 0xF8000000 & ~FILE_FLAG_DELETE_ON_CLOSE; // FILE_FLAG_WRITE_THROUGH, ...
constexpr DWORD kSettable = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
constexpr DWORD kKnownFlags = kHints | kSettable | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL |
                              FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS;

// Makes the file if it is missing, and empties it if its content is replaced.
File& OpenForUse(const FileName& name, const winsim::Opening& opening)
{
    const bool existed = AllFiles().Find(name.path) != nullptr;
    File& file = winsim::OpenOrMake(name.path, false);
    const bool isMade = !existed || opening.disposition == CREATE_ALWAYS;
    if (isMade && (opening.flags & kSettable) != 0)
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
    return GetAttributes(Call{__func__}, lpFileName);
}

DWORD WINAPI GetFileAttributesW(LPCWSTR lpFileName)
{
    return GetAttributes(Call{__func__}, lpFileName);
}

BOOL WINAPI DeleteFileA(LPCSTR lpFileName)
{
    return Delete(Call{__func__}, lpFileName);
}

BOOL WINAPI DeleteFileW(LPCWSTR lpFileName)
{
    return Delete(Call{__func__}, lpFileName);
}

BOOL WINAPI CopyFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName, BOOL bFailIfExists)
{
    return Copy(Call{__func__}, lpExistingFileName, lpNewFileName, bFailIfExists);
}

BOOL WINAPI CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists)
{
    return Copy(Call{__func__}, lpExistingFileName, lpNewFileName, bFailIfExists);
}

BOOL WINAPI MoveFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName)
{
    Call call{__func__};
    call.In("lpExistingFileName", lpExistingFileName).In("lpNewFileName", lpNewFileName);
    return call.ResultOf(FALSE, [&] {
        return Move(call, FileNameOf(lpExistingFileName, LastLink::Keep), FileNameOf(lpNewFileName, LastLink::Keep),
                    MOVEFILE_COPY_ALLOWED);
    });
}

BOOL WINAPI MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags)
{
    Call call{__func__};
    call.In("lpExistingFileName", lpExistingFileName).In("lpNewFileName", lpNewFileName).In("dwFlags", dwFlags);
    return call.ResultOf(FALSE, [&] {
        constexpr DWORD kNotSimulated = MOVEFILE_CREATE_HARDLINK | MOVEFILE_FAIL_IF_NOT_TRACKABLE;
        if ((dwFlags & kNotSimulated) != 0)
            return call.Fail(FALSE, call.NotSimulated("a move that makes a link or has to be tracked"));
        const FileName from = FileNameOf(lpExistingFileName, LastLink::Keep);
        const FileName to = FileNameOf(lpNewFileName, LastLink::Keep);
        if ((dwFlags & MOVEFILE_DELAY_UNTIL_REBOOT) != 0)
            return MoveAtNextStart(call, from, lpNewFileName == nullptr ? nullptr : &to);
        return Move(call, from, to, dwFlags);
    });
}

HANDLE WINAPI CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                          LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                          DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)
{
    Call call{__func__};
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
    if ((dwFlagsAndAttributes & ~kKnownFlags) != 0 || hTemplateFile != nullptr ||
        (lpSecurityAttributes != nullptr && lpSecurityAttributes->lpSecurityDescriptor != nullptr))
        return call.Fail(INVALID_HANDLE_VALUE,
                         call.NotSimulated("these flags, templates, or the security of a new file"));
    const bool opensLink = (dwFlagsAndAttributes & FILE_FLAG_OPEN_REPARSE_POINT) != 0;
    const FileName name = FileNameOf(lpFileName, opensLink ? LastLink::Keep : LastLink::Follow);
    const winsim::Opening opening{AccessOf(name, dwDesiredAccess) | FILE_READ_ATTRIBUTES, dwShareMode,
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
    Call call{__func__};
    call.In("hFile", hFile).Needs(lpFileInformation);
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
    Call call{__func__};
    call.In("hFile", hFile).In("cchFilePath", cchFilePath).In("dwFlags", dwFlags);
    return call.ResultOf(DWORD{0}, [&] {
        const auto* open = call.Find<winsim::OpenFile>(hFile);
        if (open == nullptr)
            return call.Fail(DWORD{0}, ERROR_INVALID_HANDLE);
        if (dwFlags != 0)
            return call.Fail(DWORD{0}, call.NotSimulated("names of volumes and names as they were opened"));
        const std::u16string path = u"\\\\?\\" + winsim::Utf16(PathOf(*open));
        // If the buffer is too small, the result is the needed size: with the terminator, except on Windows Vista.
        // Windows does not say what it leaves in the buffer.
        if (path.size() >= cchFilePath)
        {
            std::copy_n(path.c_str(), cchFilePath, lpszFilePath);
            const bool isVista = Simulation::Current().machine.windows.VersionText() == "6.0";
            return call.Done(static_cast<DWORD>(path.size() + (isVista ? 0 : 1)));
        }
        std::copy_n(path.c_str(), path.size() + 1, lpszFilePath);
        call.Out("lpszFilePath", winsim::Utf8(path));
        return call.Done(static_cast<DWORD>(path.size()));
    });
}
