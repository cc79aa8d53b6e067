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

// The meaning of a number in a value of this kind. Win32 also includes HRESULTs.
Number Explain(std::uint32_t number, Meaning meaning);

} // namespace catalogue
