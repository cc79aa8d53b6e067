// Looks for programs that an unquoted path would start by mistake.
#include "tpm/unquoted_path.h"

#include <windows.h>

namespace
{

bool IsFile(const std::wstring& path)
{
    // A path that leads nowhere has every attribute.
    static_assert((INVALID_FILE_ATTRIBUTES & FILE_ATTRIBUTE_DIRECTORY) != 0);
    return (GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

} // namespace

bool StartsAnotherProgram(const std::wstring& path)
{
    for (std::size_t blank = path.find(L' '); blank != std::wstring::npos; blank = path.find(L' ', blank + 1))
    {
        std::wstring candidate = path.substr(0, blank);
        if (IsFile(candidate) || IsFile(candidate.append(L".exe")))
            return true;
    }
    return false;
}
