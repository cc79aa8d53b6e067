// Assembles paths in buffers of a fixed size.
#include "windows/bounded_path.h"

#include <cstring>

BoundedPath::BoundedPath(const char* first)
{
    PutAt(0, first);
}

BoundedPath& BoundedPath::Append(const char* piece)
{
    // The path is empty after a piece that did not fit: the next piece must not begin a new one.
    if (!IsEmpty())
        PutAt(std::strlen(m_szPath), piece);
    return *this;
}

void BoundedPath::PutAt(std::size_t length, const char* piece)
{
    const std::size_t pieceLength = std::strlen(piece);
    if (pieceLength < kSize - length)
        std::memcpy(m_szPath + length, piece, pieceLength + 1);
    else
        m_szPath[0] = '\0';
}
