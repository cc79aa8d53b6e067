// Paths below a folder that ordinary users may write to, checked and held open before they are used by name.
#pragma once

#include "windows/unique_handle.h"

#include <string>
#include <string_view>
#include <vector>

// ERROR_UNTRUSTED_MOUNT_POINT, which older headers lack.
inline constexpr DWORD kUntrustedMountPoint = 448;

// A path that leads where it says. Each part of it below a folder is opened without following a link, checked, and kept
// open as long as this object lives: nobody can rename, delete or replace it. Logs nothing.
//
// Each operation returns
//   0                             it succeeded
//   kUntrustedMountPoint (448)    a part is a link or a mount point
//   ERROR_TOO_MANY_LINKS (1142)   the file has another name
//   ERROR_DIRECTORY (267)         a part is a file but should be a directory, or the reverse
//   any other Win32 error         a Windows call failed with it
class PinnedPath
{
public:
    enum class Kind
    {
        File,
        Directory
    };

    // `folder` (UTF-16) is trusted; the parts of `below` (UTF-16, separated by backslashes) are pinned. `kind` is that
    // of the last part. Each part is opened with `access` in addition to what pinning needs.
    PinnedPath(std::wstring folder, std::wstring_view below, Kind kind, DWORD access = 0);

    // Opens and checks the parts that are not open yet (CreateFileW, GetFileInformationByHandle and, on Windows 6.0 and
    // later, GetFinalPathNameByHandleW). ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND when a part is missing; the parts
    // before it stay open.
    DWORD Pin();

    // Makes the missing directories before the last part (CreateDirectoryW), and opens and checks them as Pin does.
    DWORD CreateParents();

    // Makes the last part, an empty file that Pin found missing (CreateFileW, CREATE_NEW). A file that another process
    // has made in the meantime is opened and checked as Pin does.
    DWORD CreateEmptyFile();

    // The open parts, in the order of the path.
    const std::vector<UniqueKernelHandle>& Parts() const { return m_pinned; }

private:
    using GetFinalPathFunction = DWORD(WINAPI*)(HANDLE file, LPWSTR path, DWORD length, DWORD flags);

    DWORD PinNext();
    DWORD Keep(UniqueKernelHandle file);
    DWORD Check(HANDLE file) const;
    bool LeadsElsewhere(HANDLE file, std::wstring_view below) const;

    std::size_t m_folderLength;
    std::vector<std::wstring> m_paths; // of each part, in the order of the path
    GetFinalPathFunction m_getFinalPath;
    Kind m_kind;
    DWORD m_access;
    std::vector<UniqueKernelHandle> m_pinned; // of the first parts
};

// Opens a file or a directory by its path (UTF-16) without following a link (CreateFileW). Other processes may read and
// write it meanwhile and, if `access` includes access to data, neither rename nor delete it. No handle, with the last
// error, when that fails.
UniqueKernelHandle OpenItself(const std::wstring& path, DWORD access, DWORD disposition = OPEN_EXISTING);

// Whether an error of PinnedPath says that a part is missing.
bool IsMissing(DWORD error);

// Whether an error of PinnedPath says that a part is not what the path says: a link, a file with a second name, or of
// the wrong kind.
bool IsMisleading(DWORD error);
