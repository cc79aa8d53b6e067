// A library that stays with a process to its end, and notes in "exit_witness.log" beside it what error mode the process
// ends with.
#include <windows.h>

#include <filesystem>
#include <fstream>

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*)
{
    if (reason != DLL_PROCESS_DETACH)
        return TRUE;
    wchar_t path[1024] = {};
    GetModuleFileNameW(library, path, 1024);
    std::ofstream(std::filesystem::path(path).replace_extension(L".log"), std::ios::app | std::ios::binary)
        << "error mode " << GetErrorMode() << "\n";
    return TRUE;
}
