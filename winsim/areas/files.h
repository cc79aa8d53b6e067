// The file system of a simulated machine.
#pragma once

#include "winsim/core/description.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace winsim
{

struct File
{
    std::string path; // as it was created
    bool isDirectory = false;
    std::string content;               // what it holds, byte for byte
    std::optional<std::uint64_t> size; // described without its content
    std::uint32_t attributes = 0;      // beyond "directory"; 0 stands for an ordinary file
    bool isDenied = false;             // may not be opened, written, deleted or, for a directory, added to

    bool operator==(const File&) const = default;
};

// Files and directories. Paths are absolute, with a drive; names are the same in either case.
class Files
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    // The full path that Windows makes of a path: slashes turned, doubled ones dropped, none at the end.
    static std::string Normalize(const std::string& path);
    // The directory that a path stands in; empty for a drive.
    static std::string ParentOf(const std::string& path);

    const File* Find(const std::string& path) const;
    File* Find(const std::string& path);
    bool IsDirectory(const std::string& path) const;
    // The file or directory of a path, made when it is not there, with all its missing parents.
    File& Create(const std::string& path, bool isDirectory);
    void Remove(const std::string& path);

    bool operator==(const Files&) const = default;

private:
    std::map<std::string, File> m_files; // by folded path
};

} // namespace winsim
