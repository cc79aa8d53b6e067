// The descriptions of many machines, one after the other: files, folders of files, and lines of standard input.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// The most bytes of a description that is a line of standard input.
inline constexpr std::size_t kLongestLine = std::size_t{16} * 1024 * 1024;

// Where one machine's description is.
struct Input
{
    std::string file;                     // its path; "-" for standard input
    std::optional<std::size_t> line = {}; // its number, for standard input
    std::string text = {};                // the line itself
    std::string error = {};               // why it cannot be read; empty if it may be readable
};

// Reads the list of descriptions only as far as needed, so that it may be of any length. Of a folder it takes each file
// whose name ends with ".json" but not with ".schema.json", and those of the folders in it, in the order of their
// names. Of standard input it takes each line that is not blank.
class Inputs
{
public:
    // `paths` are files, folders, and "-" for standard input, whose first line has the number `firstLine`.
    Inputs(const std::vector<std::string>& paths, std::size_t firstLine);

    enum class State
    {
        Ready,   // Take gives the next description
        Waiting, // Fill must read standard input first
        AtEnd
    };
    State Look();

    Input Take();

    // Reads what there is on standard input; waits if there is nothing yet.
    void Fill();

private:
    void Open(const std::filesystem::path& path);
    bool FindLine();
    void TakeLine(std::size_t end);

    std::vector<std::filesystem::path> m_left; // the next one last
    std::optional<Input> m_next;
    bool m_isReadingLines = false;
    bool m_isLinesAtEnd = false;
    bool m_isTooLong = false; // the line that is being read
    std::string m_buffer;
    std::size_t m_begin = 0;    // of the next line in the buffer
    std::size_t m_searched = 0; // up to here there is no end of it
    std::size_t m_line;         // its number
};
