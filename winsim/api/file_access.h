// Shared by all calls that take file names: which file a name means, and whether the process may access it.
#pragma once

#include "winnt.h"
#include "winsim/machine/files.h"

#include <string>

namespace winsim
{

// A name that a call is given: the full path (UTF-8) that it leads to, or the Win32 error if the name itself is wrong.
struct FileName
{
    std::string path;
    DWORD error = ERROR_SUCCESS;
    std::string named = {}; // the full path before links are followed
};

FileName FileNameOf(const char* ansi, LastLink last = LastLink::Follow);
FileName FileNameOf(const char16_t* wide, LastLink last = LastLink::Follow);

// The same for a name of any length (UTF-8). A name that begins with "\\?\" is not normalized; any other may be
// relative, begin at the root of the current drive, or contain "..".
FileName FullName(const std::string& name, LastLink last = LastLink::Follow);

// The main path of the file that a name leads to, through links and hard links. A name that leads nowhere is returned
// unchanged.
std::string RealPath(const std::string& name);

// Windows' error for a missing file, which depends on whether its directory exists.
DWORD MissingError(const std::string& path);

// Whether the process is granted these rights.
bool MayAccess(const File& file, std::uint32_t rights);

// Makes a directory, whose parent must exist. Returns the error; 0: it was made.
DWORD MakeDirectory(const FileName& name);

// The error of making a file at a path where there is none; 0 if it can be made. `rights` are those needed on the
// containing directory: FILE_ADD_SUBDIRECTORY for making a directory.
DWORD CreateError(const std::string& path, std::uint32_t rights = FILE_ADD_FILE);

// The parameters of opening a file or directory.
struct Opening
{
    DWORD access; // without generic rights
    DWORD share;
    DWORD disposition;
    DWORD flags = 0;

    bool Replaces() const; // whether the content is replaced
    bool Writes() const;
};

// The error of opening or making a file as CreateFileW does; 0 if that is possible.
DWORD OpenError(const FileName& name, const Opening& opening);

// The file or directory of a path. If it or its parents do not exist, they are made with the owner and the inherited
// access list that the process would give them.
File& OpenOrMake(const std::string& path, bool isDirectory);

} // namespace winsim
