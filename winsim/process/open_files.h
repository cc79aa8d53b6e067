// The files and directories that the simulated process has open, and the sharing violations that follow from them.
#pragma once

#include "winsim/machine/files.h"

#include <cstdint>
#include <string>

namespace winsim
{

// The object of a file's handle.
struct OpenFile
{
    static constexpr char kKind[] = "file";

    Identity file;
    std::uint32_t access = 0; // the rights that the handle has
    std::uint32_t share = 0;  // what others may do while it is open: FILE_SHARE_READ, ...
    std::string path = {};    // the path of the opened file after following links
};

// The object of a stream of the C library.
struct OpenStream
{
    static constexpr char kKind[] = "stream";

    OpenFile file;
};

// The rights on files that a mask means, with generic rights replaced.
std::uint32_t FileAccessOf(std::uint32_t mask);

// The error of opening a file with these rights and this sharing:
//     0                         it can be opened
//     ERROR_SHARING_VIOLATION   an open handle does not share these rights, or has rights that `share` does not allow
std::uint32_t SharingError(const File& file, std::uint32_t access, std::uint32_t share);

// Whether a handle to the file is open, whatever its rights.
bool IsFileOpen(const File& file);

// The error that open handles give to deleting or renaming a file or directory, or 0.
std::uint32_t UnlinkError(const File& file);

// The error that open files below a directory give to renaming it, or 0.
std::uint32_t OpenBelowError(const File& directory);

} // namespace winsim
