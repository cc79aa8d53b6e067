// A machine with the toolkit's driver packages, for tests of the smart-card steps.
#pragma once

#include "tests/support/simulated_run.h"
#include "tests/unit/smartcard/card_scripts.h"
#include "winsim/machine/effects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

inline constexpr char kLocation[] = R"(C:\Kelo)";
inline constexpr char kDriverFolder[] = R"(C:\Kelo\TPM_VSCard\)";

// Windows 10 with the packages below C:\Kelo, the services set to start automatically, and a device installer that
// adds and removes the virtual reader. `patch` says what is different.
inline winsim::Machine CardMachine(const std::string& patch = "{}")
{
    winsim::Machine machine = MachineOf(R"({
        "files": {
            "C:\\Kelo\\TPM_VSCard\\KeloVReaderBody.dll": {"text": "reader"},
            "C:\\Kelo\\TPM_VSCard\\KeloMiniDriverBody64.dll": {"text": "minidriver for 64 bits"},
            "C:\\Kelo\\TPM_VSCard\\KeloMiniDriverBody.dll": {"text": "minidriver for 32 bits"}
        },
        "services": {"SCardSvr": {"start": "auto"}, "CertPropSvc": {"start": "auto"}},
        "programs": {
            "C:\\Kelo\\TPM_VSCard\\DriverStager.exe": {"runs": [
                {"arguments": "install KeloSmartCardDriver.inf root\\KeloVirtualReader",
                 "effects": {"smartCards": {"readers": ["Kelo VIRTUAL_CARD_READER 0"]}}},
                {"arguments": "remove KeloSmartCardDriver.inf root\\KeloVirtualReader",
                 "effects": {"smartCards": {"readers": []}}}
            ]}
        }
    })");
    winsim::ApplyEffects(machine, winsim::Json::parse(patch));
    return machine;
}

inline constexpr char kReaderPresent[] = R"("smartCards": {"readers": ["Kelo VIRTUAL_CARD_READER 0"]})";

// The same with the virtual reader and what its installation left. `members` say what is different.
inline winsim::Machine MachineWithReader(const std::string& members = "")
{
    return CardMachine(std::string("{") + kReaderPresent + (members.empty() ? "" : ", ") + members + "}");
}

inline void ExpectSteps(const SimulatedRun& run, const char* result, const Script& script)
{
    EXPECT_EQ(run.result, result);
    EXPECT_THAT(run.script, testing::ElementsAreArray(script));
    EXPECT_THAT(run.log, testing::ElementsAreArray(LogOf(script)));
}

inline std::string CopyOf(const std::string& source, const std::string& target, bool succeeds = true)
{
    return "CopyFileW(" + Quoted(source) + ", " + Quoted(target) + ", 0) = " + (succeeds ? "1" : "0");
}

inline std::string Deletion(const std::string& path, bool succeeds = true)
{
    return "DeleteFileW(" + Quoted(path) + ") = " + (succeeds ? "1" : "0");
}

inline std::string MoveAtReboot(const std::string& from, const std::string& to, bool succeeds = true)
{
    return "MoveFileExW(" + Quoted(from) + ", " + (to.empty() ? "null" : Quoted(to)) +
           ", 4) = " + (succeeds ? "1" : "0");
}

// The content of a file; "(none)" when it is not there.
inline std::string ContentOf(const winsim::Machine& machine, const std::string& path)
{
    const winsim::File* file = machine.files.Find(path);
    return file == nullptr ? "(none)" : file->content;
}
