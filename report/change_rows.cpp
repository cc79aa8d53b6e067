// Fits rows to the terminal's width.
#include "report/change_rows.h"

namespace report
{

namespace
{

constexpr std::size_t kItemIndent = 4;
constexpr std::size_t kVerbWidth = 12;
constexpr std::size_t kDetailIndent = kItemIndent + kVerbWidth;

} // namespace

void ChangeRows::Area(const std::string& title)
{
    m_text += "  " + Bold(m_style, title) + "\n";
}

void ChangeRows::Heading(const std::string& title)
{
    m_text += std::string(kItemIndent, ' ') + Wrap(m_style, title, kItemIndent, kItemIndent + 2) + "\n";
}

void ChangeRows::Row(const std::string& verb, const std::string& text)
{
    m_text += std::string(kItemIndent, ' ') + Fit(verb, kVerbWidth) +
              Wrap(m_style, text, kDetailIndent, kDetailIndent + 2) + "\n";
}

void ChangeRows::Detail(const std::string& text)
{
    m_text += std::string(kDetailIndent, ' ') + Wrap(m_style, text, kDetailIndent, kDetailIndent + 2) + "\n";
}

void ChangeRows::SubRow(const std::string& verb, const std::string& text, std::size_t indent)
{
    const std::size_t column = kItemIndent + 2 + kVerbWidth;
    m_text +=
        std::string(kItemIndent + 2, ' ') + Fit(verb, kVerbWidth) + Wrap(m_style, text, column, column + indent) + "\n";
}

} // namespace report
