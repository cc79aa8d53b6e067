// Finds the text of the catalogue that a line of a log was made from.
#pragma once

#include "catalogue/catalogue.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace catalogue
{

// A text, split at its %s and %S: between two of them is a chunk of literal text and numbers.
struct Pattern
{
    struct Piece
    {
        std::string literal; // or, when it is empty:
        bool isHex = false;  // a number, of at most eight hexadecimal digits or of ten decimal ones with a sign
    };

    const Text* text = nullptr;
    std::vector<std::vector<Piece>> chunks;
    std::size_t prefixLength = 0;  // of the literal text at the beginning
    std::size_t literalLength = 0; // of all literal text
};

struct Match
{
    const Text* text = nullptr;
    std::vector<std::string> values; // one for each placeholder; fewer for a line that is cut off
};

class Matcher
{
public:
    Matcher();

    // The text that a message (a line without its header and its newline) was made from. Of several, it is the one with
    // the longest beginning, then the one with most literal text, then the one of the log's current step. A message
    // that may be cut off needs to match only the beginning of a text. Takes time in proportion to the message's
    // length.
    std::optional<Match> Find(std::string_view message, std::string_view step = {}, bool mayBeCut = false) const;

private:
    std::array<std::vector<Pattern>, 256> m_patterns; // by their first character
    std::vector<Pattern> m_openPatterns;              // those that begin with %s
};

// The number in a value, decimal with a sign or hexadecimal; nothing if the value is not a number.
std::optional<std::uint32_t> NumberIn(std::string_view value, bool isHex);

// Whether a placeholder of a text (from 0) is written in hexadecimal digits.
bool IsHex(const Text& text, std::size_t placeholder);

// A line of the text with these values, one for each placeholder.
std::string Fill(const Text& text, const std::vector<std::string>& values);

} // namespace catalogue
