// Writes the install log.
#include "log/install_log.h"

#include "log/log_path.h"
#include "windows/full_path.h"
#include "windows/image_kind.h"
#include "windows/result_or.h"

#include <share.h>
#include <utility>
#include <windows.h>

#include <shlobj.h>

namespace
{

constexpr char kHeaderFormat[] = "%04d/%02d/%02d %02d:%02d:%02d.%03d TZ%02d [%04d] %*s";

// A line ends at this length at the latest; a newline and the terminator follow.
constexpr std::size_t kLongestLine = 510;

// Required: all writers share one line buffer. Its last place always holds the terminator.
char g_line[kLongestLine + 2];

// The zone figure of the header, in hours.
// Required: the daylight bias is always added, whether or not it is in force.
int ZoneHours()
{
    TIME_ZONE_INFORMATION zone{};
    GetTimeZoneInformation(&zone);
    return -static_cast<int>(zone.Bias + zone.DaylightBias) / 60;
}

// Appends text to the first `length` characters of the line buffer. Text that does not fit is cut at the longest line;
// text with a character that cannot be written is left out. Returns the new length.
std::size_t AppendFormatted(std::size_t length, const char* format, va_list arguments)
{
    char* end = g_line + length;
    const std::size_t room = sizeof g_line - 1 - length;
    // _vsnprintf terminates a text only if there is room left, and fails in the same way for text that is too long and
    // for a character that it cannot write. Only text that is too long has filled the last place.
    g_line[kLongestLine] = '\0';
    const int written = _vsnprintf(end, room, format, arguments);
    if (written >= 0)
        return length + static_cast<std::size_t>(written);
    const std::size_t newLength = g_line[kLongestLine] != '\0' ? kLongestLine : length;
    g_line[newLength] = '\0';
    return newLength;
}

std::size_t AppendFormatted(std::size_t length, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::size_t newLength = AppendFormatted(length, format, arguments);
    va_end(arguments);
    return newLength;
}

std::size_t AppendHeader(int indent)
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    const int zone = ZoneHours();
    return AppendFormatted(0, kHeaderFormat, now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond,
                           now.wMilliseconds, zone, static_cast<int>(GetCurrentThreadId()), indent, "");
}

// Ends the line in the buffer with one newline, and cuts a line that has no room for it. The line is never empty: it
// has at least its header.
void EndLine(std::size_t length)
{
    if (g_line[length - 1] == '\n')
        return;
    if (length > kLongestLine)
        length = kLongestLine;
    if (g_line[length - 1] != '\n')
        g_line[length++] = '\n';
    g_line[length] = '\0';
}

} // namespace

InstallLog::InstallLog(const char* fileName, LogPath* shared)
{
    if (kImageKind == ImageKind::Library)
        m_szUnopenedFileName = fileName;
    else
        Open(fileName, shared);
}

InstallLog::~InstallLog()
{
    Close();
}

bool InstallLog::Open(const char* fileName, LogPath* shared)
{
    char appData[MAX_PATH] = {};
    SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    // Otherwise the log would be written to the current directory.
    if (!IsFullPath(appData))
        return false;
    LogPath own;
    return ResultOr(false, [&] { return OpenIn(appData, fileName, shared != nullptr ? *shared : own); });
}

bool InstallLog::OpenIn(std::string appData, std::string fileName, LogPath& path)
{
    if (!path.Choose(appData, fileName) || !path.MakeFolder())
        return false;
    std::FILE* file = path.OpenFile();
    if (file == nullptr)
        return false;
    Close();
    m_pFile = file;
    m_sAppData = std::move(appData);
    m_sFileName = std::move(fileName);
    return true;
}

bool InstallLog::Write(const char* format, va_list arguments, int indent)
{
    if (m_szUnopenedFileName != nullptr)
        Open(std::exchange(m_szUnopenedFileName, nullptr));
    std::FILE* file = m_pFile != nullptr ? m_pFile : OpenForOneLine();
    if (file == nullptr)
        return false;

    EndLine(AppendFormatted(AppendHeader(indent), format, arguments));
    std::fputs(g_line, file);
    std::fflush(file);
    if (file != m_pFile)
        std::fclose(file);
    return true;
}

// Required: without a path, a file without a name is opened, which fails.
std::FILE* InstallLog::OpenForOneLine() const
{
    if (m_sFileName.empty())
        return _fsopen("", "a", _SH_DENYNO);
    LogPath path;
    return path.Choose(m_sAppData, m_sFileName) ? path.OpenFile() : nullptr;
}

void InstallLog::Close()
{
    if (m_pFile != nullptr)
        std::fclose(m_pFile);
    m_pFile = nullptr;
}

bool log_detail::WriteArguments(InstallLog& log, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    bool written = true;
    try
    {
        written = log.Write(format, arguments, 0);
    }
    catch (...)
    {
        // A failing log must not fail the step that writes to it.
    }
    va_end(arguments);
    return written;
}
