// Detects a log's encoding.
#include "explain/decode.h"

#include "winsim/base/text.h"
#include "winsim/base/utf8.h"

#include <algorithm>

namespace
{

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kSwappedMark = "\xFE\xFF";

// How many bytes of a file are examined to detect UTF-16.
constexpr std::size_t kLookedAt = 1000;

std::string FromUtf16(std::string_view bytes, bool isSwapped)
{
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    {
        const auto low = static_cast<unsigned char>(bytes[i + (isSwapped ? 1 : 0)]);
        const auto high = static_cast<unsigned char>(bytes[i + (isSwapped ? 0 : 1)]);
        units += static_cast<char16_t>(high << 8 | low);
    }
    return winsim::Utf8(units);
}

// In plain UTF-16 text, almost every second byte is zero.
bool LooksLikeUtf16(std::string_view bytes, std::size_t zeroPlace)
{
    const std::string_view begin = bytes.substr(0, kLookedAt);
    std::size_t zeros = 0;
    std::size_t others = 0;
    for (std::size_t i = 0; i < begin.size(); ++i)
    {
        const bool isZero = begin[i] == '\0';
        zeros += i % 2 == zeroPlace && isZero ? 1 : 0;
        others += i % 2 != zeroPlace && isZero ? 1 : 0;
    }
    return begin.size() >= 2 && zeros > begin.size() * 2 / 5 && others < begin.size() / 10;
}

bool IsUtf8(std::string_view bytes)
{
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        const std::size_t length = winsim::SequenceLength(static_cast<unsigned char>(bytes[i]));
        if (length == 0)
            return false;
        for (std::size_t k = 1; k < length; ++k)
        {
            // The last character may be cut off.
            if (++i == bytes.size())
                return true;
            if ((static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80)
                return false;
        }
    }
    return true;
}

} // namespace

std::string Decode(std::string_view bytes, unsigned codePage)
{
    if (bytes.starts_with(kUtf8Mark))
        return Decode(bytes.substr(kUtf8Mark.size()), codePage);
    if (bytes.starts_with(kUtf16Mark))
        return FromUtf16(bytes.substr(kUtf16Mark.size()), false);
    if (bytes.starts_with(kSwappedMark))
        return FromUtf16(bytes.substr(kSwappedMark.size()), true);
    if (LooksLikeUtf16(bytes, 1))
        return FromUtf16(bytes, false);
    if (LooksLikeUtf16(bytes, 0))
        return FromUtf16(bytes, true);
    const winsim::CodePage& page = winsim::CodePage::Get(codePage);
    return IsUtf8(bytes) ? std::string(bytes) : winsim::Utf8(page.ToUtf16(bytes));
}
