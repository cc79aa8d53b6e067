// Proves how the install log's file is made, opened, shared and closed, and that a log without a file is silent.
#include "tests/unit/log/log_file.h"

#include "winsim/toolkit/install_log.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const std::string kReopen = OpeningOf(9)[2];
const std::string kOpenNothing = Call("_fsopen", {"", "a", 64});
constexpr int kLogObjects = 8;

// The names of the calls in the program's own part of a run, including those of each log line.
Script CallNames(const SimulatedRun& run)
{
    Script names;
    for (std::size_t i = run.outcome.bodyBegin; i < run.outcome.bodyEnd; ++i)
    {
        if (!run.isPrecaution[i] && !run.outcome.calls[i].isHousekeeping)
            names.push_back(run.outcome.calls[i].name);
    }
    return names;
}

// ---- Opening and closing ----

TEST(InstallLog, EightObjectsOpenBeforeTheProgramAndCloseInReverseAfterIt)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {});
    Script start = {Call("SetDllDirectoryW", {""}, 1), Call("SetProcessMitigationPolicy", {16, 1, 4}, 1)};
    Script end;
    for (int i = 1; i <= kLogObjects; ++i)
    {
        start.Append({OpeningOf(i)});
        end.insert(end.begin(), ClosingOf(i));
    }
    EXPECT_THAT(run.startScript, ElementsAreArray(start));
    EXPECT_THAT(run.endScript, ElementsAreArray(end));
}

TEST(InstallLog, TheFirstRunMakesTheFolderAndTheFile)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {});
    Script changed;
    for (const winsim::Change& change : Compare(run.before, run.After()))
        changed.push_back(change.kind + " " + change.item);
    EXPECT_THAT(changed, ElementsAre(R"(added C:\ProgramData\Kelo Systems Corp)",
                                     R"(added C:\ProgramData\Kelo Systems Corp\InstallLogs)",
                                     R"(added C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit)",
                                     std::string("added ") + kLogPath));
}

// Windows has two errors for a missing file or directory.
TEST(InstallLog, WhatIsMissingIsMadeWhicheverErrorSaysSo)
{
    constexpr unsigned kNoFile = 2;
    const SimulatedRun whole = CallFunction("WriteLog", {"abc"});
    std::size_t missing = 0;
    unsigned opened = 0;
    for (const winsim::CallRecord& call : whole.outcome.calls)
    {
        opened += call.name == "CreateFileW" ? 1 : 0;
        if (call.name != "CreateFileW" || call.error != kNoFile)
            continue;
        ++missing;
        const SimulatedRun run =
            CallFunction("WriteLog", {"abc"}, {.faults = {"CreateFileW#" + std::to_string(opened) + "=3"}});
        EXPECT_EQ(run.log, whole.log) << opened;
        EXPECT_EQ(run.outcome.callCounts.at("_fsopen"), whole.outcome.callCounts.at("_fsopen")) << opened;
    }
    EXPECT_GE(missing, 2U);
}

TEST(InstallLog, TheFileLiesInTheMachinesOwnApplicationDataFolder)
{
    const SimulatedRun run = CallFunction(MachineOf(R"({"folders": {"commonAppData": "D:\\Data"},
        "files": {"D:\\Data": {"directory": true}}})"),
                                          "WriteLog", {"abc"});
    const winsim::File* file =
        run.After().files.Find("D:\\Data\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->content, "2013/05/07 14:03:09.042 TZ-4 [3120] abc\r\n");
    EXPECT_EQ(LogBytes(run.After()), "(none)");
}

TEST(InstallLog, EveryRunAppends)
{
    const SimulatedRun second = CallFunction(CallFunction("WriteLog", {"first"}).After(), "WriteLog", {"second"});
    EXPECT_EQ(LogBytes(second.After()), "2013/05/07 14:03:09.042 TZ-4 [3120] first\r\n"
                                        "2013/05/07 14:03:09.042 TZ-4 [3120] second\r\n");
    ExpectLog(second, "true", "log: second");
}

