// What the smart-card steps do with Windows, for tests that compare whole scripts.
#pragma once

#include "tests/support/expected_script.h"
#include "tests/support/process_script.h"
#include "winsim/base/json.h"

#include <string>
#include <vector>

inline constexpr char kReader[] = "Kelo VIRTUAL_CARD_READER 0";

// Text as a script shows an argument.
inline std::string Quoted(const std::string& text)
{
    return winsim::Json(text).dump();
}

inline Script ReleaseContext()
{
    return {R"(SCardReleaseContext("cardContext#1") = 0)"};
}

inline Script EstablishContext()
{
    return {R"(SCardEstablishContext(0, null, null) = 0 phContext:"cardContext#1")"};
}

// The length of a list of names, in characters with its zeros.
inline std::string ListLength(const std::vector<std::string>& readers)
{
    std::size_t length = 1;
    for (const std::string& reader : readers)
        length += reader.size() + 1;
    return std::to_string(length);
}

inline std::string AskForLength(const std::vector<std::string>& readers)
{
    return R"(SCardListReadersW("cardContext#1", null, 0) = 0 pcchReaders:)" + ListLength(readers);
}

// The list is read into a buffer of the length that an earlier one had.
inline std::string ReadList(const std::string& room, const std::vector<std::string>& readers)
{
    return R"(SCardListReadersW("cardContext#1", null, )" + room + ") = 0 pcchReaders:" + ListLength(readers) +
           " mszReaders:" + winsim::Json(readers).dump();
}

// The presence test where the reader is there, and where there is no reader at all.
inline Script ReaderFound()
{
    return Joined({EstablishContext(),
                   {AskForLength({kReader}), ReadList(ListLength({kReader}), {kReader}),
                    "log: CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed"},
                   ReleaseContext()});
}

inline Script NoReaders()
{
    return Joined({EstablishContext(),
                   {R"(SCardListReadersW("cardContext#1", null, 0) = -2146435026)",
                    "log: CTPMSmartCard::IsKlSCardInstalled - No Smart card readers on system"},
                   ReleaseContext()});
}

inline Script AskForWow64(bool wow64 = false)
{
    return {R"(GetCurrentProcess() = "process#current")",
            std::string(R"(IsWow64Process("process#current") = 1 Wow64Process:)") + (wow64 ? "1" : "0")};
}

// One run of the device installer in a folder: it is started, waited for and asked for its exit code.
inline Script StagerRun(const std::string& folder, const std::string& arguments, unsigned exitCode = 0)
{
    const std::string commandLine = "\"" + folder + "\\DriverStager.exe\" " + arguments;
    const std::string code = std::to_string(exitCode);
    return {
        "log: " + commandLine,
        "CreateProcessW(null, " + Quoted(commandLine) + ", null, null, 0, 201326592, null, " + Quoted(folder) + ", " +
            kStartup +
            R"() = 1 lpProcessInformation:{"hProcess":"process#1","hThread":"thread#1","dwProcessId":4312,"dwThreadId":4313})",
        "log: Kelo Toolkit Installation -> DriverStager has been started, PID: 4312 TID: 4313",
        R"(WaitForSingleObject("process#1", 4294967295) = 0)",
        R"(GetExitCodeProcess("process#1") = 1 lpExitCode:)" + code,
        "log:   DriverStager process PID: 4312 completed with Exit code: " + code,
        R"(CloseHandle("process#1") = 1)",
        R"(CloseHandle("thread#1") = 1)"};
}

// A run that does not come about, for a Win32 error.
inline Script StagerFailure(const std::string& folder, const std::string& arguments, unsigned error)
{
    const std::string commandLine = "\"" + folder + "\\DriverStager.exe\" " + arguments;
    return {"log: " + commandLine,
            "CreateProcessW(null, " + Quoted(commandLine) + ", null, null, 0, 201326592, null, " + Quoted(folder) +
                ", " + kStartup + ") = 0",
            "log: Kelo Toolkit Installation -> Failed to launch DriverStager rc: " + std::to_string(error)};
}

// A device installer that is not even tried: its folder is no full path.
inline Script StagerRefusal(const std::string& folder, const std::string& arguments)
{
    return {"log: \"" + folder + "\\DriverStager.exe\" " + arguments,
            "log: Kelo Toolkit Installation -> Failed to launch DriverStager rc: 3"};
}

// Finding a service that starts automatically already, whose state may not be read.
inline Script ConfiguredService(const std::string& name, const std::string& displayName)
{
    const std::string size = std::to_string(64 + 2 * (1 + 1 + 1 + sizeof "LocalSystem" + displayName.size() + 1));
    return Joined(
        {AskForWow64(),
         {R"(OpenSCManagerW(null, null, 983103) = "serviceManager#1")",
          R"(OpenServiceW("serviceManager#1", )" + Quoted(name) + R"(, 19) = "service#1")",
          R"(QueryServiceConfigW("service#1", 0) = 0 pcbBytesNeeded:)" + size,
          R"(QueryServiceConfigW("service#1", )" + size + ") = 1 pcbBytesNeeded:" + size +
              R"( lpServiceConfig:{"dwServiceType":16,"dwStartType":2,"dwErrorControl":1,"lpBinaryPathName":"",)"
              R"("lpLoadOrderGroup":"","dwTagId":0,"lpDependencies":[],"lpServiceStartName":"LocalSystem",)"
              R"("lpDisplayName":)" +
              Quoted(displayName) + "}",
          R"(QueryServiceStatusEx("service#1", 0, 36) = 0)", R"(CloseServiceHandle("service#1") = 1)",
          R"(CloseServiceHandle("serviceManager#1") = 1)"}});
}

inline Script ConfiguredServices()
{
    return Joined(
        {ConfiguredService("CertPropSvc", "Certificate Propagation"), ConfiguredService("SCardSvr", "Smart Card")});
}

// Where a folder is, by its CSIDL number.
inline std::string FolderIs(int csidl, const std::string& path)
{
    return "SHGetFolderPathW(null, " + std::to_string(csidl) + ", null, 0) = 0 pszPath:" + Quoted(path);
}

inline std::string FolderFails(int csidl, const std::string& status)
{
    return "SHGetFolderPathW(null, " + std::to_string(csidl) + ", null, 0) = " + status;
}
