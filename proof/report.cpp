// Writes the report, and reads it back between two steps.
#include "proof/report.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace proof
{

namespace
{

constexpr std::size_t kDigits = 8;

// As in zip files.
std::uint32_t Crc32(std::string_view bytes)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes)
    {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    }
    return ~crc;
}

std::string Checksum(std::string_view text)
{
    char digits[kDigits + 1] = {};
    std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(Crc32(text)));
    return digits;
}

} // namespace

void Report::Begin(const Json& line) const
{
    Write(line, std::ios::trunc);
}

void Report::Append(const Json& line) const
{
    Write(line, std::ios::app);
}

void Report::Write(const Json& line, std::ios::openmode mode) const
{
    // Bytes that are no UTF-8 do not lose the step.
    const std::string text = line.dump(-1, ' ', true, Json::error_handler_t::replace);
    std::ofstream file(std::filesystem::path(m_path), std::ios::binary | mode);
    file << Checksum(text) << ' ' << text << "\r\n";
    if (!file.flush())
        throw StepError("the report cannot be written");
}

std::vector<Json> Report::Lines() const
{
    std::vector<Json> lines;
    std::istringstream text(ReadBytes(m_path));
    for (std::string line; std::getline(text, line);)
    {
        if (line.ends_with('\r'))
            line.pop_back();
        if (line.size() > kDigits && Checksum(line.substr(kDigits + 1)) == line.substr(0, kDigits))
            lines.push_back(Json::parse(line.substr(kDigits + 1)));
    }
    return lines;
}

} // namespace proof
