// Checks the catalogue against the program's sources and docs/log.md, and proves that a line finds its text.
#include "catalogue/matcher.h"
#include "catalogue/numbers.h"
#include "catalogue/reference.h"
#include "tests/explain/source_texts.h"
#include "winsim/machine/fault_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <set>
#include <sstream>

namespace
{

using catalogue::Kind;
using catalogue::Matcher;
using catalogue::Text;
using testing::ElementsAre;
using testing::IsEmpty;

std::set<std::string> Formats()
{
    std::set<std::string> formats;
    for (const Text& text : catalogue::Texts())
        formats.insert(text.format);
    return formats;
}

std::set<std::string> Without(const std::set<std::string>& from, const std::set<std::string>& what)
{
    std::set<std::string> rest;
    std::set_difference(from.begin(), from.end(), what.begin(), what.end(), std::inserter(rest, rest.end()));
    return rest;
}

std::size_t PlaceholdersOf(const Text& text)
{
    const std::string format = text.format;
    return static_cast<std::size_t>(std::count(format.begin(), format.end(), '%'));
}

// A line that the program could have written: the digit is valid for numbers and for texts.
std::string SampleOf(const Text& text)
{
    if (*text.holds != '\0')
        return std::string("\"C:\\Kelo") + text.holds + "remove";
    return catalogue::Fill(text, std::vector<std::string>(PlaceholdersOf(text), "5"));
}

const Text* Found(const std::string& message, std::string_view step = {}, bool mayBeCut = false)
{
    static const Matcher matcher;
    const auto match = matcher.Find(message, step, mayBeCut);
    return match ? match->text : nullptr;
}

std::string FormatOf(const std::string& message, bool mayBeCut = false)
{
    const Text* text = Found(message, {}, mayBeCut);
    return text != nullptr ? text->format : "";
}

std::vector<std::string> ValuesOf(const std::string& message)
{
    return Matcher{}.Find(message).value().values;
}

// ---- The tables

TEST(Catalogue, HasEveryTextOfTheSources)
{
    EXPECT_THAT(Without(TextsInSources(KELO_ROOT "/src"), Formats()), IsEmpty());
}

TEST(Catalogue, HasNoTextThatTheSourcesDoNotHave)
{
    EXPECT_THAT(Without(Formats(), TextsInSources(KELO_ROOT "/src")), IsEmpty());
}

TEST(Catalogue, HasEachTextOnce)
{
    EXPECT_EQ(Formats().size(), catalogue::Texts().size());
}

TEST(Catalogue, NamesEveryValue)
{
    for (const Text& text : catalogue::Texts())
        EXPECT_EQ(PlaceholdersOf(text), text.values.size()) << text.format;
}

TEST(Catalogue, PutsEveryTextIntoAStepOfAnAction)
{
    using catalogue::Action;
    std::set<std::string> steps{""};
    for (const Action action : {Action::Setup, Action::Commit, Action::Removal, Action::Export})
    {
        for (const catalogue::Step& step : catalogue::StepsOf(action))
            steps.insert(step.name);
    }
    for (const Text& text : catalogue::Texts())
        EXPECT_TRUE(steps.contains(text.step)) << text.format << ": " << text.step;
}

TEST(Catalogue, SaysWhatCausesAFailureOrWhatToDoAboutIt)
{
    for (const Text& text : catalogue::Texts())
    {
        EXPECT_STRNE("", text.meaning) << text.format;
        const bool hasError = !text.values.empty() && text.values.back().meaning != catalogue::Meaning::Plain;
        EXPECT_TRUE(text.kind != Kind::Failure || hasError || *text.causes != '\0' || *text.toDo != '\0')
            << text.format;
    }
}

TEST(Catalogue, BeginsAndEndsStepsWithTextsThatItHas)
{
    using catalogue::Action;
    for (const Action action : {Action::Setup, Action::Commit, Action::Removal, Action::Export})
    {
        for (const catalogue::Step& step : catalogue::StepsOf(action))
        {
            std::vector<std::string> beginnings{step.lines.begin(), step.lines.end()};
            beginnings.insert(beginnings.end(), step.ends.begin(), step.ends.end());
            for (const std::string& beginning : beginnings)
            {
                const auto begins = [&](const Text& text) {
                    const std::string format = text.format;
                    return format.starts_with(beginning) ||
                           catalogue::Fill(text, std::vector<std::string>(PlaceholdersOf(text), "Kelo TCG Enabled KSP"))
                               .starts_with(beginning);
                };
                EXPECT_TRUE(std::any_of(catalogue::Texts().begin(), catalogue::Texts().end(), begins)) << beginning;
            }
        }
    }
}

// A line can show any error that its calls can fail with.
TEST(Catalogue, NamesEveryErrorOfTheCalls)
{
    using catalogue::Meaning;
    for (const std::string& call : winsim::FallibleCalls())
    {
        for (const winsim::Fault& fault : winsim::FailuresOf(call, 1))
        {
            const Meaning meaning = call.starts_with("BCrypt")  ? Meaning::NtStatus
                                    : call.starts_with("SCard") ? Meaning::SCard
                                                                : Meaning::Win32;
            if (fault.givesNothing)
                continue;
            EXPECT_NE("", catalogue::Explain(fault.error, meaning).name) << TextOf(fault);
        }
    }
}

TEST(Catalogue, IsWhatTheDocumentShows)
{
    std::ostringstream document;
    document << std::ifstream(KELO_ROOT "/docs/log.md").rdbuf();
    EXPECT_EQ(catalogue::Reference(), document.str()) << "kelo-explain --reference > docs/log.md makes it anew";
}

// ---- Finding texts

TEST(CatalogueMatcher, FindsEveryTextByALineOfIt)
{
    for (const Text& text : catalogue::Texts())
        EXPECT_EQ(&text, Found(SampleOf(text))) << SampleOf(text);
}

TEST(CatalogueMatcher, GivesTheValues)
{
    EXPECT_THAT(ValuesOf("RemoveTSP1File - Failed to delete file C:\\Windows\\system32\\a, err: b.dll, err: 32"),
                ElementsAre("C:\\Windows\\system32\\a, err: b.dll", "32"));
    EXPECT_THAT(ValuesOf("BCryptRegisterProvider failed with error code 0xc0000022"), ElementsAre("c0000022"));
    EXPECT_THAT(ValuesOf(" tcsd_x86 current status: 4, 129"), ElementsAre("tcsd_x86", "4", "129"));
    EXPECT_THAT(ValuesOf("call SetupTCGDLL(C:\\Kelo\\, )"), ElementsAre("C:\\Kelo\\", ""));
    EXPECT_THAT(ValuesOf("InstallTkService - failed to stop the KlPCR Service. -1"), ElementsAre("-1"));
}

TEST(CatalogueMatcher, TellsTheTwoStatusLinesApart)
{
    EXPECT_EQ(" %s current status: %d, %d", FormatOf(" KlPCR current status: 4, 1"));
    EXPECT_EQ("%s  current status: %d, %d", FormatOf("KlPCR  current status: 4, 1"));
}

TEST(CatalogueMatcher, PrefersTheTextWithTheLongerBeginning)
{
    EXPECT_EQ("command line argv[%d]: %s", FormatOf("command line argv[2]: tcsd_x86 service stopped"));
}

TEST(CatalogueMatcher, TakesNothingElse)
{
    EXPECT_EQ("", FormatOf(""));
    EXPECT_EQ("", FormatOf("TPM is enabled."));
    EXPECT_EQ("", FormatOf("TPM is not enabled rc: one"));
    EXPECT_EQ("", FormatOf("TPM is not enabled rc: 123456789012"));
    EXPECT_EQ("", FormatOf("BCryptRegisterProvider failed with error code 0x"));
    EXPECT_EQ("", FormatOf("just any line"));
    EXPECT_EQ("", FormatOf("RemoveTSP1File - Failed to delete fi"));
}

TEST(CatalogueMatcher, FindsALineThatIsCut)
{
    EXPECT_EQ("Target: %s", FormatOf("Target: C:\\Prog", true));
    EXPECT_EQ("RemoveTSP1File - Failed to delete file %s, err: %d",
              FormatOf("RemoveTSP1File - Failed to delete file C:\\Win", true));
}

TEST(CatalogueMatcher, OverlooksBlanksAtTheEndOfALine)
{
    EXPECT_EQ("Install TPM Virtual Smartcard.... ", FormatOf("Install TPM Virtual Smartcard...."));
    EXPECT_EQ("SHCreateDirectoryExW error: %d ", FormatOf("SHCreateDirectoryExW error: 5  \r"));
}

// A megabyte that almost matches one text after another at every position.
TEST(CatalogueMatcher, TakesTimeInProportionToTheLine)
{
    std::string line = "RemoveTSP1File - Failed to delete file ";
    while (line.size() < 1'000'000)
        line += ", err: 12345678901, err: ";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ("", FormatOf(line));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

} // namespace
