// What the calls that take file names have in common: which file a name means, and what may be done with it.
#pragma once

#include "winnt.h"
#include "winsim/machine/files.h"

#include <string>

namespace winsim
{

// A name as a call takes it: the full path (UTF-8) that it leads to, or the Win32 error that the name alone causes.
struct FileName
{
    std::string path;
    DWORD error = ERROR_SUCCESS;
    std::string named = {}; // the full path before links are followed
};

FileName FileNameOf(const char* ansi, LastLink last = LastLink::Follow);
FileName FileNameOf(const char16_t* wide, LastLink last = LastLink::Follow);

// The same for a name of any length (UTF-8). One that begins with "\\?\" is taken as it stands; any other may be
// relative, on the current drive or with steps such as "..".
FileName FullName(const std::string& name, LastLink last = LastLink::Follow);

// The own path of the file that a name leads to, whatever links and further names are on the way. A name that leads
// nowhere comes back as it is.
std::string RealPath(const std::string& name);

// What Windows says of a file that is not there: whether its directory is.
DWORD MissingError(const std::string& path);

// Whether the process is granted these rights.
bool MayAccess(const File& file, std::uint32_t rights);

// The error of making a directory at a name, whose parent has to be there; it is made when that is 0.
DWORD MakeDirectory(const FileName& name);

// The error of making a file, or a directory with the right to that, at a path where there is none; 0 when that is
// possible.
DWORD CreateError(const std::string& path, std::uint32_t rights = FILE_ADD_FILE);

// How a call is asked to open a file or directory.
struct Opening
{
    DWORD access; // without generic rights
    DWORD share;
    DWORD disposition;
    DWORD flags = 0;

    bool Replaces() const; // the content
    bool Writes() const;
};

// The error of opening a file as CreateFileW does, or of making it; 0 when that is possible.
DWORD OpenError(const FileName& name, const Opening& opening);

// The file or directory of a path. What is not there, directories on the way included, is made as the process makes
// it: with an owner, and with the access list that its directory hands down.
File& OpenOrMake(const std::string& path, bool isDirectory);

} // namespace winsim
