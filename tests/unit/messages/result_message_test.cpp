// Proves which text each result code leaves for the installer, and that failures affect nothing but the text.
#include "tests/unit/messages/toolkit_machine.h"

#include "tests/support/simulated_run.h"
#include "tests/support/windows_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::IsEmpty;

using winsim::Json;

constexpr std::uint16_t kUsEnglish = 0x0409;

struct CodeAndText
{
    std::uint32_t code;
    std::uint32_t textId;
};

// The codes with their own texts.
constexpr CodeAndText kOwnTexts[] = {
    {10000, 5012}, {10001, 5014}, {10010, 5031}, {10011, 5032}, {10012, 5033}, {10013, 5034},
    {10014, 5035}, {10015, 5036}, {10016, 5037}, {10021, 5038}, {10022, 5039}, {10023, 5040},
    {10024, 5041}, {10025, 5042}, {10026, 5043}, {10027, 5044}, {10028, 5045}, {10029, 5046},
    {10030, 5047}, {10032, 5048}, {10033, 5049}, {10034, 5050}, {10035, 5051}, {10036, 5052},
    {10037, 5053}, {10038, 5054}, {10039, 5055}, {10040, 5056}, {10041, 5057},
};

SimulatedRun Publish(const winsim::Machine& machine, std::uint32_t code, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "PublishResultMessage", {std::to_string(code)}, options);
}

const std::string& EnglishText(std::uint32_t id)
{
    return winsim::StringTables().at("en").texts.at(id);
}

std::string GenericText(const std::string& number)
{
    std::string text = EnglishText(5058);
    return text.replace(text.find("%1"), 2, number);
}

std::string ExpectedText(std::uint32_t code)
{
    for (const CodeAndText& own : kOwnTexts)
    {
        if (own.code == code)
            return EnglishText(own.textId);
    }
    return GenericText(std::to_string(static_cast<std::int32_t>(code)));
}

// Expects that a run reports a failure and leaves this text.
void ExpectLeft(const SimulatedRun& run, const std::string& text)
{
    EXPECT_EQ(run.result, "1603");
    EXPECT_EQ(MessageLeft(run.After()), text);
    EXPECT_THAT(run.log, IsEmpty());
}

TEST(PublishResultMessage, EveryCodeAroundTheKnownOnesLeavesItsText)
{
    for (std::uint32_t code = 9990; code <= 10050; ++code)
    {
        SCOPED_TRACE(code);
        ExpectLeft(Publish(MachineInLanguage(kUsEnglish), code), ExpectedText(code));
    }
}

TEST(PublishResultMessage, EveryOtherCodeLeavesTheGenericTextWithItsSignedNumber)
{
    constexpr std::pair<std::uint32_t, const char*> kCases[] = {{1, "1"},
                                                                {41, "41"},
                                                                {42, "42"},
                                                                {10002, "10002"},
                                                                {20000, "20000"},
                                                                {0x7FFFFFFF, "2147483647"},
                                                                {0x80000000, "-2147483648"},
                                                                {0xFFFFFFFF, "-1"}};
    for (const auto& [code, number] : kCases)
        ExpectLeft(Publish(MachineInLanguage(kUsEnglish), code), GenericText(number));
}

TEST(PublishResultMessage, SuccessTouchesNothing)
{
    const winsim::Machine machine = Changed(MachineInLanguage(kUsEnglish),
                                            {{"registry", {{kInstallerKey, {{"values", {{"", "an earlier text"}}}}}}}});
    const SimulatedRun run = Publish(machine, 0);
    ExpectRun(run, "0", {});
    EXPECT_EQ(MessageLeft(run.After()), "an earlier text");
}

TEST(PublishResultMessage, ALaterFailureReplacesAnEarlierText)
{
    EXPECT_EQ(MessageLeft(Publish(Publish(MachineInLanguage(kUsEnglish), 10015).After(), 10016).After()),
              EnglishText(5037));
}

