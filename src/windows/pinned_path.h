// Paths below a folder that ordinary users may write to, made sure of before they are used by name.
#pragma once

#include "windows/unique_handle.h"

#include <string>
#include <string_view>
#include <vector>

// ERROR_UNTRUSTED_MOUNT_POINT, which older headers lack.
inline constexpr DWORD kUntrustedMountPoint = 448;

// A path that leads where it says: each of its parts below a folder is opened without following a link, is checked, and
// stays open, so that nobody can rename, delete or replace it, for as long as this object lives. Logs nothing.
//
// Each operation returns 0 or the Win32 error of its failure: that of a Windows call, or
//   kUntrustedMountPoint (448)    a part is a link or a mount point
//   ERROR_TOO_MANY_LINKS (1142)   the file has another name
//   ERROR_DIRECTORY (267)         a part is a file where a directory is meant, or the reverse
class PinnedPath
{
public:
    enum class Kind
    {
        File,
        Directory
    };

    // `folder` (UTF-16) is taken as it is; `below` (UTF-16, its parts separated by backslashes) is what is made sure
    // of. `kind` is that of the last part. `access` is asked for in addition when a part is opened.
    PinnedPath(std::wstring folder, std::wstring_view below, Kind kind, DWORD access = 0);

    // Opens and checks each part, from the first that is not open yet (CreateFileW, GetFileInformationByHandle and, on
    // Windows 6.0 and later, GetFinalPathNameByHandleW).
    // ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND when a part is missing; those before it stay open.
    DWORD Pin();

    // Makes the directories that lead to the last part (CreateDirectoryW), and opens and checks them as Pin does.
    DWORD CreateParents();

    // Makes the last part, an empty file (CreateFileW, CREATE_NEW), where Pin found it missing. One that somebody made
    // meanwhile is opened and checked as Pin does.
    DWORD CreateEmptyFile();

    // The parts that are open, the first part first.
    const std::vector<UniqueKernelHandle>& Parts() const { return m_pinned; }

private:
    using GetFinalPathFunction = DWORD(WINAPI*)(HANDLE file, LPWSTR path, DWORD length, DWORD flags);

    DWORD PinNext();
    DWORD Keep(UniqueKernelHandle file);
    DWORD Check(HANDLE file) const;
    bool LeadsElsewhere(HANDLE file, std::wstring_view below) const;

    std::size_t m_folderLength;
    std::vector<std::wstring> m_paths; // of each part, the first part's first
    GetFinalPathFunction m_getFinalPath;
    Kind m_kind;
    DWORD m_access;
    std::vector<UniqueKernelHandle> m_pinned; // of the first parts
};

// Opens what has a path (UTF-16), a file or a directory, without following a link (CreateFileW). Others may read and
// write it, but not rename or delete it if `access` is to data. No handle, with the last error, when that fails.
UniqueKernelHandle OpenItself(const std::wstring& path, DWORD access, DWORD disposition = OPEN_EXISTING);

// Whether an error of PinnedPath says that a part is missing.
bool IsMissing(DWORD error);

// Whether an error of PinnedPath says that a part is not what the path says: a link, a second name, the wrong kind.
bool IsMisleading(DWORD error);
