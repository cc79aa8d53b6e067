// Proves which resource library is loaded for each language of the user interface.
#include "tests/unit/messages/toolkit_machine.h"

#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// The paths of the text libraries that a run tried to load, in order.
std::vector<std::string> PathsTried(const SimulatedRun& run)
{
    std::vector<std::string> paths;
    for (const std::string& line : run.script)
    {
        constexpr std::string_view kLoad = "LoadLibraryA(";
        if (line.starts_with(kLoad) && line.find("kernel32") == std::string::npos)
            paths.push_back(
                winsim::Json::parse(line.substr(kLoad.size(), line.find(')') - kLoad.size())).get<std::string>());
    }
    return paths;
}

// The names of these libraries: one that is not beside the program is looked for only in the system folder next.
std::vector<std::string> LibrariesTried(const SimulatedRun& run)
{
    constexpr std::string_view kSystemFolder = R"(C:\Windows\system32\)";
    std::vector<std::string> names;
    for (const std::string& path : PathsTried(run))
    {
        if (path.starts_with(kToolkitFolder))
            names.push_back(path.substr(std::string_view(kToolkitFolder).size()));
        else if (names.empty() || path != std::string(kSystemFolder) + names.back())
            names.push_back(path);
    }
    return names;
}

SimulatedRun Load(const winsim::Machine& machine, const std::string& baseName = "Internationalization",
                  const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "LoadResourceLibrary", {baseName}, options);
}

struct LanguageCase
{
    std::uint16_t language;
    const char* suffix;
};

TEST(LoadResourceLibrary, EveryLanguageOfTheToolkitGetsItsLibrary)
{
    constexpr LanguageCase kCases[] = {
        {0x0407, "de"}, {0x0807, "de"},     {0x0C07, "de"},     {0x0409, "en"},    {0x0809, "en"},    {0x0C0A, "es"},
        {0x040A, "es"}, {0x080A, "es"},     {0x040C, "fr"},     {0x0C0C, "fr"},    {0x0410, "it"},    {0x0411, "ja"},
        {0x0412, "ko"}, {0x0413, "nl"},     {0x0813, "nl"},     {0x0414, "no"},    {0x0814, "no"},    {0x0416, "pt-BR"},
        {0x0816, "pt"}, {0x0404, "zh-CHT"}, {0x0804, "zh-CHS"}, {0x0C04, "zh-HK"}, {0x1004, "zh-HK"}, {0x1404, "zh-HK"},
    };
    for (const LanguageCase& c : kCases)
    {
        const SimulatedRun run = Load(MachineInLanguage(c.language));
        EXPECT_EQ(run.result, "true") << c.suffix;
        EXPECT_THAT(LibrariesTried(run), ElementsAre(fmt::format("Internationalization_{}.dll", c.suffix)));
    }
}

TEST(LoadResourceLibrary, EveryOtherLanguageTriesItsOwnAndFallsBackToEnglish)
{
    constexpr LanguageCase kCases[] = {
        {0x0401, "ar"}, {0x0405, "cs"}, {0x0406, "da"}, {0x0408, "el"}, {0x040B, "fi"}, {0x040D, "he"}, {0x040E, "hu"},
        {0x0415, "pl"}, {0x0418, "ro"}, {0x0419, "ru"}, {0x041B, "sk"}, {0x041D, "sv"}, {0x041F, "tr"}, {0x0422, "uk"},
    };
    for (const LanguageCase& c : kCases)
    {
        const SimulatedRun run = Load(MachineInLanguage(c.language));
        EXPECT_EQ(run.result, "true") << c.suffix;
        EXPECT_THAT(LibrariesTried(run),
                    ElementsAre(fmt::format("Internationalization_{}.dll", c.suffix), "Internationalization_en.dll"));
    }
}

TEST(LoadResourceLibrary, AMissingLibraryOfAVariantFallsBackToEnglishAtOnce)
{
    for (const LanguageCase& c : {LanguageCase{0x0416, "pt-BR"}, LanguageCase{0x1404, "zh-HK"}})
    {
        winsim::Json machine = MachineInLanguage(c.language).ToJson();
        machine["files"].erase(fmt::format("{}Internationalization_{}.dll", kToolkitFolder, c.suffix));
        EXPECT_THAT(LibrariesTried(Load(winsim::Machine::FromJson(machine))),
                    ElementsAre(fmt::format("Internationalization_{}.dll", c.suffix), "Internationalization_en.dll"));
    }
}

