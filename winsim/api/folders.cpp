// The calls that find the shell's and Windows' folders, and those that make directories.
#include "winsim/api/file_access.h"
#include "winsim/base/text.h"
#include "winsim/machine/files.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "fileapi.h"
#include "shlobj.h"
#include "winbase.h"

#include <algorithm>
#include <string_view>

using winsim::Call;
using winsim::Simulation;

namespace
{

struct KnownFolder
{
    int csidl;
    const char* name; // its key in the machine's description
};

constexpr KnownFolder kKnownFolders[] = {
    {CSIDL_COMMON_APPDATA, "commonAppData"},
    {CSIDL_WINDOWS, "windows"},
    {CSIDL_SYSTEM, "system"},
    {CSIDL_PROGRAM_FILES, "programFiles"},
};

// Finds the path of a folder (UTF-8). Returns
//     S_OK           found
//     E_INVALIDARG   no folder has this number
//     E_FAIL         the machine does not have this folder
HRESULT FindFolder(int csidl, std::string& path)
{
    for (const KnownFolder& known : kKnownFolders)
    {
        if (known.csidl != csidl)
            continue;
        const std::string* found = Simulation::Current().machine.folders.Find(known.name);
        if (found == nullptr)
            return E_FAIL;
        path = *found;
        return S_OK;
    }
    return E_INVALIDARG;
}

// The length limit of a directory's path, with its terminator.
constexpr std::size_t kLongestDirectory = 248;

// Makes a directory and its missing parents one after the other, as the shell does. Returns a Win32 error.
DWORD CreateDirectories(const std::string& path)
{
    const bool isThere = Simulation::Current().machine.files.IsDirectory(path);
    DWORD error = isThere ? ERROR_ALREADY_EXISTS : ERROR_PATH_NOT_FOUND;
    for (std::size_t end = path.find('\\'); end != std::string::npos;)
    {
        end = path.find('\\', end + 1);
        error = winsim::MakeDirectory(winsim::FullName(path.substr(0, end), winsim::LastLink::Keep));
        if (error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS)
            break;
    }
    return error;
}

int CreateDirectoriesAt(Call& call, const std::string& name)
{
    return call.StatusOf([&]() -> DWORD {
        // A path may begin at the root of the current drive, but not be relative to the current directory.
        const bool hasDrive = name.size() >= 2 && name[1] == ':';
        if (!hasDrive && !name.starts_with('\\'))
            return ERROR_BAD_PATHNAME;
        if (winsim::Utf16(name).size() >= kLongestDirectory)
            return ERROR_FILENAME_EXCED_RANGE;
        const winsim::FileName full = winsim::FullName(name);
        return full.error != ERROR_SUCCESS ? full.error : CreateDirectories(full.named);
    });
}

// Finds a folder's path as the shell does: the directory must exist, unless the flags in the folder's number ask for
// making it or for not checking.
HRESULT FindShellFolder(int csidl, std::string& path)
{
    if (const HRESULT result = FindFolder(csidl & ~(CSIDL_FLAG_CREATE | CSIDL_FLAG_DONT_VERIFY), path); FAILED(result))
        return result;
    const bool isThere = Simulation::Current().machine.files.Find(path) != nullptr;
    if (isThere || (csidl & CSIDL_FLAG_DONT_VERIFY) != 0)
        return S_OK;
    const DWORD error = (csidl & CSIDL_FLAG_CREATE) != 0 ? CreateDirectories(path) : winsim::MissingError(path);
    return HRESULT_FROM_WIN32(error);
}

std::string TextFor(const char*, const std::string& utf8)
{
    return Simulation::Current().ToAnsi(utf8);
}

std::u16string TextFor(const char16_t*, const std::string& utf8)
{
    return winsim::Utf16(utf8);
}

// Stores a folder's path as the shell's calls do, in a buffer of MAX_PATH characters.
template <typename Character>
HRESULT TellShellFolder(Call& call, int csidl, Character* buffer)
{
    std::string folder;
    if (const HRESULT result = FindShellFolder(csidl, folder); FAILED(result))
        return result;
    const auto text = TextFor(buffer, folder).substr(0, MAX_PATH - 1);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    call.Out("pszPath", folder);
    return S_OK;
}

template <typename Character>
HRESULT GetShellFolder(Call call, HWND hwnd, int csidl, HANDLE token, DWORD flags, Character* path)
{
    call.In("hwnd", hwnd).In("csidl", csidl).In("hToken", token).In("dwFlags", flags);
    if (path == nullptr)
        return call.Status(static_cast<std::uint32_t>(E_INVALIDARG));
    *path = Character{0};
    return call.StatusOf([&] { return TellShellFolder(call, csidl, path); });
}

// Stores a folder's path in a buffer of `size` characters. Returns its length or, if it does not fit, the size it
// needs.
template <typename Character>
UINT TellFolder(Call call, int csidl, Character* buffer, UINT size)
{
    call.In("uSize", size);
    return call.ResultOf(UINT{0}, [&] {
        std::string folder;
        if (FAILED(FindFolder(csidl, folder)))
            return call.Fail(UINT{0}, ERROR_PATH_NOT_FOUND);
        const auto text = TextFor(buffer, folder);
        if (text.size() >= size)
            return call.Done(static_cast<UINT>(text.size() + 1));
        std::copy_n(text.c_str(), text.size() + 1, buffer);
        call.Out("lpBuffer", folder);
        return call.Done(static_cast<UINT>(text.size()));
    });
}

} // namespace

