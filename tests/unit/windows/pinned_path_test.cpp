// Proves that a path is opened part by part without following links, checked, and protected from changes.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>

namespace
{

constexpr char kFolder[] = R"(C:\ProgramData)";
constexpr char kBelow[] = R"(\Maker\Common\config.ini)";
constexpr char kFile[] = R"(C:\ProgramData\Maker\Common\config.ini)";

constexpr char kAllThere[] = R"({"files": {"C:\\ProgramData\\Maker\\Common\\config.ini": {"text": "x"}}})";
constexpr char kNothingThere[] = "{}";

SimulatedRun PinAs(const char* kind, const winsim::Machine& machine, std::vector<std::string> operations,
                   const SimulatedRunOptions& options = {})
{
    operations.insert(operations.begin(), {kFolder, kBelow, kind});
    return CallFunction(machine, "PinnedPath", operations, options);
}

SimulatedRun Pin(const char* machine, std::vector<std::string> operations = {"Pin"},
                 const SimulatedRunOptions& options = {})
{
    return PinAs("file", MachineOf(machine), std::move(operations), options);
}

// The names of a run's calls, each with its path or handle.
std::vector<std::string> CallsOf(const SimulatedRun& run)
{
    std::vector<std::string> calls;
    for (std::size_t i = run.outcome.bodyBegin; i < run.outcome.bodyEnd; ++i)
    {
        const winsim::CallRecord& record = run.outcome.calls[i];
        if (record.isHousekeeping)
            continue;
        std::string line = record.name;
        for (const char* name : {"lpFileName", "lpPathName", "dwDesiredAccess", "dwShareMode", "dwCreationDisposition",
                                 "dwFlagsAndAttributes"})
        {
            if (record.in.contains(name))
                line += " " + (record.in[name].is_string() ? record.in[name].get<std::string>()
                                                           : fmt::format("{:X}", record.in[name].get<unsigned>()));
        }
        calls.push_back(line);
    }
    return calls;
}

// Changes of the log's own folder and file do not count.
bool IsUnchanged(const SimulatedRun& run)
{
    return std::ranges::all_of(Compare(run.before, run.After()), [](const winsim::Change& change) {
        return change.item.find("Kelo Systems Corp") != std::string::npos;
    });
}

// The number of the first call of this name that has a parameter with this value.
unsigned OccurrenceOf(const std::string& name, const char* parameter, unsigned value, const SimulatedRun& run)
{
    unsigned occurrence = 0;
    for (const winsim::CallRecord& record : run.outcome.calls)
    {
        if (record.name != name)
            continue;
        ++occurrence;
        if (record.in[parameter] == value &&
            &record - run.outcome.calls.data() >= std::ptrdiff_t(run.outcome.bodyBegin))
            return occurrence;
    }
    return 0;
}

Script FunctionLookedUp()
{
    return {"LoadLibraryA", "GetProcAddress", "FreeLibrary"};
}

// Reads data and attributes, is shared except for deletion, opens an existing file or (1) creates one, and follows no
// link.
std::string Opening(const std::string& path, int disposition = 3)
{
    return fmt::format("CreateFileW {} 81 3 {} 2200000", path, disposition);
}

Script Opened(const std::string& path, int disposition = 3)
{
    return {Opening(path, disposition), "GetFileInformationByHandle", "GetFinalPathNameByHandleW"};
}

const std::string kMaker = R"(C:\ProgramData\Maker)";
const std::string kCommon = R"(C:\ProgramData\Maker\Common)";

TEST(PinnedPath, EachPartIsOpenedAndCheckedAndClosedAtTheEnd)
{
    const SimulatedRun run = Pin(kAllThere);
    EXPECT_EQ(run.result, "0 (3)");
    ExpectLines(CallsOf(run),
                Script{FunctionLookedUp(), Opened(kMaker), Opened(kCommon), Opened(kFile), Times(3, {"CloseHandle"})},
                "the calls");
    EXPECT_TRUE(IsUnchanged(run));
}

TEST(PinnedPath, WhatIsOpenIsNotOpenedAgain)
{
    const SimulatedRun run = Pin(kAllThere, {"Pin", "Pin", "CreateParents"});
    EXPECT_EQ(run.result, "0 0 0 (3)");
    EXPECT_THAT(CallsOf(run), testing::IsSupersetOf({Opening(kMaker), Opening(kCommon), Opening(kFile)}));
    EXPECT_EQ(std::ranges::count(CallsOf(run), "GetFileInformationByHandle"), 3);
}

TEST(PinnedPath, BeforeWindows6NoPathIsAskedFor)
{
    winsim::Json machine = winsim::Json::parse(kAllThere);
    machine["windows"]["version"] = "5.2";
    const SimulatedRun run = PinAs("file", winsim::Machine::FromJson(machine), {"Pin"});
    EXPECT_EQ(run.result, "0 (3)");
    EXPECT_THAT(CallsOf(run), testing::Not(testing::Contains("GetFinalPathNameByHandleW")));
}

TEST(PinnedPath, APathThatWindowsCannotTellIsNoLink)
{
    EXPECT_EQ(Pin(kAllThere, {"Pin"}, {.faults = {"GetFinalPathNameByHandleW=3"}}).result, "0 (3)");
    EXPECT_EQ(Pin(kAllThere, {"Pin"}, {.faults = {"LoadLibraryA=126"}}).result, "0 (3)");
}

TEST(PinnedPath, AMissingPartIsTold)
{
    EXPECT_EQ(Pin(kNothingThere).result, "2 (0)");
    EXPECT_EQ(Pin(R"({"files": {"C:\\ProgramData\\Maker": {"directory": true}}})").result, "2 (1)");
    EXPECT_EQ(Pin(R"({"files": {"C:\\ProgramData\\Maker\\Common": {"directory": true}}})").result, "2 (2)");
}

TEST(PinnedPath, ALinkIsRefusedWhereverItStands)
{
    const char* const kParts[] = {R"(C:\\ProgramData\\Maker)", R"(C:\\ProgramData\\Maker\\Common)",
                                  R"(C:\\ProgramData\\Maker\\Common\\config.ini)"};
    for (int i = 0; i < 3; ++i)
    {
        const std::string target = i == 2 ? R"("text": "x")" : R"("directory": true)";
        const SimulatedRun run =
            Pin(fmt::format(R"({{"files": {{"C:\\elsewhere": {{{}}}, "{}": {{"link": "C:\\elsewhere"{}}}}}}})", target,
                            kParts[i], i == 2 ? "" : R"(, "directory": true)")
                    .c_str());
        EXPECT_EQ(run.result, fmt::format("448 ({})", i)) << kParts[i];
        EXPECT_TRUE(IsUnchanged(run));
    }
}

TEST(PinnedPath, AFileWithAnotherNameIsRefused)
{
    EXPECT_EQ(Pin(R"({"files": {"C:\\Windows\\victim": {"text": "x"},
        "C:\\ProgramData\\Maker\\Common\\config.ini": {"hardLinkTo": "C:\\Windows\\victim"}}})")
                  .result,
              "1142 (2)");
}

