// Texts assembled from a pattern.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

// Returns the pattern (ANSI or UTF-16) with each "%s" in it replaced by the next of `texts`. The pattern is a literal
// that has as many "%s" as there are texts, and no other percent sign; a "%s" within a text stays as it is. There is no
// limit to the length.
template <typename Char>
std::basic_string<Char> FillPattern(const Char* pattern,
                                    std::initializer_list<std::type_identity_t<std::basic_string_view<Char>>> texts)
{
    constexpr Char kPlace[] = {'%', 's', 0};
    std::basic_string<Char> filled;
    std::basic_string_view<Char> rest = pattern;
    for (const std::basic_string_view<Char> text : texts)
    {
        const std::size_t place = rest.find(kPlace);
        filled += rest.substr(0, place);
        filled += text;
        rest.remove_prefix(place + 2);
    }
    return filled.append(rest);
}
