// Proves that an event comes into Windows' event log. The simulated machine keeps its events in its description, and
// has no calls that read them.
#include "tests/winsim/support.h"

#include <cstring>
#include <vector>

namespace
{

// The texts of the newest entry of a source, with "|" after each; empty if there is none among the newest entries.
std::string NewestTextsOf(const std::wstring& source)
{
    const HANDLE log = OpenEventLogW(nullptr, L"Application");
    EXPECT_TRUE(log != nullptr);
    std::vector<BYTE> buffer(0x10000);
    DWORD read = 0;
    DWORD needed = 0;
    std::string texts;
    if (ReadEventLogW(log, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, buffer.data(),
                      static_cast<DWORD>(buffer.size()), &read, &needed))
    {
        for (DWORD place = 0; place + sizeof(EVENTLOGRECORD) <= read && texts.empty();)
        {
            EVENTLOGRECORD record{};
            std::memcpy(&record, buffer.data() + place, sizeof record);
            const auto* name = reinterpret_cast<const wchar_t*>(buffer.data() + place + sizeof record);
            const auto* text = reinterpret_cast<const wchar_t*>(buffer.data() + place + record.StringOffset);
            for (WORD i = 0; name == source && i < record.NumStrings; ++i, text += std::wstring(text).size() + 1)
                texts += Shown(text) + "|";
            place += record.Length;
        }
    }
    EXPECT_TRUE(CloseEventLog(log));
    return texts;
}

TEST(ReportEventW, WritesAnEntryThatCanBeReadBack)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine keeps no event log";
    const std::wstring source = L"Kelo Conformance";
    const HANDLE log = RegisterEventSourceW(nullptr, source.c_str());
    ASSERT_TRUE(log != nullptr);
    LPCWSTR strings[] = {L"written", L"and read"};
    EXPECT_TRUE(ReportEventW(log, EVENTLOG_INFORMATION_TYPE, 0, 1, nullptr, 2, 0, strings, nullptr));
    EXPECT_TRUE(DeregisterEventSource(log));
    EXPECT_EQ(NewestTextsOf(source), "written|and read|");
}

} // namespace
