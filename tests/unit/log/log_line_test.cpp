// Proves how a line of the install log is built: its header, its length and its end.
#include "tests/unit/log/log_file.h"

#include <gmock/gmock.h>
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
    EXPECT_EQ(LogBytes(CallFunction(MachineOf("{}"), "WritePauseWrite", {"36061001"}).After()),
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
    EXPECT_EQ(
        LogBytes(CallFunction(MachineOf("{}"), "WriteLog", {"abc"}, {.faults = {"GetTimeZoneInformation=5"}}).After()),
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

TEST(LogLine, TheIndentPutsBlanksInFrontOfTheMessage)
{
    const auto indented = [](const char* indent) {
        return LogBytes(CallFunction(MachineOf("{}"), "WriteIndented", {indent, "abc"}).After());
    };
    EXPECT_EQ(indented("0"), kHeader + "abc\r\n");
    EXPECT_EQ(indented("1"), kHeader + " abc\r\n");
    EXPECT_EQ(indented("8"), kHeader + "        abc\r\n");
    EXPECT_EQ(indented("600"), kHeader + std::string(510 - kHeaderLength, ' ') + "\r\n");
}

// ---- The message ----

TEST(LogLine, ANewlineOfTheMessageIsTheLinesOwn)
{
    EXPECT_EQ(BytesOf("abc\n"), kHeader + "abc\r\n");
    EXPECT_EQ(BytesOf("abc\n\n"), kHeader + "abc\r\n\r\n");
    EXPECT_EQ(BytesOf("\n"), kHeader + "\r\n");
    EXPECT_EQ(BytesOf("two\nlines"), kHeader + "two\r\nlines\r\n");
}

TEST(LogLine, AnEmptyMessageLeavesTheHeader)
{
    EXPECT_EQ(BytesOf(""), kHeader + "\r\n");
}

TEST(LogLine, AMessageIsNoFormat)
{
    EXPECT_EQ(BytesOf("100% %s %n %d %%"), kHeader + "100% %s %n %d %%\r\n");
}

TEST(LogLine, EachConversionIsWindowsOwn)
{
    EXPECT_EQ(LogBytes(CallFunction(MachineOf("{}"), "WriteEachConversion").After()),
              kHeader + "narrow|wide|-1|4294967295|beef|BEEF|0xc0000035|%\r\n");
}

TEST(LogLine, BytesOfTheCodePageStayAsTheyAre)
{
    EXPECT_EQ(BytesOf("caf\xE9 \x80"), kHeader + "caf\xE9 \x80\r\n");
}

// The runtime's "C" locale has only 256 characters; any other character ends the message.
TEST(LogLine, WideTextBeyondTheRuntimesLocaleLeavesTheHeader)
{
    const auto wide = [](const char* text) {
        return LogBytes(CallFunction(MachineOf("{}"), "WriteWide", {text}).After());
    };
    EXPECT_EQ(wide("caf\u00E9"), kHeader + "caf\xE9\r\n");
    EXPECT_EQ(wide("a\u4E2D"
                   "b"),
              kHeader + "\r\n");
}

// The longest line, written before, fills the buffer to its end, where a text that is too long would show.
TEST(LogLine, WideTextBeyondTheRuntimesLocaleLeavesTheHeaderAfterTheLongestLineToo)
{
    EXPECT_EQ(LogBytes(CallFunction(MachineOf("{}"), "WriteThenWriteWide",
                                    {MessageFor(600), "a\u4E2D"
                                                      "b"})
                           .After()),
              kHeader + MessageFor(510) + "\r\n" + kHeader + "\r\n");
}

// ---- The length ----

TEST(LogLine, UpTo510CharactersTheLineIsWhole)
{
    EXPECT_EQ(BytesOf(MessageFor(509)), kHeader + MessageFor(509) + "\r\n");
    EXPECT_EQ(BytesOf(MessageFor(510)), kHeader + MessageFor(510) + "\r\n");
}

TEST(LogLine, From511CharactersOnTheLineIsCutTo510)
{
    for (const std::size_t length : {511u, 512u, 513u, 600u, 5000u})
        EXPECT_EQ(BytesOf(MessageFor(length)), kHeader + MessageFor(510) + "\r\n") << length;
    EXPECT_EQ(BytesOf(std::string(600, 'm')), kHeader + MessageFor(510) + "\r\n");
}

TEST(LogLine, ANewlineAsThe511thCharacterIsTheLastThatFits)
{
    EXPECT_EQ(BytesOf(MessageFor(509) + "\n"), kHeader + MessageFor(509) + "\r\n");
    EXPECT_EQ(BytesOf(MessageFor(510) + "\n"), kHeader + MessageFor(510) + "\r\n");
}

TEST(LogLine, ANewlineBehindTheCutIsCutOffWithTheRest)
{
    EXPECT_EQ(BytesOf(MessageFor(511) + "\n"), kHeader + MessageFor(510) + "\r\n");
    EXPECT_EQ(BytesOf(MessageFor(512) + "\n"), kHeader + MessageFor(510) + "\r\n");
    EXPECT_EQ(BytesOf(MessageFor(510) + "\nrest"), kHeader + MessageFor(510) + "\r\n");
}

TEST(LogLine, ANewlineExactlyAtTheCutIsTheLinesOwn)
{
    EXPECT_EQ(BytesOf(MessageFor(509) + "\nrest"), kHeader + MessageFor(509) + "\r\n");
    EXPECT_EQ(BytesOf(MessageFor(509) + "\nr"), kHeader + MessageFor(509) + "\r\n");
}

TEST(LogLine, TwoNewlinesThatFitAreBothKept)
{
    EXPECT_EQ(BytesOf(MessageFor(509) + "\n\n"), kHeader + MessageFor(509) + "\r\n\r\n");
}

TEST(LogLine, OfTwoNewlinesAtTheCutTheSecondIsCutOff)
{
    EXPECT_EQ(BytesOf(MessageFor(509) + "\n\nrest"), kHeader + MessageFor(509) + "\r\n");
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
