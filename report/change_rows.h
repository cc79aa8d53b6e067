// The rows of a report of what changed.
#pragma once

#include "report/terminal.h"

#include <cstddef>
#include <string>
#include <utility>

namespace report
{

// Collects rows, each fitted to the terminal.
class ChangeRows
{
public:
    // With `isWhole`, values are to be shown whole.
    ChangeRows(const Style& style, bool isWhole) : m_style(style), m_isWhole(isWhole) {}

    bool IsWhole() const { return m_isWhole; }
    std::string Take() { return std::move(m_text); }

    // The title of an area, and that of what further rows of it are about.
    void Area(const std::string& title);
    void Heading(const std::string& title);

    // A row: a verb, and text after it.
    void Row(const std::string& verb, const std::string& text);

    // More of the row above.
    void Detail(const std::string& text);

    // A row of something that is named above. Further lines of it are indented by so much more.
    void SubRow(const std::string& verb, const std::string& text, std::size_t indent = 0);

private:
    Style m_style;
    bool m_isWhole;
    std::string m_text;
};

} // namespace report
