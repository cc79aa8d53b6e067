// Texts that may hold a password: their memory is wiped before it is freed.
#pragma once

#include <windows.h>

#include <memory>
#include <string_view>
#include <vector>

// Allocates like the standard allocator and wipes what it frees (SecureZeroMemory).
template <typename Type>
struct WipingAllocator
{
    using value_type = Type;

    WipingAllocator() = default;
    template <typename Other>
    WipingAllocator(const WipingAllocator<Other>&)
    {}

    Type* allocate(std::size_t count) { return std::allocator<Type>().allocate(count); }
    void deallocate(Type* memory, std::size_t count)
    {
        SecureZeroMemory(memory, count * sizeof(Type));
        std::allocator<Type>().deallocate(memory, count);
    }

    template <typename Other>
    bool operator==(const WipingAllocator<Other>&) const
    {
        return true;
    }
};

// A buffer of UTF-16 characters. A string keeps short texts within itself; a vector keeps all texts in memory that the
// allocator wipes, also when it grows or is freed.
using SecretBuffer = std::vector<wchar_t, WipingAllocator<wchar_t>>;

// A zero-terminated UTF-16 text.
class CSecretText
{
public:
    CSecretText() = default;
    explicit CSecretText(std::wstring_view text) { Append(text); }

    // Not movable: a text that was moved from would lack its terminating zero.
    CSecretText(const CSecretText&) = default;
    CSecretText& operator=(const CSecretText&) = default;

    bool IsEmpty() const { return View().empty(); }
    std::wstring_view View() const { return {m_characters.data(), m_characters.size() - 1}; }

    // The text with its terminating zero, for a Windows call that may write to it.
    wchar_t* Data() { return m_characters.data(); }

    void Append(std::wstring_view text) { m_characters.insert(m_characters.end() - 1, text.begin(), text.end()); }

private:
    SecretBuffer m_characters{L'\0'};
};