// The queries for the language and the library, in English on a current Windows.
const Script kLoadEnglish = {
    AskForVersion(5, 2, true),
    Call("LoadLibraryA", {"kernel32.dll"}, "library#1"),
    Call("GetProcAddress", {"library#1", "GetThreadUILanguage"}, "kernel32.dll!GetThreadUILanguage"),
    Call("GetThreadUILanguage", {}, 1033),
    Call("FreeLibrary", {"library#1"}, 1),
    Call("GetLocaleInfoA", {1033, 89, 3}, 3, {{"lpLCData", "en"}}),
    Call("GetModuleFileNameA", {nullptr, 260}, 63,
         {{"lpFilename", R"(C:\Program Files\Kelo Systems Corp\Toolkit\KeloCustomAction.exe)"}}),
    Call("LoadLibraryA", {R"(C:\Program Files\Kelo Systems Corp\Toolkit\Internationalization_en.dll)"}, "library#1")};

const Script kOpenInstallerKey{
    Call("RegCreateKeyExA",
         {"HKEY_LOCAL_MACHINE", R"(SOFTWARE\Kelo Systems Corp.\Installer)", 0, nullptr, 0, 983103, nullptr}, 0,
         {{"lpdwDisposition", 1}, {"phkResult", "key#1"}}),
};

const Script kCloseInstallerKey{Call("RegCloseKey", {"key#1"}, 0)};

Script WriteText(const std::string& text)
{
    return Call("RegSetValueExA", {"key#1", nullptr, 0, 1, text, text.size() + 1}, 0);
}

TEST(PublishResultMessage, LoadsOneTextAndWritesItAsTheDefaultValue)
{
    const std::string text = EnglishText(5036);
    const Script load = Call("LoadStringA", {"library#1", 5036, 1024}, text.size(), {{"lpBuffer", text}});
    ExpectRun(Publish(MachineInLanguage(kUsEnglish), 10015), "1603",
              {kLoadEnglish, load, kOpenInstallerKey, WriteText(text), kCloseInstallerKey});
}

TEST(PublishResultMessage, TheGenericTextIsExpandedAsAMessage)
{
    const std::string text = EnglishText(5058);
    const std::string expanded = GenericText("10002");
    const Script steps = {Call("LoadStringA", {"library#1", 5058, 1024}, text.size(), {{"lpBuffer", text}}),
                          Call("FormatMessageA", {9472, text, 0, 0, 0}, expanded.size(), {{"lpBuffer", expanded}})};
    ExpectRun(Publish(MachineInLanguage(kUsEnglish), 10002), "1603",
              {kLoadEnglish, steps, kOpenInstallerKey, WriteText(expanded), kCloseInstallerKey});
}

TEST(PublishResultMessage, WithoutAnyLibraryTheTextIsEmpty)
{
    for (const std::uint32_t code : {10015u, 10002u})
    {
        const SimulatedRun run = Publish(MachineOf("{}"), code);
        ExpectLeft(run, "");
        EXPECT_THAT(run.script, testing::Contains(Call("RegSetValueExA", {"key#1", nullptr, 0, 1, "", 1}, 0)));
    }
}

TEST(PublishResultMessage, ALibraryWithoutTheTextGivesAnEmptyOne)
{
    // A library without any text, without the block of the text's number, and with the block but without the text.
    for (const char* strings : {"{}", R"({"1": "one"})", R"({"5024": "another"})"})
    {
        Json machine;
        machine["libraries"][std::string(kToolkitFolder) + "Internationalization_en.dll"]["strings"] =
            Json::parse(strings);
        SCOPED_TRACE(strings);
        ExpectLeft(Publish(winsim::Machine::FromJson(machine), 10015), "");
    }
}

TEST(PublishResultMessage, TheCodeStandsWhereTheGenericTextWantsIt)
{
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"%1", "10002"},
        {"no code", "no code"},
        {"%1, %1", "10002, 10002"},
        {"%1!s!|%1!8s!|%1!-8s!|", "10002|   10002|10002   |"},
        {"100%% %1%n%t%r.", "100% 10002\r\n\t\r."},
        {"code %1%0 and no more", "code 10002"},
        {"one\ntwo\r\nthree", "one\r\ntwo\r\nthree"},
        // Placeholders that a damaged library may contain.
        {"[%2][%99]", "[][]"},
        {"%", ""},
        {"%1!s", ""},
        {"%0", ""},
        {"%s %d %n", "s d \r\n"},
    };
    for (const auto& [text, expanded] : kCases)
        EXPECT_EQ(MessageLeft(Publish(MachineWithGenericText(text), 10002).After()), expanded) << text;
}

