// Proves how a line of the install log is built: its header, its length and its end.
#include "tests/unit/log/log_file.h"

#include <gtest/gtest.h>

namespace
{

// The header before the message on a plain machine.
const std::string kHeader = "2013/05/07 14:03:09.042 TZ-4 [3120] ";
const std::size_t kHeaderLength = kHeader.size();

// The bytes that the file holds after a message.
std::string BytesOf(const std::string& message, const winsim::Machine& machine = MachineOf("{}"))
{
    const SimulatedRun run = CallFunction(machine, "WriteLog", {message});
    EXPECT_EQ(run.result, "true");
    return LogBytes(run.After());
}

std::string LineAt(const std::string& clock)
{
    return BytesOf("abc", MachineOf(R"({"clock": )" + clock + "}"));
}

// A message for a line of `length` characters, including the header.
std::string MessageFor(std::size_t length)
{
    return std::string(length - kHeaderLength, 'm');
}

// ---- The header ----

TEST(LogLine, HasTimeZoneThreadAndMessage)
{
    EXPECT_EQ(BytesOf("abc"), "2013/05/07 14:03:09.042 TZ-4 [3120] abc\r\n");
}

TEST(LogLine, EachPartOfTheTimeHasItsLeadingZeros)
{
    EXPECT_EQ(LineAt(R"({"utc": "2001-02-03T04:05:06.007Z"})"), "2001/02/03 04:05:06.007 TZ-4 [3120] abc\r\n");
    EXPECT_EQ(LineAt(R"({"utc": "2024-02-29T00:00:00.000Z"})"), "2024/02/29 00:00:00.000 TZ-4 [3120] abc\r\n");
}

TEST(LogLine, TheTimeRollsOverAtTheEndOfTheYear)
{
    EXPECT_EQ(
        LogBytes(CallFunction(MachineOf(R"({"clock": {"utc": "2012-12-31T23:59:59.999Z"}})"), "WritePauseWrite", {"1"})
                     .After()),
        "2012/12/31 23:59:59.999 TZ-4 [3120] before\r\n"
        "2013/01/01 00:00:00.000 TZ-4 [3120] after\r\n");
}

TEST(LogLine, EachLineHasItsOwnTime)
{
    EXPECT_EQ(LogBytes(CallFunction("WritePauseWrite", {"36061001"}).After()),
              "2013/05/07 14:03:09.042 TZ-4 [3120] before\r\n"
              "2013/05/08 00:04:10.043 TZ-4 [3120] after\r\n");
}

// The zone figure is -(bias + daylight bias) / 60, truncated toward zero, in summer and in winter.
TEST(LogLine, TheZoneFigureAlwaysCountsTheDaylightBias)
{
    const std::tuple<int, int, const char*> zones[] = {
        {-60, -60, "TZ02"},  {300, -60, "TZ-4"}, {0, 0, "TZ00"},    {0, -60, "TZ01"},  {0, 60, "TZ-1"},
        {-345, 0, "TZ05"},   {210, -60, "TZ-2"}, {210, 0, "TZ-3"},  {-330, 0, "TZ05"}, {-570, -60, "TZ10"},
        {-630, -30, "TZ11"}, {30, 0, "TZ00"},    {-30, 0, "TZ00"},  {59, 0, "TZ00"},   {60, 0, "TZ-1"},
        {-59, 0, "TZ00"},    {119, 0, "TZ-1"},   {-119, 0, "TZ01"}, {-840, 0, "TZ14"}, {720, 0, "TZ-12"},
        {-765, -60, "TZ13"}, {570, -60, "TZ-8"},
    };
    for (const auto& [bias, daylightBias, figure] : zones)
    {
        for (const char* isDaylight : {"true", "false"})
        {
            const std::string clock = R"({"zoneBias": )" + std::to_string(bias) + R"(, "daylightBias": )" +
                                      std::to_string(daylightBias) + R"(, "daylight": )" + isDaylight + "}";
            EXPECT_EQ(LineAt(clock), std::string("2013/05/07 14:03:09.042 ") + figure + " [3120] abc\r\n");
        }
    }
}

TEST(LogLine, AZoneThatCannotBeHadIsZero)
{
    EXPECT_EQ(LogBytes(CallFunction("WriteLog", {"abc"}, {.faults = {"GetTimeZoneInformation=5"}}).After()),
              "2013/05/07 14:03:09.042 TZ00 [3120] abc\r\n");
}

TEST(LogLine, TheThreadHasAtLeastFourDigits)
{
    const std::pair<const char*, const char*> threads[] = {
        {"7", "[0007]"}, {"912", "[0912]"}, {"9999", "[9999]"}, {"123456", "[123456]"}};
    for (const auto& [id, shown] : threads)
        EXPECT_EQ(BytesOf("abc", MachineOf(std::string(R"({"process": {"threadId": )") + id + "}}")),
                  std::string("2013/05/07 14:03:09.042 TZ-4 ") + shown + " abc\r\n");
}

TEST(LogLine, TheIndentPutsBlanksBeforeTheMessage)
{
    const auto indented = [](const char* indent) {
        return LogBytes(CallFunction("WriteIndented", {indent, "abc"}).After());
    };
    EXPECT_EQ(indented("0"), kHeader + "abc\r\n");
    EXPECT_EQ(indented("1"), kHeader + " abc\r\n");
    EXPECT_EQ(indented("8"), kHeader + "        abc\r\n");
    EXPECT_EQ(indented("600"), kHeader + std::string(510 - kHeaderLength, ' ') + "\r\n");
}

// ---- The message ----

// A rule about messages, a message, and its line without the header and the end of the line.
struct MessageCase
{
    const char* rule;
    std::string message;
    std::string line;
};

void ExpectLinesOf(const std::vector<MessageCase>& cases)
{
    for (const MessageCase& one : cases)
    {
        SCOPED_TRACE(one.rule);
        EXPECT_EQ(BytesOf(one.message), kHeader + one.line + "\r\n");
    }
}

TEST(LogLine, HasTheMessageAsItStands)
{
    ExpectLinesOf({
        {"a newline at the end is the line's own", "abc\n", "abc"},
        {"a second newline is not", "abc\n\n", "abc\r\n"},
        {"a newline alone is the line's own", "\n", ""},
        {"a newline inside the message is kept", "two\nlines", "two\r\nlines"},
        {"an empty message leaves the header", "", ""},
        {"a message is no format", "100% %s %n %d %%", "100% %s %n %d %%"},
        {"bytes of the code page stay as they are", "caf\xE9 \x80", "caf\xE9 \x80"},
    });
}

TEST(LogLine, EachConversionIsWindowsOwn)
{
    EXPECT_EQ(LogBytes(CallFunction("WriteEachConversion").After()),
              kHeader + "narrow|wide|-1|4294967295|beef|BEEF|0xc0000035|%\r\n");
}

// The runtime's "C" locale has only 256 characters; any other character ends the message.
TEST(LogLine, WideTextBeyondTheRuntimesLocaleLeavesTheHeader)
{
    const auto wide = [](const char* text) { return LogBytes(CallFunction("WriteWide", {text}).After()); };
    EXPECT_EQ(wide("caf\u00E9"), kHeader + "caf\xE9\r\n");
    EXPECT_EQ(wide("a\u4E2D"
                   "b"),
              kHeader + "\r\n");
}

// The longest line, written before, fills the buffer to its end, where a text that is too long would show.
TEST(LogLine, WideTextBeyondTheRuntimesLocaleLeavesTheHeaderAfterTheLongestLineToo)
{
    EXPECT_EQ(LogBytes(CallFunction("WriteThenWriteWide", {MessageFor(600), "a\u4E2D"
                                                                            "b"})
                           .After()),
              kHeader + MessageFor(510) + "\r\n" + kHeader + "\r\n");
}

// ---- The length ----

TEST(LogLine, IsCutTo510Characters)
{
    ExpectLinesOf({
        {"509 characters are a whole line", MessageFor(509), MessageFor(509)},
        {"510 characters are a whole line", MessageFor(510), MessageFor(510)},
        {"a newline as the 511th character is the line's own", MessageFor(510) + "\n", MessageFor(510)},
        {"a newline after the cut is cut off with the rest", MessageFor(511) + "\n", MessageFor(510)},
        {"so is one after that", MessageFor(512) + "\n", MessageFor(510)},
        {"so is one with more text after it", MessageFor(510) + "\nrest", MessageFor(510)},
        {"a newline exactly at the cut is the line's own", MessageFor(509) + "\n", MessageFor(509)},
        {"also before more text", MessageFor(509) + "\nrest", MessageFor(509)},
        {"also before one more character", MessageFor(509) + "\nr", MessageFor(509)},
        {"two newlines that fit are both kept", MessageFor(509) + "\n\n", MessageFor(509) + "\r\n"},
        {"of two newlines at the cut the second is cut off", MessageFor(509) + "\n\nrest", MessageFor(509)},
    });
    for (const std::size_t length : {511u, 512u, 513u, 546u, 600u, 5000u})
        EXPECT_EQ(BytesOf(MessageFor(length)), kHeader + MessageFor(510) + "\r\n") << length;
}

TEST(LogLine, ALongerHeaderLeavesLessForTheMessage)
{
    const winsim::Machine machine = MachineOf(R"({"process": {"threadId": 123456}})");
    const std::string header = "2013/05/07 14:03:09.042 TZ-4 [123456] ";
    EXPECT_EQ(BytesOf(std::string(600, 'm'), machine), header + std::string(510 - header.size(), 'm') + "\r\n");
    EXPECT_EQ(BytesOf(std::string(510 - header.size(), 'm'), machine),
              header + std::string(510 - header.size(), 'm') + "\r\n");
}

} // namespace
