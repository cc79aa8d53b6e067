// Queries and changes of services as lines of a script.
#pragma once

#include "tests/support/simulated_run.h"

#include <fmt/format.h>

// A service's status as the calls return it.
struct ReportedStatus
{
    unsigned state = 0;
    unsigned controls = 0;
    unsigned exitCode = 0;
    unsigned serviceExitCode = 0;
    unsigned checkPoint = 0;
    unsigned waitHint = 0;
};

inline constexpr ReportedStatus kStopped{1};
inline constexpr ReportedStatus kStartPending{2};
inline constexpr ReportedStatus kStopPending{3};
inline constexpr ReportedStatus kRunning{4, 1};
inline constexpr ReportedStatus kPaused{7, 1};

inline ReportedStatus WithHint(ReportedStatus status, unsigned waitHint)
{
    status.waitHint = waitHint;
    return status;
}

inline ReportedStatus WithCheckPoint(ReportedStatus status, unsigned checkPoint)
{
    status.checkPoint = checkPoint;
    return status;
}

inline winsim::Json MembersOf(const ReportedStatus& status)
{
    return {{"dwServiceType", 16},
            {"dwCurrentState", status.state},
            {"dwControlsAccepted", status.controls},
            {"dwWin32ExitCode", status.exitCode},
            {"dwServiceSpecificExitCode", status.serviceExitCode},
            {"dwCheckPoint", status.checkPoint},
            {"dwWaitHint", status.waitHint}};
}

// The manager and a service are opened and closed. `number` is higher than 1 while others are open.
inline std::string OpenManager(int number)
{
    return Call("OpenSCManagerW", {nullptr, nullptr, 0xF003F}, fmt::format("serviceManager#{}", number));
}
inline std::string OpenService(const std::string& name, unsigned access, int number = 1)
{
    return Call("OpenServiceW", {fmt::format("serviceManager#{}", number), name, access},
                fmt::format("service#{}", number));
}
inline Script CloseBoth(int number)
{
    return {Call("CloseServiceHandle", {fmt::format("service#{}", number)}, 1),
            Call("CloseServiceHandle", {fmt::format("serviceManager#{}", number)}, 1)};
}

inline const std::string kOpenManager = OpenManager(1);
inline const Script kCloseBoth = CloseBoth(1);
inline const std::string kCloseService = kCloseBoth[0];
inline const std::string kCloseManager = kCloseBoth[1];

// Whoever waits for a service to stop prints this.
inline const std::string kAnnounced = Call("printf", {"Service stop pending...\n"}, 24);

inline std::string QueryStatus(const ReportedStatus& status)
{
    return Call("QueryServiceStatus", {"service#1"}, 1, {{"lpServiceStatus", MembersOf(status)}});
}

inline std::string QueryStatusEx(const ReportedStatus& status)
{
    winsim::Json members = MembersOf(status);
    members["dwProcessId"] = 0;
    members["dwServiceFlags"] = 0;
    return Call("QueryServiceStatusEx", {"service#1", 0, 36}, 1, {{"pcbBytesNeeded", 36}, {"lpBuffer", members}});
}

// A stop control. For some errors, a refused one returns a status too.
inline std::string SendStop(const ReportedStatus& status, bool isAccepted = true)
{
    return Call("ControlService", {"service#1", 1}, isAccepted ? 1 : 0, {{"lpServiceStatus", MembersOf(status)}});
}
inline std::string SendRefusedStop(const ReportedStatus& status)
{
    return SendStop(status, false);
}

// The size of a service's configuration in bytes: a structure, and its texts of 16-bit characters, each with a zero.
inline std::size_t SizeOfConfig(const std::string& binaryPath, const std::string& displayName)
{
    return 64 + 2 * (binaryPath.size() + std::string("LocalSystem").size() + displayName.size() + 5);
}

// The configuration of a service is queried with a buffer of `room` bytes.
inline std::string QueryConfig(std::size_t room, unsigned startType, const std::string& binaryPath,
                               const std::string& displayName, int number = 1)
{
    return Call("QueryServiceConfigW", {fmt::format("service#{}", number), room}, 1,
                {{"pcbBytesNeeded", SizeOfConfig(binaryPath, displayName)},
                 {"lpServiceConfig",
                  {{"dwServiceType", 16},
                   {"dwStartType", startType},
                   {"dwErrorControl", 1},
                   {"lpBinaryPathName", binaryPath},
                   {"lpLoadOrderGroup", ""},
                   {"dwTagId", 0},
                   {"lpDependencies", winsim::Json::array()},
                   {"lpServiceStartName", "LocalSystem"},
                   {"lpDisplayName", displayName}}}});
}
