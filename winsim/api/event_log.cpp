// The calls that write to the event log.
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winbase.h"

using winsim::Call;
using winsim::Json;
using winsim::Simulation;

namespace
{

struct EventSource
{
    static constexpr char kKind[] = "eventSource";

    std::string name;
};

} // namespace

HANDLE WINAPI RegisterEventSourceW(LPCWSTR lpUNCServerName, LPCWSTR lpSourceName)
{
    Call call{__func__};
    call.In("lpUNCServerName", lpUNCServerName).In("lpSourceName", lpSourceName);
    return call.ResultOf(HANDLE{nullptr}, [&] {
        if (lpSourceName == nullptr)
            return call.Fail(HANDLE{nullptr}, ERROR_INVALID_PARAMETER);
        if (lpUNCServerName != nullptr)
            return call.Fail(HANDLE{nullptr}, call.NotSimulated("the event logs of other machines"));
        return call.Done(Simulation::Current().handles.Open(EventSource{winsim::Utf8(lpSourceName)}));
    });
}

BOOL WINAPI ReportEventW(HANDLE hEventLog, WORD wType, WORD wCategory, DWORD dwEventID, PVOID lpUserSid,
                         WORD wNumStrings, DWORD dwDataSize, LPCWSTR* lpStrings, LPVOID lpRawData)
{
    Call call{__func__};
    if (wNumStrings != 0)
        call.Needs(lpStrings);
    std::vector<std::string> strings;
    for (WORD i = 0; i < wNumStrings; ++i)
        strings.push_back(lpStrings[i] == nullptr ? std::string() : winsim::Utf8(lpStrings[i]));
    call.In("hEventLog", hEventLog)
        .In("wType", wType)
        .In("wCategory", wCategory)
        .In("dwEventID", dwEventID)
        .In("lpUserSid", lpUserSid)
        .In("lpStrings", Json(strings))
        .In("dwDataSize", dwDataSize)
        .In("lpRawData", lpRawData);
    return call.SuccessOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        const auto* source = call.Find<EventSource>(hEventLog);
        if (source == nullptr)
            return ERROR_INVALID_HANDLE;
        if (lpUserSid != nullptr || dwDataSize != 0)
            return call.NotSimulated("an event's user and data");
        simulation.machine.events.entries.push_back({source->name, wType, wCategory, dwEventID, std::move(strings)});
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI DeregisterEventSource(HANDLE hEventLog)
{
    Call call{__func__};
    call.In("hEventLog", hEventLog);
    return call.SuccessOfClosing(
        [&] { return call.Close<EventSource>(hEventLog) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE; });
}
