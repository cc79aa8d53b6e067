// What goes to a terminal: its width, its colours, and text that fits.
#pragma once

#include "report/story.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace report
{

struct Style
{
    std::size_t width = 80; // in characters
    bool hasColour = false;

    // Colour only for a terminal, and not when the environment has NO_COLOR; the terminal's width, or 80.
    static Style OfStandardOutput();
};

// The text in the colour of a level, or in bold.
std::string Paint(const Style& style, Level level, std::string_view text);
std::string Bold(const Style& style, std::string_view text);

// The text in lines of at most the style's width, each after the first indented; what has no blank is not broken. The
// first line begins at `column`. Tabs become blanks. No newline at the end.
std::string Wrap(const Style& style, std::string_view text, std::size_t column, std::size_t indent);

// The text cut or filled with blanks to a number of characters.
std::string Fit(std::string_view text, std::size_t width);

// How many characters a text (UTF-8) has.
std::size_t LengthOf(std::string_view text);

// "0.250 s", "3 min 20 s", "26 h 4 min".
std::string DurationOf(std::int64_t ms);

// "1 line", "12,345 lines".
std::string Counted(std::size_t count, std::string_view one, std::string_view many);

} // namespace report
