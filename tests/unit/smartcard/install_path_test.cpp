// Proves which registry values count as the install location.
#include "tests/unit/smartcard/card_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)";
constexpr char kQuery[] = R"(RegQueryValueExA("key#1", "Installation Path", null, )";

winsim::Machine Stored(const winsim::Json& value, const char* key = kKey)
{
    winsim::Json description;
    description["registry"][key]["values"]["Installation Path"] = value;
    return winsim::Machine::FromJson(description);
}

SimulatedRun GetInstallPath(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    SimulatedRun run = CallFunction(machine, "GetInstallPath", {}, options);
    EXPECT_THAT(run.log, IsEmpty());
    return run;
}

TEST(GetInstallPath, TheValueIsReadAtOnce)
{
    const SimulatedRun run = GetInstallPath(Stored(R"(C:\Kelo)"));
    EXPECT_EQ(run.result, R"(true C:\Kelo)");
    ASSERT_EQ(run.script.size(), 3u);
    EXPECT_EQ(run.script[0], kOpenPathKey);
    EXPECT_TRUE(run.script[1].starts_with(kQuery)) << run.script[1];
    EXPECT_EQ(run.script[2], kCloseKey);
}

TEST(GetInstallPath, AMissingKeyYieldsNothing)
{
    ExpectRun(GetInstallPath(MachineOf("{}")), "false (untouched)", {Failing(kOpenPathKey, 2)});
}

TEST(GetInstallPath, TheKeyWithoutThePeriodIsAnotherOne)
{
    EXPECT_EQ(GetInstallPath(Stored("C:\\Kelo", R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)")).result,
              "false (untouched)");
}

TEST(GetInstallPath, AMissingValueYieldsNothing)
{
    EXPECT_EQ(
        GetInstallPath(
            MachineOf(
                R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common": {"values": {"Path": "C:\\Kelo"}}}})"))
            .result,
        "false (untouched)");
}

TEST(GetInstallPath, TextThatFillsTheBufferWithItsZeroIsTaken)
{
    const std::string longest = "C:\\" + std::string(252, 'k');
    ASSERT_EQ(longest.size() + 1, 256u);
    EXPECT_EQ(GetInstallPath(Stored(longest)).result, "true " + longest);
}

TEST(GetInstallPath, OneMoreCharacterIsTooMany)
{
    EXPECT_EQ(GetInstallPath(Stored("C:\\" + std::string(253, 'k'))).result, "false (untouched)");
    EXPECT_EQ(GetInstallPath(Stored("C:\\" + std::string(5000, 'k'))).result, "false (untouched)");
}

TEST(GetInstallPath, TextWithoutAZeroEndsAtItsLength)
{
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_SZ"}, {"hex", "43003a005c004b00"}})).result, "true C:\\K");
}

TEST(GetInstallPath, A256CharacterTextWithoutAZeroEndsThereToo)
{
    std::string hex;
    for (int i = 0; i < 256; ++i)
        hex += "6b00";
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_SZ"}, {"hex", hex}})).result, "true " + std::string(256, 'k'));
}

TEST(GetInstallPath, TextEndsAtItsFirstZero)
{
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_SZ"}, {"hex", "43003a0000005c0000000000"}})).result, "true C:");
}

TEST(GetInstallPath, AnEmptyTextIsAText)
{
    EXPECT_EQ(GetInstallPath(Stored("")).result, "true ");
}

TEST(GetInstallPath, ExpandableTextIsTakenAsItStands)
{
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_EXPAND_SZ"}, {"text", "%ProgramFiles%\\Kelo"}})).result,
              "true %ProgramFiles%\\Kelo");
}

TEST(GetInstallPath, AnyOtherTypeIsNoText)
{
    EXPECT_EQ(GetInstallPath(Stored(7)).result, "false (untouched)");
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_BINARY"}, {"hex", "433a5c00"}})).result, "false (untouched)");
}

TEST(GetInstallPath, CharactersOfTheCodePageComeBackAsTheyWere)
{
    EXPECT_EQ(GetInstallPath(Stored("C:\\caf\u00E9 \u20AC")).result, "true C:\\caf\u00E9 \u20AC");
}

TEST(GetInstallPath, AReadThatFailsYieldsNothingAndTheKeyIsClosed)
{
    const SimulatedRun run = GetInstallPath(Stored("C:\\Kelo"), {.faults = {"RegQueryValueExA=5"}});
    EXPECT_EQ(run.result, "false (untouched)");
    EXPECT_EQ(run.script.back(), kCloseKey);
}

} // namespace