TEST(PublishResultMessage, ATextOfAnyLengthIsWrittenWhole)
{
    for (const std::size_t length :
         {1018u, 1019u, 1020u, 1021u, 1022u, 1023u, 1024u, 2040u, 2047u, 2048u, 5000u, 65500u})
    {
        const std::string text(length, 't');
        EXPECT_EQ(MessageLeft(Publish(MachineWithGenericText(text + "%1"), 10002).After()), text + "10002") << length;
        winsim::Json machine;
        machine["libraries"][std::string(kToolkitFolder) + "Internationalization_en.dll"]["strings"]["5036"] = text;
        EXPECT_EQ(MessageLeft(Publish(winsim::Machine::FromJson(machine), 10015).After()), text) << length;
    }
}

// The sizes of the buffers that a run loaded a text into.
std::vector<int> SizesOfBuffers(const SimulatedRun& run)
{
    std::vector<int> sizes;
    for (const winsim::CallRecord& call : run.outcome.calls)
    {
        if (call.name == "LoadStringA")
            sizes.push_back(call.in["cchBufferMax"].get<int>());
    }
    return sizes;
}

TEST(PublishResultMessage, ATextThatMayHaveBeenCutIsLoadedIntoABufferOfTwiceTheSize)
{
    const std::pair<std::size_t, std::vector<int>> rows[] = {
        {1019, {1024}},
        {1020, {1024, 2048}},
        {2043, {1024, 2048}},
        {2044, {1024, 2048, 4096}},
        {5000, {1024, 2048, 4096, 8192}},
    };
    for (const auto& [length, sizes] : rows)
        EXPECT_EQ(SizesOfBuffers(Publish(MachineWithGenericText(std::string(length, 't')), 42)), sizes) << length;
}

TEST(PublishResultMessage, AMessageOfOneCharacterIsWritten)
{
    ExpectLeft(Publish(MachineWithGenericText("%1"), 7), "7");
}

TEST(PublishResultMessage, ATextIsLoadedWithMemoryForItsBufferAndNoMore)
{
    const winsim::Machine machine = Changed(MachineWithGenericText("%1"), {{"process", {{"largestBlock", 1024 + 1}}}});
    ExpectLeft(Publish(machine, 42), "42");
}

// A text in a double-byte code page can be cut one byte before the end of its buffer.
TEST(PublishResultMessage, ALongTextOfDoubleBytesIsWrittenWhole)
{
    for (const std::size_t before : {0u, 1u})
    {
        std::string text(before, 'a');
        for (int i = 0; i < 600; ++i)
            text += "\u8868";
        const winsim::Machine machine = Changed(MachineWithGenericText(text), {{"windows", {{"codePage", 932}}}});
        EXPECT_EQ(MessageLeft(Publish(machine, 42).After()), text) << before;
    }
}

TEST(PublishResultMessage, WithoutMemoryForTheTextItIsEmpty)
{
    const winsim::Machine machine =
        Changed(MachineWithGenericText(std::string(5000, 't')), {{"process", {{"largestBlock", 3000}}}});
    ExpectLeft(Publish(machine, 42), "");
}

TEST(PublishResultMessage, EveryFailureOfWindowsStillEndsInTheSameResult)
{
    for (const char* fault : {"RegCreateKeyExA=5", "RegSetValueExA=5", "LoadLibraryA=126", "LoadStringA=1814",
                              "FormatMessageA=8", "GetLocaleInfoA=87", "GetProcAddress=127", "VerifyVersionInfoW=87"})
    {
        const SimulatedRun run = Publish(MachineInLanguage(kUsEnglish), 10002, {.faults = {fault}});
        EXPECT_EQ(run.result, "1603") << fault;
        EXPECT_THAT(run.log, IsEmpty()) << fault;
    }
}

