// The install log: one file of text lines that every step of the program appends to.
#pragma once

#include "log/log_format.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <type_traits>

class LogPath;

// One module's writer of the install log. All writers append to one file,
// <common application data>\Kelo Systems Corp\InstallLogs\Toolkit\<file name>, and each flushes every line: lines of
// different modules stand in the order of the calls. For one thread only: all writers share one line buffer.
class InstallLog
{
public:
    // Opens the log (ANSI; the text must live as long as the writer): in the program at once with Open(fileName,
    // shared), in the library with Open(fileName) before the first line. Windows runs a library's constructors under
    // the loader lock, when the shell must not be called. A failed open leaves the writer silent. Does not throw.
    explicit InstallLog(const char* fileName, LogPath* shared = nullptr);
    ~InstallLog();

    InstallLog(const InstallLog&) = delete;
    InstallLog& operator=(const InstallLog&) = delete;

    // Makes the log's folder (SHCreateDirectoryExA) below the common application-data folder (SHGetFolderPathA), and
    // opens fileName (ANSI) in it for appending, shared with all readers and writers (_fsopen). Writers with a
    // `shared` path open the file through it, and have its parts checked once for all of them. Logs nothing.
    // Returns  true   the file is open, and its path is remembered
    //          false  the first folder has no full path; the log's folder or file cannot be made or opened; a part of
    //                 the path below the first folder is a link, has another name or is of the wrong kind (PinnedPath);
    //                 or memory has run out. Nothing is remembered.
    bool Open(const char* fileName, LogPath* shared = nullptr);

    // Appends one line: date and time (UTC), zone figure, thread identifier, `indent` blanks, and the message (printf,
    // ANSI), cut so that the line has at most 511 characters with its newline. When the file is not open, the
    // remembered path is opened for this one line, by the rules of Open. True when the line was handed to the file;
    // false when no file could be opened.
    bool Write(const char* format, va_list arguments, int indent);

    // Closes the file, if one is open.
    void Close();

private:
    bool OpenIn(std::string appData, std::string fileName, LogPath& path);
    std::FILE* OpenForOneLine() const;

    std::FILE* m_pFile = nullptr;
    std::string m_sAppData;                     // the common application-data folder
    std::string m_sFileName;                    // both are empty until the file was opened
    const char* m_szUnopenedFileName = nullptr; // what the first line of a library's log opens
};

namespace log_detail
{

// The variadic part of WriteLog. An exception counts as true.
bool WriteArguments(InstallLog& log, const char* format, ...);

} // namespace log_detail

// Writes one line to the install log. The format is a literal (ANSI); the newline at its end may be left out. True when
// the line was written or an exception was caught, false when the log has no file. Does not throw.
template <typename... Arguments>
bool WriteLog(InstallLog& log, LogFormat<std::type_identity_t<Arguments>...> format, Arguments... arguments)
{
    return log_detail::WriteArguments(log, format.text, arguments...);
}

// The name of the one log file (ANSI).
inline constexpr char kInstallLogFileName[] = "kelo_install_log.txt";
