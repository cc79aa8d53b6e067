// Runs another program to its end.
#include "windows/child_process.h"

#include "windows/unique_handle.h"

void RunAndWait(const wchar_t* application, wchar_t* commandLine)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(application, commandLine, nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                        &started))
        return;

    const UniqueKernelHandle thread{started.hThread};
    const UniqueKernelHandle process{started.hProcess};
    WaitForSingleObject(process.Get(), INFINITE);
}
