// Proves which resource library is loaded for each language of the user interface.
#include "tests/unit/messages/toolkit_machine.h"

#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

namespace
{

using testing::ElementsAre;

const std::string kSystem = R"(C:\Windows\system32\)";

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
    std::vector<std::string> names;
    for (const std::string& path : PathsTried(run))
    {
        if (path.starts_with(kToolkitFolder))
            names.push_back(path.substr(std::string_view(kToolkitFolder).size()));
        else if (names.empty() || path != kSystem + names.back())
            names.push_back(path);
    }
    return names;
}

SimulatedRun Load(const winsim::Machine& machine, const std::string& baseName = "Internationalization",
                  const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "LoadResourceLibrary", {baseName}, options);
}

// Expects that a run found a library or not, and tried these in order.
void ExpectTried(const SimulatedRun& run, const char* result, const Script& libraries)
{
    EXPECT_EQ(run.result, result);
    EXPECT_EQ(LibrariesTried(run), libraries);
}

// The name of the library of a language.
std::string In(const char* suffix)
{
    return fmt::format("Internationalization_{}.dll", suffix);
}

// A run in a language, with a failing call.
SimulatedRun LoadFaulty(std::uint16_t language, const char* fault)
{
    return Load(MachineInLanguage(language), "Internationalization", {.faults = {fault}});
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
        ExpectTried(Load(MachineInLanguage(c.language)), "true", In(c.suffix));
}

TEST(LoadResourceLibrary, EveryOtherLanguageTriesItsOwnAndFallsBackToEnglish)
{
    constexpr LanguageCase kCases[] = {
        {0x0401, "ar"}, {0x0405, "cs"}, {0x0406, "da"}, {0x0408, "el"}, {0x040B, "fi"}, {0x040D, "he"}, {0x040E, "hu"},
        {0x0415, "pl"}, {0x0418, "ro"}, {0x0419, "ru"}, {0x041B, "sk"}, {0x041D, "sv"}, {0x041F, "tr"}, {0x0422, "uk"},
    };
    for (const LanguageCase& c : kCases)
        ExpectTried(Load(MachineInLanguage(c.language)), "true", {In(c.suffix), In("en")});
}

TEST(LoadResourceLibrary, AMissingLibraryOfAVariantFallsBackToEnglishAtOnce)
{
    for (const LanguageCase& c : {LanguageCase{0x0416, "pt-BR"}, LanguageCase{0x1404, "zh-HK"}})
    {
        winsim::Json machine = MachineInLanguage(c.language).ToJson();
        machine["files"].erase(kToolkitFolder + In(c.suffix));
        ExpectTried(Load(winsim::Machine::FromJson(machine)), "true", {In(c.suffix), In("en")});
    }
}

TEST(LoadResourceLibrary, WithoutAnyLibraryBothAreTriedInVain)
{
    ExpectTried(Load(MachineOf(R"({"windows": {"uiLanguage": 1031}})")), "false", {In("de"), In("en")});
}

TEST(LoadResourceLibrary, AnEnglishUserWithoutALibraryHasItTriedTwice)
{
    ExpectTried(Load(MachineOf("{}")), "false", {In("en"), In("en")});
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
    ExpectTried(LoadFaulty(0x0404, "GetLocaleInfoA#2=87"), "true", {In("zh"), In("en")});
    ExpectTried(LoadFaulty(0x0416, "GetLocaleInfoA#2=87"), "true", In("pt"));
}

TEST(LoadResourceLibrary, ALanguageWithoutATwoLetterNameHasNoLibraryNotEvenEnglish)
{
    // Three letters do not fit; an unknown language has none; and the call may fail.
    for (const std::uint16_t language : {0x0464, 0x0457, 0x0484, 0x0FFF})
        ExpectTried(Load(MachineInLanguage(language)), "false", {});
    ExpectTried(LoadFaulty(0x0407, "GetLocaleInfoA#1=87"), "false", {});
}

TEST(LoadResourceLibrary, AsksForTheProgramsAndTheSystemFolderForEachName)
{
    const Script script = Load(MachineOf("{}")).script;
    const std::string own = std::string(kToolkitFolder) + "KeloCustomAction.exe";
    const Script attempt = {
        Call("GetModuleFileNameA", {nullptr, 260}, own.size(), {{"lpFilename", own}}),
        Call("LoadLibraryA", {std::string(kToolkitFolder) + "Internationalization_en.dll"}),
        Call("GetSystemDirectoryA", {260}, 19, {{"lpBuffer", R"(C:\Windows\system32)"}}),
        Call("LoadLibraryA", {R"(C:\Windows\system32\Internationalization_en.dll)"}),
    };
    EXPECT_THAT(Script(std::find(script.begin(), script.end(), attempt.front()), script.end()),
                testing::ElementsAreArray(Times(2, attempt)));
}

