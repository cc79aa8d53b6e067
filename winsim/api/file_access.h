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
inline constexpr std::uint32_t kAddSubdirectory = 0x4;

// A name as a call takes it: the full path (UTF-8) or the Win32 error that the name alone causes.
struct FileName
{
    std::string path;
    DWORD error = ERROR_SUCCESS;
};

FileName FileNameOf(const char* ansi);
FileName FileNameOf(const char16_t* wide);

// The same for a name of any length (UTF-8). One that begins with "\\?\" is taken as it stands; any other may be
// relative, on the current drive or with steps such as "..".
FileName FullName(const std::string& name);

// What Windows says of a file that is not there: whether its directory is.
DWORD MissingError(const std::string& path);

// Whether the process is granted these rights.
bool MayAccess(const File& file, std::uint32_t rights);

// The error of making a file at a path where there is none; 0 when that is possible.
DWORD CreateError(const std::string& path);

// The error of opening a file as CreateFileW does, or of making it; 0 when that is possible.
DWORD OpenError(const FileName& name, DWORD access, DWORD disposition);

// The file or directory of a path. What is not there, directories on the way included, is made as the process makes
// it: with an owner, and with the access list that its directory hands down.
File& OpenOrMake(const std::string& path, bool isDirectory);

} // namespace winsim
