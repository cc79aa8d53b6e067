// The names and meanings of the numbers in the log: errors, states and results.
#pragma once

#include "catalogue/catalogue.h"

#include <cstdint>
#include <string>

namespace catalogue
{

struct Number
{
    std::string name;    // Windows' own, such as ERROR_ACCESS_DENIED; empty when the number has none here
    std::string meaning; // in a few words
};

// What a number means where a value of this kind stands. Win32 also knows HRESULTs.
Number Explain(std::uint32_t number, Meaning meaning);

} // namespace catalogue
