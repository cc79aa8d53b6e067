// A program that ends as it is described: its exit code is the number in the registry under its arguments, or under no
// name when there is none for these. How long it runs, if it takes its time, and the path of the script in which
// machine_tool finds what it does to the machine, if it does, stand there too; when that fails, its exit code is this
// program's. Its command lines are noted in "runs.txt" beside it, and the folders that it ran in in "folders.txt".
// Started for a service, it is that service's program.
#include "tests/e2e/standins/service_role.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace
{

constexpr wchar_t kKey[] = L"SOFTWARE\\KeloStandIns\\";

std::filesystem::path OwnPath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

// What stands behind the program in the command line, which names it with or without quotation marks, or not at all.
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

bool FindNumber(const std::wstring& name, const std::wstring& value, DWORD& number)
{
    DWORD size = sizeof number;
    return RegGetValueW(HKEY_LOCAL_MACHINE, (kKey + name).c_str(), value.c_str(), RRF_RT_REG_DWORD, nullptr, &number,
                        &size) == ERROR_SUCCESS;
}

// Returns machine_tool's exit code; 0 when there is nothing to do.
DWORD ChangeMachine(const std::wstring& name, const std::wstring& arguments)
{
    wchar_t script[MAX_PATH] = {};
    DWORD size = sizeof script;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, (kKey + name).c_str(), (arguments + L" effects").c_str(), RRF_RT_REG_SZ,
                     nullptr, script, &size) != ERROR_SUCCESS)
        return 0;
    std::wstring commandLine = std::wstring(L"C:\\KeloStandIns\\machine_tool.exe script \"") + script + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return GetLastError();
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0;
    return GetExitCodeProcess(process.hProcess, &status) ? status : GetLastError();
}

std::string Utf8(const std::wstring& text)
{
    std::string utf8(text.size() * 3, '\0');
    utf8.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                     utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

} // namespace

int wmain()
{
    if (IsStartedAsService())
        return RunAsService();

    const std::filesystem::path path = OwnPath();
    const std::wstring commandLine = GetCommandLineW();
    const auto note = [&](const char* file, const std::wstring& line) {
        std::ofstream(path.parent_path() / file, std::ios::app | std::ios::binary) << Utf8(line) << "\n";
    };
    note("runs.txt", commandLine);
    note("folders.txt", std::filesystem::current_path().wstring());

    DWORD exitCode = 0;
    const std::wstring name = path.filename().wstring();
    std::wstring arguments = ArgumentsOf(commandLine, path.wstring());
    if (!FindNumber(name, arguments, exitCode))
    {
        arguments.clear();
        FindNumber(name, arguments, exitCode);
    }
    DWORD runMs = 0;
    FindNumber(name, arguments + L" runMs", runMs);
    Sleep(runMs);
    const DWORD failure = ChangeMachine(name, arguments);
    return static_cast<int>(failure != 0 ? failure : exitCode);
}
