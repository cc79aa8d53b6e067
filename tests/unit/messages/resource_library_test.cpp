// Proves which resource library is loaded for each language of the user interface.
#include "tests/unit/messages/toolkit_machine.h"

#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>

namespace
{

const std::string kSystem = R"(C:\Windows\system32\)";

SimulatedRun Load(const winsim::Machine& machine, const std::string& baseName = "Internationalization",
                  const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "LoadResourceLibrary", {baseName}, options);
}

// The name of the library of a language.
std::string In(const char* suffix)
{
    return fmt::format("Internationalization_{}.dll", suffix);
}

// The attempt to load a library that is there.
std::string Found(const std::string& path)
{
    return Call("LoadLibraryA", {path}, "library#1");
}

std::string Missing(const std::string& path)
{
    return Call("LoadLibraryA", {path});
}

// A library beside the program, and one that is neither there nor in the system folder.
std::string FoundBeside(const std::string& name)
{
    return Found(kToolkitFolder + name);
}

Script MissingBoth(const std::string& name, const std::string& folder = kToolkitFolder)
{
    return {Missing(folder + name), Missing(kSystem + name)};
}

// Expects that a run found a library or not, with these attempts after asking for the language.
void ExpectTried(const SimulatedRun& run, const char* result, const Script& attempts)
{
    EXPECT_EQ(run.result, result);
    EXPECT_EQ(CallsOf("LoadLibraryA", run.script), Script({Found("kernel32.dll"), attempts}));
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
        ExpectTried(Load(MachineInLanguage(c.language)), "true", FoundBeside(In(c.suffix)));
}

TEST(LoadResourceLibrary, EveryOtherLanguageTriesItsOwnAndFallsBackToEnglish)
{
    constexpr LanguageCase kCases[] = {
        {0x0401, "ar"}, {0x0405, "cs"}, {0x0406, "da"}, {0x0408, "el"}, {0x040B, "fi"}, {0x040D, "he"}, {0x040E, "hu"},
        {0x0415, "pl"}, {0x0418, "ro"}, {0x0419, "ru"}, {0x041B, "sk"}, {0x041D, "sv"}, {0x041F, "tr"}, {0x0422, "uk"},
    };
    for (const LanguageCase& c : kCases)
        ExpectTried(Load(MachineInLanguage(c.language)), "true", {MissingBoth(In(c.suffix)), FoundBeside(In("en"))});
}

TEST(LoadResourceLibrary, AMissingLibraryOfAVariantFallsBackToEnglishAtOnce)
{
    for (const LanguageCase& c : {LanguageCase{0x0416, "pt-BR"}, LanguageCase{0x1404, "zh-HK"}})
    {
        winsim::Json machine = MachineInLanguage(c.language).ToJson();
        machine["files"].erase(kToolkitFolder + In(c.suffix));
        ExpectTried(Load(winsim::Machine::FromJson(machine)), "true",
                    {MissingBoth(In(c.suffix)), FoundBeside(In("en"))});
    }
}

TEST(LoadResourceLibrary, WithoutAnyLibraryBothAreTriedInVain)
{
    ExpectTried(Load(MachineOf(R"({"windows": {"uiLanguage": 1031}})")), "false",
                {MissingBoth(In("de")), MissingBoth(In("en"))});
}

TEST(LoadResourceLibrary, AnEnglishUserWithoutALibraryHasItTriedTwice)
{
    ExpectTried(Load(MachineOf("{}")), "false", Times(2, MissingBoth(In("en"))));
}

TEST(LoadResourceLibrary, AsksForTheVariantOnlyWhereThereAreVariants)
{
    EXPECT_EQ(CallsOf("GetLocaleInfoA", Load(MachineInLanguage(0x0407)).script),
              Script(Call("GetLocaleInfoA", {1031, 89, 3}, 3, {{"lpLCData", "de"}})));
    EXPECT_EQ(CallsOf("GetLocaleInfoA", Load(MachineInLanguage(0x0804)).script),
              Script({Call("GetLocaleInfoA", {2052, 89, 3}, 3, {{"lpLCData", "zh"}}),
                      Call("GetLocaleInfoA", {2052, 1, 5}, 5, {{"lpLCData", "0804"}})}));
    EXPECT_EQ(CountOf("GetLocaleInfoA", Load(MachineInLanguage(0x0816)).script), 2u);
}

TEST(LoadResourceLibrary, AnUnknownVariantAddsNoSuffix)
{
    ExpectTried(LoadFaulty(0x0404, "GetLocaleInfoA#2=87"), "true", {MissingBoth(In("zh")), FoundBeside(In("en"))});
    ExpectTried(LoadFaulty(0x0416, "GetLocaleInfoA#2=87"), "true", FoundBeside(In("pt")));
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
    EXPECT_EQ(Script(std::ranges::find(script, attempt.front()), script.end()), Times(2, attempt));
}

