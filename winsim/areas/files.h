// The file system of a simulated machine.
#pragma once

#include "winsim/areas/libraries.h"
#include "winsim/areas/security.h"
#include "winsim/core/description.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// Major, minor, build and revision.
using FileVersion = std::array<std::uint16_t, 4>;

struct File
{
    std::string path; // as it was created
    bool isDirectory = false;
    std::string content;                     // what it holds, byte for byte
    std::optional<std::uint64_t> size;       // described without its content
    std::optional<FileVersion> version;      // its version resource
    std::optional<Library> library;          // what it is when it is loaded
    std::optional<std::uint32_t> attributes; // beyond "directory"; an ordinary file's when not described
    bool isDenied = false;                   // may not be opened, written, deleted or, for a directory, added to
    bool isInUse = false; // runs as a program or library: may be read and renamed, not overwritten or deleted
    Security security;

    // As Windows reports them.
    std::uint32_t Attributes() const;
    bool IsReadOnly() const;

    bool operator==(const File&) const = default;
};

// A file that is to be moved, or deleted, when Windows starts the next time.
struct PendingMove
{
    std::string from;
    std::string to; // empty: deleted

    bool operator==(const PendingMove&) const = default;
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
    // Gives a file, or a directory with all that is in it, another path.
    void Move(const std::string& from, const std::string& to);

    // Files that are libraries have a part of the description of their own.
    void LoadLibraries(const Reader& reader);
    Json LibrariesToJson() const;

    bool operator==(const Files&) const = default;

private:
    std::map<std::string, File> m_files; // by folded path
};

// What waits for the next start of Windows, in the order in which it was asked for.
struct PendingMoves
{
    std::vector<PendingMove> moves;

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const PendingMoves&) const = default;
};

} // namespace winsim