TEST(PublishResultMessage, AKeyOrValueThatCannotBeWrittenLeavesNothing)
{
    for (const char* fault : {"RegCreateKeyExA=5", "RegSetValueExA=5"})
        EXPECT_EQ(MessageLeft(Publish(MachineInLanguage(kUsEnglish), 10002, {.faults = {fault}}).After()), nullptr);
}

// ---- The user's language ----

struct LocalizedTable
{
    std::uint16_t language;
    std::uint32_t codePage;
    const char* table;
};

constexpr LocalizedTable kLanguages[] = {
    {0x0407, 1252, "de"},    {0x0409, 1252, "en"},    {0x0C0A, 1252, "es"},    {0x040C, 1252, "fr"},
    {0x0410, 1252, "it"},    {0x0411, 932, "ja"},     {0x0412, 949, "ko"},     {0x0413, 1252, "nl"},
    {0x0414, 1252, "no"},    {0x0814, 1252, "no"},    {0x0416, 1252, "pt-BR"}, {0x0816, 1252, "pt"},
    {0x0804, 936, "zh-CHS"}, {0x0404, 950, "zh-CHT"}, {0x0C04, 950, "zh-HK"},  {0x1404, 950, "zh-HK"},
    {0x1004, 936, "zh-HK"},
};

TEST(PublishResultMessage, LeavesTheTextOfTheUsersLanguage)
{
    for (const LocalizedTable& c : kLanguages)
    {
        // The text for Hong Kong would lose characters in Singapore's code page.
        if (c.language == 0x1004)
            continue;
        const auto& texts = winsim::StringTables().at(c.table).texts;
        const winsim::Machine machine = MachineInLanguage(c.language, c.codePage);
        EXPECT_EQ(MessageLeft(Publish(machine, 10015).After()), texts.at(5036)) << c.table;
        std::string generic = texts.at(5058);
        generic.replace(generic.find("%1"), 2, "-1");
        EXPECT_EQ(MessageLeft(Publish(machine, 0xFFFFFFFF).After()), generic) << c.table;
    }
}

TEST(PublishResultMessage, AUserWithoutALibraryReadsEnglish)
{
    for (const std::uint16_t language :
         {0x0419, 0x0415, 0x041D, 0x0406, 0x040B, 0x0405, 0x040E, 0x041F, 0x0401, 0x040D})
        EXPECT_EQ(MessageLeft(Publish(MachineInLanguage(language), 10015).After()), EnglishText(5036)) << language;
}

TEST(PublishResultMessage, ALanguageWithoutATwoLetterNameHasNoTextAtAll)
{
    EXPECT_EQ(MessageLeft(Publish(MachineInLanguage(0x0464), 10015).After()), "");
}

// ---- The whole set-up ----

TEST(Setup, AFailureLeavesItsMessage)
{
    // There is no software stack.
    const SimulatedRun run = RunProgram(MachineInLanguage(kUsEnglish), {"/Setup"});
    EXPECT_EQ(run.exitCode, -1);
    EXPECT_EQ(MessageLeft(run.After()), EnglishText(5036));
}

TEST(Setup, ASuccessLeavesAnEarlierMessageAlone)
{
    Json machine = MachineInLanguage(kUsEnglish).ToJson();
    machine["registry"][kInstallerKey]["values"][""] = "an earlier text";
    machine["libraries"][std::string(kToolkitFolder) + R"(KELO\stkprobe.dll)"]["exports"] = {
        {"DetectTSS", 0}, {"isEnabled", 1}, {"isActivated", 1}, {"isOwned", 1}, {"ValidSRKAuth", 1}};
    const SimulatedRun run = RunProgram(winsim::Machine::FromJson(machine), {"/Setup"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(MessageLeft(run.After()), "an earlier text");
}

TEST(Removal, NeverLeavesAMessage)
{
    for (const char* action : {"/Rollback", "/Uninstall"})
        EXPECT_EQ(MessageLeft(RunProgram(MachineInLanguage(kUsEnglish), {action}).After()), nullptr);
}

} // namespace
