// Output for a terminal: its width, its colours, and fitted text.
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

    // Colour only for a terminal, and not if the environment has NO_COLOR; the terminal's width, or 80.
    static Style OfStandardOutput();
};

// The text in the colour of a level; and in bold.
std::string Paint(const Style& style, Level level, std::string_view text);
std::string Bold(const Style& style, std::string_view text);

// The text in lines of at most the style's width, each after the first indented. A word without blanks is not broken.
// The first line begins at `column`. Tabs become blanks. There is no newline at the end.
std::string Wrap(const Style& style, std::string_view text, std::size_t column, std::size_t indent);

// The text cut to a number of characters, or padded with blanks.
std::string Fit(std::string_view text, std::size_t width);

// The number of characters in a text (UTF-8).
std::size_t LengthOf(std::string_view text);

// "0.250 s", "3 min 20 s", "26 h 4 min".
std::string DurationOf(std::int64_t ms);

// "1 line", "12,345 lines".
std::string Counted(std::size_t count, std::string_view one, std::string_view many);

} // namespace report