TEST(InstallLog, TwoRunsOfTheProgramLeaveBothTheirLines)
{
    const SimulatedRun first = RunProgram(MachineOf("{}"), {"/Commit"});
    const SimulatedRun second = RunProgram(first.After(), {"/Commit"});
    EXPECT_EQ(LogBytes(second.After()), LogBytes(first.After()) + LogBytes(first.After()));
    ExpectLog(second, first.result, first.script);
}

TEST(InstallLog, AFileOfAnotherProgramsLinesIsKept)
{
    EXPECT_EQ(LogBytes(CallFunction(MachineOf(R"({"files":
        {"C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt": {"text": "not mine"}}})"),
                                    "WriteLog", {"abc"})
                           .After()),
              "not mine2013/05/07 14:03:09.042 TZ-4 [3120] abc\r\n");
}

TEST(InstallLog, TwoObjectsLinesStandInCallOrder)
{
    ExpectRun(
        CallFunction("WriteLogAlternately", {"one", "two", "three", "four"}), "",
        {OpeningOf(9), OpeningOf(10), "log: one", "log: two", "log: three", "log: four", ClosingOf(10), ClosingOf(9)});
}

// What the first log has opened keeps the path in place until the last log is open.
TEST(InstallLog, ThePathIsCheckedOnceForAllLogs)
{
    const SimulatedRun run = RunProgram(RunProgram(MachineOf("{}"), {"/Commit"}).After(), {"/Commit"});
    Script names;
    for (const winsim::CallRecord& record : run.outcome.calls)
        names.push_back(record.name);
    const char* const first = "SHGetFolderPathA";
    const Script opening = {"SHCreateDirectoryExA", "_fsopen"};
    const auto begin = std::find(names.begin(), names.end(), first);
    EXPECT_THAT(Script(begin, std::find(begin, names.end(), "GetCommandLineW")),
                ElementsAreArray(
                    Script{first, Times(4, "MultiByteToWideChar"), "LoadLibraryA", "GetProcAddress", "FreeLibrary",
                           Times(4, Script{"CreateFileW", "GetFileInformationByHandle", "GetFinalPathNameByHandleW"}),
                           opening, Times(kLogObjects - 1, Script{first, opening}), Times(4, "CloseHandle")}));
}

TEST(InstallLog, AnotherFileOnASharedPathIsCheckedForItself)
{
    const SimulatedRun two = CallFunction("WriteToEachFile", {"one.txt", "two.txt"});
    const SimulatedRun three = CallFunction("WriteToEachFile", {"one.txt", "two.txt", "two.txt"});
    EXPECT_THAT(TextOf(two.After(), std::string(kLogFolder) + "one.txt"), testing::EndsWith("] one.txt\r\n"));
    EXPECT_THAT(TextOf(two.After(), std::string(kLogFolder) + "two.txt"), testing::EndsWith("] two.txt\r\n"));
    const auto checksOf = [](const SimulatedRun& run) { return run.outcome.callCounts.at("CreateFileW"); };
    EXPECT_EQ(checksOf(two), checksOf(CallFunction("WriteToEachFile", {"one.txt"})) + 6);
    EXPECT_EQ(checksOf(three), checksOf(two));
}

TEST(InstallLog, ASharedPathHoldsNothingAfterAFileThatCannotBeChosen)
{
    // The name of the second file cannot be converted to UTF-16.
    const SimulatedRun run =
        CallFunction("WriteToEachFile", {"one.txt", "two.txt", "one.txt"}, {.faults = {"MultiByteToWideChar#11=8"}});
    const SimulatedRun again = CallFunction("WriteToEachFile", {"one.txt", "two.txt", "one.txt"});
    EXPECT_EQ(TextOf(run.After(), std::string(kLogFolder) + "two.txt"), "(none)");
    const auto checksOf = [](const SimulatedRun& r) { return r.outcome.callCounts.at("CreateFileW"); };
    EXPECT_EQ(checksOf(again) - checksOf(run), 6u);
}

