// Converts texts for tests on the simulated machine.
#include "tests/support/test_text.h"

#include "winsim/base/text.h"

std::wstring WideOfUtf8(const std::string& utf8)
{
    const std::u16string units = winsim::Utf16(utf8);
    return {units.begin(), units.end()};
}

std::string Utf8OfWide(const std::wstring& wide)
{
    return winsim::Utf8(std::u16string(wide.begin(), wide.end()));
}