TEST(LoadResourceLibrary, ALibraryThatIsNoneFallsBackToEnglish)
{
    ExpectTried(
        Load(Changed(MachineInLanguage(0x0407), {{"libraries", {{kToolkitFolder + In("de"), {{"loadError", 193}}}}}})),
        "true", {In("de"), In("en")});
}

TEST(LoadResourceLibrary, TheLibraryBesideTheProgramComesBeforeThoseOfWindows)
{
    const winsim::Machine machine =
        Changed(MachineInLanguage(0x0407),
                {{"libraries", {{R"(C:\Windows\system32\Internationalization_de.dll)", {{"loadError", 5}}}}}});
    ExpectTried(Load(machine), "true", In("de"));
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
    EXPECT_THAT(PathsTried(run), ElementsAre(kToolkitFolder + In("de"), kSystem + In("de"), kToolkitFolder + In("en"),
                                             kSystem + In("en")));
}

TEST(LoadResourceLibrary, AFolderThatCannotBeToldIsPassedOver)
{
    EXPECT_THAT(PathsTried(LoadFaulty(0x0407, "GetModuleFileNameA=122")),
                ElementsAre(kSystem + In("de"), kSystem + In("en")));
    EXPECT_THAT(PathsTried(LoadFaulty(0x041D, "GetSystemDirectoryA=8")),
                ElementsAre(kToolkitFolder + In("sv"), kToolkitFolder + In("en")));
}

TEST(LoadResourceLibrary, ASystemFolderThatDoesNotFitIsPassedOver)
{
    winsim::Json machine;
    const std::string folder = "C:\\" + std::string(300, 's');
    machine["folders"]["system"] = folder;
    machine["files"][folder] = {{"directory", true}};
    EXPECT_THAT(PathsTried(Load(winsim::Machine::FromJson(machine))),
                ElementsAre(kToolkitFolder + In("en"), kToolkitFolder + In("en")));
}

// ---- Other base names ----

TEST(LoadResourceLibrary, WithoutABaseNameItIsTheProgramsOwn)
{
    const SimulatedRun run = Load(MachineInLanguage(0x0407), "(null)");
    EXPECT_THAT(PathsTried(run),
                ElementsAre(std::string(kToolkitFolder) + "KeloCustomAction_de.dll", kToolkitFolder + In("en")));
    EXPECT_EQ(run.result, "true");
}

winsim::Machine MachineWithProgramAt(const std::string& path)
{
    return Changed(MachineInLanguage(0x0407), {{"process", {{"path", path}}}});
}

TEST(LoadResourceLibrary, TheProgramsPathIsCutAtItsLastPeriodWhereverThatStands)
{
    EXPECT_THAT(LibrariesTried(Load(MachineWithProgramAt(R"(C:\a.b\kelo.setup.exe)"), "(null)")).front(),
                R"(C:\a.b\kelo.setup_de.dll)");
    EXPECT_THAT(LibrariesTried(Load(MachineWithProgramAt(R"(C:\a.b\kelo)"), "(null)")).front(), R"(C:\a_de.dll)");
}

TEST(LoadResourceLibrary, AProgramsPathOf259CharactersIsNotTooLong)
{
    const std::string folder = "C:\\" + std::string(252, 'k') + "\\";
    EXPECT_EQ(LibrariesTried(Load(MachineWithProgramAt(folder + "a.e"), "(null)")).front(), folder + "a_de.dll");
    EXPECT_EQ(PathsTried(Load(MachineWithProgramAt(folder + "a.e"))).front(), folder + In("de"));
}

TEST(LoadResourceLibrary, AProgramsPathWithoutAPeriodOrTooLongGivesNoLibrary)
{
    for (const SimulatedRun& run : {Load(MachineWithProgramAt(R"(C:\kelo)"), "(null)"),
                                    Load(MachineWithProgramAt("C:\\" + std::string(300, 'k') + ".exe"), "(null)"),
                                    Load(MachineWithProgramAt("C:\\a.b\\" + std::string(300, 'k')), "(null)"),
                                    Load(MachineInLanguage(0x0407), "(null)", {.faults = {"GetModuleFileNameA=5"}})})
    {
        ExpectTried(run, "false", {});
        EXPECT_FALSE(run.outcome.callCounts.contains("GetLocaleInfoA"));
    }
}

TEST(LoadResourceLibrary, OfABaseName260CharactersCount)
{
    const std::string longest(260, 'b');
    ExpectTried(Load(MachineInLanguage(0x0407), longest + "more"), "false", {longest + "_de.dll", longest + "_en.dll"});
}

} // namespace
