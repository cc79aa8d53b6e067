// The install log's file on a simulated machine, for tests of its bytes.
#pragma once

#include "tests/support/windows_script.h"

inline constexpr char kLogFolder[] = R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\)";
inline constexpr char kLogPath[] = R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\kelo_install_log.txt)";

// The calls that find and create the log's folder, and the one that opens the file as the ordinal-th stream.
inline Script OpeningOf(int stream)
{
    return {FolderIsA(kProgramDataFolder, R"(C:\ProgramData)"),
            Call("SHCreateDirectoryExA", {nullptr, kLogFolder, nullptr}, 183),
            Call("_fsopen", {kLogPath, "a", 64}, fmt::format("stream#{}", stream))};
}

inline std::string ClosingOf(int stream)
{
    return Call("fclose", {fmt::format("stream#{}", stream)}, 0);
}

// The file's bytes; "(none)" if the file does not exist.
inline std::string LogBytes(const winsim::Machine& machine)
{
    return TextOf(machine, kLogPath);
}
