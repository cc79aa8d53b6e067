// Converts texts for tests on Windows.
#include "tests/support/test_text.h"

#include <windows.h>

std::wstring WideOfUtf8(const std::string& utf8)
{
    const int length = static_cast<int>(utf8.size());
    std::wstring wide(utf8.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), length)));
    return wide;
}

std::string Utf8OfWide(const std::wstring& wide)
{
    constexpr std::size_t kMostBytesPerUnit = 3;
    const int length = static_cast<int>(wide.size());
    std::string utf8(wide.size() * kMostBytesPerUnit, '\0');
    utf8.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(),
                                                             static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}
