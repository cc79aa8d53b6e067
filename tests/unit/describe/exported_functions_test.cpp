// KeloDescribe reads a library's functions from its file: whole, damaged, and of other kinds.
#include "describe/exported_functions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace
{

using describe::ExportedFunctions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr std::size_t kHeader = 0x40;
constexpr std::size_t kSections = kHeader + 24 + 240;
constexpr std::uint32_t kOffset = 0x200; // of the only section in the file
constexpr std::uint32_t kAddress = 0x1000;

template <typename Number>
void Put(std::string& image, std::size_t offset, Number number)
{
    std::memcpy(image.data() + offset, &number, sizeof number);
}

// An image of one section, which begins with the table of exports.
std::string ImageWith(std::initializer_list<std::string> names)
{
    std::string image(kOffset + 40 + 4 * names.size(), '\0');
    image.replace(0, 2, "MZ");
    Put<std::uint32_t>(image, 0x3C, kHeader);
    image.replace(kHeader, 2, "PE");
    Put<std::uint16_t>(image, kHeader + 4, 0x8664);
    Put<std::uint16_t>(image, kHeader + 6, 1);
    Put<std::uint16_t>(image, kHeader + 20, 240);
    Put<std::uint16_t>(image, kHeader + 24, 0x20B);
    Put<std::uint32_t>(image, kHeader + 24 + 112, kAddress);
    Put<std::uint32_t>(image, kSections + 12, kAddress);
    Put<std::uint32_t>(image, kSections + 16, 0x1000);
    Put<std::uint32_t>(image, kSections + 20, kOffset);
    Put<std::uint32_t>(image, kOffset + 24, static_cast<std::uint32_t>(names.size()));
    Put<std::uint32_t>(image, kOffset + 32, kAddress + 40);
    std::size_t entry = kOffset + 40;
    for (const std::string& name : names)
    {
        Put<std::uint32_t>(image, entry, kAddress + static_cast<std::uint32_t>(image.size() - kOffset));
        image += name + '\0';
        entry += 4;
    }
    return image;
}

TEST(ExportedFunctions, AreThoseOfTheTable)
{
    EXPECT_THAT(ExportedFunctions(ImageWith({"DetectTSS", "isEnabled"})),
                Optional(ElementsAre("DetectTSS", "isEnabled")));
    EXPECT_THAT(ExportedFunctions(ImageWith({})), Optional(IsEmpty()));
}

TEST(ExportedFunctions, AreNoneWithoutATable)
{
    std::string image = ImageWith({"DetectTSS"});
    Put<std::uint32_t>(image, kHeader + 24 + 112, 0);
    EXPECT_THAT(ExportedFunctions(image), Optional(IsEmpty()));
}

TEST(ExportedFunctions, OfAnotherKindOfFileAreNotKnown)
{
    std::string other = ImageWith({"DetectTSS"});
    Put<std::uint16_t>(other, kHeader + 4, 0x14C);
    for (const std::string& file : {std::string(), std::string("text"), std::string("MZ"), other})
        EXPECT_EQ(ExportedFunctions(file), std::nullopt) << file.size() << " bytes";
}

TEST(ExportedFunctions, OfAFileCutAnywhereAreKnownOrNot)
{
    const std::string image = ImageWith({"DetectTSS", "isEnabled"});
    for (std::size_t size = 0; size <= kOffset + 40; ++size)
        EXPECT_EQ(ExportedFunctions(image.substr(0, size)), std::nullopt) << size << " bytes";
}

TEST(ExportedFunctions, OfAFileWithAnyWordOverwrittenAreKnownOrNot)
{
    const std::string image = ImageWith({"DetectTSS", "isEnabled"});
    for (std::size_t offset = 0; offset + 4 <= image.size(); ++offset)
    {
        for (const std::uint32_t word : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        {
            std::string damaged = image;
            Put(damaged, offset, word);
            ExportedFunctions(damaged);
        }
    }
}

} // namespace
