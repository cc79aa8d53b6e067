// Matches messages with the texts' formats, each chunk at the first place where it fits.
#include "catalogue/matcher.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace catalogue
{

namespace
{

constexpr std::size_t kMostHexDigits = 8;
constexpr std::size_t kMostDecimalDigits = 10;

bool IsFlagOrWidth(char c)
{
    return c == '-' || c == '.' || (c >= '0' && c <= '9');
}

// The rest of a placeholder after its percent sign: its conversion letter, and where the format continues.
std::pair<char, std::size_t> ConversionAt(std::string_view format, std::size_t at)
{
    while (at < format.size() && IsFlagOrWidth(format[at]))
        ++at;
    return {format[at], at + 1};
}

// Ends of lines, and blanks that may be lost in a mail.
std::string_view WithoutEnd(std::string_view text)
{
    return text.substr(0, text.find_last_not_of(" \r\n") + 1);
}

Pattern Compile(const Text& text)
{
    Pattern pattern;
    pattern.text = &text;
    pattern.chunks.emplace_back();
    const auto literal = [&](char c) {
        auto& chunk = pattern.chunks.back();
        if (chunk.empty() || chunk.back().literal.empty())
            chunk.emplace_back();
        chunk.back().literal += c;
        ++pattern.literalLength;
    };
    const std::string_view format = WithoutEnd(text.format);
    for (std::size_t i = 0; i < format.size();)
    {
        if (format[i] != '%')
        {
            literal(format[i++]);
            continue;
        }
        const auto [letter, next] = ConversionAt(format, i + 1);
        i = next;
        if (letter == 's' || letter == 'S')
            pattern.chunks.emplace_back();
        else
            pattern.chunks.back().push_back({"", letter == 'x' || letter == 'X'});
    }
    const auto& first = pattern.chunks.front();
    pattern.prefixLength = first.empty() ? 0 : first.front().literal.size();
    return pattern;
}

bool IsDigit(char c, bool isHex)
{
    return (c >= '0' && c <= '9') || (isHex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')));
}

// The length of the number at a place; 0 if there is none.
std::size_t NumberLength(std::string_view message, std::size_t at, bool isHex)
{
    std::size_t end = at;
    if (!isHex && end < message.size() && message[end] == '-')
        ++end;
    const std::size_t digits = end;
    const std::size_t most = isHex ? kMostHexDigits : kMostDecimalDigits;
    while (end < message.size() && end - digits <= most && IsDigit(message[end], isHex))
        ++end;
    return end == digits || end - digits > most ? 0 : end - at;
}

// The end of a chunk that begins at a place, with its numbers in `numbers`; nothing if the chunk does not fit there.
std::optional<std::size_t> EndOfChunk(const std::vector<Pattern::Piece>& chunk, std::string_view message,
                                      std::size_t at, std::vector<std::string>& numbers)
{
    numbers.clear();
    for (const Pattern::Piece& piece : chunk)
    {
        std::size_t length = piece.literal.size();
        if (piece.literal.empty())
        {
            length = NumberLength(message, at, piece.isHex);
            if (length == 0)
                return std::nullopt;
            numbers.emplace_back(message.substr(at, length));
        }
        else if (message.compare(at, length, piece.literal) != 0)
            return std::nullopt;
        at += length;
    }
    return at;
}

void Append(std::vector<std::string>& values, const std::vector<std::string>& more)
{
    values.insert(values.end(), more.begin(), more.end());
}

struct Place
{
    std::size_t begin;
    std::size_t end;
};

// The first place from `at` on where a chunk fits. The last chunk has to end at the message's end.
std::optional<Place> FindChunk(const std::vector<Pattern::Piece>& chunk, bool isLast, std::string_view message,
                               std::size_t at, std::vector<std::string>& numbers)
{
    if (isLast && chunk.empty())
        return Place{message.size(), message.size()};
    for (std::size_t begin = at; begin <= message.size(); ++begin)
    {
        const auto end = EndOfChunk(chunk, message, begin, numbers);
        if (end && (!isLast || *end == message.size()))
            return Place{begin, *end};
    }
    return std::nullopt;
}

// The values of a message that matches a pattern. The first chunk must be at the beginning and the last at the end.
// Each chunk between them is taken at the first place where it fits: if the chunks after it fit at all, they also fit
// after that place.
std::optional<std::vector<std::string>> Fit(const Pattern& pattern, std::string_view message)
{
    std::vector<std::string> values;
    std::vector<std::string> numbers;
    const auto begin = EndOfChunk(pattern.chunks.front(), message, 0, numbers);
    if (!begin)
        return std::nullopt;
    Append(values, numbers);
    std::size_t at = *begin;
    for (std::size_t i = 1; i < pattern.chunks.size(); ++i)
    {
        numbers.clear();
        const bool isLast = i + 1 == pattern.chunks.size();
        const auto place = FindChunk(pattern.chunks[i], isLast, message, at, numbers);
        if (!place)
            return std::nullopt;
        values.emplace_back(message.substr(at, place->begin - at));
        Append(values, numbers);
        at = place->end;
    }
    if (at != message.size())
        return std::nullopt;
    return values;
}

// The same for a message that is cut off: it ends within the pattern's first literal text, or anywhere after it.
std::optional<std::vector<std::string>> FitCut(const Pattern& pattern, std::string_view message)
{
    if (pattern.prefixLength == 0)
        return std::nullopt;
    const std::string& prefix = pattern.chunks.front().front().literal;
    if (!message.starts_with(prefix))
        return std::nullopt;
    return std::vector<std::string>{std::string(message.substr(prefix.size()))};
}

bool IsBetter(const Pattern& pattern, const Pattern& than, std::string_view step)
{
    if (pattern.prefixLength != than.prefixLength)
        return pattern.prefixLength > than.prefixLength;
    if (pattern.literalLength != than.literalLength)
        return pattern.literalLength > than.literalLength;
    return pattern.text->step == step && than.text->step != step;
}

} // namespace

Matcher::Matcher()
{
    for (const Text& text : Texts())
    {
        Pattern pattern = Compile(text);
        if (pattern.prefixLength == 0)
            m_openPatterns.push_back(std::move(pattern));
        else
            m_patterns[static_cast<unsigned char>(text.format[0])].push_back(std::move(pattern));
    }
}

std::optional<Match> Matcher::Find(std::string_view message, std::string_view step, bool mayBeCut) const
{
    const std::string_view whole = WithoutEnd(message);
    if (whole.empty())
        return std::nullopt;
    const Pattern* best = nullptr;
    Match match;
    const auto tryAll = [&](const std::vector<Pattern>& patterns, auto fit) {
        for (const Pattern& pattern : patterns)
        {
            if ((best != nullptr && !IsBetter(pattern, *best, step)) ||
                whole.find(pattern.text->holds) == std::string_view::npos)
                continue;
            auto values = fit(pattern, whole);
            if (!values)
                continue;
            best = &pattern;
            match = {pattern.text, std::move(*values)};
        }
    };
    const std::vector<Pattern>& sameBeginning = m_patterns[static_cast<unsigned char>(whole.front())];
    tryAll(sameBeginning, &Fit);
    tryAll(m_openPatterns, &Fit);
    if (best == nullptr && mayBeCut)
        tryAll(sameBeginning, &FitCut);
    if (best == nullptr)
        return std::nullopt;
    return match;
}

std::optional<std::uint32_t> NumberIn(std::string_view value, bool isHex)
{
    const bool isNegative = !isHex && value.starts_with('-');
    if (isNegative)
        value.remove_prefix(1);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number, isHex ? 16 : 10);
    if (error != std::errc() || end != value.data() + value.size() || value.empty())
        return std::nullopt;
    return isNegative ? 0 - number : number;
}

bool IsHex(const Text& text, std::size_t placeholder)
{
    const std::string_view format = text.format;
    for (std::size_t i = format.find('%'); i != std::string_view::npos; i = format.find('%', i))
    {
        const auto [letter, next] = ConversionAt(format, i + 1);
        if (placeholder-- == 0)
            return letter == 'x' || letter == 'X';
        i = next;
    }
    return false;
}

std::string Fill(const Text& text, const std::vector<std::string>& values)
{
    const std::string_view format = WithoutEnd(text.format);
    std::string line;
    std::size_t next = 0;
    for (std::size_t i = 0; i < format.size();)
    {
        if (format[i] != '%')
        {
            line += format[i++];
            continue;
        }
        i = ConversionAt(format, i + 1).second;
        line += values.at(next++);
    }
    return line;
}

} // namespace catalogue
