// Machines with an install session and the SRK tool, for the tests of the SRK authorization change.
#pragma once

#include "tests/support/simulated_run.h"

#include <cstdint>
#include <string>
#include <vector>

inline constexpr char kToolPath[] = R"(C:\Program Files\Kelo Systems Corp\Common\TpmKeyFixer.exe)";
inline constexpr char kRunKey[] = R"(HKLM\Software\Microsoft\Windows\CurrentVersion\Run)";

// The tests' changes to a machine whose tool succeeds at everything.
struct Session
{
    winsim::Json data = "";      // CustomActionData
    std::int32_t verifyCode = 0; // the tool's exit code when it is started with "/V" alone
    std::int32_t changeCode = 0; // its exit code when it is started with anything else
    bool hasTool = true;
    bool hasRunKey = true;
};

inline winsim::Json DescriptionOf(const Session& session)
{
    winsim::Json machine;
    if (!session.data.is_null())
        machine["installer"]["properties"]["CustomActionData"] = session.data;
    if (session.hasTool)
        machine["programs"][kToolPath]["runs"] = {
            {{"arguments", "/V"}, {"exitCode", static_cast<std::uint32_t>(session.verifyCode)}},
            {{"exitCode", static_cast<std::uint32_t>(session.changeCode)}}};
    if (session.hasRunKey)
        machine["registry"][kRunKey] = winsim::Json::object();
    return machine;
}

inline SimulatedRun ChangeSrkAuthOn(const winsim::Json& machine, const SimulatedRunOptions& options = {})
{
    return RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change", options);
}

inline SimulatedRun ChangeSrkAuth(const Session& session, const SimulatedRunOptions& options = {})
{
    return ChangeSrkAuthOn(DescriptionOf(session), options);
}

// The command lines that the run started or tried to start.
inline std::vector<std::string> CommandLines(const SimulatedRun& run)
{
    std::vector<std::string> lines;
    for (const winsim::CallRecord& record : run.outcome.calls)
    {
        if (record.name == "CreateProcessW")
            lines.push_back(record.in["lpCommandLine"]);
    }
    return lines;
}

// The programs that are registered to run at the next logon.
inline winsim::Json RunAtLogon(const winsim::Machine& machine)
{
    const winsim::Json registry = machine.ToJson()["registry"];
    if (!registry.contains(kRunKey))
        return nullptr;
    return registry[kRunKey].value("values", winsim::Json::object());
}

inline winsim::Json TaskAtLogon()
{
    return {{"ChangeTPMAuth", "ChangeTPMAuth"}};
}
