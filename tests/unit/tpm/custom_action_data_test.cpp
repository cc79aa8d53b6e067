// Proves how CustomActionData is read and split into its values.
#include "tests/unit/tpm/install_session.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

struct ValueCase
{
    const char* key;
    const char* data;
    const char* value; // "none" is the default
};

TEST(GetCustomActionValue, IsTheTextAfterTheKeyUpToABlankAndASlash)
{
    constexpr ValueCase kCases[] = {
        {"/CAPTION=", "/CAPTION=Setup", "Setup"},
        {"/CAPTION=", "/CAPTION=My Tool /INFO=x", "My Tool"},
        {"/INFO=", "/CAPTION=My Tool /INFO=x", "x"},
        {"/CAPTION=", "", "none"},
        {"/CAPTION=", "/INFO=x", "none"},
        {"/CAPTION=", "/CAPTION", "none"},
        {"/CAPTION=", "/CAPTION=", ""},
        {"/CAPTION=", "/CAPTION= /INFO=x", ""},
        {"/CAPTION=", "/CAPTION=  /INFO=x", " "},
        // Values are neither trimmed nor unquoted.
        {"/CAPTION=", "/CAPTION= a ", " a "},
        {"/CAPTION=", "/CAPTION=\"a b\" /INFO=x", "\"a b\""},
        // Keys match only in this letter case.
        {"/CAPTION=", "/caption=a", "none"},
        {"/CAPTION=", "/caption=a /CAPTION=b", "b"},
        // Of two, the first counts, even if it is empty.
        {"/CAPTION=", "/CAPTION=a /CAPTION=b", "a"},
        {"/CAPTION=", "/CAPTION= /CAPTION=b", ""},
        // A key counts anywhere, also inside another value.
        {"/INFO=", "/CAPTION=a/INFO=b /SILENT", "b"},
        {"/CAPTION=", "x/CAPTION=a", "a"},
        {"/INFO=", "/CAPTION=\"/INFO=\" b /C", "\" b"},
        // A slash alone ends nothing, and neither do other blanks.
        {"/INFO=", "/INFO=a/b", "a/b"},
        {"/INFO=", "/INFO=a\t/b", "a\t/b"},
        {"/INFO=", "/INFO=a / b", "a"},
        {"/INFO=", "/INFO=a /", "a"},
        {"/INFO=", "/INFO=a ", "a "},
        {"/PASSWORD=", "/PASSWORD=%s%n%1 100%", "%s%n%1 100%"},
        {"/INFO=", "/INFO=\u4E2D\U0001F600\u00E4 /X", "\u4E2D\U0001F600\u00E4"},
    };
    for (const ValueCase& c : kCases)
        EXPECT_EQ(CallFunction("GetCustomActionValue", {c.key, c.data, "none"}).result, c.value) << c.data;
}

struct FlagCase
{
    const char* flag;
    const char* data;
    bool isOn;
};

TEST(HasCustomActionFlag, IsOnOnlyWhereTheDataBeginsWithItInAnyLetterCase)
{
    constexpr FlagCase kCases[] = {
        {"/SILENT", "/SILENT", true},
        {"/SILENT", "/silent", true},
        {"/SILENT", "/Silent /CAPTION=x", true},
        {"/SILENT", "/SILENTLY", true},
        {"/SILENT", "/SILENT=0", true},
        {"/VERIFY", "/VERIFY /CAPTION=Setup", true},
        {"/VERIFY", "/CAPTION=Setup /VERIFY", false},
        {"/SILENT", "/VERIFY /SILENT", false},
        {"/VERIFY", "/SILENT /VERIFY", false},
        {"/SILENT", " /SILENT", false},
        {"/SILENT", "SILENT", false},
        {"/SILENT", "/SILEN", false},
        {"/SILENT", "/", false},
        {"/SILENT", "", false},
        // Only ASCII letters match in either case.
        {"/SILENT", "/S\u0130LENT", false},
        {"/SILENT", "/\u017FILENT", false},
    };
    for (const FlagCase& c : kCases)
        EXPECT_EQ(CallFunction("HasCustomActionFlag", {c.flag, c.data}).result, c.isOn ? "true" : "false") << c.data;
}

TEST(HasCustomActionFlag, NothingAfterTheDataIsLookedAt)
{
    EXPECT_EQ(CallFunction("HasCustomActionFlag", {"/SILENT", "/SILENT", "7"}).result, "true");
    EXPECT_EQ(CallFunction("HasCustomActionFlag", {"/SILENT", "/SILENT", "6"}).result, "false");
}

// ---- Reading the property ----