HRESULT WINAPI SHGetFolderPathA(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags, LPSTR pszPath)
{
    return GetShellFolder(Call{__func__}, hwnd, csidl, hToken, dwFlags, pszPath);
}

HRESULT WINAPI SHGetFolderPathW(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags, LPWSTR pszPath)
{
    return GetShellFolder(Call{__func__}, hwnd, csidl, hToken, dwFlags, pszPath);
}

BOOL WINAPI SHGetSpecialFolderPathW(HWND hwnd, LPWSTR pszPath, int csidl, BOOL fCreate)
{
    Call call{__func__};
    call.In("hwnd", hwnd).In("csidl", csidl).In("fCreate", fCreate);
    *pszPath = u'\0';
    const int folder = fCreate != FALSE ? csidl | CSIDL_FLAG_CREATE : csidl;
    return call.SuccessOf(
        [&] { return FAILED(TellShellFolder(call, folder, pszPath)) ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS; });
}

UINT WINAPI GetWindowsDirectoryA(LPSTR lpBuffer, UINT uSize)
{
    return TellFolder(Call{__func__}, CSIDL_WINDOWS, lpBuffer, uSize);
}

UINT WINAPI GetSystemDirectoryA(LPSTR lpBuffer, UINT uSize)
{
    return TellFolder(Call{__func__}, CSIDL_SYSTEM, lpBuffer, uSize);
}

UINT WINAPI GetSystemDirectoryW(LPWSTR lpBuffer, UINT uSize)
{
    return TellFolder(Call{__func__}, CSIDL_SYSTEM, lpBuffer, uSize);
}

int WINAPI SHCreateDirectoryExA(HWND hwnd, LPCSTR pszPath, const SECURITY_ATTRIBUTES* psa)
{
    Call call{__func__};
    call.In("hwnd", hwnd).In("pszPath", pszPath).In("psa", psa);
    return CreateDirectoriesAt(call, Simulation::Current().FromAnsi(pszPath));
}

int WINAPI SHCreateDirectoryExW(HWND hwnd, LPCWSTR pszPath, const SECURITY_ATTRIBUTES* psa)
{
    Call call{__func__};
    call.In("hwnd", hwnd).In("pszPath", pszPath).In("psa", psa);
    return CreateDirectoriesAt(call, winsim::Utf8(pszPath));
}

BOOL WINAPI CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes)
{
    Call call{__func__};
    call.In("lpPathName", lpPathName).In("lpSecurityAttributes", lpSecurityAttributes);
    return call.SuccessOf([&]() -> DWORD {
        if (lpPathName != nullptr && std::u16string_view(lpPathName).size() >= kLongestDirectory)
            return ERROR_FILENAME_EXCED_RANGE;
        return winsim::MakeDirectory(winsim::FileNameOf(lpPathName, winsim::LastLink::Keep));
    });
}
