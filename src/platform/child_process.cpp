// Runs another program to its end.
#include "platform/child_process.h"

#include "platform/unique_handle.h"

void RunAndWait(const std::wstring& application, std::wstring commandLine)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                        nullptr, &startup, &started))
        return;

    const UniqueKernelHandle thread{started.hThread};
    const UniqueKernelHandle process{started.hProcess};
    WaitForSingleObject(process.Get(), INFINITE);
}
