// The log module's functions, for tests.
#include "log/install_log.h"
#include "log/log_path.h"
#include "log/platform_event.h"
#include "tests/unit/calls/modules.h"

#include <cstdarg>
#include <cstdint>
#include <windows.h>

namespace
{

bool WriteIndented(InstallLog& log, int indent, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const bool written = log.Write(format, arguments, indent);
    va_end(arguments);
    return written;
}

// The conversion letter of the next placeholder, or zero; `at` then points after it.
char NextConversion(const std::string& format, std::size_t& at)
{
    while ((at = format.find('%', at)) != std::string::npos)
    {
        at = format.find_first_not_of("-+ #.0123456789", at + 1);
        const char conversion = at == std::string::npos ? '\0' : format[at++];
        if (conversion != '%')
            return conversion;
    }
    return '\0';
}

// Arguments: the indent, a format of at most six placeholders, and a value for each of these. Texts and numbers take
// the same room in an argument list.
std::string WriteFormat(const CallArguments& arguments)
{
    constexpr std::size_t kMostPlaceholders = 6;
    const std::string& format = arguments.Text(1);
    std::wstring wide[kMostPlaceholders];
    std::uintptr_t values[kMostPlaceholders] = {};
    std::size_t at = 0;
    for (std::size_t i = 0; i < kMostPlaceholders; ++i)
    {
        const char conversion = NextConversion(format, at);
        if (conversion == '\0')
            break;
        wide[i] = conversion == 'S' ? arguments.Wide(i + 2) : std::wstring();
        values[i] = conversion == 's'   ? reinterpret_cast<std::uintptr_t>(arguments.Text(i + 2).c_str())
                    : conversion == 'S' ? reinterpret_cast<std::uintptr_t>(wide[i].c_str())
                                        : static_cast<std::uintptr_t>(arguments.Number(i + 2));
    }
    InstallLog log{kInstallLogFileName};
    return ResultText(WriteIndented(log, arguments.Number(0), format.c_str(), values[0], values[1], values[2],
                                    values[3], values[4], values[5]));
}

constexpr TestCall kCalls[] = {
    {"WriteFormat", &WriteFormat},
    // A message with the given text, on its own log object.
    {"WriteLog",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         return ResultText(WriteLog(log, "%s", a.Text(0).c_str()));
     }},
    // Two objects log alternately.
    {"WriteLogAlternately",
     [](const CallArguments& a) {
         InstallLog first{kInstallLogFileName};
         InstallLog second{kInstallLogFileName};
         for (std::size_t i = 0; i < a.Count(); ++i)
             WriteLog(i % 2 == 0 ? first : second, "%s", a.Text(i).c_str());
         return std::string();
     }},
    // An object for each file name, all on one path. Each logs its file's name.
    {"WriteToEachFile",
     [](const CallArguments& a) {
         LogPath path;
         for (std::size_t i = 0; i < a.Count(); ++i)
         {
             InstallLog log{a.Text(i).c_str(), &path};
             WriteLog(log, "%s", a.Text(i).c_str());
         }
         return std::string();
     }},
    {"WriteIndented",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         return ResultText(WriteIndented(log, a.Number(0), "%s", a.Text(1).c_str()));
     }},
    // Lines on an object that was opened and closed again. Returns the result of the last one.
    {"WriteAfterClose",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         log.Close();
         bool written = false;
         for (std::size_t i = 0; i < a.Count(); ++i)
             written = WriteLog(log, "%s", a.Text(i).c_str());
         return ResultText(written);
     }},
    // A line, a pause in milliseconds, and another line.
    {"WritePauseWrite",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         WriteLog(log, "before");
         Sleep(static_cast<DWORD>(a.Number(0)));
         return ResultText(WriteLog(log, "after"));
     }},
    // An object is opened a second time, for the same file, before its line.
    {"WriteAfterSecondOpen",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         const bool opened = log.Open(kInstallLogFileName);
         return ResultText(opened) + " " + ResultText(WriteLog(log, "%s", a.Text(0).c_str()));
     }},
    {"CloseTwice",
     [](const CallArguments&) {
         InstallLog log{kInstallLogFileName};
         log.Close();
         log.Close();
         return std::string();
     }},
    // UTF-16 text in a line.
    {"WriteWide",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         return ResultText(WriteLog(log, "%S", a.Wide(0).c_str()));
     }},
    // A line of ANSI text, and one of UTF-16 text after it.
    {"WriteThenWriteWide",
     [](const CallArguments& a) {
         InstallLog log{kInstallLogFileName};
         WriteLog(log, "%s", a.Text(0).c_str());
         return ResultText(WriteLog(log, "%S", a.Wide(1).c_str()));
     }},
    {"WriteEachConversion",
     [](const CallArguments&) {
         InstallLog log{kInstallLogFileName};
         return ResultText(WriteLog(log, "%s|%S|%d|%u|%x|%X|0x%08x|%%", "narrow", L"wide", -1, 4294967295u, 0xBEEFu,
                                    0xBEEFu, 0xC0000035u));
     }},
    {"ReportPlatformEvent",
     [](const CallArguments& a) {
         return ResultText(
             ReportPlatformEvent(a.Wide(0).c_str(), static_cast<DWORD>(a.Number(1)), static_cast<WORD>(a.Number(2))));
     }},
};

} // namespace

std::span<const TestCall> LogCalls()
{
    return kCalls;
}
