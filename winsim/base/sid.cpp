// Converts SIDs.
#include "winsim/base/sid.h"

#include <charconv>
#include <cstring>

namespace winsim
{

namespace
{

// Revision, number of sub-authorities, authority (6 bytes, big-endian); then the sub-authorities.
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kMostSubAuthorities = 15;

} // namespace

std::vector<std::uint8_t> BytesOfSid(std::string_view text)
{
    constexpr std::string_view kPrefix = "S-1-";
    if (!text.starts_with(kPrefix))
        return {};
    text.remove_prefix(kPrefix.size());
    std::vector<std::uint64_t> numbers;
    while (true)
    {
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        const std::uint64_t most = numbers.empty() ? 0xFFFFFFFFFFFF : 0xFFFFFFFF;
        if (error != std::errc{} || number > most)
            return {};
        numbers.push_back(number);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (text.empty())
            break;
        if (text.front() != '-')
            return {};
        text.remove_prefix(1);
    }
    const std::size_t count = numbers.size() - 1;
    if (count > kMostSubAuthorities)
        return {};

    std::vector<std::uint8_t> bytes{1, static_cast<std::uint8_t>(count)};
    for (int shift = 40; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(numbers[0] >> shift));
    for (std::size_t i = 1; i < numbers.size(); ++i)
    {
        for (int shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(numbers[i] >> shift));
    }
    return bytes;
}

std::string TextOfSid(const void* sid)
{
    const auto* bytes = static_cast<const std::uint8_t*>(sid);
    std::uint64_t authority = 0;
    for (int i = 2; i < 8; ++i)
        authority = authority << 8 | bytes[i];
    std::string text = "S-1-" + std::to_string(authority);
    for (std::size_t i = 0; i < bytes[1]; ++i)
    {
        std::uint32_t number = 0;
        std::memcpy(&number, bytes + kHeaderSize + i * sizeof number, sizeof number);
        text += "-" + std::to_string(number);
    }
    return text;
}

std::size_t SizeOfSid(const void* sid)
{
    return kHeaderSize + static_cast<const std::uint8_t*>(sid)[1] * sizeof(std::uint32_t);
}

} // namespace winsim
