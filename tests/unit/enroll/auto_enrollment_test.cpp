// Proves when the task library is asked to make or remove the auto-enrollment tasks, and what becomes of its answers.
#include "tests/support/expected_script.h"
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <optional>

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;

using winsim::Json;

constexpr char kKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)";

constexpr char kNotWanted[] =
    "*** InstallAutoEnrollmentTasks(): Failed to open registry Auto-Enroll Tasks not installed";
constexpr char kNoPathToInstall[] =
    "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't create Auto-Enroll Tasks";
constexpr char kNoLibraryToInstall[] = "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library <x>.dll "
                                       "can't create Auto-Enroll Tasks";
constexpr char kNoExportToInstall[] = "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to calls to "
                                      "GetProcAddress can't create Auto-Enroll Tasks";
constexpr char kInstalled[] = "*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks installed";

constexpr char kNoKeyToRemove[] =
    "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll Tasks";
constexpr char kNoPathToRemove[] =
    "*** RemoveAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll Tasks";
constexpr char kNoLibraryToRemove[] = "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed to load library "
                                      "<x>.dll can't create Auto-Enroll Tasks";
constexpr char kNoExportToRemove[] = "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed GetProcAddress can't "
                                     "create Auto-Enroll Tasks";

// What the tests change of a machine where everything is in place.
struct Toolkit
{
    Json wanted = 1;
    Json path = R"(C:\Kelo)";
    std::string libraryPath = R"(C:\Kelo\CertJobPlanner.dll)";
    Json areInstalled = 0;
    Json install = 0;
    Json remove = 0;
    Json windows = Json::object();
};

winsim::Machine MachineWith(const Toolkit& toolkit)
{
    Json machine;
    machine["windows"] = toolkit.windows;
    Json& values = machine["registry"][kKey]["values"] = Json::object();
    if (!toolkit.wanted.is_null())
        values["KlAutoEnrollInstalled"] = toolkit.wanted;
    if (!toolkit.path.is_null())
        values["Installation Path"] = toolkit.path;
    Json& exports = machine["libraries"][toolkit.libraryPath]["exports"] = Json::object();
    if (!toolkit.areInstalled.is_null())
        exports["AreTasksInstalled"] = toolkit.areInstalled;
    if (!toolkit.install.is_null())
        exports["InstallAutoEnrollmentTasks"] = toolkit.install;
    if (!toolkit.remove.is_null())
        exports["RemoveAutoEnrollmentTasks"] = toolkit.remove;
    return winsim::Machine::FromJson(machine);
}

SimulatedRun Install(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "InstallAutoEnrollmentTasks", {}, options);
}

SimulatedRun Remove(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "RemoveAutoEnrollmentTasks", {}, options);
}

void Expect(const SimulatedRun& run, const std::string& result, const Script& log)
{
    EXPECT_EQ(run.result, result);
    EXPECT_THAT(run.log, ElementsAreArray(log));
}

// ---- Scripts ----

