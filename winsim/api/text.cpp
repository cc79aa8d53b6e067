// Conversions between ANSI and UTF-16.
#include "winsim/core/text.h"
#include "winsim/core/gate.h"
#include "winsim/core/simulation.h"

#include "winnls.h"

#include <algorithm>
#include <string>

using winsim::Call;
using winsim::CallKind;
using winsim::CodePage;
using winsim::Simulation;

namespace
{

const CodePage& PageOf(UINT number)
{
    return CodePage::Get(number == CP_ACP ? Simulation::Current().machine.windows.codePage : number);
}

// Hands converted text over the way both conversions do: a size of 0 asks for the size.
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
    if (const auto fault = call.Fault())
        return call.Fail(0, *fault);
    if (lpMultiByteStr == nullptr || cbMultiByte == 0 || cchWideChar < 0)
        return call.Fail(0, ERROR_INVALID_PARAMETER);
    // A length of -1 stands for text up to and with its terminator.
    const std::string bytes = cbMultiByte < 0 ? std::string(lpMultiByteStr) + '\0'
                                              : std::string(lpMultiByteStr, static_cast<std::size_t>(cbMultiByte));
    if (call.IsRecording())
        call.In("lpMultiByteStr", Simulation::Current().FromAnsi(bytes.substr(0, bytes.find('\0'))));
    return HandOver(call, PageOf(CodePage).ToUtf16(bytes), lpWideCharStr, cchWideChar);
}

int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                               LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar)
{
    Call call{"WideCharToMultiByte", CallKind::Housekeeping};
    call.In("CodePage", CodePage).In("dwFlags", dwFlags).In("cchWideChar", cchWideChar).In("cbMultiByte", cbMultiByte);
    if (const auto fault = call.Fault())
        return call.Fail(0, *fault);
    if (lpWideCharStr == nullptr || cchWideChar == 0 || cbMultiByte < 0 || lpDefaultChar != nullptr)
        return call.Fail(0, ERROR_INVALID_PARAMETER);
    const std::u16string text = cchWideChar < 0 ? std::u16string(lpWideCharStr) + u'\0'
                                                : std::u16string(lpWideCharStr, static_cast<std::size_t>(cchWideChar));
    if (call.IsRecording())
        call.In("lpWideCharStr", winsim::Utf8(text.substr(0, text.find(u'\0'))));
    bool usedDefault = false;
    const std::string bytes = PageOf(CodePage).FromUtf16(text, &usedDefault);
    if (lpUsedDefaultChar != nullptr)
        *lpUsedDefaultChar = usedDefault ? TRUE : FALSE;
    return HandOver(call, bytes, lpMultiByteStr, cbMultiByte);
}
