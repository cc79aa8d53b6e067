// Reads calls with their numbers.
#include "winsim/base/numbered_call.h"

#include <charconv>
#include <system_error>

std::optional<winsim::NumberedCall> winsim::ParseNumberedCall(std::string_view text)
{
    const std::size_t hash = text.find('#');
    NumberedCall call{std::string(text.substr(0, hash)), std::nullopt};
    if (hash == std::string_view::npos)
        return call;
    unsigned number = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data() + hash + 1, end, number);
    if (error != std::errc{} || parsed != end || number == 0)
        return std::nullopt;
    call.number = number;
    return call;
}
