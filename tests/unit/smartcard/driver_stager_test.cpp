// Proves how the device installer is run: its command line, its current directory, and its log lines.
#include "tests/support/run_tests.h"
#include "tests/unit/smartcard/card_script.h"

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

SimulatedRun StageIn(const std::string& folder, const winsim::Machine& machine, const std::string& arguments)
{
    return CallFunction(machine, "RunDriverStager", {folder, arguments});
}

SimulatedRun Stage(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "RunDriverStager", {kFolder, "x"}, options);
}

TEST(RunDriverStager, TheToolIsRunInItsFolderAndWaitedFor)
{
    const SimulatedRun run =
        StageIn(kFolder, StagerIn(kFolder, R"({"runMs": 90000})"), "dp_add_kelo KeloMiniDriver.inf");
    ExpectRun(run, "0", StagerRun(kFolder, "dp_add_kelo KeloMiniDriver.inf"));
    EXPECT_EQ(run.outcome.clockMs, 90000u);
}

TEST(RunDriverStager, ItsPathHasTwoBackslashesBeforeItsName)
{
    EXPECT_EQ(Stage(StagerIn(kFolder)).log.at(0), R"("C:\Kelo\TPM_VSCard\\DriverStager.exe" x)");
}

TEST(RunDriverStager, AnyExitCodeIsLoggedAndCountsAsSuccess)
{
    for (const unsigned code : {1u, 2u, 259u, 0x7FFFFFFFu})
        ExpectRun(Stage(StagerIn(kFolder, R"({"exitCode": )" + std::to_string(code) + "}")), "0",
                  StagerRun(kFolder, "x", code));
}

const auto kStagings =
    RunTests("RunDriverStager", &Stage)
        .Result("AnExitCodeIsLoggedAsASignedNumber", StagerIn(kFolder, R"({"exitCode": 4294967294})"), "0",
                [](const SimulatedRun& run) {
                    EXPECT_EQ(run.log.back(), "  DriverStager process PID: 4312 completed with Exit code: -2");
                })
        .Run("AMissingToolCannotBeStarted", MachineOf(R"({"files": {"C:\\Kelo\\TPM_VSCard": {"directory": true}}})"),
             "-2", StagerFailure(kFolder, "x", 2))
        .Run("AMissingFolderHasAnotherError", MachineOf("{}"), "-2", StagerFailure(kFolder, "x", 3))
        .Result("AnExitCodeThatCannotBeReadIsLoggedAsZero", StagerIn(kFolder, R"({"exitCode": 7})"),
                {.faults = {"GetExitCodeProcess=5"}}, "0",
                [](const SimulatedRun& run) {
                    EXPECT_EQ(run.log.back(), "  DriverStager process PID: 4312 completed with Exit code: 0");
                })
        .Result("AWaitThatFailsEndsNothing", StagerIn(kFolder, R"({"runMs": 1000})"),
                {.faults = {"WaitForSingleObject=6"}}, "0", [](const SimulatedRun& run) {
                    EXPECT_EQ(run.log.back(), "  DriverStager process PID: 4312 completed with Exit code: 259");
                });

TEST(RunDriverStager, AToolThatEndsNeverIsWaitedForWithoutALimit)
{
    const SimulatedRun run = Stage(StagerIn(kFolder, R"({"neverEnds": true})"), {.faults = {}, .mayBeEndless = true});
    EXPECT_TRUE(run.outcome.isEndless);
}

TEST(RunDriverStager, BlanksAndPercentSignsInTheFolderStayWhatTheyAre)
{
    for (const char* folder : {R"(C:\Program Files\Kelo Systems Corp\TPM_VSCard\)", R"(C:\100% %s %n %d\TPM_VSCard\)",
                               R"(C:\%TEMP%\TPM_VSCard\)"})
        ExpectRun(StageIn(folder, StagerIn(folder), "dp_add_kelo X.inf"), "0", StagerRun(folder, "dp_add_kelo X.inf"));
}

TEST(RunDriverStager, PercentSignsInTheArgumentsStayWhatTheyAre)
{
    ExpectRun(StageIn(kFolder, StagerIn(kFolder), "%s %d %n 100%"), "0", StagerRun(kFolder, "%s %d %n 100%"));
}

TEST(RunDriverStager, ABlankFollowsTheToolEvenWithoutArguments)
{
    ExpectRun(StageIn(kFolder, StagerIn(kFolder), ""), "0", StagerRun(kFolder, ""));
}

TEST(RunDriverStager, ACharacterOutsideTheCodePageIsLostInTheLogAlone)
{
    const std::string folder = "C:\\\u4E2D caf\u00E9\\TPM_VSCard\\";
    const SimulatedRun run = StageIn(folder, StagerIn(folder), "x");
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
    const SimulatedRun run = StageIn(folder, StagerIn(folder), arguments);
    EXPECT_EQ(run.result, "0");
    // 36 characters of header before the message; 510 in all.
    EXPECT_EQ(run.log.at(0), ("\"" + folder + "\\DriverStager.exe\" " + arguments).substr(0, 474));
    EXPECT_EQ(run.script.at(1), StagerRun(folder, arguments).at(1));
}

TEST(RunDriverStager, AFolderThatIsNoFullPathHoldsNoTool)
{
    constexpr char kRooted[] = R"(\TPM_VSCard\)";
    ExpectRun(StageIn(kRooted, StagerIn(R"(C:\TPM_VSCard\)"), "x"), "-2", StagerRefusal(kRooted, "x"));
}

TEST(RunDriverStager, AToolThatWindowsRefusesCannotBeStarted)
{
    for (const unsigned error : {5u, 193u, 740u, 1260u})
        ExpectRun(Stage(StagerIn(kFolder, R"({"startError": )" + std::to_string(error) + "}")), "-2",
                  StagerFailure(kFolder, "x", error));
}

} // namespace
