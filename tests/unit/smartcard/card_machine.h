// A machine with the toolkit's driver packages, for tests of the smart-card steps.
#pragma once

#include "tests/unit/smartcard/card_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

inline constexpr char kLocation[] = R"(C:\Kelo)";
inline constexpr char kDriverFolder[] = R"(C:\Kelo\TPM_VSCard\)";

// Windows 10 with the packages below C:\Kelo, the services set to start automatically, and a device installer that adds
// and removes the virtual reader. `patch` changes the machine.
inline winsim::Machine CardMachine(const std::string& patch = "{}")
{
    return Changed(MachineOf(R"({
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
    })"),
                   winsim::Json::parse(patch));
}

inline constexpr char kReaderPresent[] = R"("smartCards": {"readers": ["Kelo VIRTUAL_CARD_READER 0"]})";

// The same machine after the installation of the virtual reader. `members` describe further differences.
inline winsim::Machine MachineWithReader(const std::string& members = "")
{
    return CardMachine(std::string("{") + kReaderPresent + (members.empty() ? "" : ", ") + members + "}");
}

// The machine with the install location in the registry.
inline winsim::Machine WithInstallPath(const winsim::Machine& machine, const std::string& path)
{
    return Changed(
        machine,
        {{"registry", {{R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)", {{"values", {{"Installation Path", path}}}}}}}});
}

inline std::string CopyOf(const std::string& source, const std::string& target)
{
    return Call("CopyFileW", {source, target, 0}, 1);
}

inline std::string Deletion(const std::string& path)
{
    return Call("DeleteFileW", {path}, 1);
}

inline std::string MoveAtReboot(const std::string& from, const winsim::Json& to)
{
    return Call("MoveFileExW", {from, to, 4}, 1);
}
