// A program that does nothing until it is ended, or for ten minutes:
//   sleeper [LIBRARY]      keeps a library loaded for as long, and then makes the file "LIBRARY.loaded" beside itself
#include "tests/e2e/standins/own_files.h"

#include "standin_names.h"

#include <windows.h>

#include <filesystem>
#include <fstream>

int wmain(int argc, wchar_t** argv)
{
    if (argc > 1 && LoadLibraryW(argv[1]) != nullptr)
    {
        const std::wstring name = std::filesystem::path(argv[1]).filename().wstring() + names::kLoadedEnding;
        std::ofstream(Beside(name.c_str()));
    }
    constexpr DWORD kMostMs = 10 * 60 * 1000;
    Sleep(kMostMs);
    return 0;
}
