// Proves which registry values count as the install location.
#include "tests/support/run_tests.h"
#include "tests/unit/smartcard/card_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::IsEmpty;

constexpr char kKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)";

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

const auto kInstallPaths =
    RunTests("GetInstallPath", &GetInstallPath)
        .Run("TheValueIsReadAtOnce", Stored(R"(C:\Kelo)"), R"(true C:\Kelo)", kPathRead)
        .Run("AMissingKeyYieldsNothing", MachineOf("{}"), "false (untouched)", {Failing(kOpenPathKey, 2)})
        .Result("TheKeyWithoutThePeriodIsAnotherOne", Stored("C:\\Kelo", R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)"),
                "false (untouched)")
        .Result(
            "AMissingValueYieldsNothing",
            MachineOf(
                R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common": {"values": {"Path": "C:\\Kelo"}}}})"),
            "false (untouched)")
        .Result("TextWithoutAZeroEndsAtItsLength", Stored({{"type", "REG_SZ"}, {"hex", "43003a005c004b00"}}),
                "true C:\\K")
        .Result("TextEndsAtItsFirstZero", Stored({{"type", "REG_SZ"}, {"hex", "43003a0000005c0000000000"}}), "true C:")
        .Result("AnEmptyTextIsAText", Stored(""), "true ")
        .Result("ExpandableTextIsTakenAsItStands",
                Stored({{"type", "REG_EXPAND_SZ"}, {"text", "%ProgramFiles%\\Kelo"}}), "true %ProgramFiles%\\Kelo")
        .Result("CharactersOfTheCodePageComeBackAsTheyWere", Stored("C:\\caf\u00E9 \u20AC"),
                "true C:\\caf\u00E9 \u20AC")
        .Result("AReadThatFailsYieldsNothingAndTheKeyIsClosed", Stored("C:\\Kelo"), {.faults = {"RegQueryValueExA=5"}},
                "false (untouched)", [](const SimulatedRun& run) { EXPECT_EQ(run.script.back(), kCloseKey); });

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

TEST(GetInstallPath, A256CharacterTextWithoutAZeroEndsThereToo)
{
    std::string hex;
    for (int i = 0; i < 256; ++i)
        hex += "6b00";
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_SZ"}, {"hex", hex}})).result, "true " + std::string(256, 'k'));
}

TEST(GetInstallPath, AnyOtherTypeIsNoText)
{
    EXPECT_EQ(GetInstallPath(Stored(7)).result, "false (untouched)");
    EXPECT_EQ(GetInstallPath(Stored({{"type", "REG_BINARY"}, {"hex", "433a5c00"}})).result, "false (untouched)");
}

} // namespace
