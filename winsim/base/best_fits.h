// The conversions of Windows' code pages that other implementations of these pages lack.
#pragma once

#include <span>
#include <string_view>

namespace winsim
{

// UTF-16 units in pairs: what is converted, and the result.
using UnitPairs = std::u16string_view;

struct PageRules
{
    unsigned codePage;
    UnitPairs fits;  // a character that the page lacks, and the character of the page that replaces it
    UnitPairs bytes; // a byte that iconv does not convert, and its character, mostly one for private use
};

// The rules of all ANSI code pages; double-byte pages have only `bytes`. The best fits that all single-byte pages share
// are left out: the full-width forms U+FF01 to U+FF5E become ASCII.
std::span<const PageRules> AllPageRules();

} // namespace winsim
