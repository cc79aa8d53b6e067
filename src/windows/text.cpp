// Converts text between the system's ANSI code page and UTF-16.
#include "windows/text.h"

#include "windows/result_or.h"

#include <windows.h>

namespace
{

std::string Narrowed(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    if (length == 0)
        return {};
    const int size = WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    // With a size of 0, the second call would only ask for the size again.
    if (size == 0)
        return {};
    std::string narrow(static_cast<std::size_t>(size), '\0');
    const int written = WideCharToMultiByte(CP_ACP, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(written));
    return narrow;
}

std::wstring Widened(std::string_view text)
{
    const int length = static_cast<int>(text.size());
    if (length == 0)
        return {};
    const int size = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
    if (size == 0)
        return {};
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    const int written = MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), size);
    wide.resize(static_cast<std::size_t>(written));
    return wide;
}

} // namespace

std::string ToNarrow(std::wstring_view text)
{
    return ResultOr({}, [text] { return Narrowed(text); });
}

std::wstring ToWide(std::string_view text)
{
    return ResultOr({}, [text] { return Widened(text); });
}
