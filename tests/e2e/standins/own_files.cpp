// Finds files beside a stand-in and writes to them.
#include "tests/e2e/standins/own_files.h"

#include <fstream>

std::filesystem::path OwnPath(HMODULE library)
{
    constexpr DWORD kMostCharacters = 1024;
    wchar_t path[kMostCharacters] = {};
    GetModuleFileNameW(library, path, kMostCharacters);
    return path;
}

std::filesystem::path Beside(const wchar_t* name, HMODULE library)
{
    return OwnPath(library).parent_path() / name;
}

void AppendLine(const std::filesystem::path& file, const std::string& line)
{
    std::ofstream(file, std::ios::app | std::ios::binary) << line << "\n";
}
