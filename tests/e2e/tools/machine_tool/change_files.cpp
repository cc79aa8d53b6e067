// Makes files and links.
#include "tests/e2e/tools/machine_tool/verbs.h"
#include "tests/support/test_text.h"

#include <windows.h>

#include <filesystem>
#include <fstream>

namespace
{

void MakeFolderOf(const std::filesystem::path& path)
{
    std::error_code ignored; // the call that follows fails then
    std::filesystem::create_directories(path.parent_path(), ignored);
}

} // namespace

int CopyToPlace(const Words& words)
{
    MakeFolderOf(words[2]);
    return ExitStatus(CopyFileW(words[1].c_str(), words[2].c_str(), FALSE));
}

int WriteText(const Words& words)
{
    MakeFolderOf(words[1]);
    std::ofstream file(std::filesystem::path(words[1]), std::ios::binary | std::ios::trunc);
    for (std::size_t i = 2; i < words.size(); ++i)
        file << (i > 2 ? "\n" : "") << Utf8OfWide(words[i]);
    return file.flush() ? 0 : ERROR_WRITE_FAULT;
}

int MakeLink(const Words& words)
{
    using CreateLink = BOOLEAN WINAPI(LPCWSTR, LPCWSTR, DWORD);
    const FARPROC function = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateSymbolicLinkW");
    if (function == nullptr)
        return 0; // Windows has symbolic links since 6.0
    MakeFolderOf(words[1]);
    constexpr DWORD kFolder = 1; // SYMBOLIC_LINK_FLAG_DIRECTORY
    const auto create = reinterpret_cast<CreateLink*>(reinterpret_cast<void*>(function));
    return ExitStatus(create(words[1].c_str(), words[2].c_str(), words[3] == L"folder" ? kFolder : 0));
}

int MakeHardLink(const Words& words)
{
    MakeFolderOf(words[1]);
    return ExitStatus(CreateHardLinkW(words[1].c_str(), words[2].c_str(), nullptr));
}
