// A program that does nothing until it is ended, or for ten minutes:
//   sleeper [LIBRARY]      keeps a library loaded for as long, and makes the file "LIBRARY.loaded" beside itself then
#include <windows.h>

#include <filesystem>
#include <fstream>

int wmain(int argc, wchar_t** argv)
{
    if (argc > 1 && LoadLibraryW(argv[1]) != nullptr)
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        const std::filesystem::path name = std::filesystem::path(argv[1]).filename();
        std::ofstream(std::filesystem::path(path).parent_path() / (name.wstring() + L".loaded"));
    }
    constexpr DWORD kMostMs = 10 * 60 * 1000;
    Sleep(kMostMs);
    return 0;
}
