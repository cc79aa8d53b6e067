// Runs Windows Installer, and takes from its log the names of the actions alone.
#include "describe/windows_text.h"
#include "proof/run_program.h"
#include "proof/steps.h"

#include <windows.h>

#include <shlobj.h>

#include <cwctype>
#include <sstream>

namespace proof
{

namespace
{

constexpr DWORD kInstallationLimitMs = 15 * 60 * 1000;

std::wstring InstallLog()
{
    return StandardFolder(CSIDL_COMMON_APPDATA) + L"\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt";
}

// The lines that a run added to the install log.
Json AddedLines(const std::string& before)
{
    const std::string after = ReadBytes(InstallLog());
    if (!after.starts_with(before))
        throw StepError("the install log was replaced");
    Json lines = Json::array();
    std::istringstream text(after.substr(before.size()));
    for (std::string line; std::getline(text, line);)
    {
        if (line.ends_with('\r'))
            line.pop_back();
        lines.push_back(Reported(FromAnsi(line)));
    }
    return lines;
}

// The installer's own log: in UTF-16 with a byte order mark, or, on Wine, in the ANSI code page.
std::wstring ReadInstallersLog(const std::wstring& path)
{
    const std::string bytes = ReadBytes(path);
    if (!bytes.starts_with("\xFF\xFE"))
        return FromAnsi(bytes);
    std::wstring text;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
        text +=
            static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    return text;
}

// The identifier that begins at a place of a line.
std::string NameAt(const std::wstring& line, std::size_t begin)
{
    std::size_t end = begin;
    while (end < line.size() && line[end] < 0x80 && (std::iswalnum(line[end]) || line[end] == L'_'))
        ++end;
    return describe::FromWide(line.substr(begin, end - begin));
}

// The names after a text in the lines of the installer's log.
Json NamesAfter(const std::wstring& log, const std::wstring& text, bool isAtLinesBegin)
{
    Json names = Json::array();
    std::wistringstream lines(log);
    for (std::wstring line; std::getline(lines, line);)
    {
        const std::size_t place = line.find(text);
        if (place == std::wstring::npos || (isAtLinesBegin && place != 0))
            continue;
        // After "Action start" comes the time.
        const std::size_t begin = isAtLinesBegin ? line.find(L": ", place) : place + text.size();
        if (begin != std::wstring::npos)
            names.push_back(NameAt(line, isAtLinesBegin ? begin + 2 : begin));
    }
    return names;
}

// On Windows, these lines are the same in every language; Wine writes only the line that Windows translates.
Json Actions(const std::wstring& log)
{
    const Json begun = NamesAfter(log, L"Doing action: ", false);
    return begun.empty() ? NamesAfter(log, L"Action start ", true) : begun;
}

} // namespace

Json RunInstaller(const Words& arguments)
{
    const std::wstring work = WorkFolder();
    // The installer works as LocalSystem, for which the kit's own folder may be out of reach.
    const std::wstring package = work + L"\\" + arguments.at(1);
    if (!CopyFileW(InKit(arguments.at(1)).c_str(), package.c_str(), FALSE))
        throw WindowsError(describe::FromWide(arguments.at(1)), GetLastError());
    const std::wstring log = work + L"\\installer.log";
    DeleteFileW(log.c_str());

    std::wstring commandLine = Quoted(StandardFolder(CSIDL_SYSTEM) + L"\\msiexec.exe") + L" " + arguments.at(0) + L" " +
                               Quoted(package) + L" /qn /norestart /l*v " + Quoted(log);
    Json properties = Json::array();
    for (std::size_t i = 2; i < arguments.size(); ++i)
    {
        commandLine += L" " + arguments[i];
        properties.push_back(describe::FromWide(arguments[i]));
    }
    const std::string before = ReadBytes(InstallLog());
    const auto exitCode = RunProgram(commandLine, work, kInstallationLimitMs);
    if (!exitCode)
        throw StepError("msiexec does not end");
    Json record = {{"switch", describe::FromWide(arguments.at(0))},
                   {"package", describe::FromWide(arguments.at(1))},
                   {"properties", properties},
                   {"exitCode", *exitCode},
                   {"actions", Actions(ReadInstallersLog(log))},
                   {"log", AddedLines(before)}};
    DeleteFileW(log.c_str());
    return record;
}

} // namespace proof