TEST(InstallLog, EachLineIsFlushedBeforeTheNext)
{
    const SimulatedRun run = CallFunction("WriteLogAlternately", {"one", "two"});
    const Script line = {"GetSystemTime", "GetTimeZoneInformation", "GetCurrentThreadId", "fputs", "fflush"};
    const Script open = {"SHGetFolderPathA", "SHCreateDirectoryExA", "_fsopen"};
    EXPECT_THAT(CallNames(run), ElementsAreArray(Script{open, open, line, line, "fclose", "fclose"}));
    Script streams;
    for (const winsim::CallRecord& record : run.outcome.calls)
    {
        if (record.name == "fputs" || record.name == "fflush")
            streams.push_back(record.name + " " + record.in["stream"].get<std::string>());
    }
    EXPECT_THAT(streams, ElementsAre("fputs stream#9", "fflush stream#9", "fputs stream#10", "fflush stream#10"));
}

TEST(InstallLog, AClosedObjectOpensItsFileForEachLine)
{
    const SimulatedRun run = CallFunction("WriteAfterClose", {"late"});
    ExpectRun(run, "true", {OpeningOf(9), ClosingOf(9), kReopen, "log: late", ClosingOf(9)});
    EXPECT_THAT(CallNames(run),
                ElementsAre("SHGetFolderPathA", "SHCreateDirectoryExA", "_fsopen", "fclose", "_fsopen", "GetSystemTime",
                            "GetTimeZoneInformation", "GetCurrentThreadId", "fputs", "fflush", "fclose"));
}

TEST(InstallLog, AClosedObjectKeepsNothingOpenBetweenItsLines)
{
    ExpectRun(CallFunction("WriteAfterClose", {"one", "two"}), "true",
              {OpeningOf(9), ClosingOf(9), kReopen, "log: one", ClosingOf(9), kReopen, "log: two", ClosingOf(9)});
}

TEST(InstallLog, ALineThatNoFileCanBeOpenedForIsDropped)
{
    ExpectRun(CallFunction("WriteAfterClose", {"late"}, {.faults = {"_fsopen#10=32"}}), "false",
              {OpeningOf(9), ClosingOf(9), Failing(kReopen)});
}

TEST(InstallLog, ClosingAClosedObjectDoesNothing)
{
    ExpectRun(CallFunction("CloseTwice"), "", {OpeningOf(9), ClosingOf(9)});
}

TEST(InstallLog, OpeningOnceMoreClosesTheFormerStream)
{
    ExpectRun(CallFunction("WriteAfterSecondOpen", {"abc"}), "true true",
              {OpeningOf(9), OpeningOf(10), ClosingOf(9), "log: abc", ClosingOf(10)});
}

TEST(InstallLog, OpeningOnceMoreThatFailsSaysSoAndKeepsTheFormerStream)
{
    const auto before = CallFunction("CloseTwice").outcome.callCounts;
    for (const char* call :
         {"SHGetFolderPathA", "MultiByteToWideChar", "CreateFileW", "SHCreateDirectoryExA", "_fsopen"})
    {
        const SimulatedRun run =
            CallFunction("WriteAfterSecondOpen", {"abc"},
                         {.faults = {std::string(call) + "#" + std::to_string(before.at(call) + 1) + "=5"}});
        SCOPED_TRACE(call);
        ExpectLog(run, "false true", "log: abc");
    }
}

// Runs of a function in which each piece of memory is refused once.
std::vector<SimulatedRun> WithEachPieceRefused(const char* function, const std::string& argument)
{
    const unsigned pieces = CallFunction(function, {argument}).outcome.callCounts.at("operator new");
    std::vector<SimulatedRun> runs;
    for (unsigned piece = 1; piece <= pieces; ++piece)
        runs.push_back(CallFunction(function, {argument}, {.faults = {fmt::format("operator new#{}=8", piece)}}));
    return runs;
}