TEST(LoadResourceLibrary, WithoutAnyLibraryBothAreTriedInVain)
{
    const SimulatedRun run = Load(MachineOf(R"({"windows": {"uiLanguage": 1031}})"));
    EXPECT_EQ(run.result, "false");
    EXPECT_THAT(LibrariesTried(run), ElementsAre("Internationalization_de.dll", "Internationalization_en.dll"));
}

TEST(LoadResourceLibrary, AnEnglishUserWithoutALibraryHasItTriedTwice)
{
    EXPECT_THAT(LibrariesTried(Load(MachineOf("{}"))),
                ElementsAre("Internationalization_en.dll", "Internationalization_en.dll"));
}

TEST(LoadResourceLibrary, AsksForTheVariantOnlyWhereThereAreVariants)
{
    const SimulatedRun german = Load(MachineInLanguage(0x0407));
    EXPECT_THAT(german.script, testing::Contains(Call("GetLocaleInfoA", {1031, 89, 3}, 3, {{"lpLCData", "de"}})));
    EXPECT_EQ(german.outcome.callCounts.at("GetLocaleInfoA"), 1u);
    const SimulatedRun chinese = Load(MachineInLanguage(0x0804));
    EXPECT_THAT(chinese.script, testing::Contains(Call("GetLocaleInfoA", {2052, 89, 3}, 3, {{"lpLCData", "zh"}})));
    EXPECT_THAT(chinese.script, testing::Contains(Call("GetLocaleInfoA", {2052, 1, 5}, 5, {{"lpLCData", "0804"}})));
    EXPECT_EQ(Load(MachineInLanguage(0x0816)).outcome.callCounts.at("GetLocaleInfoA"), 2u);
}

TEST(LoadResourceLibrary, AnUnknownVariantAddsNoSuffix)
{
    EXPECT_THAT(
        LibrariesTried(Load(MachineInLanguage(0x0404), "Internationalization", {.faults = {"GetLocaleInfoA#2=87"}})),
        ElementsAre("Internationalization_zh.dll", "Internationalization_en.dll"));
    EXPECT_THAT(
        LibrariesTried(Load(MachineInLanguage(0x0416), "Internationalization", {.faults = {"GetLocaleInfoA#2=87"}})),
        ElementsAre("Internationalization_pt.dll"));
}

TEST(LoadResourceLibrary, ALanguageWithoutATwoLetterNameHasNoLibraryNotEvenEnglish)
{
    // Three letters do not fit; an unknown language has none; and the call may fail.
    for (const std::uint16_t language : {0x0464, 0x0457, 0x0484, 0x0FFF})
    {
        const SimulatedRun run = Load(MachineInLanguage(language));
        EXPECT_EQ(run.result, "false");
        EXPECT_THAT(LibrariesTried(run), IsEmpty());
    }
    const SimulatedRun failed =
        Load(MachineInLanguage(0x0407), "Internationalization", {.faults = {"GetLocaleInfoA#1=87"}});
    EXPECT_EQ(failed.result, "false");
    EXPECT_THAT(LibrariesTried(failed), IsEmpty());
}

TEST(LoadResourceLibrary, ALibraryThatIsNoneFallsBackToEnglish)
{
    const winsim::Machine machine =
        Changed(MachineInLanguage(0x0407),
                {{"libraries", {{std::string(kToolkitFolder) + "Internationalization_de.dll", {{"loadError", 193}}}}}});
    const SimulatedRun run = Load(machine);
    EXPECT_EQ(run.result, "true");
    EXPECT_THAT(LibrariesTried(run), ElementsAre("Internationalization_de.dll", "Internationalization_en.dll"));
}

TEST(LoadResourceLibrary, TheLibraryBesideTheProgramComesBeforeThoseOfWindows)
{
    const winsim::Machine machine =
        Changed(MachineInLanguage(0x0407),
                {{"libraries", {{R"(C:\Windows\system32\Internationalization_de.dll)", {{"loadError", 5}}}}}});
    EXPECT_THAT(LibrariesTried(Load(machine)), ElementsAre("Internationalization_de.dll"));
}

