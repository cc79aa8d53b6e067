// The install log's file on a simulated machine, for tests of its bytes.
#pragma once

#include "tests/support/simulated_run.h"

#include <string>

inline constexpr char kLogFolder[] = R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\)";
inline constexpr char kLogPath[] = R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\kelo_install_log.txt)";

// The calls that find and make the log's folder, and the one that opens the file as `stream`.
inline std::vector<std::string> OpeningOf(const std::string& stream, int folderResult)
{
    return {
        R"(SHGetFolderPathA(null, 35, null, 0) = 0 pszPath:"C:\\ProgramData")",
        R"(SHCreateDirectoryExA(null, "C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\", null) = )" +
            std::to_string(folderResult),
        R"(_fsopen("C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt", "a", 64) = ")" +
            stream + "\""};
}

// The file's bytes; "(no file)" when there is none.
inline std::string LogBytes(const winsim::Machine& machine)
{
    const winsim::File* file = machine.files.Find(kLogPath);
    return file == nullptr ? "(no file)" : file->content;
}
