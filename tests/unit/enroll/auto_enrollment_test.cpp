// Proves when the task library is asked to create or remove the auto-enrollment tasks, and how its answers are handled.
#include "tests/support/run_tests.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

#include <optional>

namespace
{

using winsim::Json;

constexpr char kKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)";

constexpr char kNotWanted[] =
    "log: *** InstallAutoEnrollmentTasks(): Failed to open registry Auto-Enroll Tasks not installed";
constexpr char kNoPathToInstall[] =
    "log: *** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't create Auto-Enroll Tasks";
constexpr char kNoLibraryToInstall[] =
    "log: *** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library <x>.dll "
    "can't create Auto-Enroll Tasks";
constexpr char kNoExportToInstall[] = "log: *** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to calls to "
                                      "GetProcAddress can't create Auto-Enroll Tasks";
constexpr char kInstalled[] = "log: *** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks installed";

constexpr char kNoKeyToRemove[] =
    "log: *** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll Tasks";
constexpr char kNoPathToRemove[] =
    "log: *** RemoveAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll Tasks";
constexpr char kNoLibraryToRemove[] = "log: *** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed to load library "
                                      "<x>.dll can't create Auto-Enroll Tasks";
constexpr char kNoExportToRemove[] =
    "log: *** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed GetProcAddress can't "
    "create Auto-Enroll Tasks";

// The tests' changes to a machine where everything is in place.
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

// ---- Scripts ----

const std::string kOpenCommon = OpenKey(R"(SOFTWARE\Kelo Systems Corp\Common)");

std::string ReadWanted(int wanted)
{
    return Call("RegQueryValueExA", {"key#1", "KlAutoEnrollInstalled", nullptr, 4}, 0,
                {{"lpType", 4}, {"lpcbData", 4}, {"lpData", wanted}});
}

const Script kReadPath = {
    Call("RegQueryValueExA", {"key#1", "Installation Path", nullptr, 0}, 0, {{"lpType", 1}, {"lpcbData", 8}}),
    Call("RegQueryValueExA", {"key#1", "Installation Path", nullptr, 8}, 0,
         {{"lpType", 1}, {"lpcbData", 8}, {"lpData", R"(C:\Kelo)"}})};
const std::string kLoad = Call("LoadLibraryA", {R"(C:\Kelo\CertJobPlanner.dll)"}, "library#1");
const std::string kFree = Call("FreeLibrary", {"library#1"}, 1);

std::string LookUp(const std::string& name)
{
    return Call("GetProcAddress", {"library#1", name}, "CertJobPlanner.dll!" + name);
}

std::string CallExport(const std::string& name, const Json& result, const Json& out = Json::object())
{
    return Call("CertJobPlanner.dll!" + name, {}, result, out);
}

std::string CallThatThrows(const std::string& name, const std::string& thrown)
{
    return CallExport(name, nullptr, {{"exception", thrown}});
}

// The calls from the first probe to the loaded library.
const Script kInstallBeginning = {AskForWow64(),
                                  kOpenCommon,
                                  ReadWanted(1),
                                  kCloseKey,
                                  kOpenCommon,
                                  kReadPath,
                                  kCloseKey,
                                  kLoad,
                                  LookUp("AreTasksInstalled"),
                                  LookUp("InstallAutoEnrollmentTasks")};

// ---- Installing ----

