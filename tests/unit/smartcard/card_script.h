// The smart-card steps as lines of a script.
#pragma once

#include "tests/support/service_script.h"
#include "tests/support/simulated_run.h"
#include "tests/support/windows_script.h"

using Readers = std::vector<std::string>;

inline constexpr char kReader[] = "Kelo VIRTUAL_CARD_READER 0";

inline const std::string kEstablishContext =
    Call("SCardEstablishContext", {0, nullptr, nullptr}, 0, {{"phContext", "cardContext#1"}});
inline const std::string kReleaseContext = Call("SCardReleaseContext", {"cardContext#1"}, 0);

// The length of a list of names, in characters, including its zeros.
inline std::size_t LengthOf(const Readers& readers)
{
    std::size_t length = 1;
    for (const std::string& reader : readers)
        length += reader.size() + 1;
    return length;
}

inline std::string AskForLength(const Readers& readers)
{
    return Call("SCardListReadersW", {"cardContext#1", nullptr, 0}, 0, {{"pcchReaders", LengthOf(readers)}});
}

// The list is read into a buffer whose length an earlier call returned.
inline std::string ReadList(std::size_t room, const Readers& readers)
{
    return Call("SCardListReadersW", {"cardContext#1", nullptr, room}, 0,
                {{"pcchReaders", LengthOf(readers)}, {"mszReaders", readers}});
}

// The presence test on a machine with the reader, and on one without any reader.
inline const Script kReaderFound = {
    kEstablishContext, AskForLength({kReader}), ReadList(LengthOf({kReader}), {kReader}),
    "log: CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed", kReleaseContext};
inline const Script kNoReaders = {
    kEstablishContext, Call("SCardListReadersW", {"cardContext#1", nullptr, 0}, -2146435026),
    "log: CTPMSmartCard::IsKlSCardInstalled - No Smart card readers on system", kReleaseContext};

// The beginning of a run of the device installer in a folder.
inline Script BeginOfStager(const std::string& folder, const std::string& arguments)
{
    const std::string commandLine = "\"" + folder + "\\DriverStager.exe\" " + arguments;
    return {"log: " + commandLine, StartProgram(nullptr, commandLine, 0xC000000, folder)};
}

// One run of the device installer: it is started, waited for and asked for its exit code.
inline Script StagerRun(const std::string& folder, const std::string& arguments, unsigned exitCode = 0)
{
    return {BeginOfStager(folder, arguments),
            "log: Kelo Toolkit Installation -> DriverStager has been started, PID: 4312 TID: 4316",
            kWaitForProgram,
            Call("GetExitCodeProcess", {"process#1"}, 1, {{"lpExitCode", exitCode}}),
            fmt::format("log:   DriverStager process PID: 4312 completed with Exit code: {}", exitCode),
            kCloseProgram};
}

// The device installer cannot be started, with a Win32 error.
inline Script StagerFailure(const std::string& folder, const std::string& arguments, unsigned error)
{
    const Script begin = BeginOfStager(folder, arguments);
    return {begin[0], Failing(begin[1], 0),
            fmt::format("log: Kelo Toolkit Installation -> Failed to launch DriverStager rc: {}", error)};
}

// The device installer is not even tried: its folder is not a full path.
inline Script StagerRefusal(const std::string& folder, const std::string& arguments)
{
    return {BeginOfStager(folder, arguments)[0],
            "log: Kelo Toolkit Installation -> Failed to launch DriverStager rc: 3"};
}

// The configuration of a service is queried with no buffer, and then with a sufficient one.
inline Script ReadConfig(unsigned startType, const std::string& displayName)
{
    const std::size_t size = SizeOfConfig("", displayName);
    return {Call("QueryServiceConfigW", {"service#1", 0}, 0, {{"pcbBytesNeeded", size}}),
            QueryConfig(size, startType, "", displayName)};
}

// Finds a service that already starts automatically and whose state may not be read.
inline Script ConfiguredService(const std::string& name, const std::string& displayName)
{
    return {AskForWow64(),
            kOpenManager,
            OpenService(name, 19),
            ReadConfig(2, displayName),
            Call("QueryServiceStatusEx", {"service#1", 0, 36}, 0),
            kCloseBoth};
}

inline const Script kConfiguredServices = {ConfiguredService("CertPropSvc", "Certificate Propagation"),
                                           ConfiguredService("SCardSvr", "Smart Card")};

inline const std::string kSystemFolderIs = FolderIs(kSystemFolder, R"(C:\Windows\system32)");
inline const std::string kWindowsFolderIs = FolderIs(kWindowsFolder, R"(C:\Windows)");

// The registry is asked for the toolkit's install location and returns it.
inline const std::string kOpenPathKey = OpenKey(R"(SOFTWARE\Kelo Systems Corp.\Common)");
inline const Script kPathRead = {kOpenPathKey,
                                 Call("RegQueryValueExA", {"key#1", "Installation Path", nullptr, 256}, 0,
                                      {{"lpType", 1}, {"lpcbData", 8}, {"lpData", R"(C:\Kelo)"}}),
                                 kCloseKey};