TEST(InstallLog, OpeningOnceMoreWithoutMemorySaysThatItFails)
{
    bool hasFailed = false;
    for (const SimulatedRun& run : WithEachPieceRefused("WriteAfterSecondOpen", "abc"))
    {
        const Script names = CallNames(run);
        const auto lastOpening = std::find(names.rbegin(), names.rend(), "SHGetFolderPathA");
        const bool isOpened = std::find(names.rbegin(), lastOpening, "_fsopen") != lastOpening;
        hasFailed = hasFailed || !isOpened;
        EXPECT_EQ(run.result, isOpened ? "true true" : "false true");
    }
    EXPECT_TRUE(hasFailed);
}

TEST(InstallLog, ALineThatIsLostForWantOfMemoryCountsAsWritten)
{
    EXPECT_TRUE(std::ranges::any_of(WithEachPieceRefused("WriteAfterClose", "late"),
                                    [](const SimulatedRun& run) { return run.log.empty() && run.result == "true"; }));
}

// ---- Silence ----

// A machine with the log's folder.
winsim::Machine MachineWithFolder()
{
    return MachineOf(R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit": {"directory": true}}})");
}

// A run with a silent log does the same as a run with a log, but writes no lines.
void ExpectSilence(const winsim::Machine& machine, const SimulatedRunOptions& options, const char* bytes = "(none)")
{
    const SimulatedRun logged = RunProgram(MachineOf("{}"), {"/Commit"});
    const SimulatedRun run = RunProgram(machine, {"/Commit"}, options);
    EXPECT_EQ(LogBytes(run.After()), bytes);
    EXPECT_EQ(run.outcome.standardOutput, "Done!");
    EXPECT_THAT(run.endScript, IsEmpty());

    // The path was never remembered, so each line tries it again, once.
    Script script;
    for (const std::string& line : logged.script)
        script.push_back(line.starts_with("log: ") ? kOpenNothing : line);
    ExpectRun(run, logged.result, script);
}

// It makes no difference whether the folder is there.
TEST(InstallLog, AFolderThatCannotBeMadeSilencesTheLogAndNothingElse)
{
    for (const char* failure : {"SHCreateDirectoryExA=5", "SHCreateDirectoryExA=80", "SHCreateDirectoryExA=206"})
    {
        SCOPED_TRACE(failure);
        ExpectSilence(MachineOf("{}"), {.faults = {failure}});
        ExpectSilence(MachineWithFolder(), {.faults = {failure}});
    }
}

TEST(InstallLog, AReadOnlyApplicationDataFolderSilencesTheLogAndNothingElse)
{
    ExpectSilence(MachineOf(R"({"files": {"C:\\ProgramData": {"directory": true, "denied": true}}})"), {});
}

TEST(InstallLog, AMissingApplicationDataFolderSilencesTheLogAndNothingElse)
{
    ExpectSilence(MachineOf(R"({"folders": {"commonAppData": null}})"), {});
    ExpectSilence(MachineOf("{}"), {.faults = {"SHGetFolderPathA=0x80004005"}});
}

// Nothing is created on the current drive or in its current directory, even where that would be possible.
TEST(InstallLog, WithoutAFullPathOfTheApplicationDataFolderNothingIsMade)
{
    for (const char* folder : {R"(null)", R"("")", R"("Data")", R"("C:Data")", R"("\\Data")"})
    {
        const SimulatedRun run =
            RunProgram(MachineOf(std::string(R"({"folders": {"commonAppData": )") + folder + "}}"), {"/Commit"});
        SCOPED_TRACE(folder);
        ExpectLog(run, "0", {});
        EXPECT_EQ(run.outcome.callCounts.at("SHGetFolderPathA"), static_cast<std::size_t>(kLogObjects));
        EXPECT_FALSE(run.outcome.callCounts.contains("SHCreateDirectoryExA"));
        EXPECT_EQ(run.After().files, run.before.files);
    }
}

