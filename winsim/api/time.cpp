// The clock.
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winbase.h"

#include <chrono>

using winsim::Call;
using winsim::Json;
using winsim::Simulation;

namespace
{

// The dates at which a zone with daylight saving time changes: two o'clock on the first Sunday of November and on the
// second Sunday of March. They only show that there is daylight saving time: the description says whether it applies
// now.
constexpr SYSTEMTIME kStandardDate{0, 11, 0, 1, 2, 0, 0, 0};
constexpr SYSTEMTIME kDaylightDate{0, 3, 0, 2, 2, 0, 0, 0};

SYSTEMTIME SystemTimeOf(std::int64_t utcMs)
{
    using namespace std::chrono;
    const sys_time<milliseconds> time{milliseconds{utcMs}};
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    const auto word = [](auto value) { return static_cast<WORD>(value); };
    return {word(static_cast<int>(date.year())), word(static_cast<unsigned>(date.month())),
            word(weekday{day}.c_encoding()),     word(static_cast<unsigned>(date.day())),
            word(clock.hours().count()),         word(clock.minutes().count()),
            word(clock.seconds().count()),       word(clock.subseconds().count())};
}

} // namespace

void WINAPI GetSystemTime(LPSYSTEMTIME lpSystemTime)
{
    Call call{__func__};
    call.Needs(lpSystemTime);
    const SYSTEMTIME now = SystemTimeOf(Simulation::Current().machine.clock.utcMs);
    *lpSystemTime = now;
    if (call.IsRecording())
        call.Out("lpSystemTime", Json{{"wYear", now.wYear},
                                      {"wMonth", now.wMonth},
                                      {"wDayOfWeek", now.wDayOfWeek},
                                      {"wDay", now.wDay},
                                      {"wHour", now.wHour},
                                      {"wMinute", now.wMinute},
                                      {"wSecond", now.wSecond},
                                      {"wMilliseconds", now.wMilliseconds}});
}

DWORD WINAPI GetTimeZoneInformation(LPTIME_ZONE_INFORMATION lpTimeZoneInformation)
{
    Call call{__func__};
    call.Needs(lpTimeZoneInformation);
    return call.ResultOf(TIME_ZONE_ID_INVALID, [&] {
        const winsim::Clock& clock = Simulation::Current().machine.clock;
        *lpTimeZoneInformation = {};
        lpTimeZoneInformation->Bias = clock.zoneBias;
        lpTimeZoneInformation->DaylightBias = clock.daylightBias;
        if (call.IsRecording())
            call.Out("lpTimeZoneInformation",
                     Json{{"Bias", clock.zoneBias}, {"StandardBias", 0}, {"DaylightBias", clock.daylightBias}});
        if (clock.daylightBias == 0)
            return call.Done(TIME_ZONE_ID_UNKNOWN);
        lpTimeZoneInformation->StandardDate = kStandardDate;
        lpTimeZoneInformation->DaylightDate = kDaylightDate;
        return call.Done(clock.isDaylight ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD);
    });
}

DWORD WINAPI GetTickCount()
{
    Call call{__func__};
    return call.Done(Simulation::Current().machine.clock.tickCount);
}

void WINAPI Sleep(DWORD dwMilliseconds)
{
    Call call{__func__};
    call.In("dwMilliseconds", dwMilliseconds);
    Simulation& simulation = Simulation::Current();
    if (dwMilliseconds == INFINITE)
        return simulation.WaitForEver();
    const winsim::Clock& clock = simulation.machine.clock;
    simulation.Advance(dwMilliseconds != 0 ? std::uint64_t{dwMilliseconds} + clock.lateMs : clock.yieldMs);
}
