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

// A text, taken apart at its %s and %S: between two of these stands a chunk of literal text and numbers.
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
    std::vector<std::string> values; // one for each placeholder; fewer of a line that is cut
};

class Matcher
{
public:
    Matcher();

    // The text that a message (a line without its header and its newline) was made from: of several the one with the
    // longest beginning, then the one with most literal text, then the one of the step that the log is in. A message
    // that may be cut needs only the beginning of a text. Takes time in proportion to the message's length.
    std::optional<Match> Find(std::string_view message, std::string_view step = {}, bool mayBeCut = false) const;

private:
    std::array<std::vector<Pattern>, 256> m_patterns; // by their first character
    std::vector<Pattern> m_openPatterns;              // those that begin with %s
};

// The number that a value shows, decimal with a sign or hexadecimal; nothing when it is none.
std::optional<std::uint32_t> NumberIn(std::string_view value, bool isHex);

// Whether a placeholder of a text (from 0) is written in hexadecimal digits.
bool IsHex(const Text& text, std::size_t placeholder);

// A line of the text with the values put in, one for each placeholder.
std::string Fill(const Text& text, const std::vector<std::string>& values);

} // namespace catalogue
