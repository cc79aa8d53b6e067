// The file system of a simulated machine.
#pragma once

#include "winsim/base/description.h"
#include "winsim/machine/libraries.h"
#include "winsim/machine/security.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace winsim
{

// Major, minor, build and revision.
using FileVersion = std::array<std::uint16_t, 4>;

// Which file it is, whatever name it has. No part of what a machine is like: two machines may be the same without it.
struct FileIdentity
{
    std::uint64_t number = 0;

    bool operator==(const FileIdentity&) const { return true; }
};

struct File
{
    std::string path; // as it was created
    FileIdentity identity;
    bool isDirectory = false;
    std::string link;                        // the full path that it leads to; empty: it is no link
    std::optional<std::string> linkMaker;    // the user who made it one; the owner when not described
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
    bool IsLink() const { return !link.empty(); }
    std::string LinkMaker() const { return linkMaker.value_or(security.Owner()); }

    bool operator==(const File&) const = default;
};

// A file that is to be moved, or deleted, when Windows starts the next time.
struct PendingMove
{
    std::string from;
    std::string to; // empty: deleted

    bool operator==(const PendingMove&) const = default;
};

// What a call does about a link at the end of a path. Links on the way there are followed by every call.
enum class LastLink
{
    Follow,
    Keep
};

// Where a path leads to when links are followed, whether or not there is anything, or the Win32 error of that.
struct Resolution
{
    std::string path;
    std::uint32_t error = 0;
};

// Files and directories. Paths are absolute, with a drive; names are the same in either case.
class Files
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    // Follows the links of a full path: the one place that does. `mayFollow` says whether a link of a directory is
    // trusted; one that is not is ERROR_UNTRUSTED_MOUNT_POINT. Too many are ERROR_CANT_RESOLVE_FILENAME.
    Resolution Resolve(const std::string& path, LastLink last,
                       const std::function<bool(const File&)>& mayFollow = {}) const;

    // The functions below take paths as they stand: a link is itself.

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
    // Gives a file one more name, which has to be free.
    void AddName(const std::string& path, const std::string& existing);
    // How many names a file has.
    std::uint32_t CountNames(const File& file) const;
    // Whether a directory has anything in it.
    bool HasEntries(const std::string& directory) const;
    File* FindByIdentity(const FileIdentity& identity);
    // Takes files that had the same path before for the same ones.
    void KeepIdentities(const Files& before);
    // Gives a file, or a directory with all that is in it, another path.
    void Move(const std::string& from, const std::string& to);

    // Files that are libraries have a part of the description of their own.
    void LoadLibraries(const Reader& reader);
    Json LibrariesToJson() const;

    bool operator==(const Files& other) const { return m_files == other.m_files && m_names == other.m_names; }

private:
    // A further name of a file.
    struct Name
    {
        std::string path; // as it was created
        std::string file; // the key of the file

        bool operator==(const Name&) const = default;
    };

    const File* FindByKey(std::string_view key) const;
    // The first link among a path's directories and, if it is to be followed, its file, and the length of the link's
    // own path.
    std::pair<const File*, std::size_t> FirstLinkOn(const std::string& path, LastLink last) const;
    void LoadNames(const Reader& reader, const std::map<std::string, std::string>& names);
    // The name that a file goes by now that it has lost its first.
    void GoByAnotherName(const std::string& key);

    std::map<std::string, File, std::less<>> m_files; // by folded path
    std::map<std::string, Name, std::less<>> m_names; // by folded path
    std::uint64_t m_lastIdentity = 0;
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