const auto kInstallations =
    RunTests("InstallAutoEnrollmentTasks", &Install)
        .Run("AsksTheTaskLibraryOnceAndUnloadsIt", MachineWith({}), "0",
             {kInstallBeginning, CallExport("AreTasksInstalled", 0), CallExport("InstallAutoEnrollmentTasks", 0),
              kInstalled, kFree})
        .Run("TasksThatAreThereAreLeftAlone", MachineWith({.areInstalled = 1}), "0",
             {kInstallBeginning, CallExport("AreTasksInstalled", 1),
              "log: *** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks already installed, skipping...", kFree})
        .Log("WindowsXpHasNoSuchTasksAndThatIsNoFailure", MachineWith({.install = 1150}), "0",
             {"log: *** InstallAutoEnrollmentTasks(): Can't install Tasks as this is XP"})
        .Run("IsSkippedInA32BitProcessOn64BitWindows", MachineWith({.windows = {{"wow64", true}}}), "0",
             {AskForWow64()[0], Call("IsWow64Process", {"process#current"}, 1, {{"Wow64Process", 1}}),
              "log: InstallAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!"})
        .Log("AProbeThatFailsIsLoggedAndTakenForNo", MachineWith({}), {.faults = {"IsWow64Process=5"}}, "0",
             {"log: InstallAutoEnrollmentTasks - failed to detect process on host os type: 5", kInstalled})
        .Run("WithoutTheKeyNothingIsWanted", MachineOf("{}"), "0",
             {AskForWow64(),
              Call("RegOpenKeyExA", {"HKEY_LOCAL_MACHINE", R"(SOFTWARE\Kelo Systems Corp\Common)", 0, 131097}, 2),
              kNotWanted})
        .Log("AKeyThatCannotBeOpenedIsNoKey", MachineWith({}), {.faults = {"RegOpenKeyExA#1=5"}}, "0", {kNotWanted})
        .Log("AWishThatCannotBeReadIsNone", MachineWith({}), {.faults = {"RegQueryValueExA#1=5"}}, "0", {kNotWanted})
        .Run("AWishOfZeroIsARefusal", MachineWith({.wanted = 0}), "0",
             {AskForWow64(), kOpenCommon,
              Call("RegQueryValueExA", {"key#1", "KlAutoEnrollInstalled", nullptr, 4}, 0,
                   {{"lpType", 4}, {"lpcbData", 4}, {"lpData", 0}}),
              "log: *** InstallAutoEnrollmentTasks(): Don't install Auto-Enroll Tasks regValue "
              "'KlAutoEnrollInstalled' = 0",
              kCloseKey})
        .Log("AKeyThatIsGoneTheSecondTimeIsAFailure", MachineWith({}), {.faults = {"RegOpenKeyExA#2=2"}}, "-1",
             {kNoPathToInstall}, [](const SimulatedRun& run) { EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u); });

TEST(InstallAutoEnrollmentTasks, OnlyTheLowByteTellsWhetherTasksAreThere)
{
    for (const int none : {0, 0x100, 0x7FFFFF00})
        ExpectLog(Install(MachineWith({.areInstalled = none})), "0", {kInstalled});
    for (const int some : {1, 2, 0xFF, 0x101, -1})
        ExpectLog(Install(MachineWith({.areInstalled = some})), "0",
                  {"log: *** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks already installed, skipping..."});
}

TEST(InstallAutoEnrollmentTasks, EveryOtherStatusIsAFailureAndIsLogged)
{
    for (const int status : {1, 2, 5, 1149, 1151, -1, -2147483647 - 1, 2147483647})
        ExpectLog(Install(MachineWith({.install = status})), "-1",
                  {fmt::format("log: *** InstallAutoEnrollmentTasks(): Create Auto-Enroll Tasks failed {}", status)});
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
        ExpectLog(Install(MachineWith({.wanted = Json::parse(wanted)})), "0", {kNotWanted});
    }
}

TEST(InstallAutoEnrollmentTasks, EveryOtherNumberIsAWish)
{
    for (const std::uint32_t wanted : {2u, 0x100u, 0x80000000u, 0xFFFFFFFFu})
        ExpectLog(Install(MachineWith({.wanted = wanted})), "0", {kInstalled});
}

TEST(InstallAutoEnrollmentTasks, APathThatIsMissingOrNoTextIsAFailure)
{
    for (const char* path :
         {"null", "1", R"({"type": "REG_BINARY", "hex": "43003a000000"})", R"({"type": "REG_NONE", "hex": ""})",
          R"({"type": "REG_MULTI_SZ", "hex": "43003a0000000000"})", R"({"type": "REG_QWORD", "hex": "00"})"})
    {
        SCOPED_TRACE(path);
        ExpectLog(Install(MachineWith({.path = Json::parse(path)})), "-1", {kNoPathToInstall});
    }
    ExpectLog(Install(MachineWith({}), {.faults = {"RegQueryValueExA#2=5"}}), "-1", {kNoPathToInstall});
}

