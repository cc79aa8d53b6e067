// Proves how the device installer is run: its command line, its current directory, and its log lines.
#include "tests/unit/smartcard/card_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

constexpr char kFolder[] = R"(C:\Kelo\TPM_VSCard\)";

// A machine with the device installer in a folder; `run` describes what each run of it does.
winsim::Machine StagerIn(const std::string& folder, const std::string& run = "{}")
{
    winsim::Json description;
    description["files"][folder] = {{"directory", true}};
    description["programs"][folder + "DriverStager.exe"]["runs"] = winsim::Json::array({winsim::Json::parse(run)});
    return winsim::Machine::FromJson(description);
}

SimulatedRun Stage(const winsim::Machine& machine, const std::string& folder, const std::string& arguments,
                   const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "RunDriverStager", {folder, arguments}, options);
}

TEST(RunDriverStager, TheToolIsRunInItsFolderAndWaitedFor)
{
    const SimulatedRun run = Stage(StagerIn(kFolder, R"({"runMs": 90000})"), kFolder, "dp_add_kelo KeloMiniDriver.inf");
    ExpectRun(run, "0", StagerRun(kFolder, "dp_add_kelo KeloMiniDriver.inf"));
    EXPECT_EQ(run.outcome.clockMs, 90000u);
}

TEST(RunDriverStager, ItsPathHasTwoBackslashesInFrontOfItsName)
{
    EXPECT_EQ(Stage(StagerIn(kFolder), kFolder, "x").log.at(0), R"("C:\Kelo\TPM_VSCard\\DriverStager.exe" x)");
}

TEST(RunDriverStager, AnyExitCodeIsLoggedAndCountsAsSuccess)
{
    for (const unsigned code : {1u, 2u, 259u, 0x7FFFFFFFu})
        ExpectRun(Stage(StagerIn(kFolder, R"({"exitCode": )" + std::to_string(code) + "}"), kFolder, "x"), "0",
                  StagerRun(kFolder, "x", code));
}

TEST(RunDriverStager, AnExitCodeIsLoggedAsASignedNumber)
{
    const SimulatedRun run = Stage(StagerIn(kFolder, R"({"exitCode": 4294967294})"), kFolder, "x");
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.back(), "  DriverStager process PID: 4312 completed with Exit code: -2");
}

TEST(RunDriverStager, AToolThatEndsNeverIsWaitedForWithoutALimit)
{
    const SimulatedRun run =
        Stage(StagerIn(kFolder, R"({"neverEnds": true})"), kFolder, "x", {.faults = {}, .mayBeEndless = true});
    EXPECT_TRUE(run.outcome.isEndless);
}

TEST(RunDriverStager, BlanksAndPercentSignsInTheFolderStayWhatTheyAre)
{
    for (const char* folder : {R"(C:\Program Files\Kelo Systems Corp\TPM_VSCard\)", R"(C:\100% %s %n %d\TPM_VSCard\)",
                               R"(C:\%TEMP%\TPM_VSCard\)"})
        ExpectRun(Stage(StagerIn(folder), folder, "dp_add_kelo X.inf"), "0", StagerRun(folder, "dp_add_kelo X.inf"));
}

TEST(RunDriverStager, PercentSignsInTheArgumentsStayWhatTheyAre)
{
    ExpectRun(Stage(StagerIn(kFolder), kFolder, "%s %d %n 100%"), "0", StagerRun(kFolder, "%s %d %n 100%"));
}

TEST(RunDriverStager, ABlankStandsBehindTheToolEvenWithoutArguments)
{
    ExpectRun(Stage(StagerIn(kFolder), kFolder, ""), "0", StagerRun(kFolder, ""));
}

TEST(RunDriverStager, ACharacterOutsideTheCodePageIsLostInTheLogAlone)
{
    const std::string folder = "C:\\\u4E2D caf\u00E9\\TPM_VSCard\\";
    const SimulatedRun run = Stage(StagerIn(folder), folder, "x");
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(0), "\"C:\\? caf\u00E9\\TPM_VSCard\\\\DriverStager.exe\" x");
    EXPECT_EQ(run.script.at(1), StagerRun(folder, "x").at(1));
}

TEST(RunDriverStager, ALongCommandLineIsCutInTheLogAlone)
{
    std::string folder = "C:\\";
    for (int i = 0; i < 20; ++i)
        folder += std::string(20, static_cast<char>('a' + i)) + "\\";
    const std::string arguments(600, 'x');
    const SimulatedRun run = Stage(StagerIn(folder), folder, arguments);
    EXPECT_EQ(run.result, "0");
    // 36 characters of header before the message; 510 in all.
    EXPECT_EQ(run.log.at(0), ("\"" + folder + "\\DriverStager.exe\" " + arguments).substr(0, 474));
    EXPECT_EQ(run.script.at(1), StagerRun(folder, arguments).at(1));
}

TEST(RunDriverStager, AMissingToolCannotBeStarted)
{
    ExpectRun(Stage(MachineOf(R"({"files": {"C:\\Kelo\\TPM_VSCard": {"directory": true}}})"), kFolder, "x"), "-2",
              StagerFailure(kFolder, "x", 2));
}

TEST(RunDriverStager, AMissingFolderHasAnotherError)
{
    ExpectRun(Stage(MachineOf("{}"), kFolder, "x"), "-2", StagerFailure(kFolder, "x", 3));
}

TEST(RunDriverStager, AFolderThatIsNoFullPathHoldsNoTool)
{
    constexpr char kRooted[] = R"(\TPM_VSCard\)";
    ExpectRun(Stage(StagerIn(R"(C:\TPM_VSCard\)"), kRooted, "x"), "-2", StagerRefusal(kRooted, "x"));
}

TEST(RunDriverStager, AToolThatWindowsRefusesCannotBeStarted)
{
    for (const unsigned error : {5u, 193u, 740u, 1260u})
        ExpectRun(Stage(StagerIn(kFolder, R"({"startError": )" + std::to_string(error) + "}"), kFolder, "x"), "-2",
                  StagerFailure(kFolder, "x", error));
}

TEST(RunDriverStager, AnExitCodeThatCannotBeReadIsLoggedAsZero)
{
    const SimulatedRun run =
        Stage(StagerIn(kFolder, R"({"exitCode": 7})"), kFolder, "x", {.faults = {"GetExitCodeProcess=5"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.back(), "  DriverStager process PID: 4312 completed with Exit code: 0");
}

TEST(RunDriverStager, AWaitThatFailsEndsNothing)
{
    const SimulatedRun run =
        Stage(StagerIn(kFolder, R"({"runMs": 1000})"), kFolder, "x", {.faults = {"WaitForSingleObject=6"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.back(), "  DriverStager process PID: 4312 completed with Exit code: 259");
}

} // namespace
