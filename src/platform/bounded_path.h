// Paths in buffers of a fixed size.
#pragma once

#include <cstddef>

// A path (ANSI) of at most 239 characters, put together piece by piece (strcpy_s, strcat_s). Once a piece does not
// fit, the path is empty and stays so, as does one that begins empty: there is no cut and no half-built path.
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
    char m_szPath[kSize] = {};
};
