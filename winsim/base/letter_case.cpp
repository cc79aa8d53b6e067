// Folds letter case as Windows does, by the host's Unicode tables.
#include "winsim/base/text.h"

#include <cwctype>
#include <locale.h>

namespace winsim
{

char16_t FoldCase(char16_t unit)
{
    if (unit < 0x80)
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const auto upper = static_cast<char32_t>(towupper_l(unit, unicode));
    // A letter whose upper case belongs to another letter, such as the dotless i, is not folded.
    const bool leadsBack = static_cast<char32_t>(towlower_l(static_cast<wint_t>(upper), unicode)) == unit;
    return upper < 0x10000 && leadsBack ? static_cast<char16_t>(upper) : unit;
}

} // namespace winsim
