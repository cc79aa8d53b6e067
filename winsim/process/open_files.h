// The files and directories that the simulated process holds open, and what that keeps everybody from doing to them.
#pragma once

#include "winsim/machine/files.h"

#include <cstdint>
#include <string>

namespace winsim
{

// What a file's handle stands for.
struct OpenFile
{
    static constexpr char kKind[] = "file";

    FileIdentity file;
    std::uint32_t access = 0; // the rights that the handle carries
    std::uint32_t share = 0;  // what others may do meanwhile: FILE_SHARE_READ, ...
    std::string path = {};    // that it was opened by, links followed
};

// What a stream of the standard library stands for.
struct OpenStream
{
    static constexpr char kKind[] = "stream";

    OpenFile file;
};

// The rights on files that a mask stands for, without generic ones.
std::uint32_t FileAccessOf(std::uint32_t mask);

// The error of opening a file with these rights while others may do what `share` says: 0, or ERROR_SHARING_VIOLATION
// when an open handle does not allow the one or needs more than the other.
std::uint32_t SharingError(const File& file, std::uint32_t access, std::uint32_t share);

// The error of deleting a file or directory, or of giving it another name, as far as open handles go.
std::uint32_t UnlinkError(const File& file);

// The error of giving a directory another name, as far as files in it are open.
std::uint32_t OpenBelowError(const File& directory);

} // namespace winsim
