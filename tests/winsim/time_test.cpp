// Proves that the clock's calls behave as Windows documents them.
#include "tests/winsim/support.h"

namespace
{

// Windows' timer may be one tick early, and the count one tick old.
constexpr DWORD kTwoTicksMs = 32;

TEST(GetTickCount, CountsTheMillisecondsThatASleepTakes)
{
    const DWORD before = GetTickCount();
    Sleep(50);
    const DWORD passed = GetTickCount() - before;
    EXPECT_GE(passed, 50 - kTwoTicksMs);
    EXPECT_LT(passed, 10000u);
}

TEST(Sleep, OfNothingComesBack)
{
    const DWORD before = GetTickCount();
    Sleep(0);
    EXPECT_LT(GetTickCount() - before, 1000u);
}

TEST(GetSystemTime, GivesADateWithItsDayOfTheWeek)
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    EXPECT_GE(now.wYear, 2000);
    EXPECT_TRUE(now.wMonth >= 1 && now.wMonth <= 12) << now.wMonth;
    EXPECT_TRUE(now.wDay >= 1 && now.wDay <= 31) << now.wDay;
    EXPECT_LT(now.wHour, 24);
    EXPECT_LT(now.wMinute, 60);
    EXPECT_LT(now.wSecond, 60);
    EXPECT_LT(now.wMilliseconds, 1000);
    // Sakamoto's algorithm; Sunday is 0.
    constexpr int kOffsets[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
    const int year = now.wMonth < 3 ? now.wYear - 1 : now.wYear;
    EXPECT_EQ(now.wDayOfWeek, (year + year / 4 - year / 100 + year / 400 + kOffsets[now.wMonth - 1] + now.wDay) % 7);
}

TEST(GetTimeZoneInformation, DescribesAZoneWithDaylightSavingTime)
{
    TIME_ZONE_INFORMATION zone{};
    const DWORD id = GetTimeZoneInformation(&zone);
    EXPECT_TRUE(id == TIME_ZONE_ID_STANDARD || id == TIME_ZONE_ID_DAYLIGHT) << id;
    EXPECT_EQ(zone.Bias, 300);
    EXPECT_EQ(zone.StandardBias, 0);
    EXPECT_EQ(zone.DaylightBias, -60);
    // A zone without daylight saving time has no months in its dates.
    EXPECT_NE(zone.StandardDate.wMonth, 0);
    EXPECT_NE(zone.DaylightDate.wMonth, 0);
}

} // namespace
