// Finds the kit's folders, reads files, and shows texts.
#include "proof/kit.h"

#include "describe/windows_text.h"

#include <windows.h>

#include <shlobj.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace proof
{

namespace
{

std::wstring Replaced(std::wstring text, const std::wstring& path, std::wstring_view name)
{
    if (path.size() < 4) // a drive
        return text;
    for (std::size_t i = 0; i + path.size() <= text.size();)
    {
        if (CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, text.data() + i, static_cast<int>(path.size()),
                           path.data(), static_cast<int>(path.size())) == CSTR_EQUAL)
        {
            text.replace(i, path.size(), name);
            i += name.size();
        }
        else
            ++i;
    }
    return text;
}

// With a backslash at its end.
std::wstring TemporaryFolder()
{
    wchar_t folder[MAX_PATH + 1] = {};
    if (GetTempPathW(MAX_PATH, folder) == 0)
        throw WindowsError("the folder for temporary files", GetLastError());
    return folder;
}

} // namespace

StepError WindowsError(const std::string& what, unsigned long error)
{
    return StepError(what + ": error " + std::to_string(error));
}

std::wstring KitFolder()
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.rfind(L'\\'));
}

std::wstring WorkFolder()
{
    const std::wstring path = TemporaryFolder() + L"KeloProof";
    if (!CreateDirectoryW(path.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
        throw WindowsError("the folder for temporary files", GetLastError());
    return path;
}

std::wstring InKit(std::wstring_view name)
{
    return KitFolder() + L"\\" + std::wstring(name);
}

std::wstring StandardFolder(int csidl)
{
    wchar_t path[MAX_PATH] = {};
    return SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path) == S_OK ? path : L"";
}

std::string Reported(std::wstring_view text)
{
    // The first two are often in the user's folder, and the first one in a short form of its path.
    std::wstring reported = Replaced(std::wstring(text), TemporaryFolder(), L"<temp>\\");
    reported = Replaced(reported, KitFolder(), L"<kit>");
    return describe::FromWide(Replaced(reported, StandardFolder(CSIDL_PROFILE), L"<profile>"));
}

std::string ReadBytes(const std::wstring& path)
{
    std::ifstream file{std::filesystem::path(path), std::ios::binary};
    return {std::istreambuf_iterator<char>(file), {}};
}

std::wstring FromAnsi(std::string_view bytes)
{
    std::wstring text(bytes.size(), L'\0');
    const int size = static_cast<int>(bytes.size());
    text.resize(static_cast<std::size_t>(
        size == 0 ? 0 : MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.data(), size)));
    return text;
}

bool Exists(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Say(const std::wstring& text)
{
    const std::wstring line = text + L"\r\n";
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD done = 0;
    // The console's code page stays: with another one, an old cmd.exe would lose its place in prove.cmd.
    if (WriteConsoleW(output, line.data(), static_cast<DWORD>(line.size()), &done, nullptr))
        return;
    const std::string bytes = describe::FromWide(line);
    WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr);
}

std::string WineVersion()
{
    using GetVersion = const char*();
    const FARPROC function = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
    return function == nullptr ? "" : reinterpret_cast<GetVersion*>(reinterpret_cast<void*>(function))();
}

} // namespace proof