TEST(LoadResourceLibrary, ALibraryIsLookedForBesideTheProgramAndInTheSystemFolderAlone)
{
    winsim::Json machine;
    machine["windows"]["uiLanguage"] = 0x0407;
    machine["environment"]["PATH"] = "C:\\Planted";
    machine["process"]["currentDirectory"] = "C:\\Planted";
    machine["files"][R"(C:\Planted\Internationalization_de.dll)"] = winsim::Json::object();
    machine["files"][R"(C:\Windows\Internationalization_de.dll)"] = winsim::Json::object();
    machine["files"][R"(C:\Windows\system32\Internationalization_en.dll)"] = winsim::Json::object();
    const SimulatedRun run = Load(winsim::Machine::FromJson(machine));
    EXPECT_EQ(run.result, "true");
    EXPECT_THAT(PathsTried(run), ElementsAre(std::string(kToolkitFolder) + "Internationalization_de.dll",
                                             R"(C:\Windows\system32\Internationalization_de.dll)",
                                             std::string(kToolkitFolder) + "Internationalization_en.dll",
                                             R"(C:\Windows\system32\Internationalization_en.dll)"));
}

TEST(LoadResourceLibrary, AFolderThatCannotBeToldIsPassedOver)
{
    EXPECT_THAT(
        PathsTried(Load(MachineInLanguage(0x0407), "Internationalization", {.faults = {"GetModuleFileNameA=122"}})),
        ElementsAre(R"(C:\Windows\system32\Internationalization_de.dll)",
                    R"(C:\Windows\system32\Internationalization_en.dll)"));
    EXPECT_THAT(
        PathsTried(Load(MachineInLanguage(0x041D), "Internationalization", {.faults = {"GetSystemDirectoryA=8"}})),
        ElementsAre(std::string(kToolkitFolder) + "Internationalization_sv.dll",
                    std::string(kToolkitFolder) + "Internationalization_en.dll"));
}

TEST(LoadResourceLibrary, ASystemFolderThatDoesNotFitIsPassedOver)
{
    winsim::Json machine;
    const std::string folder = "C:\\" + std::string(300, 's');
    machine["folders"]["system"] = folder;
    machine["files"][folder] = {{"directory", true}};
    EXPECT_THAT(PathsTried(Load(winsim::Machine::FromJson(machine))),
                ElementsAre(std::string(kToolkitFolder) + "Internationalization_en.dll",
                            std::string(kToolkitFolder) + "Internationalization_en.dll"));
}

// ---- Other base names ----

TEST(LoadResourceLibrary, WithoutABaseNameItIsTheProgramsOwn)
{
    const SimulatedRun run = Load(MachineInLanguage(0x0407), "(null)");
    EXPECT_THAT(PathsTried(run), ElementsAre(std::string(kToolkitFolder) + "KeloCustomAction_de.dll",
                                             std::string(kToolkitFolder) + "Internationalization_en.dll"));
    EXPECT_EQ(run.result, "true");
}

winsim::Machine MachineWithProgramAt(const std::string& path)
{
    const winsim::Machine machine = Changed(MachineInLanguage(0x0407), {{"process", {{"path", path}}}});
    return machine;
}

TEST(LoadResourceLibrary, TheProgramsPathIsCutAtItsLastPeriodWhereverThatStands)
{
    EXPECT_THAT(LibrariesTried(Load(MachineWithProgramAt(R"(C:\a.b\kelo.setup.exe)"), "(null)")).front(),
                R"(C:\a.b\kelo.setup_de.dll)");
    EXPECT_THAT(LibrariesTried(Load(MachineWithProgramAt(R"(C:\a.b\kelo)"), "(null)")).front(), R"(C:\a_de.dll)");
}

TEST(LoadResourceLibrary, AProgramsPathWithoutAPeriodOrTooLongGivesNoLibrary)
{
    for (const SimulatedRun& run : {Load(MachineWithProgramAt(R"(C:\kelo)"), "(null)"),
                                    Load(MachineWithProgramAt("C:\\" + std::string(300, 'k') + ".exe"), "(null)"),
                                    Load(MachineInLanguage(0x0407), "(null)", {.faults = {"GetModuleFileNameA=5"}})})
    {
        EXPECT_EQ(run.result, "false");
        EXPECT_THAT(LibrariesTried(run), IsEmpty());
        EXPECT_FALSE(run.outcome.callCounts.contains("GetLocaleInfoA"));
    }
}

TEST(LoadResourceLibrary, OfABaseName260CharactersCount)
{
    const std::string longest(260, 'b');
    const SimulatedRun run = Load(MachineInLanguage(0x0407), longest + "more");
    EXPECT_THAT(LibrariesTried(run), ElementsAre(longest + "_de.dll", longest + "_en.dll"));
    EXPECT_EQ(run.result, "false");
}

} // namespace
