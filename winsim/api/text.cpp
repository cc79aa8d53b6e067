// Conversions between code pages and UTF-16.
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winnls.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

using winsim::Call;
using winsim::CallKind;
using winsim::CodePage;
using winsim::Simulation;

namespace
{

// The pages with a simulated table, apart from the machine's own.
constexpr UINT kSimulatedPages[] = {874,  932,  936,  949,  950,  1250, 1251,   1252,
                                    1253, 1254, 1255, 1256, 1257, 1258, CP_UTF8};
// Those that Windows chooses by the system, or that have rules of their own.
constexpr UINT kOtherPages[] = {CP_OEMCP, CP_MACCP, CP_SYMBOL, CP_UTF7};

// The code page of a number. Null: there is none, and `error` is set.
const CodePage* PageOf(const Call& call, UINT number, DWORD& error)
{
    const UINT own = Simulation::Current().machine.windows.codePage;
    if (number == CP_ACP || number == CP_THREAD_ACP || number == own)
        return &CodePage::Get(own);
    if (std::ranges::find(kSimulatedPages, number) != std::end(kSimulatedPages))
        return &CodePage::Get(number);
    const bool isKnown = std::ranges::find(kOtherPages, number) != std::end(kOtherPages) || winsim::IsCodePage(number);
    error = isKnown ? call.NotSimulated("this code page") : ERROR_INVALID_PARAMETER;
    return nullptr;
}

// The flags of a conversion.
struct Flags
{
    DWORD known;
    DWORD knownForUtf8;
    DWORD notSimulated; // among the known ones
};

constexpr Flags kWideningFlags = {MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS,
                                  MB_ERR_INVALID_CHARS, MB_COMPOSITE | MB_USEGLYPHCHARS};
constexpr DWORD kComposing = WC_COMPOSITECHECK | WC_DISCARDNS | WC_SEPCHARS | WC_DEFAULTCHAR;
constexpr Flags kNarrowingFlags = {kComposing | WC_NO_BEST_FIT_CHARS, WC_ERR_INVALID_CHARS, kComposing};

DWORD FlagsError(const Call& call, DWORD flags, const Flags& of, UINT codePage)
{
    constexpr DWORD kBothForms = MB_PRECOMPOSED | MB_COMPOSITE;
    const bool isContradictory = &of == &kWideningFlags && (flags & kBothForms) == kBothForms;
    if ((flags & ~(codePage == CP_UTF8 ? of.knownForUtf8 : of.known)) != 0 || isContradictory)
        return ERROR_INVALID_FLAGS;
    return (flags & of.notSimulated) != 0 ? call.NotSimulated("composing and decomposing characters") : ERROR_SUCCESS;
}

// The bytes of a text in which no character is replaced by a similar one.
std::string WithoutBestFits(const CodePage& page, std::u16string_view text, bool& usedDefault,
                            std::string_view defaultCharacter)
{
    std::string bytes;
    for (const char16_t unit : text)
    {
        bool isMissing = false;
        std::string one = page.FromUtf16({&unit, 1}, &isMissing, defaultCharacter);
        if (isMissing || page.ToUtf16(one) != std::u16string_view(&unit, 1))
        {
            usedDefault = true;
            one = defaultCharacter;
        }
        bytes += one;
    }
    return bytes;
}

// Stores converted text as both conversions do; for a `size` of 0 it only returns the needed size.
template <typename Text, typename Unit>
int HandOver(Call& call, const Text& text, Unit* buffer, int size)
{
    const int needed = static_cast<int>(text.size());
    if (size == 0)
        return call.Done(needed);
    std::copy_n(text.begin(), std::min(needed, size), buffer);
    if (needed > size)
        return call.Fail(0, ERROR_INSUFFICIENT_BUFFER);
    return call.Done(needed);
}

} // namespace

int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                               LPWSTR lpWideCharStr, int cchWideChar)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("CodePage", CodePage).In("dwFlags", dwFlags).In("cbMultiByte", cbMultiByte).In("cchWideChar", cchWideChar);
    return call.ResultOf(0, [&] {
        DWORD error = ERROR_SUCCESS;
        const auto* page = PageOf(call, CodePage, error);
        if (page == nullptr)
            return call.Fail(0, error);
        const void* const buffer = lpWideCharStr;
        if (lpMultiByteStr == nullptr || cbMultiByte == 0 || cchWideChar < 0 ||
            (cchWideChar != 0 && (buffer == nullptr || buffer == lpMultiByteStr)))
            return call.Fail(0, ERROR_INVALID_PARAMETER);
        error = FlagsError(call, dwFlags, kWideningFlags, CodePage);
        if (error != ERROR_SUCCESS)
            return call.Fail(0, error);
        // A length of -1 means that the text has a terminator, which is converted too.
        const std::string bytes = cbMultiByte < 0 ? std::string(lpMultiByteStr) + '\0'
                                                  : std::string(lpMultiByteStr, static_cast<std::size_t>(cbMultiByte));
        if (call.IsRecording())
            call.In("lpMultiByteStr", Simulation::Current().FromAnsi(bytes.substr(0, bytes.find('\0'))));
        bool hasInvalid = false;
        const std::u16string text = page->ToUtf16(bytes, &hasInvalid);
        if (hasInvalid && (dwFlags & MB_ERR_INVALID_CHARS) != 0)
            return call.Fail(0, ERROR_NO_UNICODE_TRANSLATION);
        return HandOver(call, text, lpWideCharStr, cchWideChar);
    });
}

int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                               LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("CodePage", CodePage).In("dwFlags", dwFlags).In("cchWideChar", cchWideChar).In("cbMultiByte", cbMultiByte);
    return call.ResultOf(0, [&] {
        DWORD error = ERROR_SUCCESS;
        const auto* page = PageOf(call, CodePage, error);
        if (page == nullptr)
            return call.Fail(0, error);
        const bool asksForDefault = lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr;
        const void* const buffer = lpMultiByteStr;
        if (lpWideCharStr == nullptr || cchWideChar == 0 || cbMultiByte < 0 ||
            (cbMultiByte != 0 && (buffer == nullptr || buffer == lpWideCharStr)) ||
            (CodePage == CP_UTF8 && asksForDefault))
            return call.Fail(0, ERROR_INVALID_PARAMETER);
        error = FlagsError(call, dwFlags, kNarrowingFlags, CodePage);
        if (error != ERROR_SUCCESS)
            return call.Fail(0, error);
        const std::u16string text = cchWideChar < 0
                                        ? std::u16string(lpWideCharStr) + u'\0'
                                        : std::u16string(lpWideCharStr, static_cast<std::size_t>(cchWideChar));
        if (call.IsRecording())
            call.In("lpWideCharStr", winsim::Utf8(text.substr(0, text.find(u'\0'))));
        if ((dwFlags & WC_ERR_INVALID_CHARS) != 0 && !winsim::IsWellFormed(text))
            return call.Fail(0, ERROR_NO_UNICODE_TRANSLATION);
        const char* const defaultCharacter = lpDefaultChar != nullptr ? lpDefaultChar : "?";
        bool usedDefault = false;
        const std::string bytes = (dwFlags & WC_NO_BEST_FIT_CHARS) != 0
                                      ? WithoutBestFits(*page, text, usedDefault, defaultCharacter)
                                      : page->FromUtf16(text, &usedDefault, defaultCharacter);
        if (lpUsedDefaultChar != nullptr)
            *lpUsedDefaultChar = usedDefault ? TRUE : FALSE;
        return HandOver(call, bytes, lpMultiByteStr, cbMultiByte);
    });
}
