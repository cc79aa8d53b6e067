// Languages of the user and of the user interface, and what is known about a language.
#include "winsim/machine/languages.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winnls.h"
#include "winsim_types.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

using winsim::Call;
using winsim::Language;
using winsim::Simulation;

namespace
{

// The identifiers that mean the default language of the user, of the system or of a custom locale. On the simulated
// machine all of them are the user's language.
constexpr LANGID kDefaults[] = {0x0000, 0x0400, 0x0800, 0x0C00, 0x1000, 0x1400};

// Flags that make no difference to what is simulated: users cannot change it, and it is ASCII.
constexpr LCTYPE kFlagsWithoutEffect = LOCALE_NOUSEROVERRIDE | LOCALE_USE_CP_ACP;

constexpr unsigned kLanguageBits = 16; // the higher bits of a locale are its sort order

const Language* LanguageOf(LCID locale)
{
    const auto id = static_cast<LANGID>(locale);
    const bool isDefault = std::ranges::find(kDefaults, id) != std::end(kDefaults);
    return winsim::FindLanguage(isDefault ? Simulation::Current().machine.windows.userLanguage : id);
}

} // namespace

int WINAPI GetLocaleInfoA(LCID Locale, LCTYPE LCType, LPSTR lpLCData, int cchData)
{
    Call call{__func__};
    call.In("Locale", Locale).In("LCType", LCType).In("cchData", cchData);
    return call.ResultOf(0, [&] {
        if (Locale >> kLanguageBits != SORT_DEFAULT)
            return call.Fail(0, call.NotSimulated("sort orders"));
        const Language* language = LanguageOf(Locale);
        if (language == nullptr || cchData < 0 || (cchData != 0 && lpLCData == nullptr))
            return call.Fail(0, ERROR_INVALID_PARAMETER);
        const LCTYPE kind = LCType & ~kFlagsWithoutEffect;
        std::string text;
        if (kind == LOCALE_SISO639LANGNAME)
            text = language->isoName;
        else if (kind == LOCALE_ILANGUAGE)
            text = fmt::format("{:04x}", language->variant);
        else
            return call.Fail(0, call.NotSimulated("this information about a language"));

        const int size = static_cast<int>(text.size()) + 1;
        if (cchData == 0)
            return call.Done(size);
        if (cchData < size)
        {
            // Windows fills the buffer without a terminator.
            std::memcpy(lpLCData, text.data(), static_cast<std::size_t>(cchData));
            return call.Fail(0, ERROR_INSUFFICIENT_BUFFER);
        }
        std::memcpy(lpLCData, text.c_str(), static_cast<std::size_t>(size));
        call.Out("lpLCData", text);
        return call.Done(size);
    });
}

LANGID WINAPI GetThreadUILanguage()
{
    Call call{__func__};
    return call.Done(Simulation::Current().machine.windows.uiLanguage);
}

LANGID WINAPI GetUserDefaultLangID()
{
    Call call{__func__};
    return call.Done(Simulation::Current().machine.windows.userLanguage);
}
