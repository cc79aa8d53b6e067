// Conversions between code pages and UTF-16. Flags are not supported.
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winnls.h"

#include <algorithm>
#include <stdexcept>
#include <string>

using winsim::Call;
using winsim::CallKind;
using winsim::CodePage;
using winsim::Simulation;

namespace
{

// Null if there is no such code page.
const CodePage* PageOf(UINT number)
try
{
    return &CodePage::Get(number == CP_ACP ? Simulation::Current().machine.windows.codePage : number);
}
catch (const std::invalid_argument&)
{
    return nullptr;
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
    Call call{"MultiByteToWideChar", CallKind::Housekeeping};
    call.In("CodePage", CodePage).In("dwFlags", dwFlags).In("cbMultiByte", cbMultiByte).In("cchWideChar", cchWideChar);
    return call.ResultOf(0, [&] {
        const auto* page = PageOf(CodePage);
        if (page == nullptr || lpMultiByteStr == nullptr || cbMultiByte == 0 || cchWideChar < 0 ||
            (lpWideCharStr == nullptr && cchWideChar != 0))
            return call.Fail(0, ERROR_INVALID_PARAMETER);
        if (dwFlags != 0)
            return call.Fail(0, ERROR_INVALID_FLAGS);
        // A length of -1 means that the text has a terminator, which is converted too.
        const std::string bytes = cbMultiByte < 0 ? std::string(lpMultiByteStr) + '\0'
                                                  : std::string(lpMultiByteStr, static_cast<std::size_t>(cbMultiByte));
        if (call.IsRecording())
            call.In("lpMultiByteStr", Simulation::Current().FromAnsi(bytes.substr(0, bytes.find('\0'))));
        return HandOver(call, page->ToUtf16(bytes), lpWideCharStr, cchWideChar);
    });
}

int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                               LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar)
{
    Call call{"WideCharToMultiByte", CallKind::Housekeeping};
    call.In("CodePage", CodePage).In("dwFlags", dwFlags).In("cchWideChar", cchWideChar).In("cbMultiByte", cbMultiByte);
    return call.ResultOf(0, [&] {
        const auto* page = PageOf(CodePage);
        const bool asksForDefault = lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr;
        if (page == nullptr || lpWideCharStr == nullptr || cchWideChar == 0 || cbMultiByte < 0 ||
            (lpMultiByteStr == nullptr && cbMultiByte != 0) || (CodePage == CP_UTF8 && asksForDefault))
            return call.Fail(0, ERROR_INVALID_PARAMETER);
        if (dwFlags != 0)
            return call.Fail(0, ERROR_INVALID_FLAGS);
        const std::u16string text = cchWideChar < 0
                                        ? std::u16string(lpWideCharStr) + u'\0'
                                        : std::u16string(lpWideCharStr, static_cast<std::size_t>(cchWideChar));
        if (call.IsRecording())
            call.In("lpWideCharStr", winsim::Utf8(text.substr(0, text.find(u'\0'))));
        bool usedDefault = false;
        const std::string bytes = page->FromUtf16(text, &usedDefault, lpDefaultChar != nullptr ? lpDefaultChar : "?");
        if (lpUsedDefaultChar != nullptr)
            *lpUsedDefaultChar = usedDefault ? TRUE : FALSE;
        return HandOver(call, bytes, lpMultiByteStr, cbMultiByte);
    });
}
