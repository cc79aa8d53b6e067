// Script lines of the calls that look at services and change them.
#pragma once

#include "tests/support/expected_script.h"

#include <fmt/format.h>

// A service's status as the calls report it.
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

inline std::string StatusMembers(const ReportedStatus& status)
{
    return fmt::format(R"("dwServiceType":16,"dwCurrentState":{},"dwControlsAccepted":{},"dwWin32ExitCode":{},)"
                       R"("dwServiceSpecificExitCode":{},"dwCheckPoint":{},"dwWaitHint":{})",
                       status.state, status.controls, status.exitCode, status.serviceExitCode, status.checkPoint,
                       status.waitHint);
}

inline const std::string kOpenManager = R"(OpenSCManagerW(null, null, 983103) = "serviceManager#1")";
inline const std::string kCloseManager = R"(CloseServiceHandle("serviceManager#1") = 1)";
inline const std::string kCloseService = R"(CloseServiceHandle("service#1") = 1)";
inline const Script kCloseBoth = {kCloseService, kCloseManager};

inline std::string OpenService(const std::string& name, unsigned access)
{
    return fmt::format(R"(OpenServiceW("serviceManager#1", "{}", {}) = "service#1")", name, access);
}

inline std::string QueryStatus(const ReportedStatus& status)
{
    return R"(QueryServiceStatus("service#1") = 1 lpServiceStatus:{)" + StatusMembers(status) + "}";
}

inline std::string QueryStatusEx(const ReportedStatus& status)
{
    return R"(QueryServiceStatusEx("service#1", 0, 36) = 1 pcbBytesNeeded:36 lpBuffer:{)" + StatusMembers(status) +
           R"(,"dwProcessId":0,"dwServiceFlags":0})";
}

inline std::string SendStop(const ReportedStatus& status)
{
    return R"(ControlService("service#1", 1) = 1 lpServiceStatus:{)" + StatusMembers(status) + "}";
}

// A stop control that is refused with one of the errors that come with a status.
inline std::string SendRefusedStop(const ReportedStatus& status)
{
    return R"(ControlService("service#1", 1) = 0 lpServiceStatus:{)" + StatusMembers(status) + "}";
}
