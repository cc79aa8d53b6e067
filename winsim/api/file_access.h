// What the calls that take file names have in common: which file a name means, and what may be done with it.
#pragma once

#include "winnt.h"
#include "winsim/areas/files.h"

#include <string>

namespace winsim
{

// Rights on a file or directory.
inline constexpr std::uint32_t kReadData = 0x1;
inline constexpr std::uint32_t kWriteData = 0x2;
inline constexpr std::uint32_t kAddFile = 0x2;

// A name as a call takes it: the full path (UTF-8) or the Win32 error that the name alone causes.
struct FileName
{
    std::string path;
    DWORD error = ERROR_SUCCESS;
};

FileName FileNameOf(const char* ansi);
FileName FileNameOf(const char16_t* wide);

// The full path of a name that may be relative (UTF-8).
std::string FullPath(const std::string& name);

// What Windows says of a file that is not there: whether its directory is.
DWORD MissingError(const std::string& path);

// Whether the process is granted these rights.
bool MayAccess(const File& file, std::uint32_t rights);

// The error of making a file or directory at a path where there is none; 0 when that is possible.
DWORD CreateError(const std::string& path);

} // namespace winsim
