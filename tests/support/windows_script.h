// The program's ordinary uses of Windows as lines of a script: versions, folders, registry keys, programs.
#pragma once

#include "tests/support/simulated_run.h"

#include <fmt/format.h>

// The access list, among the parts of an object's security that a call reads or sets.
inline constexpr unsigned kListInformation = 4;

// The query whether Windows is at least version `major`.`minor`, and its answer.
inline Script AskForVersion(int major, int minor, bool answer)
{
    constexpr std::uint64_t kMasks[] = {0, 0x8000000000000018, 0x800000000000001B, 0x800000000001801B};
    return {Call("VerSetConditionMask", {kMasks[0], 2, 3}, kMasks[1]),
            Call("VerSetConditionMask", {kMasks[1], 1, 3}, kMasks[2]),
            Call("VerSetConditionMask", {kMasks[2], 32, 3}, kMasks[3]),
            Call("VerifyVersionInfoW",
                 {{{"dwOSVersionInfoSize", 284},
                   {"dwMajorVersion", major},
                   {"dwMinorVersion", minor},
                   {"wServicePackMajor", 0},
                   {"wServicePackMinor", 0}},
                  3,
                  kMasks[3]},
                 answer ? 1 : 0)};
}

// The query whether this is a 32-bit process on a 64-bit Windows, and its answer.
inline Script AskForWow64(bool answer = false)
{
    return {Call("GetCurrentProcess", {}, "process#current"),
            Call("IsWow64Process", {"process#current"}, 1, {{"Wow64Process", answer ? 1 : 0}})};
}

inline std::string Sleep(unsigned ms)
{
    return Call("Sleep", {ms});
}

inline constexpr int kProgramDataFolder = 35;
inline constexpr int kWindowsFolder = 36;
inline constexpr int kSystemFolder = 37;
inline constexpr int kProgramFilesFolder = 38;

// The location of one of the known folders.
inline std::string FolderIsA(int csidl, const std::string& path)
{
    return Call("SHGetFolderPathA", {nullptr, csidl, nullptr, 0}, 0, {{"pszPath", path}});
}
inline std::string FolderIs(int csidl, const std::string& path)
{
    return Call("SHGetFolderPathW", {nullptr, csidl, nullptr, 0}, 0, {{"pszPath", path}});
}
inline std::string NoFolder(int csidl)
{
    return Call("SHGetFolderPathW", {nullptr, csidl, nullptr, 0}, -2147467259);
}

inline constexpr unsigned kReadKey = 0x20019;
inline constexpr unsigned kAllOfKey = 0xF003F;

// A key below HKEY_LOCAL_MACHINE is opened.
inline std::string OpenKey(const std::string& path, unsigned access = kReadKey)
{
    return Call("RegOpenKeyExA", {"HKEY_LOCAL_MACHINE", path, 0, access}, 0, {{"phkResult", "key#1"}});
}

inline const std::string kCloseKey = Call("RegCloseKey", {"key#1"}, 0);

// A program is started with a command line. Its start-up record contains only its own size.
inline std::string StartProgram(const winsim::Json& program, const winsim::Json& commandLine, unsigned flags,
                                const winsim::Json& folder = nullptr)
{
    winsim::Json startup{{"cb", 104}};
    for (const char* text : {"lpReserved", "lpDesktop", "lpTitle"})
        startup[text] = nullptr;
    for (const char* number : {"dwX", "dwY", "dwXSize", "dwYSize", "dwXCountChars", "dwYCountChars", "dwFillAttribute",
                               "dwFlags", "wShowWindow", "cbReserved2"})
        startup[number] = 0;
    for (const char* handle : {"lpReserved2", "hStdInput", "hStdOutput", "hStdError"})
        startup[handle] = nullptr;
    return Call("CreateProcessW", {program, commandLine, nullptr, nullptr, 0, flags, nullptr, folder, startup}, 1,
                {{"lpProcessInformation",
                  {{"hProcess", "process#1"}, {"hThread", "thread#1"}, {"dwProcessId", 4312}, {"dwThreadId", 4316}}}});
}

inline const std::string kWaitForProgram = Call("WaitForSingleObject", {"process#1", 0xFFFFFFFF}, 0);
inline const Script kCloseProgram = {Call("CloseHandle", {"process#1"}, 1), Call("CloseHandle", {"thread#1"}, 1)};