// The library that is loaded for an install path.
struct PathCase
{
    const char* path;    // as the registry holds it
    const char* library; // null: none
};

// Of a full path, only the last character of the text is examined.
constexpr PathCase kPaths[] = {
    {R"("C:\\Kelo")", R"(C:\Kelo\CertJobPlanner.dll)"},
    {R"("C:\\Kelo\\")", R"(C:\Kelo\CertJobPlanner.dll)"},
    {R"("C:\\Kelo\\\\")", R"(C:\Kelo\\CertJobPlanner.dll)"},
    {R"("C:\\Kelo/")", R"(C:\Kelo/\CertJobPlanner.dll)"},
    {R"("C:\\Kelo ")", R"(C:\Kelo \CertJobPlanner.dll)"},
    {R"("C:\\100% %s%n")", R"(C:\100% %s%n\CertJobPlanner.dll)"},
    {R"("")", R"(\CertJobPlanner.dll)"},
    {R"({"type": "REG_EXPAND_SZ", "text": "C:\\%windir%\\Kelo"})", R"(C:\%windir%\Kelo\CertJobPlanner.dll)"},
    {R"("\\\\server\\share")", R"(\\server\share\CertJobPlanner.dll)"},
    // Paths that depend on the current drive or directory; the empty path is an exception.
    {R"("Kelo")", nullptr},
    {R"("C:Kelo")", nullptr},
    {R"("\\Kelo")", nullptr},
    {R"("..\\Kelo\\")", nullptr},
    {R"({"type": "REG_EXPAND_SZ", "text": "%windir%\\Kelo"})", nullptr},
    // Without a terminator, with half a character at the end, with text after a terminator, without any data.
    {R"({"type": "REG_SZ", "hex": "43003a005c00"})", R"(C:\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43003a005c004b"})", R"(C:\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43003a000000580000"})", R"(C:\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43003a0000005c000000"})", R"(C:\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": ""})", R"(\CertJobPlanner.dll)"},
    {R"({"type": "REG_SZ", "hex": "43"})", R"(\CertJobPlanner.dll)"},
    // The value becomes longer or shorter than the buffer before it is read into it.
    {R"(["C:\\Kelo", "C:\\Longer than that"])", R"(\CertJobPlanner.dll)"},
    {R"(["C:\\Kelo", "C:"])", R"(C:\CertJobPlanner.dll)"},
    {R"(["C:\\Kelo", 1])", nullptr},
};

// Expects that a run tried this library in vain, or none if the path is null.
void ExpectMissingLibrary(const SimulatedRun& run, const Json& path, const char* noLibrary)
{
    EXPECT_EQ(CallsOf("LoadLibraryA", run.script), path.is_null() ? Script() : Script(Call("LoadLibraryA", {path})));
    ExpectLog(run, "-1", noLibrary);
}

// Expects that an operation tries to load the library of each path, which is not there.
void ExpectLibraryOfEachPath(SimulatedRun (*operation)(const winsim::Machine&, const SimulatedRunOptions&),
                             const char* noLibrary)
{
    for (const PathCase& c : kPaths)
    {
        SCOPED_TRACE(c.path);
        ExpectMissingLibrary(
            operation(MachineWith({.path = Json::parse(c.path), .libraryPath = R"(D:\Elsewhere.dll)"}), {}),
            c.library == nullptr ? Json() : Json(c.library), noLibrary);
    }
}

TEST(InstallAutoEnrollmentTasks, LoadsTheLibraryFromThePathWhateverItsShape)
{
    ExpectLibraryOfEachPath(&Install, kNoLibraryToInstall);
}

TEST(InstallAutoEnrollmentTasks, ASecondReadThatFailsLeavesAnEmptyPath)
{
    ExpectMissingLibrary(Install(MachineWith({}), {.faults = {"RegQueryValueExA#3=5"}}), R"(\CertJobPlanner.dll)",
                         kNoLibraryToInstall);
}

TEST(InstallAutoEnrollmentTasks, AVeryLongPathIsHandedOverWhole)
{
    const std::string path = "C:\\" + std::string(5000, 'k');
    ExpectMissingLibrary(Install(MachineWith({.path = path})), path + R"(\CertJobPlanner.dll)", kNoLibraryToInstall);
}

