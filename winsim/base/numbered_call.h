// The form CALL[#N], in which texts name a call, or the N-th call of a name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace winsim
{

struct NumberedCall
{
    std::string name;
    std::optional<unsigned> number; // counted from 1; none if the text has none
};

// Reads that form. Returns none if N is not a number of 1 or more.
std::optional<NumberedCall> ParseNumberedCall(std::string_view text);

// What is then wrong with the text.
inline constexpr char kBadCallNumber[] = "N is not a number of 1 or more";

} // namespace winsim
