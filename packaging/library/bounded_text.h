// Text of bounded length: UTF-16 in a buffer of fixed size, always terminated.
#pragma once

#include <cwchar>

template <unsigned kSize>
class BoundedText
{
public:
    static constexpr unsigned kCharacters = kSize; // including the terminator

    const wchar_t* Get() const { return m_text; }
    bool IsEmpty() const { return m_text[0] == L'\0'; }
    void Clear() { m_text[0] = L'\0'; }

    // Returns whether the text fits; otherwise the part that fits is appended.
    bool Append(const wchar_t* text)
    {
        const std::size_t length = std::wcslen(m_text);
        const std::size_t added = std::wcslen(text);
        const std::size_t room = kSize - 1 - length;
        const std::size_t kept = added < room ? added : room;
        std::wmemcpy(m_text + length, text, kept);
        m_text[length + kept] = L'\0';
        return kept == added;
    }

    // For a Windows call that writes to it; its size is kCharacters.
    wchar_t* Buffer() { return m_text; }

private:
    wchar_t m_text[kSize] = {};
};