TEST(LoadResourceLibrary, ALibraryThatIsNoneFallsBackToEnglish)
{
    ExpectTried(
        Load(Changed(MachineInLanguage(0x0407), {{"libraries", {{kToolkitFolder + In("de"), {{"loadError", 193}}}}}})),
        "true", {MissingBoth(In("de")), FoundBeside(In("en"))});
}

TEST(LoadResourceLibrary, TheLibraryBesideTheProgramComesBeforeThoseOfWindows)
{
    const winsim::Machine machine =
        Changed(MachineInLanguage(0x0407),
                {{"libraries", {{R"(C:\Windows\system32\Internationalization_de.dll)", {{"loadError", 5}}}}}});
    ExpectTried(Load(machine), "true", FoundBeside(In("de")));
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
    ExpectTried(Load(winsim::Machine::FromJson(machine)), "true",
                {MissingBoth(In("de")), Missing(kToolkitFolder + In("en")), Found(kSystem + In("en"))});
}

TEST(LoadResourceLibrary, AFolderThatCannotBeToldIsPassedOver)
{
    ExpectTried(LoadFaulty(0x0407, "GetModuleFileNameA=122"), "false",
                {Missing(kSystem + In("de")), Missing(kSystem + In("en"))});
    ExpectTried(LoadFaulty(0x041D, "GetSystemDirectoryA=8"), "true",
                {Missing(kToolkitFolder + In("sv")), FoundBeside(In("en"))});
}

TEST(LoadResourceLibrary, ASystemFolderThatDoesNotFitIsPassedOver)
{
    winsim::Json machine;
    const std::string folder = "C:\\" + std::string(300, 's');
    machine["folders"]["system"] = folder;
    machine["files"][folder] = {{"directory", true}};
    const SimulatedRun run = Load(winsim::Machine::FromJson(machine));
    EXPECT_EQ(run.result, "false");
    EXPECT_EQ(CallsOf("LoadLibraryA", run.script),
              Script({Missing("kernel32.dll"), Times(2, Missing(kToolkitFolder + In("en")))}));
}

// ---- Other base names ----

TEST(LoadResourceLibrary, WithoutABaseNameItIsTheProgramsOwn)
{
    ExpectTried(Load(MachineInLanguage(0x0407), "(null)"), "true",
                {Missing(std::string(kToolkitFolder) + "KeloCustomAction_de.dll"), FoundBeside(In("en"))});
}

winsim::Machine MachineWithProgramAt(const std::string& path)
{
    return Changed(MachineInLanguage(0x0407), {{"process", {{"path", path}}}});
}

TEST(LoadResourceLibrary, TheProgramsPathIsCutAtItsLastPeriodWhereverThatStands)
{
    ExpectTried(Load(MachineWithProgramAt(R"(C:\a.b\kelo.setup.exe)"), "(null)"), "false",
                {Missing(R"(C:\a.b\kelo.setup_de.dll)"), MissingBoth(In("en"), R"(C:\a.b\)")});
    ExpectTried(Load(MachineWithProgramAt(R"(C:\a.b\kelo)"), "(null)"), "false",
                {Missing(R"(C:\a_de.dll)"), MissingBoth(In("en"), R"(C:\a.b\)")});
}

TEST(LoadResourceLibrary, AProgramsPathOf259CharactersIsNotTooLong)
{
    const std::string folder = "C:\\" + std::string(252, 'k') + "\\";
    ExpectTried(Load(MachineWithProgramAt(folder + "a.e"), "(null)"), "false",
                {Missing(folder + "a_de.dll"), MissingBoth(In("en"), folder)});
    ExpectTried(Load(MachineWithProgramAt(folder + "a.e")), "false",
                {MissingBoth(In("de"), folder), MissingBoth(In("en"), folder)});
}

TEST(LoadResourceLibrary, AProgramsPathWithoutAPeriodOrTooLongGivesNoLibrary)
{
    for (const SimulatedRun& run : {Load(MachineWithProgramAt(R"(C:\kelo)"), "(null)"),
                                    Load(MachineWithProgramAt("C:\\" + std::string(300, 'k') + ".exe"), "(null)"),
                                    Load(MachineWithProgramAt("C:\\a.b\\" + std::string(300, 'k')), "(null)"),
                                    Load(MachineInLanguage(0x0407), "(null)", {.faults = {"GetModuleFileNameA=5"}})})
    {
        EXPECT_EQ(run.result, "false");
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
        EXPECT_EQ(CountOf("GetLocaleInfoA", run.script), 0u);
    }
}

TEST(LoadResourceLibrary, OfABaseName260CharactersCount)
{
    const std::string longest(260, 'b');
    ExpectTried(Load(MachineInLanguage(0x0407), longest + "more"), "false",
                {MissingBoth(longest + "_de.dll"), MissingBoth(longest + "_en.dll")});
}

} // namespace
