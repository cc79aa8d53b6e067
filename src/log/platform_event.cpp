// Reports to the Windows event log.
#include "log/platform_event.h"

#include "windows/unique_handle.h"

namespace
{

constexpr wchar_t kEventSource[] = L"Kelo Platform Security";
constexpr WORD kEventCategory = 2;

using UniqueEventSource = UniqueHandle<HANDLE, &DeregisterEventSource>;

} // namespace

DWORD ReportPlatformEvent(const wchar_t* message, DWORD eventId, WORD eventType)
{
    const UniqueEventSource source{RegisterEventSourceW(nullptr, kEventSource)};
    if (!source)
        return GetLastError();
    if (!ReportEventW(source.Get(), eventType, kEventCategory, eventId, nullptr, 1, 0, &message, nullptr))
        return GetLastError();
    return ERROR_SUCCESS;
}
