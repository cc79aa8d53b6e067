// Proves that the event log's calls behave as Windows documents them.
#include "tests/winsim/support.h"

namespace
{

TEST(ReportEventW, TakesAnEventOfARegisteredSource)
{
    HANDLE log = RegisterEventSourceW(nullptr, L"Kelo Conformance");
    ASSERT_TRUE(log != nullptr);
    LPCWSTR strings[] = {L"one", L"two"};
    EXPECT_TRUE(ReportEventW(log, EVENTLOG_ERROR_TYPE, 1, 0xC0000001, nullptr, 2, 0, strings, nullptr));
    EXPECT_TRUE(ReportEventW(log, EVENTLOG_INFORMATION_TYPE, 0, 1, nullptr, 0, 0, nullptr, nullptr));
    EXPECT_TRUE(DeregisterEventSource(log));
}

TEST(ReportEventW, TakesATextThatIsMissing)
{
    HANDLE log = RegisterEventSourceW(nullptr, L"Kelo Conformance");
    LPCWSTR strings[] = {nullptr, L"two"};
    EXPECT_TRUE(ReportEventW(log, EVENTLOG_INFORMATION_TYPE, 0, 1, nullptr, 2, 0, strings, nullptr));
    EXPECT_TRUE(DeregisterEventSource(log));
}

TEST(DeregisterEventSource, LeavesNothingToUse)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine's event log takes any handle";
    MisusesHandles();
    HANDLE log = RegisterEventSourceW(nullptr, L"Kelo Conformance");
    ASSERT_TRUE(log != nullptr);
    ASSERT_TRUE(DeregisterEventSource(log));
    EXPECT_EQ(ErrorOf([&] { return ReportEventW(log, EVENTLOG_ERROR_TYPE, 1, 1, nullptr, 0, 0, nullptr, nullptr); }),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(ErrorOf([&] { return DeregisterEventSource(log); }), ERROR_INVALID_HANDLE);
}

TEST(RegisterEventSourceW, NeedsASource)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine's event log takes any source";
    EXPECT_EQ(ErrorOf([&] { return RegisterEventSourceW(nullptr, nullptr) != nullptr; }), ERROR_INVALID_PARAMETER);
}

} // namespace
