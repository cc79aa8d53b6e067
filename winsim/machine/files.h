// The file system of a simulated machine.
#pragma once

#include "winsim/base/description.h"
#include "winsim/machine/identity.h"
#include "winsim/machine/libraries.h"
#include "winsim/machine/programs.h"
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

struct File
{
    std::string path;  // as it was created
    Identity identity; // whatever names it has
    bool isDirectory = false;
    std::string link;                        // the full path that it leads to; empty: not a link
    std::optional<std::string> linkMaker;    // the user who made it a link; none: the owner
    std::string content;                     // the bytes of the file
    std::optional<std::uint64_t> size;       // set if only the size is described, not the content
    std::optional<FileVersion> version;      // its version resource
    std::optional<Library> library;          // what loading it gives
    std::optional<ProgramFile> program;      // what starting it does
    std::optional<std::uint32_t> attributes; // besides "directory"; none: those of an ordinary file
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

// A file that Windows moves or deletes at its next start.
struct PendingMove
{
    std::string from;
    std::string to; // empty: deleted

    bool operator==(const PendingMove&) const = default;
};

// Whether a call follows a link at the end of a path. Every call follows the links before the end.
enum class LastLink
{
    Follow,
    Keep
};

// Where a path leads when its links are followed, even if nothing is there, or the Win32 error of following them.
struct Resolution
{
    std::string path;
    std::uint32_t error = 0;
};

// Windows does not normalize a path with this prefix.
constexpr std::string_view kLiteralPrefix = "\\\\?\\";

// Files and directories. Paths are absolute and have a drive; case does not matter.
class Files
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    // Follows the links of a full path; nothing else does. `mayFollow` says whether a directory's link is trusted.
    // Errors:
    //     ERROR_UNTRUSTED_MOUNT_POINT   a link is not trusted
    //     ERROR_CANT_RESOLVE_FILENAME   there are too many links
    Resolution Resolve(const std::string& path, LastLink last,
                       const std::function<bool(const File&)>& mayFollow = {}) const;

    // The functions below do not follow links: the path of a link means the link itself.

    // The path as Windows normalizes it: with backslashes only, none of them doubled or at the end.
    static std::string Normalize(const std::string& path);
    // The path of the directory that contains a path; empty for a drive.
    static std::string ParentOf(const std::string& path);

    const File* Find(const std::string& path) const;
    File* Find(const std::string& path);
    bool IsDirectory(const std::string& path) const;
    // The file or directory of a path; made, with all missing parents, if it does not exist.
    File& Create(const std::string& path, bool isDirectory);
    void Remove(const std::string& path);
    // Gives a file another name, which must be free.
    void AddName(const std::string& path, const std::string& existing);
    // How many names a file has.
    std::uint32_t CountNames(const File& file) const;
    // Whether a directory contains anything.
    bool HasEntries(const std::string& directory) const;
    File* FindByIdentity(const Identity& identity);
    // Gives each file the identity that the file of the same path has in `before`.
    void KeepIdentities(const Files& before);
    // Moves a file, or a directory and everything in it.
    void Move(const std::string& from, const std::string& to);

    // Libraries and programs are files, but have areas of their own in the description.
    void LoadLibraries(const Reader& reader);
    Json LibrariesToJson() const;
    void LoadPrograms(const Reader& reader);
    Json ProgramsToJson() const;

    bool operator==(const Files& other) const { return m_files == other.m_files && m_names == other.m_names; }

private:
    // Another name of a file (a hard link).
    struct Name
    {
        std::string path; // as it was created
        std::string file; // the key of the file

        bool operator==(const Name&) const = default;
    };

    template <typename Part>
    void LoadParts(const Reader& reader, std::optional<Part> File::*part, const char* what);
    template <typename Part>
    Json PartsToJson(std::optional<Part> File::*part) const;
    const File* FindByKey(std::string_view key) const;
    // The first link on a path, and where the link's own path ends in it. The path's end counts only if `last` says so.
    std::pair<const File*, std::size_t> FirstLinkOn(const std::string& path, LastLink last) const;
    void LoadNames(const Reader& reader, const std::map<std::string, std::string>& names);
    // Makes another name of a file its main one, because the main one is being removed.
    void GoByAnotherName(const std::string& key);

    std::map<std::string, File, std::less<>> m_files; // by folded path
    std::map<std::string, Name, std::less<>> m_names; // by folded path
    std::uint64_t m_lastIdentity = 0;
};

// The moves that Windows makes at its next start, in the order of the requests.
struct PendingMoves
{
    std::vector<PendingMove> moves;

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const PendingMoves&) const = default;
};

} // namespace winsim
