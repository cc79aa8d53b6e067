// UTF-8 and UTF-16, with either treatment of surrogates that have lost their other half.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace winsim
{

enum class Surrogates
{
    Kept,
    Replaced
};

// The length in bytes of a UTF-8 sequence with this first byte; 0 if no sequence begins with it.
std::size_t SequenceLength(unsigned char first);

// The ASCII characters at the start of a text in UTF-8 or a code page. Most texts are nothing else.
std::u16string AsciiStart(std::string_view text);

std::u16string DecodeAllUtf8(std::string_view text, Surrogates surrogates);
std::string EncodeAllUtf8(std::u16string_view text, Surrogates surrogates);

} // namespace winsim
