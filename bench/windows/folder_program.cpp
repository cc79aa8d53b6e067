// The floor of a run that writes to a log in Windows' own folder for application data: a program that only splits its
// command line and asks for the folder, as every run must. Both are functions of the shell's library.
#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    int count = 0;
    LocalFree(CommandLineToArgvW(GetCommandLineW(), &count));
    char folder[MAX_PATH] = {};
    return SUCCEEDED(SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder)) ? 0 : 1;
}
