// Recognises full paths.
#include "windows/full_path.h"

namespace
{

template <typename Char>
bool IsSeparator(Char c)
{
    return c == '\\' || c == '/';
}

template <typename Char>
bool IsLetter(Char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The length of the path's first name.
template <typename Char>
std::size_t NameLength(std::basic_string_view<Char> path)
{
    std::size_t length = 0;
    while (length < path.size() && !IsSeparator(path[length]))
        ++length;
    return length;
}

template <typename Char>
bool BeginsWithDrive(std::basic_string_view<Char> path)
{
    return path.size() >= 3 && IsLetter(path[0]) && path[1] == ':' && IsSeparator(path[2]);
}

// Two separators, the server's name, a separator, the share's name.
template <typename Char>
bool BeginsWithShare(std::basic_string_view<Char> path)
{
    if (path.size() < 2 || !IsSeparator(path[0]) || !IsSeparator(path[1]))
        return false;
    path.remove_prefix(2);
    const std::size_t server = NameLength(path);
    if (server == 0 || server == path.size())
        return false;
    path.remove_prefix(server + 1);
    return NameLength(path) != 0;
}

} // namespace

bool IsFullPath(std::string_view path)
{
    return BeginsWithDrive(path) || BeginsWithShare(path);
}

bool IsFullPath(std::wstring_view path)
{
    return BeginsWithDrive(path) || BeginsWithShare(path);
}

bool IsPathOnDrive(std::string_view path)
{
    return BeginsWithDrive(path);
}
