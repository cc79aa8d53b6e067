// The languages that Windows knows.
#pragma once

#include <cstdint>

namespace winsim
{

struct Language
{
    std::uint16_t id;    // such as 0x0407: the language in its low ten bits, its variant in the others
    const char* isoName; // of ISO 639: two letters, or three for a language that has no two
};

// A language by its identifier, also one without a variant, which stands for the language's first one; null for one
// that is not known.
const Language* FindLanguage(std::uint16_t id);

} // namespace winsim
