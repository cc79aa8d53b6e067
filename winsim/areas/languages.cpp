// Lists languages.
#include "winsim/areas/languages.h"

namespace winsim
{

namespace
{

constexpr std::uint16_t kLanguageBits = 0x3FF;

// A language's first variant comes first.
constexpr Language kLanguages[] = {
    {0x0401, "ar"},  {0x0402, "bg"},  {0x0403, "ca"},  {0x0804, "zh"}, {0x0404, "zh"}, {0x0C04, "zh"}, {0x1004, "zh"},
    {0x1404, "zh"},  {0x7C04, "zh"},  {0x0405, "cs"},  {0x0406, "da"}, {0x0407, "de"}, {0x0807, "de"}, {0x0C07, "de"},
    {0x0408, "el"},  {0x0409, "en"},  {0x0809, "en"},  {0x0C09, "en"}, {0x1009, "en"}, {0x0C0A, "es"}, {0x040A, "es"},
    {0x080A, "es"},  {0x040B, "fi"},  {0x040C, "fr"},  {0x080C, "fr"}, {0x0C0C, "fr"}, {0x040D, "he"}, {0x040E, "hu"},
    {0x0410, "it"},  {0x0810, "it"},  {0x0411, "ja"},  {0x0412, "ko"}, {0x0413, "nl"}, {0x0813, "nl"}, {0x0414, "nb"},
    {0x0814, "nn"},  {0x0415, "pl"},  {0x0416, "pt"},  {0x0816, "pt"}, {0x0418, "ro"}, {0x0419, "ru"}, {0x041B, "sk"},
    {0x041D, "sv"},  {0x041E, "th"},  {0x041F, "tr"},  {0x0421, "id"}, {0x0422, "uk"}, {0x0424, "sl"}, {0x042A, "vi"},
    {0x0457, "kok"}, {0x0464, "fil"}, {0x0484, "gsw"},
};

} // namespace

const Language* FindLanguage(std::uint16_t id)
{
    const bool hasVariant = (id & ~kLanguageBits) != 0;
    for (const Language& language : kLanguages)
    {
        if (language.id == id || (!hasVariant && (language.id & kLanguageBits) == id))
            return &language;
    }
    return nullptr;
}

} // namespace winsim
