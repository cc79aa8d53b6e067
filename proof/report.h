// The report: a text file with a line for each step. A line is the CRC-32 of its JSON, in eight hexadecimal digits, a
// blank, and the JSON in ASCII. The first line describes the kit and Windows, the last one ends the report.
#pragma once

#include "proof/kit.h"

#include <ios>
#include <string>
#include <utility>

namespace proof
{

class Report
{
public:
    explicit Report(std::wstring path) : m_path(std::move(path)) {}

    const std::wstring& Path() const { return m_path; }

    // Replaces an earlier report with one that has this line. Throws StepError.
    void Begin(const Json& line) const;
    void Append(const Json& line) const;

    // The lines of the report so far; empty if there is none. Damaged lines are left out.
    std::vector<Json> Lines() const;

private:
    void Write(const Json& line, std::ios::openmode mode) const;

    std::wstring m_path;
};

} // namespace proof
