// Proves how an option is found in the command line and which value it has.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::IsEmpty;
using Words = std::vector<std::string>;

constexpr char kNone[] = "(none) (untouched)";

SimulatedRun Find(const std::string& prefix, Words words, const char* machine = "{}")
{
    words.insert(words.begin(), prefix);
    return CallFunction(MachineOf(machine), "GetOptionValue", words);
}

// The value of "/TSS_VENDOR=" when `words` are the arguments from argument 0 on.
std::string VendorIn(const Words& words)
{
    return Find("/TSS_VENDOR=", words).result;
}

// The same with a program and an action before the words.
std::string VendorAfterSetup(Words words)
{
    words.insert(words.begin(), {"C:\\kelo.exe", "/Setup"});
    return VendorIn(words);
}

TEST(GetOptionValue, FewerThanThreeArgumentsHoldNoOption)
{
    EXPECT_EQ(VendorIn({}), kNone);
    EXPECT_EQ(VendorIn({"/TSS_VENDOR=KELO"}), kNone);
    EXPECT_EQ(VendorIn({"C:\\kelo.exe", "/TSS_VENDOR=KELO"}), kNone);
}

TEST(GetOptionValue, ProgramAndActionSwitchAreNeverSearched)
{
    EXPECT_EQ(VendorIn({"C:\\/TSS_VENDOR=KELO", "/TSS_VENDOR=NTRU12", "/Other=1"}), kNone);
    EXPECT_EQ(VendorIn({"/TSS_VENDOR=first", "/TSS_VENDOR=second", "/TSS_VENDOR=third"}), "third");
}

TEST(GetOptionValue, TheValueIsWhatFollowsTheEqualsSign)
{
    const std::pair<const char*, const char*> cases[] = {
        {"/TSS_VENDOR=KELO", "KELO"},
        {"/TSS_VENDOR=K", "K"},
        {"/TSS_VENDOR= ", " "},
        {"/TSS_VENDOR==", "="},
        {"/TSS_VENDOR=a=b", "a=b"},
        {"/TSS_VENDOR=two words", "two words"},
        {"/TSS_VENDOR=\"quoted\"", "\"quoted\""},
        {"/TSS_VENDOR=100%s%n", "100%s%n"},
        {"/TSS_VENDOR=/TSS_VENDOR=KELO", "/TSS_VENDOR=KELO"},
        {"/TSS_VENDOR=/TPM_VSC=1", "/TPM_VSC=1"},
    };
    for (const auto& [argument, value] : cases)
        EXPECT_EQ(VendorAfterSetup({argument}), value) << argument;
    EXPECT_EQ(VendorAfterSetup({"/TSS_VENDOR=" + std::string(5000, 'x')}), std::string(5000, 'x'));
}

TEST(GetOptionValue, AnythingButTheExactPrefixIsAnotherOption)
{
    for (const char* argument : {"/tss_vendor=KELO", "/Tss_Vendor=KELO", "/TSS_VENDOR", "/TSS_VENDOR =KELO",
                                 "/TSS_VENDOR:KELO", "-TSS_VENDOR=KELO", "TSS_VENDOR=KELO", "/TSSVENDOR=KELO", "/", ""})
        EXPECT_EQ(VendorAfterSetup({argument}), kNone) << argument;
}

TEST(GetOptionValue, AnOptionWithoutAValueIsAbsent)
{
    EXPECT_EQ(VendorAfterSetup({"/TSS_VENDOR="}), kNone);
    EXPECT_EQ(Find("/TPM_VSC=", {"C:\\kelo.exe", "/Setup", "/TPM_VSC="}).result, kNone);
    EXPECT_EQ(Find("/TPM_VSC=", {"C:\\kelo.exe", "/Setup", "/TPM_VSC=no"}).result, "no");
}

TEST(GetOptionValue, OneArgumentDecides)
{
    const std::tuple<const char*, Words, const char*> cases[] = {
        {"its place does not matter", {"", "/TPM_VSC=1", "/TSS_VENDOR=KELO", "/TPM_WIN8=1"}, "KELO"},
        {"the first of two decides", {"/TSS_VENDOR=KELO", "/TSS_VENDOR=NTRU12"}, "KELO"},
        {"even without a value", {"/TSS_VENDOR=", "/TSS_VENDOR=NTRU12"}, kNone},
        {"even with the prefix further inside", {"x/TSS_VENDOR=ABC", "/TSS_VENDOR=KELO"}, "=ABC"},
        // As many characters as the prefix has are cut off the argument's beginning, wherever the prefix was found.
        {"a prefix further inside still cuts at its own length", {"x/TSS_VENDOR=ABC"}, "=ABC"},
        {"also without a value", {"x/TSS_VENDOR="}, "="},
        {"also far inside", {"abcdefghijklm/TSS_VENDOR=Z"}, "m/TSS_VENDOR=Z"},
        {"the value is ANSI text", {"/TSS_VENDOR=caf\u00E9"}, "caf\xE9"},
        {"the value is ANSI text of the code page", {"/TSS_VENDOR=\u20AC"}, "\x80"},
        {"characters outside the code page become question marks", {"/TSS_VENDOR=\u4E2D\u0416"}, "??"},
        {"two for one outside the basic plane", {"/TSS_VENDOR=\U0001F600"}, "??"},
        {"also before the prefix", {"\u4E2D/TSS_VENDOR=X"}, "=X"},
    };
    for (const auto& [rule, words, value] : cases)
        EXPECT_EQ(VendorAfterSetup(words), value) << rule;
    EXPECT_EQ(Find("/TPM_VSC=", {"C:\\kelo.exe", "/Setup", "/TSS_VENDOR=KELO /TPM_VSC=1"}).result,
              "OR=KELO /TPM_VSC=1");
}

// In a double-byte code page, the bytes of a character are counted.
TEST(GetOptionValue, PositionsCountBytesOfTheCodePage)
{
    constexpr char kJapanese[] = R"({"windows": {"codePage": 932}})";
    EXPECT_EQ(Find("/TSS_VENDOR=", {"C:\\kelo.exe", "/Setup", "/TSS_VENDOR=\u65E5\u672C"}, kJapanese).result,
              "\x93\xFA\x96\x7B");
    EXPECT_EQ(Find("/TSS_VENDOR=", {"C:\\kelo.exe", "/Setup", "\u65E5/TSS_VENDOR=X"}, kJapanese).result, "R=X");
}

TEST(GetOptionValue, AValueThatMemoryDoesNotSufficeForIsAbsent)
{
    const auto find = [](const SimulatedRunOptions& options = {}) {
        const std::string argument = "/TSS_VENDOR=" + std::string(100, 'x');
        return CallFunction("GetOptionValue", {"/TSS_VENDOR=", "C:\\kelo.exe", "/Setup", argument}, options);
    };
    // The last pieces are the argument, the same without the prefix, and the copy for this test.
    const unsigned last = find().outcome.callCounts.at("operator new");
    for (const unsigned piece : {last - 2, last - 1})
        EXPECT_EQ(find({.faults = {"operator new#" + std::to_string(piece) + "=8"}}).result, kNone);
}

TEST(GetOptionValue, LooksNowhereButInTheArgumentsAndLogsNothing)
{
    const SimulatedRun run = Find("/TSS_VENDOR=", {"C:\\kelo.exe", "/Setup", "/TSS_VENDOR=KELO"});
    EXPECT_THAT(run.script, IsEmpty());
}

} // namespace
