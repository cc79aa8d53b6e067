// Machines for the stack set-up: the toolkit is installed, and each stack may be installed and usable or not.
#pragma once

#include "winsim/machine/machine.h"

#include <string>

// The answers of the detection libraries when the stacks are not usable.
inline constexpr int kKeloNotDetected = 7;
inline constexpr int kNtruNotDetected = 9;

inline constexpr char kToolkitFolder[] = R"(C:\Program Files\Kelo Systems Corp\Toolkit\)";

// The differences between these machines.
struct StackMachine
{
    std::string version = "10.0";
    bool isKeloUsable = false;
    bool isNtruUsable = false;
    bool hasKeloService = false;
    bool hasNtruService = false;
    bool hasShims = false; // old shims in the system directory

    // Services of this machine start and stop at once.
    winsim::Machine Make() const
    {
        using winsim::Json;
        const Json service = Json::parse(R"({"state": "running", "onStart": {"states": [{"state": "running"}]},
            "onStop": {"states": [{"state": "stopped"}]}})");
        const auto library = [](bool isUsable, int answer) {
            return Json{{"exports",
                         {{"DetectTSS", isUsable ? 0 : answer}, {"isEnabled", 1}, {"isActivated", 1}, {"isOwned", 0}}}};
        };
        const std::string folder = kToolkitFolder;
        Json description;
        description["windows"]["version"] = version;
        description["registry"][R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"]["values"] = {{"20", 1}};
        description["libraries"][folder + R"(KELO\stkprobe.dll)"] = library(isKeloUsable, kKeloNotDetected);
        description["libraries"][folder + R"(NTRU12\stkprobe.dll)"] = library(isNtruUsable, kNtruNotDetected);
        description["files"][folder + R"(KELO\stkprobe.dll)"] = {{"text", "KELO"}};
        description["files"][folder + R"(NTRU12\stkprobe.dll)"] = {{"text", "NTRU12"}};
        description["files"][folder + R"(NTRU12\TSP1-kelo.dll)"] = {{"text", "shim"}};
        description["programs"][folder + "KlPCR.exe"]["runs"] =
            Json::array({{{"arguments", "-Service"},
                          {"effects", {{"services", {{"KlPCR", {{"binaryPath", "\"" + folder + "KlPCR.exe\""}}}}}}}}});
        description["services"]["TBS"] = version == "5.1" ? Json() : service;
        if (hasKeloService)
        {
            description["services"]["tcsd_x86"] = service;
            description["services"]["tcsd_x86"]["binaryPath"] = R"("C:\Kelo TSS\tcsd_x86.exe" -s)";
        }
        if (hasNtruService)
        {
            description["services"]["tcsd_win32.exe"] = service;
            description["services"]["tcsd_win32.exe"]["binaryPath"] = R"("C:\NTRU\bin\tcsd_win32.exe" -s)";
            description["files"][R"(C:\NTRU\bin\TSP1_x64.dll)"] = {{"version", "1.2.1.25"}};
        }
        if (hasShims)
        {
            description["files"][R"(C:\Windows\system32\TSP1_x64.dll)"] = {{"text", "old"}};
            description["files"][R"(C:\Windows\system32\TSPI_x64.dll)"] = {{"text", "old"}};
        }
        return winsim::Machine::FromJson(description);
    }
};
