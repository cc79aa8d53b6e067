// A program that ends as it is described: its exit code is the number in the registry under its arguments, or under no
// name when there is none for these. The registry may also say there how long it runs, and where the script lies by
// which machine_tool changes the machine; when that fails, its exit code is this program's. The program notes its
// command lines and the folders that it ran in beside itself. Started for a service, it is that service's program.
#include "tests/e2e/standins/own_files.h"
#include "tests/e2e/standins/service_role.h"
#include "tests/e2e/standins/settings.h"
#include "tests/support/test_text.h"

#include "standin_names.h"

#include <windows.h>

#include <filesystem>
#include <string>

namespace
{

// The part of the command line after the program, which it names with or without quotation marks, or not at all.
std::wstring ArgumentsOf(const std::wstring& commandLine, const std::wstring& ownPath)
{
    std::size_t end = 0;
    if (commandLine.starts_with(L'"'))
        end = commandLine.find(L'"', 1) + 1;
    else if (commandLine.starts_with(ownPath))
        end = ownPath.size();
    const std::size_t begin = commandLine.find_first_not_of(L' ', end);
    return begin == std::wstring::npos ? std::wstring() : commandLine.substr(begin);
}

// Returns machine_tool's exit code; 0 when there is nothing to do.
DWORD ChangeMachine(const std::wstring& script)
{
    if (script.empty())
        return 0;
    std::wstring commandLine = std::wstring(names::kMachineTool) + L" script \"" + script + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return GetLastError();
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0;
    return GetExitCodeProcess(process.hProcess, &status) ? status : GetLastError();
}

} // namespace

int wmain()
{
    if (IsStartedAsService())
        return RunAsService();

    const std::filesystem::path path = OwnPath();
    const std::wstring commandLine = GetCommandLineW();
    AppendLine(Beside(names::kRuns), Utf8OfWide(commandLine));
    AppendLine(Beside(names::kFolders), Utf8OfWide(std::filesystem::current_path().wstring()));

    const std::wstring name = path.filename().wstring();
    std::wstring arguments = ArgumentsOf(commandLine, path.wstring());
    if (!ReadNumber(name, arguments))
        arguments.clear();
    Sleep(ReadNumber(name, arguments + names::kRunMsEnding).value_or(0));
    const DWORD failure = ChangeMachine(ReadText(name, arguments + names::kEffectsEnding));
    return static_cast<int>(failure != 0 ? failure : ReadNumber(name, arguments).value_or(0));
}
