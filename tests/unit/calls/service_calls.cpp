// The service module's functions, for tests.
#include "service/kl_tk_service.h"
#include "service/toolkit_service.h"
#include "tests/unit/calls/modules.h"
#include "windows/unique_handle.h"

namespace
{

// The timed stop of the named service, opened with the minimum rights that it needs.
std::string StopService(const CallArguments& arguments)
{
    const UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    const UniqueServiceHandle service{
        OpenServiceW(manager.Get(), arguments.Wide(0).c_str(), SERVICE_STOP | SERVICE_QUERY_STATUS)};
    return ResultText(CKlTkService::StopService(service.Get()));
}

constexpr TestCall kCalls[] = {
    {"InstallTkService",
     [](const CallArguments& a) { return ResultText(InstallTkService(a.Wide(0).c_str(), a.Text(1).c_str())); }},
    {"StopService", &StopService},
    {"UnInstallTkService", [](const CallArguments&) { return ResultText(UnInstallTkService()); }},
};

} // namespace

std::span<const TestCall> ServiceCalls()
{
    return kCalls;
}
