// Finds the descriptions of many machines.
#include "rehearse/inputs.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace
{

namespace fs = std::filesystem;

constexpr std::string_view kStandardInput = "-";
constexpr std::size_t kPiece = 65536; // bytes read at once

bool IsDescription(const fs::path& path)
{
    const std::string name = path.filename().string();
    return name.ends_with(".json") && !name.ends_with(".schema.json");
}

bool IsBlank(std::string_view line)
{
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// The descriptions and folders in a folder, the first one last.
std::vector<fs::path> ListFolder(const fs::path& folder)
{
    std::vector<fs::path> paths;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
    {
        // A link to a folder could lead round in a circle.
        if (entry.is_directory() ? !entry.is_symlink() : IsDescription(entry.path()))
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end(), [](const fs::path& one, const fs::path& other) { return other < one; });
    return paths;
}

} // namespace

Inputs::Inputs(const std::vector<std::string>& paths, std::size_t firstLine)
    : m_left(paths.rbegin(), paths.rend()), m_line(firstLine)
{}

Inputs::State Inputs::Look()
{
    while (!m_next)
    {
        if (m_isReadingLines)
        {
            if (!FindLine() && m_isReadingLines)
                return State::Waiting;
        }
        else if (m_left.empty())
            return State::AtEnd;
        else
        {
            const fs::path path = std::move(m_left.back());
            m_left.pop_back();
            Open(path);
        }
    }
    return State::Ready;
}

Input Inputs::Take()
{
    return *std::exchange(m_next, std::nullopt);
}

void Inputs::Open(const fs::path& path)
{
    if (path == kStandardInput)
    {
        m_isReadingLines = !m_isLinesAtEnd;
        return;
    }
    std::error_code error;
    if (!fs::is_directory(path, error))
    {
        m_next = Input{.file = path.string()};
        return;
    }
    try
    {
        for (fs::path& one : ListFolder(path))
            m_left.push_back(std::move(one));
    }
    catch (const fs::filesystem_error& failure)
    {
        m_next = Input{.file = path.string(), .error = path.string() + ": " + failure.code().message()};
    }
}

// Makes the next line of the buffer the next description, if the line is complete and not blank.
bool Inputs::FindLine()
{
    while (true)
    {
        std::size_t end = m_buffer.find('\n', m_searched);
        if (end == std::string::npos && m_isLinesAtEnd && (m_begin < m_buffer.size() || m_isTooLong))
            end = m_buffer.size();
        if (end == std::string::npos)
            break;
        TakeLine(end);
        if (m_next)
            return true;
    }
    m_searched = m_buffer.size();
    m_isReadingLines = !m_isLinesAtEnd;
    return false;
}

void Inputs::TakeLine(std::size_t end)
{
    const std::string_view line = std::string_view(m_buffer).substr(m_begin, end - m_begin);
    Input input{.file = std::string(kStandardInput), .line = m_line++};
    if (m_isTooLong || line.size() > kLongestLine)
        input.error = fmt::format("-:{}: the line is longer than {} bytes", *input.line, kLongestLine);
    else
        input.text = line;
    if (!input.error.empty() || !IsBlank(line))
        m_next = std::move(input);
    m_isTooLong = false;
    m_begin = m_searched = std::min(end + 1, m_buffer.size());
}

void Inputs::Fill()
{
    m_buffer.erase(0, std::exchange(m_begin, 0));
    if (m_buffer.size() > kLongestLine)
    {
        m_isTooLong = true;
        m_buffer.clear();
    }
    const std::size_t before = m_buffer.size();
    m_searched = before;
    m_buffer.resize(before + kPiece);
    ssize_t count = -1;
    do
        count = read(STDIN_FILENO, m_buffer.data() + before, kPiece);
    while (count < 0 && errno == EINTR);
    m_buffer.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    m_isLinesAtEnd = count <= 0;
}