// The queries for a property with this data.
Script ReadData(const std::string& data)
{
    const Json length = data.size();
    return {Call("MsiGetPropertyW", {"install#1", "CustomActionData", 0}, 234, {{"pcchValueBuf", length}}),
            Call("MsiGetPropertyW", {"install#1", "CustomActionData", data.size() + 1}, 0,
                 {{"pcchValueBuf", length}, {"szValueBuf", data}})};
}

TEST(CustomActionData, IsAskedForItsLengthAndThenRead)
{
    EXPECT_EQ(CallsOf("MsiGetPropertyW", ChangeSrkAuth({.data = "/CAPTION=x"}).script), ReadData("/CAPTION=x"));
}

TEST(CustomActionData, AnEmptyOrMissingPropertyIsEmptyData)
{
    for (const Json& data : {Json(""), Json()})
    {
        const SimulatedRun run = ChangeSrkAuth({.data = data, .verifyCode = -5});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(CallsOf("MsiGetPropertyW", run.script), ReadData(""));
        EXPECT_EQ(CommandLines(run).back(), std::string(kToolPath) + " /T:\"NTRU\" /Y");
    }
}

TEST(CustomActionData, APropertyThatShrinksBetweenTheQuestionsIsReadAsItIsThen)
{
    const SimulatedRun run = ChangeSrkAuth({.data = {"/CAPTION=a long caption", "/INFO=i"}, .verifyCode = -5});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(CommandLines(run).back(), std::string(kToolPath) + " /I:\"i\" /T:\"NTRU\" /Y");
}

TEST(CustomActionData, AnAnswerWithoutALengthIsEmptyData)
{
    // Windows would report that there is more data; an immediate success means that there is none.
    const SimulatedRun run = ChangeSrkAuth({.data = "/CAPTION=x", .verifyCode = -5}, {.faults = {"MsiGetPropertyW=0"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(CommandLines(run).back(), std::string(kToolPath) + " /T:\"NTRU\" /Y");
}

TEST(CustomActionData, DataThatCannotBeReadIs10001AndNothingIsRunOrLogged)
{
    const char* unreadable[] = {
        R"({"error": 6})",
        R"({"error": 87})",
        R"({"error": 1627})",
        R"({"error": 1})",
        // The property grows between the queries, for ever or by one character.
        R"(["/CAPTION=a", "/CAPTION=ab"])",
        R"(["", "/"])",
        R"({"error": 234, "size": 10})",
        R"(["/CAPTION=a", {"error": 1627}])",
        R"(["/CAPTION=a", {"error": 13}])",
        // More than the available memory; for the last size, adding the terminator overflows the number.
        R"({"error": 234, "size": 2147483647})",
        R"({"error": 234, "size": 4294967294})",
        R"({"error": 234, "size": 4294967295})",
    };
    for (const char* data : unreadable)
    {
        SCOPED_TRACE(data);
        const SimulatedRun run = ChangeSrkAuth({.data = Json::parse(data)});
        ExpectRun(run, "10001", CallsOf("MsiGetPropertyW", run.script));
    }
}

TEST(CustomActionData, ItIsNeverAskedForMoreThanTwice)
{
    EXPECT_EQ(ChangeSrkAuth({.data = {"a", "ab", "abc"}}).outcome.callCounts.at("MsiGetPropertyW"), 2u);
    for (const char* data : {R"({"error": 6})", R"({"error": 234, "size": 4294967295})"})
        EXPECT_EQ(ChangeSrkAuth({.data = Json::parse(data)}).outcome.callCounts.at("MsiGetPropertyW"), 1u) << data;
}

// Two bytes for each character, for the terminator, and for one zero more.
TEST(CustomActionData, IsReadWithMemoryForItselfAndNoMore)
{
    const std::string data = "/INFO=" + std::string(30000, 'i');
    Json machine = DescriptionOf({.data = data});
    machine["process"]["largestBlock"] = 2 * (data.size() + 2);
    ExpectLog(ChangeSrkAuthOn(machine), "0", "log: SRK and TPM Owner Auth is OK");
    machine["process"]["largestBlock"] = 2 * (data.size() + 2) - 1;
    ExpectLog(ChangeSrkAuthOn(machine), "10001", {});
}

TEST(CustomActionData, ThirtyThousandCharactersAreReadWhole)
{
    const std::string info(30000, 'i');
    const SimulatedRun run = ChangeSrkAuth({.data = "/INFO=" + info, .verifyCode = -5});
    EXPECT_EQ(CommandLines(run).back(), std::string(kToolPath) + " /I:\"" + info + "\" /T:\"NTRU\" /Y");
}

} // namespace