TEST(PinnedPath, TheWrongKindIsRefused)
{
    EXPECT_EQ(Pin(R"({"files": {"C:\\ProgramData\\Maker": {"text": "x"}}})").result, "267 (0)");
    EXPECT_EQ(Pin(R"({"files": {"C:\\ProgramData\\Maker\\Common\\config.ini": {"directory": true}}})").result,
              "267 (2)");
    EXPECT_EQ(PinAs("directory", MachineOf(kAllThere), {"Pin"}).result, "267 (2)");
}

TEST(PinnedPath, AFailingCallIsItsError)
{
    EXPECT_EQ(Pin(kAllThere, {"Pin"}, {.faults = {"CreateFileW=32"}}).result, "32 (0)");
    EXPECT_EQ(Pin(kAllThere, {"Pin"}, {.faults = {"GetFileInformationByHandle=1"}}).result, "1 (0)");
}

TEST(PinnedPath, AHandleThatIsNoneIsAFailureWithoutAnErrorToo)
{
    EXPECT_EQ(Pin(kAllThere, {"Pin"}, {.faults = {"CreateFileW=0"}}).result, "6 (0)");
}

TEST(PinnedPath, MissingParentsAreMadeOneByOneAndPinned)
{
    const SimulatedRun run = Pin(kNothingThere, {"Pin", "CreateParents", "CreateEmptyFile"});
    EXPECT_EQ(run.result, "2 0 0 (3)");
    ExpectLines(CallsOf(run),
                Script{FunctionLookedUp(), Opening(kMaker), Opening(kMaker), "CreateDirectoryW " + kMaker,
                       Opened(kMaker), Opening(kCommon), "CreateDirectoryW " + kCommon, Opened(kCommon),
                       Opened(kFile, 1), Times(3, {"CloseHandle"})},
                "the calls");
    EXPECT_EQ(run.After().files.Find(kFile)->content, "");
}

