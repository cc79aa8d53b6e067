// Proves that each table of texts is whole, and that Windows can show it in its language.
#include "winsim/base/text.h"
#include "winsim/machine/string_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;

std::vector<std::uint32_t> WantedTexts()
{
    std::vector<std::uint32_t> ids{5012, 5014};
    for (std::uint32_t id = 5031; id <= 5058; ++id)
        ids.push_back(id);
    return ids;
}

template <typename Use>
void ForEachText(Use use)
{
    for (const auto& [name, table] : winsim::StringTables())
    {
        for (const auto& [id, text] : table.texts)
        {
            SCOPED_TRACE(name + " " + std::to_string(id));
            use(table, id, text);
        }
    }
}

std::size_t Count(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

TEST(StringTables, ThereIsOneForEachLanguageOfTheToolkit)
{
    struct Expected
    {
        const char* name;
        std::uint32_t language;
        std::uint32_t codePage;

        bool operator==(const Expected& other) const
        {
            return std::string(name) == other.name && language == other.language && codePage == other.codePage;
        }
    };
    std::vector<Expected> tables;
    for (const auto& [name, table] : winsim::StringTables())
        tables.push_back({name.c_str(), table.language, table.codePage});
    EXPECT_THAT(tables,
                ElementsAre(Expected{"de", 0x0407, 1252}, Expected{"en", 0x0409, 1252}, Expected{"es", 0x0C0A, 1252},
                            Expected{"fr", 0x040C, 1252}, Expected{"it", 0x0410, 1252}, Expected{"ja", 0x0411, 932},
                            Expected{"ko", 0x0412, 949}, Expected{"nl", 0x0413, 1252}, Expected{"no", 0x0414, 1252},
                            Expected{"pt", 0x0816, 1252}, Expected{"pt-BR", 0x0416, 1252},
                            Expected{"zh-CHS", 0x0804, 936}, Expected{"zh-CHT", 0x0404, 950},
                            Expected{"zh-HK", 0x0C04, 950}));
}

TEST(StringTables, EachHoldsEveryTextOnceAndNoOther)
{
    for (const auto& [name, table] : winsim::StringTables())
    {
        std::vector<std::uint32_t> ids;
        std::set<std::string> distinct;
        for (const auto& [id, text] : table.texts)
        {
            ids.push_back(id);
            distinct.insert(text);
        }
        EXPECT_THAT(ids, ElementsAreArray(WantedTexts())) << name;
        EXPECT_EQ(distinct.size(), ids.size()) << name << ": two texts are the same";
    }
}

TEST(StringTables, OnlyTheGenericTextHasAPlaceForTheCode)
{
    ForEachText([](const winsim::StringTable&, std::uint32_t id, const std::string& text) {
        EXPECT_EQ(Count(text, "%1"), id == 5058 ? 1u : 0u);
        EXPECT_EQ(Count(text, "%"), Count(text, "%1"));
    });
}

TEST(StringTables, EachTextSurvivesTheAnsiCodePageOfItsLanguage)
{
    ForEachText([](const winsim::StringTable& table, std::uint32_t, const std::string& text) {
        const winsim::CodePage& page = winsim::CodePage::Get(table.codePage);
        bool usedDefault = false;
        const std::string ansi = page.FromUtf16(winsim::Utf16(text), &usedDefault);
        EXPECT_FALSE(usedDefault);
        EXPECT_EQ(winsim::Utf8(page.ToUtf16(ansi)), text);
        EXPECT_LT(ansi.size(), 255u);
    });
}

TEST(StringTables, NoTextIsEmptyOrFramedByBlanks)
{
    ForEachText([](const winsim::StringTable&, std::uint32_t, const std::string& text) {
        ASSERT_FALSE(text.empty());
        EXPECT_GT(static_cast<unsigned char>(text.front()), ' ');
        EXPECT_GT(static_cast<unsigned char>(text.back()), ' ');
        EXPECT_EQ(Count(text, "  "), 0u);
        EXPECT_EQ(Count(text, "\r"), 0u);
    });
}

TEST(StringTables, TranslationsAreNoEnglish)
{
    const auto& english = winsim::StringTables().at("en").texts;
    for (const auto& [name, table] : winsim::StringTables())
    {
        for (const auto& [id, text] : table.texts)
            EXPECT_EQ(text == english.at(id), name == "en") << name << " " << id;
    }
}

} // namespace
