// Proves where the language of the user interface comes from, and when English is used instead.

#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

namespace
{

constexpr unsigned kEnglish = 1033;
constexpr unsigned kGerman = 1031;
constexpr unsigned kJapanese = 1041;
constexpr unsigned kCustomDefault = 5120;

winsim::Machine Windows(const char* version, unsigned uiLanguage, unsigned userLanguage)
{
    return MachineOf(fmt::format(R"({{"windows": {{"version": "{}", "uiLanguage": {}, "userLanguage": {}}}}})", version,
                                 uiLanguage, userLanguage));
}

SimulatedRun Ask(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "GetUiLanguage", {}, options);
}

TEST(GetUiLanguage, IsTheThreadsFromWindows6On)
{
    for (const char* version : {"6.0", "6.1", "6.2", "6.3", "10.0"})
    {
        const SimulatedRun run = Ask(Windows(version, kGerman, kJapanese));
        EXPECT_EQ(run.result, "1031") << version;
        EXPECT_FALSE(run.outcome.callCounts.contains("GetUserDefaultLangID"));
        EXPECT_EQ(CountOf("FreeLibrary", run.script), 1u);
    }
}

TEST(GetUiLanguage, IsTheUsersBefore)
{
    for (const char* version : {"5.0", "5.1", "4.0"})
    {
        const SimulatedRun run = Ask(Windows(version, kGerman, kJapanese));
        EXPECT_EQ(run.result, "1041") << version;
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
    }
}

TEST(GetUiLanguage, ACustomLanguageIsTakenForEnglish)
{
    EXPECT_EQ(Ask(Windows("10.0", kCustomDefault, kJapanese)).result, std::to_string(kEnglish));
    EXPECT_EQ(Ask(Windows("5.1", kGerman, kCustomDefault)).result, std::to_string(kEnglish));
}

TEST(GetUiLanguage, IsEnglishWhereWindowsCannotTell)
{
    const winsim::Machine machine = Windows("10.0", kGerman, kJapanese);
    EXPECT_EQ(Ask(machine, {.faults = {"LoadLibraryA=126"}}).result, std::to_string(kEnglish));
    EXPECT_EQ(Ask(machine, {.faults = {"GetProcAddress=127"}}).result, std::to_string(kEnglish));

    // Windows 5.2 is asked, and lacks the function.
    const SimulatedRun run = Ask(Windows("5.2", kGerman, kJapanese));
    EXPECT_EQ(run.result, std::to_string(kEnglish));
    EXPECT_EQ(CountOf("FreeLibrary", run.script), 1u);
}

TEST(GetUiLanguage, AVersionThatCannotBeToldIsAnOldOne)
{
    EXPECT_EQ(Ask(Windows("10.0", kGerman, kJapanese), {.faults = {"VerifyVersionInfoW=87"}}).result, "1041");
}

TEST(GetUiLanguage, EveryOtherAnswerIsTakenAsItIs)
{
    for (const unsigned language : {0u, 0x0400u, 0x0C00u, 0x1000u, 0x1401u, 0xFFFFu})
        EXPECT_EQ(Ask(Windows("10.0", language, kJapanese)).result, std::to_string(language));
}

} // namespace