TEST(PinnedPath, AParentThatCannotBeMadeIsItsError)
{
    EXPECT_EQ(Pin(kNothingThere, {"CreateParents"}, {.faults = {"CreateDirectoryW=5"}}).result, "5 (0)");
}

TEST(PinnedPath, AParentThatSomebodyMadeMeanwhileIsCheckedLikeAnyOther)
{
    EXPECT_EQ(Pin(kNothingThere, {"CreateParents"}, {.faults = {"CreateDirectoryW=183"}}).result, "2 (0)");
}

TEST(PinnedPath, NoFileIsMadeWhereAParentIsMissing)
{
    const SimulatedRun run = Pin(kNothingThere, {"CreateEmptyFile"});
    EXPECT_EQ(run.result, "3 (0)");
    EXPECT_TRUE(IsUnchanged(run));
}

TEST(PinnedPath, AFileThatIsThereIsNotMadeAndChecked)
{
    constexpr char kParentThere[] = R"({"files": {"C:\\ProgramData\\Maker\\Common": {"directory": true}}})";
    const std::string creation =
        fmt::format("CreateFileW#{}", OccurrenceOf("CreateFileW", "dwCreationDisposition", 1,
                                                   Pin(kParentThere, {"Pin", "CreateEmptyFile"})));
    EXPECT_EQ(Pin(kParentThere, {"Pin", "CreateEmptyFile"}, {.faults = {creation + "=80"}}).result, "2 2 (2)");
    EXPECT_EQ(Pin(kParentThere, {"Pin", "CreateEmptyFile"}, {.faults = {creation + "=5"}}).result, "2 5 (2)");
    EXPECT_NE(Pin(kParentThere, {"Pin", "CreateEmptyFile"}, {.faults = {creation + "=0"}}).result, "2 0 (2)");
}

TEST(PinnedPath, APartThatLeadsElsewhereByItsNameIsRefused)
{
    for (const std::string name : {"Maker", "AMakerWithALongerName"})
    {
        winsim::Json machine;
        machine["files"]["C:\\ProgramData\\" + name + "\\x"] = {{"text", ""}};
        EXPECT_EQ(CallFunction(winsim::Machine::FromJson(machine), "PinnedPath",
                               {kFolder, "\\" + name + "\\..\\x", "file", "Pin"})
                      .result,
                  "448 (1)");
    }
}

// The link's target ends in the same letters as the part's name. This Windows follows links that users have made.
TEST(PinnedPath, APartInADirectoryThatBecameALinkIsRefused)
{
    constexpr char kMachine[] = R"({"windows": {"version": "6.1"}, "files": {
        "C:\\ProgramData\\Maker": {"directory": true}, "C:\\AMaker\\Common\\config.ini": {"text": "x"}}})";
    const unsigned first = OccurrenceOf("GetFinalPathNameByHandleW", "cchFilePath", 1040, Pin(kMachine));
    EXPECT_EQ(Pin(kMachine, {"Pin"},
                  {.meanwhile = {fmt::format("GetFinalPathNameByHandleW#{}=turn {} -> C:\\AMaker", first, kMaker)}})
                  .result,
              "448 (1)");
}

// A folder whose real path has this length, and ends in the part.
std::string LongFolder(std::size_t length, const std::string& part)
{
    std::string folder = R"(\\?\C:)";
    while (folder.size() + part.size() < length)
        folder += "\\" + std::string(std::min<std::size_t>(200, length - folder.size() - part.size() - 1), 'd');
    return folder + part;
}

// Pins the part in a folder.
std::string PinIn(const std::string& folder, const std::string& part, const char* version)
{
    winsim::Json machine;
    machine["windows"]["version"] = version;
    machine["files"][folder.substr(4) + part] = {{"directory", true}};
    return CallFunction(winsim::Machine::FromJson(machine), "PinnedPath", {folder, part, "directory", "Pin"}).result;
}

TEST(PinnedPath, APathOf1040CharactersOrMoreIsRefused)
{
    constexpr char kPart[] = "\\Maker";
    for (const char* version : {"6.0", "10.0"})
    {
        SCOPED_TRACE(version);
        EXPECT_EQ(PinIn(LongFolder(1039 - 6, ""), kPart, version), "0 (1)");
        EXPECT_EQ(PinIn(LongFolder(1040 - 6, ""), kPart, version), "448 (0)");
        EXPECT_EQ(PinIn(LongFolder(1041 - 6, ""), kPart, version), "448 (0)");
        // The first 1040 characters end in the part too.
        EXPECT_EQ(PinIn(LongFolder(1040, kPart), kPart, version), "448 (0)");
    }
}

} // namespace
