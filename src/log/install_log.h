// The install log: one file of text lines that every step of the program appends to.
#pragma once

#include "log/log_format.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <type_traits>

// One module's writer of the install log. All writers append to one file,
// <common application data>\Kelo Systems Corp\InstallLogs\Toolkit\<file name>, and each flushes every line,
// so that lines of different modules interleave in call order. Not for use by more than one thread: the
// buffer that a line is assembled in is shared by all writers.
class InstallLog
{
public:
    // Opens the log with Open(fileName) (ANSI): at once or, in a library image, before its first line, because Windows
    // runs a library's constructors while it holds the loader lock, and the shell must not be called then. The name
    // must live as long as the writer. A failed open leaves the writer silent. Does not throw.
    explicit InstallLog(const char* fileName);
    ~InstallLog();

    InstallLog(const InstallLog&) = delete;
    InstallLog& operator=(const InstallLog&) = delete;

    // Makes the log's folder (SHCreateDirectoryExA) in the folder that SHGetFolderPathA gives for
    // CSIDL_COMMON_APPDATA, and opens fileName (ANSI) in it for appending, shared with every other reader
    // and writer (_fsopen). True when the file is open; false, with nothing remembered, when the first folder has no
    // full path, the log's folder cannot be made, the file cannot be opened, memory runs out, or a part of the path
    // below the first folder is a link, has another name or is of the wrong kind (PinnedPath). Logs nothing.
    bool Open(const char* fileName);

    // Appends one line: date and time (UTC), zone figure, thread identifier, `indent` blanks, and the message,
    // formatted by the rules of printf (ANSI) and cut so that the line has at most 511 characters with its
    // newline. When the file is not open, the remembered path is opened for this line alone, by the rules of
    // Open. True when the line was handed to the file; false when no file could be opened.
    bool Write(const char* format, va_list arguments, int indent);

    // Closes the file, if one is open.
    void Close();

private:
    bool OpenIn(const std::string& appData, const char* fileName);
    std::FILE* OpenForOneLine() const;

    std::FILE* m_pFile = nullptr;
    std::string m_sAppData;                     // the common application-data folder, and
    std::string m_sBelow;                       // the file's path below it, once it was opened
    const char* m_szUnopenedFileName = nullptr; // what the first line has yet to open
};

namespace log_detail
{

// The variadic end of WriteLog. Turns an exception into true.
bool WriteArguments(InstallLog& log, const char* format, ...);

} // namespace log_detail

// Writes one line to the install log: the one logging call of the program. The format is a literal in the
// ANSI code page; the newline at its end may be left out. True when the line was written (or writing it
// threw), false when the log has no file. Never throws.
template <typename... Arguments>
bool WriteLog(InstallLog& log, LogFormat<std::type_identity_t<Arguments>...> format, Arguments... arguments)
{
    return log_detail::WriteArguments(log, format.text, arguments...);
}

// The name of the one log file (ANSI).
inline constexpr char kInstallLogFileName[] = "kelo_install_log.txt";
