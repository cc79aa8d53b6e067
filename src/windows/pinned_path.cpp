// Opens the parts of a path one after the other and keeps them open.
#include "windows/pinned_path.h"

#include "windows/library_function.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace
{

// Windows keeps a file from being renamed or deleted only for handles with access to data.
constexpr DWORD kPinningAccess = FILE_READ_DATA | FILE_READ_ATTRIBUTES;

// A call may fail without setting an error: that must not pass for success.
DWORD ErrorOfFailure()
{
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_INVALID_HANDLE;
}

// Both texts end in a zero.
bool EndsWith(std::wstring_view text, std::wstring_view end)
{
    if (text.size() < end.size())
        return false;
    return _wcsicmp(text.data() + text.size() - end.size(), end.data()) == 0;
}

// Windows has the function since 6.0.
template <typename Function>
Function FindGetFinalPath()
{
    const UniqueLibrary library{LoadLibraryA("kernel32.dll")};
    return library ? FindFunction<Function>(library.Get(), "GetFinalPathNameByHandleW") : nullptr;
}

} // namespace

PinnedPath::PinnedPath(std::wstring folder, std::wstring_view below, Kind kind, DWORD access)
    : m_folderLength(folder.size()),
      m_getFinalPath(FindGetFinalPath<GetFinalPathFunction>()),
      m_kind(kind),
      m_access(kPinningAccess | access)
{
    while (!below.empty())
    {
        const std::wstring_view part = below.substr(0, below.find(L'\\'));
        below.remove_prefix(std::min(part.size() + 1, below.size()));
        if (part.empty())
            continue;
        folder.append(L"\\").append(part);
        m_paths.push_back(folder);
    }
}

DWORD PinnedPath::Pin()
{
    while (m_pinned.size() < m_paths.size())
    {
        if (const DWORD error = PinNext(); error != ERROR_SUCCESS)
            return error;
    }
    return ERROR_SUCCESS;
}

DWORD PinnedPath::CreateParents()
{
    while (m_pinned.size() + 1 < m_paths.size())
    {
        DWORD error = PinNext();
        if (IsMissing(error))
        {
            // Another process may be faster. What it made has to pass the check too.
            if (!CreateDirectoryW(m_paths[m_pinned.size()].c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
                return ErrorOfFailure();
            error = PinNext();
        }
        if (error != ERROR_SUCCESS)
            return error;
    }
    return ERROR_SUCCESS;
}

DWORD PinnedPath::CreateEmptyFile()
{
    if (m_pinned.size() + 1 != m_paths.size())
        return ERROR_PATH_NOT_FOUND;
    UniqueKernelHandle file = OpenItself(m_paths.back(), m_access, CREATE_NEW);
    if (file)
        return Keep(std::move(file));
    const DWORD error = ErrorOfFailure();
    return error == ERROR_FILE_EXISTS ? Pin() : error;
}

DWORD PinnedPath::PinNext()
{
    UniqueKernelHandle file = OpenItself(m_paths[m_pinned.size()], m_access);
    if (file)
        return Keep(std::move(file));
    return ErrorOfFailure();
}

DWORD PinnedPath::Keep(UniqueKernelHandle file)
{
    const DWORD error = Check(file.Get());
    if (error == ERROR_SUCCESS)
        m_pinned.push_back(std::move(file));
    return error;
}

DWORD PinnedPath::Check(HANDLE file) const
{
    const std::wstring& path = m_paths[m_pinned.size()];
    const bool isLast = m_pinned.size() + 1 == m_paths.size();
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(file, &information))
        return ErrorOfFailure();
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        LeadsElsewhere(file, std::wstring_view(path).substr(m_folderLength)))
        return kUntrustedMountPoint;
    const bool isDirectory = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (isDirectory != (!isLast || m_kind == Kind::Directory))
        return ERROR_DIRECTORY;
    // A directory's links are its own entries, not names that somebody gave it.
    return !isDirectory && information.nNumberOfLinks > 1 ? ERROR_TOO_MANY_LINKS : ERROR_SUCCESS;
}

// Whether the open file's real path differs from the path that it was opened by. When Windows cannot tell the real
// path, the check of the attributes for links has to do.
bool PinnedPath::LeadsElsewhere(HANDLE file, std::wstring_view below) const
{
    if (m_getFinalPath == nullptr)
        return false;
    // Far longer than any path that the program pins, wherever the folder is. What Windows leaves of a path that does
    // not fit may lack a terminator: the last place stays zero.
    wchar_t path[4 * MAX_PATH + 1] = {};
    constexpr DWORD kRoom = std::size(path) - 1;
    const DWORD length = m_getFinalPath(file, path, kRoom, 0);
    if (length == 0)
        return false;
    return length >= kRoom || !EndsWith(path, below);
}

UniqueKernelHandle OpenItself(const std::wstring& path, DWORD access, DWORD disposition)
{
    const HANDLE file = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition,
                                    FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return UniqueKernelHandle{file != INVALID_HANDLE_VALUE ? file : nullptr};
}

bool IsMissing(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool IsMisleading(DWORD error)
{
    return error == kUntrustedMountPoint || error == ERROR_TOO_MANY_LINKS || error == ERROR_DIRECTORY;
}
