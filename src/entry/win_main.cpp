// The entry point of the program.
#include "entry/run_custom_action.h"
#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <windows.h>

#include <shellapi.h>

namespace
{

int Run()
{
    int argc = 0;
    const UniqueHandle<wchar_t**, &LocalFree> argv{CommandLineToArgvW(GetCommandLineW(), &argc)};
    if (!argv)
        return -1;
    return RunCustomAction(argc, argv.Get());
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    return ResultOr(-1, &Run);
}