TEST(InstallLog, AFileThatCannotBeOpenedSilencesTheLogAndNothingElse)
{
    // The program creates the file before it opens the stream, so that no link can take its place.
    ExpectSilence(MachineOf("{}"), {.faults = {"_fsopen=32"}}, "");
}

TEST(InstallLog, AFolderInTheFilesPlaceOrAFileInTheFoldersSilencesTheLog)
{
    for (const char* files : {R"({"C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt":
                                  {"directory": true}})",
                              R"({"C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit": {"text": "a file"}})"})
    {
        SCOPED_TRACE(files);
        const SimulatedRun run = RunProgram(MachineOf(std::string(R"({"files": )") + files + "}"), {"/Commit"});
        ExpectLog(run, "0", {});
        EXPECT_EQ(run.outcome.standardOutput, "Done!");
    }
}

TEST(InstallLog, AFolderThatIsThereIsAsGoodAsANewOne)
{
    const SimulatedRun run = CallFunction(MachineWithFolder(), "WriteLog", {"abc"});
    ExpectLog(run, "true", "log: abc");
    EXPECT_EQ(run.startScript.at(3), OpeningOf(1).at(1));
}

// The ninth object opens after the program's own eight.
TEST(InstallLog, OneSilentObjectLeavesTheOthersTheirLines)
{
    ExpectLog(CallFunction("WriteLogAlternately", {"one", "two", "three", "four"}, {.faults = {"_fsopen#9=5"}}), "",
              {"log: two", "log: four"});
}

TEST(InstallLog, ASilentObjectSaysThatItsLineWasNotWritten)
{
    ExpectLog(CallFunction("WriteLog", {"abc"}, {.faults = {"_fsopen=5"}}), "false", {});
}

TEST(InstallLog, ALineThatTheFileRefusesIsLostAndTheRunGoesOn)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"fputs#2=112", "fflush=112"}});
    const SimulatedRun whole = RunProgram(MachineOf("{}"), {"/Commit"});
    ExpectLog(run, whole.result, Replaced(whole.script, "log: " + whole.log.at(1), {}));
    EXPECT_EQ(run.outcome.standardOutput, "Done!");
}

// ---- What keeps the path from being made sure of ----

TEST(InstallLog, AFileThatCannotBeMadeSilencesTheFirstLogAlone)
{
    // The first log finds no folder and creates three folders and the file.
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"CreateFileW#9=5"}});
    EXPECT_EQ(run.outcome.callCounts.at("_fsopen"), kLogObjects - 1);
    EXPECT_EQ(run.exitCode, 0);
}

// The remainder of such a path would lead elsewhere, so nothing is opened.
TEST(InstallLog, APathThatCannotBeConvertedDropsTheLine)
{
    const auto countOpened = [](const SimulatedRun& run) { return run.outcome.callCounts.at("CreateFileW"); };
    const SimulatedRun without = CallFunction("WriteAfterClose");
    const unsigned conversions = without.outcome.callCounts.at("MultiByteToWideChar");
    // Two conversions for the folder and two for the path below it: each first asks for the size.
    for (unsigned conversion = conversions + 1; conversion <= conversions + 4; ++conversion)
    {
        const SimulatedRun run = CallFunction(
            "WriteAfterClose", {"late"}, {.faults = {"MultiByteToWideChar#" + std::to_string(conversion) + "=1113"}});
        ExpectLog(run, "false", {});
        EXPECT_EQ(countOpened(run), countOpened(without)) << conversion;
    }
}

TEST(InstallLog, WithoutMemoryALineIsDroppedAndNothingElse)
{
    const SimulatedRun whole = CallFunction("WriteAfterClose", {"late"});
    for (const SimulatedRun& run : WithEachPieceRefused("WriteAfterClose", "late"))
        EXPECT_TRUE(run.log.empty() || run.log == whole.log);
}

} // namespace
