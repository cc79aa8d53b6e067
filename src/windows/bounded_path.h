// Paths in buffers of a fixed size.
#pragma once

#include <cstddef>

// A path (ANSI) of at most 239 characters, assembled piece by piece. A path that begins empty, or gets a piece that
// does not fit, is empty and stays empty: it is never cut short.
class BoundedPath
{
public:
    static constexpr std::size_t kSize = 240; // with the terminator

    BoundedPath() = default;
    explicit BoundedPath(const char* first);

    BoundedPath& Append(const char* piece);

    bool IsEmpty() const { return m_szPath[0] == '\0'; }
    const char* Get() const { return m_szPath; }

private:
    // Replaces what follows the first `length` characters, or empties the path when the piece does not fit.
    void PutAt(std::size_t length, const char* piece);

    char m_szPath[kSize] = {};
};
