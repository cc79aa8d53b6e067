// How a test image offers the program's single functions to tests. Compiled into the image, together with the program.
#pragma once

#include "tests/support/test_text.h"

#include <concepts>
#include <string>
#include <vector>

// The arguments of one call, as UTF-8.
class CallArguments
{
public:
    explicit CallArguments(const std::vector<std::string>& texts) : m_texts(texts) {}

    std::size_t Count() const { return m_texts.size(); }
    const std::string& Text(std::size_t index) const { return m_texts.at(index); }

    // The text, or null for the text "(null)".
    const char* TextOrNull(std::size_t index) const
    {
        return m_texts.at(index) == "(null)" ? nullptr : m_texts[index].c_str();
    }
    std::wstring Wide(std::size_t index) const { return WideOfUtf8(m_texts.at(index)); }
    // Decimal or, with 0x, hexadecimal; of a number beyond int, the low 32 bits.
    int Number(std::size_t index) const { return static_cast<int>(std::stoll(m_texts.at(index), nullptr, 0)); }
    bool Flag(std::size_t index) const { return m_texts.at(index) == "true"; }

private:
    const std::vector<std::string>& m_texts;
};

// Results as texts.
inline std::string ResultText(bool value)
{
    return value ? "true" : "false";
}
template <std::integral Number>
std::string ResultText(Number value)
{
    return std::to_string(value);
}
inline std::string ResultText(const std::string& value)
{
    return value;
}
inline std::string ResultText(const std::wstring& value)
{
    return Utf8OfWide(value);
}

// One function of the program that tests may call.
struct TestCall
{
    const char* name;
    std::string (*make)(const CallArguments& arguments);
};