const Script kProbe{R"(GetCurrentProcess() = "process#current")",
                    R"(IsWow64Process("process#current") = 1 Wow64Process:0)"};

const Script kOpenKey{
    R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp\\Common", 0, 131097) = 0 phkResult:"key#1")"};

const Script kCloseKey{R"(RegCloseKey("key#1") = 0)"};

const Script kReadWanted{
    R"(RegQueryValueExA("key#1", "KlAutoEnrollInstalled", null, 4) = 0 lpType:4 lpcbData:4 lpData:1)"};

const Script kReadPath{
    R"(RegQueryValueExA("key#1", "Installation Path", null, 0) = 0 lpType:1 lpcbData:8)",
    R"(RegQueryValueExA("key#1", "Installation Path", null, 8) = 0 lpType:1 lpcbData:8 lpData:"C:\\Kelo")"};

const Script kLoad{R"(LoadLibraryA("C:\\Kelo\\CertJobPlanner.dll") = "library#1")"};
const Script kFree{R"(FreeLibrary("library#1") = 1)"};

Script LookUp(const std::string& name)
{
    return {fmt::format(R"(GetProcAddress("library#1", "{0}") = "CertJobPlanner.dll!{0}")", name)};
}

Script CallExport(const std::string& name, int result)
{
    return {fmt::format("CertJobPlanner.dll!{}() = {}", name, result)};
}

// From the first probe to the loaded library.
Script InstallBeginning()
{
    return Joined({kProbe, kOpenKey, kReadWanted, kCloseKey, kOpenKey, kReadPath, kCloseKey, kLoad,
                   LookUp("AreTasksInstalled"), LookUp("InstallAutoEnrollmentTasks")});
}

// ---- Installing ----

TEST(InstallAutoEnrollmentTasks, AsksTheTaskLibraryOnceAndUnloadsIt)
{
    const SimulatedRun run = Install(MachineWith({}));
    Expect(run, "0", {kInstalled});
    EXPECT_THAT(run.script, ElementsAreArray(Joined({InstallBeginning(),
                                                     CallExport("AreTasksInstalled", 0),
                                                     CallExport("InstallAutoEnrollmentTasks", 0),
                                                     {std::string("log: ") + kInstalled},
                                                     kFree})));
}

TEST(InstallAutoEnrollmentTasks, TasksThatAreThereAreLeftAlone)
{
    const SimulatedRun run = Install(MachineWith({.areInstalled = 1}));
    const Script skipped{"log: *** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks already installed, skipping..."};
    Expect(run, "0", LogOf(skipped));
    EXPECT_THAT(run.script,
                ElementsAreArray(Joined({InstallBeginning(), CallExport("AreTasksInstalled", 1), skipped, kFree})));
}

TEST(InstallAutoEnrollmentTasks, OnlyTheLowByteTellsWhetherTasksAreThere)
{
    for (const int none : {0, 0x100, 0x7FFFFF00})
        Expect(Install(MachineWith({.areInstalled = none})), "0", {kInstalled});
    for (const int some : {1, 2, 0xFF, 0x101, -1})
        Expect(Install(MachineWith({.areInstalled = some})), "0",
               {"*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks already installed, skipping..."});
}

TEST(InstallAutoEnrollmentTasks, WindowsXpHasNoSuchTasksAndThatIsNoFailure)
{
    Expect(Install(MachineWith({.install = 1150})), "0",
           {"*** InstallAutoEnrollmentTasks(): Can't install Tasks as this is XP"});
}

TEST(InstallAutoEnrollmentTasks, EveryOtherStatusIsAFailureAndIsLogged)
{
    for (const int status : {1, 2, 5, 1149, 1151, -1, -2147483647 - 1, 2147483647})
        Expect(Install(MachineWith({.install = status})), "-1",
               {fmt::format("*** InstallAutoEnrollmentTasks(): Create Auto-Enroll Tasks failed {}", status)});
}

TEST(InstallAutoEnrollmentTasks, IsSkippedInA32BitProcessOn64BitWindows)
{
    const SimulatedRun run = Install(MachineWith({.windows = {{"wow64", true}}}));
    const Script line{"log: InstallAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!"};
    Expect(run, "0", LogOf(line));
    EXPECT_THAT(run.script, ElementsAreArray(Joined({{kProbe[0], R"(IsWow64Process("process#current") = 1 )"
                                                                 "Wow64Process:1"},
                                                     line})));
}

TEST(InstallAutoEnrollmentTasks, AProbeThatFailsIsLoggedAndTakenForNo)
{
    Expect(Install(MachineWith({}), {.faults = {"IsWow64Process=5"}}), "0",
           {"InstallAutoEnrollmentTasks - failed to detect process on host os type: 5", kInstalled});
}

TEST(InstallAutoEnrollmentTasks, WithoutTheKeyNothingIsWanted)
{
    const SimulatedRun run = Install(MachineOf("{}"));
    const Script steps{R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp\\Common", 0, 131097) = 2)",
                       std::string("log: ") + kNotWanted};
    Expect(run, "0", {kNotWanted});
    EXPECT_THAT(run.script, ElementsAreArray(Joined({kProbe, steps})));
}

TEST(InstallAutoEnrollmentTasks, AKeyThatCannotBeOpenedIsNoKey)
{
    Expect(Install(MachineWith({}), {.faults = {"RegOpenKeyExA#1=5"}}), "0", {kNotWanted});
}

TEST(InstallAutoEnrollmentTasks, AWishOfAnotherTypeOrSizeIsNone)
{
    for (const char* wanted :
         {R"(null)", R"("1")", R"("")", R"({"type": "REG_BINARY", "hex": "01000000"})",
          R"({"type": "REG_QWORD", "hex": "0100000000000000"})", R"({"type": "REG_NONE", "hex": "01000000"})",
          R"({"type": "REG_EXPAND_SZ", "text": "1"})", R"({"type": "REG_DWORD", "hex": ""})",
          R"({"type": "REG_DWORD", "hex": "0100"})", R"({"type": "REG_DWORD", "hex": "0100000000"})"})
    {
        SCOPED_TRACE(wanted);
        Expect(Install(MachineWith({.wanted = Json::parse(wanted)})), "0", {kNotWanted});
    }
}

TEST(InstallAutoEnrollmentTasks, AWishThatCannotBeReadIsNone)
{
    Expect(Install(MachineWith({}), {.faults = {"RegQueryValueExA#1=5"}}), "0", {kNotWanted});
}

TEST(InstallAutoEnrollmentTasks, AWishOfZeroIsARefusal)
{
    const SimulatedRun run = Install(MachineWith({.wanted = 0}));
    const Script refused{"log: *** InstallAutoEnrollmentTasks(): Don't install Auto-Enroll Tasks regValue "
                         "'KlAutoEnrollInstalled' = 0"};
    Expect(run, "0", LogOf(refused));
    EXPECT_THAT(
        run.script,
        ElementsAreArray(
            Joined({kProbe,
                    kOpenKey,
                    {R"(RegQueryValueExA("key#1", "KlAutoEnrollInstalled", null, 4) = 0 lpType:4 lpcbData:4 lpData:0)"},
                    refused,
                    kCloseKey})));
}

TEST(InstallAutoEnrollmentTasks, EveryOtherNumberIsAWish)
{
    for (const std::uint32_t wanted : {2u, 0x100u, 0x80000000u, 0xFFFFFFFFu})
        Expect(Install(MachineWith({.wanted = wanted})), "0", {kInstalled});
}

TEST(InstallAutoEnrollmentTasks, AKeyThatIsGoneTheSecondTimeIsAFailure)
{
    const SimulatedRun run = Install(MachineWith({}), {.faults = {"RegOpenKeyExA#2=2"}});
    Expect(run, "-1", {kNoPathToInstall});
    EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
}

TEST(InstallAutoEnrollmentTasks, APathThatIsMissingOrNoTextIsAFailure)
{
    for (const char* path :
         {"null", "1", R"({"type": "REG_BINARY", "hex": "43003a000000"})", R"({"type": "REG_NONE", "hex": ""})",
          R"({"type": "REG_MULTI_SZ", "hex": "43003a0000000000"})", R"({"type": "REG_QWORD", "hex": "00"})"})
    {
        SCOPED_TRACE(path);
        Expect(Install(MachineWith({.path = Json::parse(path)})), "-1", {kNoPathToInstall});
    }
    Expect(Install(MachineWith({}), {.faults = {"RegQueryValueExA#2=5"}}), "-1", {kNoPathToInstall});
}

// The library that is loaded for a path.
struct PathCase
{
    const char* path; // as the registry holds it
    const char* library;
};

// Of a full path, nothing is looked at but the last character of the text.
constexpr PathCase kPaths[] = {
    {R"("C:\\Kelo")", R"(C:\\Kelo\\CertJobPlanner.dll)"},
    {R"("C:\\Kelo\\")", R"(C:\\Kelo\\CertJobPlanner.dll)"},
    {R"("C:\\Kelo\\\\")", R"(C:\\Kelo\\\\CertJobPlanner.dll)"},
    {R"("C:\\Kelo/")", R"(C:\\Kelo/\\CertJobPlanner.dll)"},
    {R"("C:\\Kelo ")", R"(C:\\Kelo \\CertJobPlanner.dll)"},
    {R"("C:\\100% %s%n")", R"(C:\\100% %s%n\\CertJobPlanner.dll)"},
    {R"("")", R"(\\CertJobPlanner.dll)"},
    {R"({"type": "REG_EXPAND_SZ", "text": "C:\\%windir%\\Kelo"})", R"(C:\\%windir%\\Kelo\\CertJobPlanner.dll)"},
    {R"("\\\\server\\share")", R"(\\\\server\\share\\CertJobPlanner.dll)"},
    // A path that depends on the current drive or directory, but for the empty one.
    {R"("Kelo")", "(none)"},
    {R"("C:Kelo")", "(none)"},
    {R"("\\Kelo")", "(none)"},
    {R"("..\\Kelo\\")", "(none)"},
    {R"({"type": "REG_EXPAND_SZ", "text": "%windir%\\Kelo"})", "(none)"},
    // Without a terminator, with half a character at the end, with text behind a terminator, without anything.
    {R"({"type": "REG_SZ", "hex": "43003a005c00"})", R"(C:\\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43003a005c004b"})", R"(C:\\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43003a000000580000"})", R"(C:\\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43003a0000005c000000"})", R"(C:\\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": ""})", R"(\\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43"})", R"(\\CertJobPlanner.dll)"},
    // Longer and shorter than the buffer by the time it is read into it.
    {R"(["C:\\Kelo", "C:\\Longer than that"])", R"(\\CertJobPlanner.dll)"},
    {R"(["C:\\Kelo", "C:"])", R"(C:\\CertJobPlanner.dll)"},
    {R"(["C:\\Kelo", 1])", "(none)"},
};

// The library that a run tried to load, as a script shows it.
std::string LoadedLibrary(const SimulatedRun& run)
{
    for (const std::string& line : run.script)
    {
        if (line.starts_with("LoadLibraryA(\""))
            return line.substr(14, line.rfind('"', line.find(")")) - 14);
    }
    return "(none)";
}

TEST(InstallAutoEnrollmentTasks, LoadsTheLibraryFromThePathWhateverItsShape)
{
    for (const PathCase& c : kPaths)
    {
        SCOPED_TRACE(c.path);
        const SimulatedRun run =
            Install(MachineWith({.path = Json::parse(c.path), .libraryPath = R"(D:\Elsewhere.dll)"}));
        EXPECT_EQ(LoadedLibrary(run), c.library);
        Expect(run, "-1", {kNoLibraryToInstall});
    }
}

TEST(InstallAutoEnrollmentTasks, ASecondReadThatFailsLeavesAnEmptyPath)
{
    const SimulatedRun run = Install(MachineWith({}), {.faults = {"RegQueryValueExA#3=5"}});
    EXPECT_EQ(LoadedLibrary(run), R"(\\CertJobPlanner.dll)");
    Expect(run, "-1", {kNoLibraryToInstall});
}

TEST(InstallAutoEnrollmentTasks, AVeryLongPathIsHandedOverWhole)
{
    const std::string path = "C:\\" + std::string(5000, 'k');
    const SimulatedRun run = Install(MachineWith({.path = path}));
    EXPECT_EQ(LoadedLibrary(run), "C:\\\\" + std::string(5000, 'k') + R"(\\CertJobPlanner.dll)");
    Expect(run, "-1", {kNoLibraryToInstall});
}

TEST(InstallAutoEnrollmentTasks, APathOutsideAsciiIsReadAndUsedInTheCodePage)
{
    const char* path = "C:\\K\u00E9l\u00F6 \u20AC";
    Expect(Install(MachineWith({.path = path, .libraryPath = std::string(path) + "\\CertJobPlanner.dll"})), "0",
           {kInstalled});
}

// A function that throws each of the things that a library can throw.
const std::vector<std::string> kThrown{"access violation", "division by zero", "C++ exception", "number"};

TEST(InstallAutoEnrollmentTasks, ALibraryThatThrowsIsFreedAndTheOperationFails)
{
    const Script caught{"log: InstallAutoEnrollmentTasks - Unknown exception caught return -1"};
    for (const std::string& thrown : kThrown)
    {
        SCOPED_TRACE(thrown);
        const std::string exception = "() exception:" + Json(thrown).dump();
        const SimulatedRun first = Install(MachineWith({.areInstalled = {{"throws", thrown}}}));
        Expect(first, "-1", LogOf(caught));
        EXPECT_THAT(first.script,
                    ElementsAreArray(Joined(
                        {InstallBeginning(), {"CertJobPlanner.dll!AreTasksInstalled" + exception}, caught, kFree})));
        const SimulatedRun second = Install(MachineWith({.install = {{"throws", thrown}}}));
        Expect(second, "-1", LogOf(caught));
        EXPECT_THAT(second.script,
                    ElementsAreArray(Joined({InstallBeginning(),
                                             CallExport("AreTasksInstalled", 0),
                                             {"CertJobPlanner.dll!InstallAutoEnrollmentTasks" + exception},
                                             caught,
                                             kFree})));
    }
}

TEST(InstallAutoEnrollmentTasks, MemoryThatRunsOutIsALineAndAFailure)
{
    Json machine = MachineWith({.path = "C:\\" + std::string(1000, 'k')}).ToJson();
    // Enough for the registry's text, not for the library's path.
    machine["process"]["largestBlock"] = 1010;
    Expect(Install(winsim::Machine::FromJson(machine)), "-1",
           {"InstallAutoEnrollmentTasks - Unknown exception caught return -1"});
    Expect(Remove(winsim::Machine::FromJson(machine)), "-1",
           {"RemoveAutoEnrollmentTasks - Unknown exception caught return -1"});
}

TEST(InstallAutoEnrollmentTasks, APathThatMemoryDoesNotSufficeForIsNone)
{
    Json machine = MachineWith({.path = "C:\\" + std::string(1000, 'k')}).ToJson();
    machine["process"]["largestBlock"] = 900;
    Expect(Install(winsim::Machine::FromJson(machine)), "-1", {kNoPathToInstall});
    Expect(Remove(winsim::Machine::FromJson(machine)), "-1", {kNoPathToRemove});
}

TEST(InstallAutoEnrollmentTasks, ALibraryThatDoesNotLoadIsAFailure)
{
    Expect(Install(MachineWith({}), {.faults = {"LoadLibraryA=193"}}), "-1", {kNoLibraryToInstall});
}

TEST(InstallAutoEnrollmentTasks, BothExportsMustBeThereBeforeAnyIsCalled)
{
    const Script log{kNoExportToInstall};
    for (const auto& toolkit : {Toolkit{.areInstalled = nullptr}, Toolkit{.install = nullptr},
                                Toolkit{.areInstalled = nullptr, .install = nullptr}})
    {
        const SimulatedRun run = Install(MachineWith(toolkit));
        Expect(run, "-1", log);
        for (const std::string& line : run.script)
            EXPECT_THAT(line, testing::Not(testing::StartsWith("CertJobPlanner.dll!")));
        EXPECT_EQ(CountOf("FreeLibrary", run.script), 1u);
    }
}

TEST(InstallAutoEnrollmentTasks, ExportsOfOtherCaseAreOthers)
{
    winsim::Json machine = MachineWith({.areInstalled = nullptr}).ToJson();
    machine["libraries"][R"(C:\Kelo\CertJobPlanner.dll)"]["exports"]["aretasksinstalled"] = 0;
    Expect(Install(winsim::Machine::FromJson(machine)), "-1", {kNoExportToInstall});
}

// ---- Removing ----

TEST(RemoveAutoEnrollmentTasks, AsksTheTaskLibraryWithoutALineAndUnloadsIt)
{
    const SimulatedRun run = Remove(MachineWith({}));
    Expect(run, "0", {});
    EXPECT_THAT(run.script, ElementsAreArray(Joined({kProbe, kOpenKey, kReadPath, kCloseKey, kLoad,
                                                     LookUp("RemoveAutoEnrollmentTasks"),
                                                     CallExport("RemoveAutoEnrollmentTasks", 0), kFree})));
}

TEST(RemoveAutoEnrollmentTasks, ALibraryThatThrowsIsFreedAndTheOperationFails)
{
    const Script caught{"log: RemoveAutoEnrollmentTasks - Unknown exception caught return -1"};
    for (const std::string& thrown : kThrown)
    {
        SCOPED_TRACE(thrown);
        const SimulatedRun run = Remove(MachineWith({.remove = {{"throws", thrown}}}));
        Expect(run, "-1", LogOf(caught));
        const Script call{"CertJobPlanner.dll!RemoveAutoEnrollmentTasks() exception:" + Json(thrown).dump()};
        EXPECT_THAT(run.script, ElementsAreArray(Joined({kProbe, kOpenKey, kReadPath, kCloseKey, kLoad,
                                                         LookUp("RemoveAutoEnrollmentTasks"), call, caught, kFree})));
    }
}

TEST(RemoveAutoEnrollmentTasks, WhatTheTaskLibraryAnswersIsNotLookedAt)
{
    for (const int result : {1, 5, 1150, -1})
        Expect(Remove(MachineWith({.remove = result})), "0", {});
}

TEST(RemoveAutoEnrollmentTasks, TakesNoWishAndNoOtherExport)
{
    for (const Json& wanted : {Json(0), Json("1"), Json()})
        Expect(Remove(MachineWith({.wanted = wanted, .areInstalled = nullptr, .install = nullptr})), "0", {});
}

TEST(RemoveAutoEnrollmentTasks, IsSkippedInA32BitProcessOn64BitWindows)
{
    const SimulatedRun run = Remove(MachineWith({.windows = {{"wow64", true}}}));
    Expect(run, "0", {"RemoveAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!"});
    EXPECT_EQ(run.script.size(), 3u);
}

TEST(RemoveAutoEnrollmentTasks, AProbeThatFailsIsLoggedAndTakenForNo)
{
    const SimulatedRun run = Remove(MachineWith({}), {.faults = {"IsWow64Process=87"}});
    Expect(run, "0", {"RemoveAutoEnrollmentTasks - failed to detect process on host os type: 87"});
    EXPECT_EQ(run.outcome.callCounts.at("CertJobPlanner.dll!RemoveAutoEnrollmentTasks"), 1u);
}

TEST(RemoveAutoEnrollmentTasks, WithoutTheKeyItIsAFailureInTheInstallationsName)
{
    Expect(Remove(MachineOf("{}")), "-1", {kNoKeyToRemove});
    Expect(Remove(MachineWith({}), {.faults = {"RegOpenKeyExA=5"}}), "-1", {kNoKeyToRemove});
}

TEST(RemoveAutoEnrollmentTasks, WithoutThePathItIsAFailure)
{
    Expect(Remove(MachineWith({.path = nullptr})), "-1", {kNoPathToRemove});
    Expect(Remove(MachineWith({.path = 1})), "-1", {kNoPathToRemove});
    Expect(Remove(MachineWith({}), {.faults = {"RegQueryValueExA#1=5"}}), "-1", {kNoPathToRemove});
}

TEST(RemoveAutoEnrollmentTasks, LoadsTheLibraryFromThePathWhateverItsShape)
{
    for (const PathCase& c : kPaths)
    {
        SCOPED_TRACE(c.path);
        const SimulatedRun run =
            Remove(MachineWith({.path = Json::parse(c.path), .libraryPath = R"(D:\Elsewhere.dll)"}));
        EXPECT_EQ(LoadedLibrary(run), c.library);
        Expect(run, "-1", {kNoLibraryToRemove});
    }
}

TEST(RemoveAutoEnrollmentTasks, ASecondReadThatFailsLeavesAnEmptyPath)
{
    const SimulatedRun run = Remove(MachineWith({}), {.faults = {"RegQueryValueExA#2=5"}});
    EXPECT_EQ(LoadedLibrary(run), R"(\\CertJobPlanner.dll)");
    Expect(run, "-1", {kNoLibraryToRemove});
}

TEST(RemoveAutoEnrollmentTasks, ALibraryThatDoesNotLoadIsAFailure)
{
    Expect(Remove(MachineWith({}), {.faults = {"LoadLibraryA=126"}}), "-1", {kNoLibraryToRemove});
}

TEST(RemoveAutoEnrollmentTasks, WithoutTheExportItIsAFailureAndTheLibraryIsUnloaded)
{
    const SimulatedRun run = Remove(MachineWith({.remove = nullptr}));
    Expect(run, "-1", {kNoExportToRemove});
    EXPECT_THAT(run.script.back(), "FreeLibrary(\"library#1\") = 1");
}

} // namespace
