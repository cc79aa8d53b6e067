// What Windows' code pages do beyond the characters that they share with everybody else's.
#pragma once

#include <span>
#include <string_view>

namespace winsim
{

// Pairs of UTF-16 units, one after the other.
using UnitPairs = std::u16string_view;

struct PageRules
{
    unsigned codePage;
    UnitPairs fits;  // a character that the page lacks, and the one of the page that stands for it
    UnitPairs bytes; // a byte (as a unit) that iconv leaves out, and the character, mostly a private one, it becomes
};

// The rules of the single-byte ANSI code pages, and the special bytes of those with two bytes. Fits that all
// single-byte pages have in common are left out: for full-width forms of ASCII, U+FF01 to U+FF5E, ASCII stands.
std::span<const PageRules> AllPageRules();

} // namespace winsim
