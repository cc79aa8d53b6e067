// Starts a program and waits for its end.
#include "proof/run_program.h"

#include "describe/windows_text.h"
#include "proof/kit.h"
#include "src/windows/unique_handle.h"

#include <windows.h>

namespace proof
{

std::wstring Quoted(const std::wstring& word)
{
    return L"\"" + word + L"\"";
}

std::optional<unsigned long> RunProgram(std::wstring commandLine, const std::wstring& folder, unsigned long limitMs)
{
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const UniqueKernelHandle nothing{
        CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr)};
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = startup.hStdOutput = startup.hStdError = nothing.Get();
    PROCESS_INFORMATION started{};
    const std::string shown = Reported(commandLine);
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, folder.c_str(),
                        &startup, &started))
        throw WindowsError(shown + " cannot be started", GetLastError());
    const UniqueKernelHandle thread{started.hThread};
    const UniqueKernelHandle process{started.hProcess};
    if (WaitForSingleObject(process.Get(), limitMs) != WAIT_OBJECT_0)
    {
        TerminateProcess(process.Get(), ERROR_TIMEOUT);
        return std::nullopt;
    }
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(process.Get(), &exitCode))
        throw WindowsError(shown, GetLastError());
    return exitCode;
}

} // namespace proof