TEST(InstallAutoEnrollmentTasks, APathOutsideAsciiIsReadAndUsedInTheCodePage)
{
    const char* path = "C:\\K\u00E9l\u00F6 \u20AC";
    ExpectLog(Install(MachineWith({.path = path, .libraryPath = std::string(path) + "\\CertJobPlanner.dll"})), "0",
              {kInstalled});
}

// The function throws each kind of exception that a library can throw.
const std::vector<std::string> kThrown{"access violation", "division by zero", "C++ exception", "number"};

TEST(InstallAutoEnrollmentTasks, ALibraryThatThrowsIsFreedAndTheOperationFails)
{
    const Script caught{"log: InstallAutoEnrollmentTasks - Unknown exception caught return -1"};
    for (const std::string& thrown : kThrown)
    {
        SCOPED_TRACE(thrown);
        ExpectRun(Install(MachineWith({.areInstalled = {{"throws", thrown}}})), "-1",
                  {kInstallBeginning, CallThatThrows("AreTasksInstalled", thrown), caught, kFree});
        ExpectRun(Install(MachineWith({.install = {{"throws", thrown}}})), "-1",
                  {kInstallBeginning, CallExport("AreTasksInstalled", 0),
                   CallThatThrows("InstallAutoEnrollmentTasks", thrown), caught, kFree});
    }
}

TEST(InstallAutoEnrollmentTasks, MemoryThatRunsOutIsALineAndAFailure)
{
    // Enough memory for the registry's text, but not for the library's path.
    const winsim::Machine machine =
        Changed(MachineWith({.path = "C:\\" + std::string(1000, 'k')}), R"({"process": {"largestBlock": 1010}})");
    ExpectLog(Install(machine), "-1", {"log: InstallAutoEnrollmentTasks - Unknown exception caught return -1"});
    ExpectLog(Remove(machine), "-1", {"log: RemoveAutoEnrollmentTasks - Unknown exception caught return -1"});
}

TEST(InstallAutoEnrollmentTasks, APathThatMemoryDoesNotSufficeForIsNone)
{
    const winsim::Machine machine =
        Changed(MachineWith({.path = "C:\\" + std::string(1000, 'k')}), R"({"process": {"largestBlock": 900}})");
    ExpectLog(Install(machine), "-1", {kNoPathToInstall});
    ExpectLog(Remove(machine), "-1", {kNoPathToRemove});
}

TEST(InstallAutoEnrollmentTasks, ALibraryThatDoesNotLoadIsAFailure)
{
    ExpectLog(Install(MachineWith({}), {.faults = {"LoadLibraryA=193"}}), "-1", {kNoLibraryToInstall});
}

TEST(InstallAutoEnrollmentTasks, BothExportsMustBeThereBeforeAnyIsCalled)
{
    const std::string first = LookUp("AreTasksInstalled");
    const std::string second = LookUp("InstallAutoEnrollmentTasks");
    const Script end = {kNoExportToInstall, kFree};
    const Script withoutFirst = Replaced(kInstallBeginning, first, {Failing(first)});
    ExpectRun(Install(MachineWith({.areInstalled = nullptr})), "-1", {withoutFirst, end});
    ExpectRun(Install(MachineWith({.install = nullptr})), "-1",
              {Replaced(kInstallBeginning, second, {Failing(second)}), end});
    ExpectRun(Install(MachineWith({.areInstalled = nullptr, .install = nullptr})), "-1",
              {Replaced(withoutFirst, second, {Failing(second)}), end});
}

TEST(InstallAutoEnrollmentTasks, ExportsOfOtherCaseAreOthers)
{
    const winsim::Machine machine =
        Changed(MachineWith({.areInstalled = nullptr}),
                R"({"libraries": {"C:\\Kelo\\CertJobPlanner.dll": {"exports": {"aretasksinstalled": 0}}}})");
    ExpectLog(Install(machine), "-1", kNoExportToInstall);
}

// ---- Removing ----

