// Puts paths together in buffers of a fixed size.
#include "platform/bounded_path.h"

#include <cstring>
#include <windows.h>

BoundedPath::BoundedPath(const char* first)
{
    if (strcpy_s(m_szPath, kSize, first) != 0)
        m_szPath[0] = '\0';
}

BoundedPath& BoundedPath::Append(const char* piece)
{
    // Behind a piece that did not fit, the next one would begin a path of its own.
    if (!IsEmpty() && strcat_s(m_szPath, kSize, piece) != 0)
        m_szPath[0] = '\0';
    return *this;
}
