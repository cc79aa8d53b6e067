// Reads the table of exports of an image for 64-bit Windows.
#include "describe/exported_functions.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace describe
{

namespace
{

// Where things are in the file, by the format's documentation.
constexpr std::size_t kHeaderOffset = 0x3C;
constexpr std::size_t kMachine = 4;
constexpr std::size_t kSectionCount = 6;
constexpr std::size_t kOptionalSize = 20;
constexpr std::size_t kOptional = 24;
constexpr std::size_t kExportDirectory = 112; // in the optional header
constexpr std::size_t kSectionSize = 40;
constexpr std::uint16_t kX64 = 0x8664;
constexpr std::uint16_t kPlus = 0x20B; // the optional header of 64-bit images

class Image
{
public:
    explicit Image(std::string_view bytes) : m_bytes(bytes) {}

    template <typename Number>
    Number At(std::size_t offset) const
    {
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof(Number))
            throw std::out_of_range("image");
        Number number{};
        std::memcpy(&number, m_bytes.data() + offset, sizeof number);
        return number;
    }

    std::string TextAt(std::size_t offset) const
    {
        const std::string_view rest = m_bytes.substr(std::min(offset, m_bytes.size()));
        return std::string(rest.substr(0, rest.find('\0')));
    }

    bool Begins(std::string_view text, std::size_t offset) const
    {
        return offset <= m_bytes.size() && m_bytes.substr(offset).starts_with(text);
    }

private:
    std::string_view m_bytes;
};

// Where in the file something is that is loaded at an address.
std::size_t OffsetOf(const Image& image, std::size_t header, std::uint32_t address)
{
    const std::size_t sections = header + kOptional + image.At<std::uint16_t>(header + kOptionalSize);
    for (std::size_t i = 0; i < image.At<std::uint16_t>(header + kSectionCount); ++i)
    {
        const std::size_t section = sections + i * kSectionSize;
        const auto begin = image.At<std::uint32_t>(section + 12);
        if (address >= begin && address - begin < image.At<std::uint32_t>(section + 16))
            return image.At<std::uint32_t>(section + 20) + (address - begin);
    }
    throw std::out_of_range("section");
}

std::set<std::string> NamesIn(const Image& image, std::size_t header)
{
    std::set<std::string> names;
    const auto directory = image.At<std::uint32_t>(header + kOptional + kExportDirectory);
    if (directory == 0)
        return names;
    const std::size_t table = OffsetOf(image, header, directory);
    const auto count = image.At<std::uint32_t>(table + 24);
    const std::size_t addresses = count == 0 ? 0 : OffsetOf(image, header, image.At<std::uint32_t>(table + 32));
    for (std::size_t i = 0; i < count; ++i)
        names.insert(image.TextAt(OffsetOf(image, header, image.At<std::uint32_t>(addresses + 4 * i))));
    return names;
}

} // namespace

std::optional<std::set<std::string>> ExportedFunctions(std::string_view bytes)
{
    const Image image{bytes};
    try
    {
        const std::size_t header = image.At<std::uint32_t>(kHeaderOffset);
        if (!image.Begins("MZ", 0) || !image.Begins({"PE\0\0", 4}, header) ||
            image.At<std::uint16_t>(header + kMachine) != kX64 || image.At<std::uint16_t>(header + kOptional) != kPlus)
            return std::nullopt;
        return NamesIn(image, header);
    }
    catch (const std::out_of_range&)
    {
        return std::nullopt;
    }
}

} // namespace describe
