// Runs the device installer, a program of its own.
#include "log/module_logs.h"
#include "log/operation.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/child_process.h"
#include "windows/fill_pattern.h"
#include "windows/full_path.h"
#include "windows/text.h"

namespace
{

constexpr DWORD kFlags = CREATE_NO_WINDOW | CREATE_DEFAULT_ERROR_MODE;

int NotStarted(DWORD error)
{
    WriteLog(g_smartcardLog, "Kelo Toolkit Installation -> Failed to launch DriverStager rc: %d", error);
    return CTPMSmartCard::kNotStarted;
}

int Run(const std::wstring& folder, std::wstring_view arguments)
{
    // Required: the folder ends in a backslash too; Windows takes both as one.
    std::wstring commandLine = FillPattern(L"\"%s\\DriverStager.exe\" %s", {folder, arguments});
    WriteLog(g_smartcardLog, "%s", ToNarrow(commandLine).c_str());

    // A removal without any location has a folder that is not a full path. It would lead to the root of the current
    // drive: no program is run from there.
    if (!IsFullPath(folder))
        return NotStarted(ERROR_PATH_NOT_FOUND);
    const auto installer = ChildProcess::Start({nullptr, commandLine.data(), kFlags, folder.c_str()});
    if (!installer)
        return NotStarted(GetLastError());
    WriteLog(g_smartcardLog, "Kelo Toolkit Installation -> DriverStager has been started, PID: %d TID: %d",
             installer->ProcessId(), installer->ThreadId());
    installer->WaitForEnd();
    const DWORD exitCode = installer->ExitCode().value_or(0);
    WriteLog(g_smartcardLog, "  DriverStager process PID: %d completed with Exit code: %d", installer->ProcessId(),
             exitCode);
    return 0;
}

} // namespace

int CTPMSmartCard::RunDriverStager(const std::wstring& folder, std::wstring_view arguments)
{
    return RunOperation(g_smartcardLog, "CTPMSmartCard::RunDriverStager", kNotStarted,
                        [&folder, arguments] { return Run(folder, arguments); });
}
