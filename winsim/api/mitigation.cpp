// The policies with which a process protects itself.
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "processthreadsapi.h"

#include <cstring>

using winsim::Call;
using winsim::Simulation;

namespace
{

constexpr DWORD kEnforceRedirectionTrust = 0x1;

} // namespace

BOOL WINAPI SetProcessMitigationPolicy(PROCESS_MITIGATION_POLICY MitigationPolicy, PVOID lpBuffer, SIZE_T dwLength)
{
    Call call{__func__};
    DWORD flags = 0;
    if (lpBuffer != nullptr)
        std::memcpy(&flags, lpBuffer, dwLength < sizeof flags ? dwLength : sizeof flags);
    call.In("MitigationPolicy", static_cast<int>(MitigationPolicy)).In("lpBuffer", flags).In("dwLength", dwLength);
    return call.SuccessOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        if (MitigationPolicy != ProcessRedirectionTrustPolicy)
            return call.NotSimulated("policies other than redirection trust");
        const winsim::WindowsInfo& windows = simulation.machine.windows;
        const bool isKnown = windows.major >= 10 && windows.hasRedirectionTrust;
        if (!isKnown || dwLength != sizeof flags)
            return ERROR_INVALID_PARAMETER;
        call.Needs(lpBuffer);
        if ((flags & ~kEnforceRedirectionTrust) != 0)
            return call.NotSimulated("redirection trust that is only audited");
        const bool isEnforced = (flags & kEnforceRedirectionTrust) != 0;
        // A protection cannot be switched off again.
        if (simulation.enforcesRedirectionTrust && !isEnforced)
            return ERROR_ACCESS_DENIED;
        simulation.enforcesRedirectionTrust = isEnforced;
        return ERROR_SUCCESS;
    });
}
