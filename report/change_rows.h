// The rows of a report on changes.
#pragma once

#include "report/terminal.h"

#include <cstddef>
#include <string>
#include <utility>

namespace report
{

// Collects rows, each fitted to the terminal's width.
class ChangeRows
{
public:
    // With `isWhole`, values are shown completely.
    ChangeRows(const Style& style, bool isWhole) : m_style(style), m_isWhole(isWhole) {}

    bool IsWhole() const { return m_isWhole; }
    std::string Take() { return std::move(m_text); }

    // The title of an area, and the title of the object that the following rows describe.
    void Area(const std::string& title);
    void Heading(const std::string& title);

    // A row: a verb, followed by a text.
    void Row(const std::string& verb, const std::string& text);

    // More text for the row above.
    void Detail(const std::string& text);

    // A row about the object named above. Its continuation lines are indented by `indent` more.
    void SubRow(const std::string& verb, const std::string& text, std::size_t indent = 0);

private:
    Style m_style;
    bool m_isWhole;
    std::string m_text;
};

} // namespace report
