// Runs the device installer, a program of its own.
#include "log/operation.h"
#include "smartcard/smartcard_log.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/fill_pattern.h"
#include "windows/full_path.h"
#include "windows/text.h"
#include "windows/unique_handle.h"

#include <windows.h>

namespace
{

constexpr int kNotStarted = -2;

// 0 or the Win32 error. A folder that is not a full path, which a removal without any location has, would lead to the
// root of the current drive: it holds no program to run.
DWORD Start(const std::wstring& folder, std::wstring& commandLine, PROCESS_INFORMATION& started)
{
    if (!IsFullPath(folder))
        return ERROR_PATH_NOT_FOUND;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    const bool isStarted =
        CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE,
                       CREATE_NO_WINDOW | CREATE_DEFAULT_ERROR_MODE, nullptr, folder.c_str(), &startup, &started);
    return isStarted ? ERROR_SUCCESS : GetLastError();
}

int Run(const std::wstring& folder, std::wstring_view arguments)
{
    // The folder's own backslash makes two of it here; Windows takes them as one.
    std::wstring commandLine = FillPattern(L"\"%s\\DriverStager.exe\" %s", {folder, arguments});
    WriteLog(g_smartcardLog, "%s", ToNarrow(commandLine).c_str());

    PROCESS_INFORMATION started{};
    if (const DWORD error = Start(folder, commandLine, started); error != ERROR_SUCCESS)
    {
        WriteLog(g_smartcardLog,
                 "Kelo Toolkit Installation -> Failed to launch DriverStager"
                 " rc: %d",
                 error);
        return kNotStarted;
    }
    const UniqueKernelHandle thread{started.hThread};
    const UniqueKernelHandle process{started.hProcess};

    WriteLog(g_smartcardLog, "Kelo Toolkit Installation -> DriverStager has been started, PID: %d TID: %d",
             started.dwProcessId, started.dwThreadId);
    WaitForSingleObject(process.Get(), INFINITE);
    DWORD exitCode = 0;
    GetExitCodeProcess(process.Get(), &exitCode);
    WriteLog(g_smartcardLog, "  DriverStager process PID: %d completed with Exit code: %d", started.dwProcessId,
             exitCode);
    return 0;
}

} // namespace

int CTPMSmartCard::RunDriverStager(const std::wstring& folder, std::wstring_view arguments)
{
    return RunOperation(g_smartcardLog, "CTPMSmartCard::RunDriverStager", kNotStarted,
                        [&folder, arguments] { return Run(folder, arguments); });
}
