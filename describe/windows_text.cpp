// Converts text with Windows' own rules. The code of machine descriptions asks for two of them.
#include "describe/windows_text.h"

#include "describe/windows_headers.h"
#include "winsim/base/text.h"

namespace winsim
{

char16_t FoldCase(char16_t unit)
{
    wchar_t upper = static_cast<wchar_t>(unit);
    CharUpperBuffW(&upper, 1);
    return static_cast<char16_t>(upper);
}

bool IsCodePage(unsigned number)
{
    return IsValidCodePage(number) != FALSE;
}

} // namespace winsim

namespace describe
{

std::string FromWide(std::wstring_view wide)
{
    return winsim::Utf8({reinterpret_cast<const char16_t*>(wide.data()), wide.size()});
}

std::wstring ToWide(std::string_view utf8)
{
    const std::u16string units = winsim::Utf16(utf8);
    return {reinterpret_cast<const wchar_t*>(units.data()), units.size()};
}

} // namespace describe
