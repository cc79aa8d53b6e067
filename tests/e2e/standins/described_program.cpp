// A program that ends as it is described: its exit code is the number in the registry under its arguments, or under no
// name when there is none for these. The smart-card readers that it leaves behind, if it does, stand there too. Its
// command lines are noted in "runs.txt" beside it, and the folders that it ran in in "folders.txt".
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

// What stands behind the program in the command line, which names it with or without quotation marks.
std::wstring ArgumentsOf(const std::wstring& commandLine, const std::wstring& ownPath)
{
    std::size_t end = std::wstring::npos;
    if (commandLine.starts_with(L'"'))
        end = commandLine.find(L'"', 1) + 1;
    else if (commandLine.starts_with(ownPath))
        end = ownPath.size();
    const std::size_t begin = commandLine.find_first_not_of(L' ', end);
    return begin == std::wstring::npos ? std::wstring() : commandLine.substr(begin);
}

bool FindExitCode(const std::wstring& name, const std::wstring& arguments, DWORD& exitCode)
{
    DWORD size = sizeof exitCode;
    return RegGetValueW(HKEY_LOCAL_MACHINE, (kKey + name).c_str(), arguments.c_str(), RRF_RT_REG_DWORD, nullptr,
                        &exitCode, &size) == ERROR_SUCCESS;
}

// The readers that the run leaves behind are those of the stand-in for the resource manager from then on.
void ChangeReaders(const std::wstring& name, const std::wstring& arguments)
{
    const std::wstring key = kKey + name;
    const std::wstring value = arguments + L" readers";
    DWORD size = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), value.c_str(), RRF_RT_REG_MULTI_SZ, nullptr, nullptr, &size) != 0)
        return;
    std::wstring readers(size / sizeof(wchar_t), L'\0');
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), value.c_str(), RRF_RT_REG_MULTI_SZ, nullptr, readers.data(), &size);
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, (kKey + std::wstring(L"winscard.dll")).c_str(), L"readers", REG_MULTI_SZ,
                    readers.data(), size);
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
    const std::filesystem::path path = OwnPath();
    const std::wstring commandLine = GetCommandLineW();
    const auto note = [&](const char* file, const std::wstring& line) {
        std::ofstream(path.parent_path() / file, std::ios::app | std::ios::binary) << Utf8(line) << "\n";
    };
    note("runs.txt", commandLine);
    note("folders.txt", std::filesystem::current_path().wstring());

    DWORD exitCode = 0;
    const std::wstring name = path.filename().wstring();
    const std::wstring arguments = ArgumentsOf(commandLine, path.wstring());
    if (!FindExitCode(name, arguments, exitCode))
        FindExitCode(name, L"", exitCode);
    ChangeReaders(name, arguments);
    return static_cast<int>(exitCode);
}