const auto kRemovals =
    RunTests("RemoveAutoEnrollmentTasks", &Remove)
        .Run("AsksTheTaskLibraryWithoutALineAndUnloadsIt", MachineWith({}), "0",
             {AskForWow64(), kOpenCommon, kReadPath, kCloseKey, kLoad, LookUp("RemoveAutoEnrollmentTasks"),
              CallExport("RemoveAutoEnrollmentTasks", 0), kFree})
        .Log("IsSkippedInA32BitProcessOn64BitWindows", MachineWith({.windows = {{"wow64", true}}}), "0",
             {"log: RemoveAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!"},
             [](const SimulatedRun& run) { EXPECT_EQ(run.script.size(), 3u); })
        .Log("AProbeThatFailsIsLoggedAndTakenForNo", MachineWith({}), {.faults = {"IsWow64Process=87"}}, "0",
             {"log: RemoveAutoEnrollmentTasks - failed to detect process on host os type: 87"},
             [](const SimulatedRun& run) {
                 EXPECT_EQ(run.outcome.callCounts.at("CertJobPlanner.dll!RemoveAutoEnrollmentTasks"), 1u);
             })
        .Log("ALibraryThatDoesNotLoadIsAFailure", MachineWith({}), {.faults = {"LoadLibraryA=126"}}, "-1",
             {kNoLibraryToRemove})
        .Log("WithoutTheExportItIsAFailureAndTheLibraryIsUnloaded", MachineWith({.remove = nullptr}), "-1",
             {kNoExportToRemove}, [](const SimulatedRun& run) { EXPECT_EQ(run.script.back(), kFree); });

TEST(RemoveAutoEnrollmentTasks, ALibraryThatThrowsIsFreedAndTheOperationFails)
{
    const Script caught{"log: RemoveAutoEnrollmentTasks - Unknown exception caught return -1"};
    for (const std::string& thrown : kThrown)
    {
        SCOPED_TRACE(thrown);
        ExpectRun(Remove(MachineWith({.remove = {{"throws", thrown}}})), "-1",
                  {AskForWow64(), kOpenCommon, kReadPath, kCloseKey, kLoad, LookUp("RemoveAutoEnrollmentTasks"),
                   CallThatThrows("RemoveAutoEnrollmentTasks", thrown), caught, kFree});
    }
}

TEST(RemoveAutoEnrollmentTasks, WhatTheTaskLibraryAnswersIsNotLookedAt)
{
    for (const int result : {1, 5, 1150, -1})
        ExpectLog(Remove(MachineWith({.remove = result})), "0", {});
}

TEST(RemoveAutoEnrollmentTasks, TakesNoWishAndNoOtherExport)
{
    for (const Json& wanted : {Json(0), Json("1"), Json()})
        ExpectLog(Remove(MachineWith({.wanted = wanted, .areInstalled = nullptr, .install = nullptr})), "0", {});
}

TEST(RemoveAutoEnrollmentTasks, WithoutTheKeyItIsAFailureInTheInstallationsName)
{
    ExpectLog(Remove(MachineOf("{}")), "-1", {kNoKeyToRemove});
    ExpectLog(Remove(MachineWith({}), {.faults = {"RegOpenKeyExA=5"}}), "-1", {kNoKeyToRemove});
}

TEST(RemoveAutoEnrollmentTasks, WithoutThePathItIsAFailure)
{
    ExpectLog(Remove(MachineWith({.path = nullptr})), "-1", {kNoPathToRemove});
    ExpectLog(Remove(MachineWith({.path = 1})), "-1", {kNoPathToRemove});
    ExpectLog(Remove(MachineWith({}), {.faults = {"RegQueryValueExA#1=5"}}), "-1", {kNoPathToRemove});
}

TEST(RemoveAutoEnrollmentTasks, LoadsTheLibraryFromThePathWhateverItsShape)
{
    ExpectLibraryOfEachPath(&Remove, kNoLibraryToRemove);
}

TEST(RemoveAutoEnrollmentTasks, ASecondReadThatFailsLeavesAnEmptyPath)
{
    ExpectMissingLibrary(Remove(MachineWith({}), {.faults = {"RegQueryValueExA#2=5"}}), R"(\CertJobPlanner.dll)",
                         kNoLibraryToRemove);
}

} // namespace
