// The files and directories of a simulated machine, and their JSON form.
#include "winsim/machine/files.h"

#include "winsim/base/text.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/security_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <type_traits>
#include <utility>

namespace winsim
{

namespace
{

// As Windows numbers them.
constexpr std::uint32_t kReadOnly = 0x1;
constexpr std::uint32_t kDirectory = 0x10;
constexpr std::uint32_t kArchive = 0x20;
constexpr std::uint32_t kReparsePoint = 0x400;
constexpr std::uint32_t kUntrustedMountPoint = 448;
constexpr std::uint32_t kCannotResolve = 1921;

bool IsPlainText(const std::string& content)
{
    for (const char c : content)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 && c != '\r' && c != '\n' && c != '\t')
            return false;
    }
    return Utf8(Utf16(content)) == content;
}

// Content that is not text is described by its bytes, each as a Latin-1 character.
std::string Latin1Of(const std::string& bytes)
{
    std::u16string text;
    for (const char byte : bytes)
        text += static_cast<char16_t>(static_cast<unsigned char>(byte));
    return Utf8(text);
}

std::string BytesOfLatin1(const Reader& reader)
{
    std::string bytes;
    for (const char16_t unit : Utf16(reader.Text()))
    {
        if (unit > 0xFF)
            reader.Fail("a character that is not one byte");
        bytes += static_cast<char>(unit);
    }
    return bytes;
}

bool HasDriveLetter(const std::string& path)
{
    const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    return path.size() >= 2 && isLetter(path[0]) && path[1] == ':';
}

FileVersion VersionOf(const Reader& reader)
{
    FileVersion version{};
    int end = 0;
    const std::string text = reader.Text();
    const int fields =
        std::sscanf(text.c_str(), "%5hu.%5hu.%5hu.%5hu%n", &version[0], &version[1], &version[2], &version[3], &end);
    if (fields != 4 || static_cast<std::size_t>(end) != text.size())
        reader.Fail("not a version such as 1.2.1.25");
    return version;
}

void RequireDrive(const std::string& path, const Reader& reader)
{
    if (!HasDriveLetter(path))
        reader.Fail("a path begins with a drive, such as C:\\");
}

// Windows follows no more links than these in one path.
constexpr int kMostLinks = 63;

std::string LinkTarget(const Reader& reader)
{
    RequireDrive(reader.Text(), reader);
    return Files::Normalize(reader.Text());
}

std::string TextOfVersion(const FileVersion& version)
{
    return fmt::format("{}", fmt::join(version, "."));
}

constexpr char kPathSchema[] = R"({"type": "string", "pattern": "^[A-Za-z]:"})";
constexpr char kFileVersionSchema[] =
    R"({"type": "string", "pattern": "^[0-9]{1,5}\\.[0-9]{1,5}\\.[0-9]{1,5}\\.[0-9]{1,5}$"})";

// Content is described as text if it is text, and as bytes otherwise.
std::optional<Json> SavedText(const File& file)
{
    return !file.content.empty() && IsPlainText(file.content) ? std::optional<Json>(file.content) : std::nullopt;
}

std::optional<Json> SavedBytes(const File& file)
{
    return !file.content.empty() && !IsPlainText(file.content) ? std::optional<Json>(Latin1Of(file.content))
                                                               : std::nullopt;
}

constexpr char kHardLink[] = "hardLinkTo";

} // namespace

template <>
struct Fields<File>
{
    static constexpr char kName[] = "file";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"directory", "whether it is a directory", "`false`"}, Member(&File::isDirectory));
        visit(
            Key{"link", "full path of its target: a directory is then a junction, a file a symbolic link",
                "none, it is no link"},
            Member(&File::link, OwnForm{&LinkTarget, [](const std::string& path) { return Json(path); }, kPathSchema}));
        visit(Key{"linkMadeBy", "SID or account name of the user who made the link", "the owner"},
              Member(&File::linkMaker, SidForm()));
        // LoadNames reads it.
        visit(Key{kHardLink, "full path of a file that this is another name of; there is no other key then", "none"},
              OwnField{[](const Reader&, File&) {}, [](const File&) { return std::optional<Json>(); },
                       SchemaText{kPathSchema}});
        visit(
            Key{"text", "content as text, stored in UTF-8", "empty"},
            OwnField{[](const Reader& reader, File& file) { file.content = reader.Text(); }, &SavedText, kTextSchema});
        visit(Key{"bytes", "content as bytes: a character from U+0000 to U+00FF for each byte", "empty"},
              OwnField{[](const Reader& reader, File& file) { file.content = BytesOfLatin1(reader); }, &SavedBytes,
                       kTextSchema});
        visit(Key{"size", "size in bytes, for a file whose content does not matter", "the content's"},
              Member(&File::size));
        visit(Key{"version", "version in its version resource, such as `\"1.2.1.25\"`", "none"},
              Member(&File::version, OwnForm{&VersionOf, &TextOfVersion, kFileVersionSchema}));
        visit(Key{"attributes", "file attributes apart from the one of directories: a mask", "an ordinary file's"},
              Member(&File::attributes, MaskForm{kFileAttributes}));
        visit(Key{"denied",
                  "whether it cannot be opened, written or deleted, and, if it is a directory, whether nothing can be "
                  "added to it",
                  "`false`"},
              Member(&File::isDenied));
        visit(Key{"inUse",
                  "whether it is in use like a running program: it can be read and renamed, but not overwritten or "
                  "deleted",
                  "`false`"},
              Member(&File::isInUse));
        VisitPart(visit, &File::security);
    }
};

template <>
struct Fields<PendingMove>
{
    static constexpr char kName[] = "pendingMove";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"from", "the file to be moved; required", "", "no file to move"}, Always(&PendingMove::from));
        visit(Key{"to", "its new path", "none, it is deleted"}, Member(&PendingMove::to));
    }
};

std::uint32_t File::Attributes() const
{
    const std::uint32_t kind = isDirectory ? kDirectory : 0;
    const std::uint32_t usual = isDirectory ? 0 : kArchive;
    return kind | attributes.value_or(usual) | (IsLink() ? kReparsePoint : 0);
}

bool File::IsReadOnly() const
{
    return (Attributes() & kReadOnly) != 0;
}

void Files::Load(const Reader& reader)
{
    std::map<std::string, std::string> names;
    reader.Members([&](const std::string& path, const Reader& member) {
        RequireDrive(path, member);
        ObjectReader object{member};
        std::string otherName;
        if (object.Read(kHardLink, otherName))
        {
            object.Done();
            names[Normalize(path)] = Normalize(otherName);
            return;
        }
        bool isDirectory = false;
        object.Read("directory", isDirectory);
        File& file = Create(path, isDirectory);
        if (file.isDirectory != isDirectory)
            member.Fail("both a file and a directory");
        ReadFields(object, file);
    });
    LoadNames(reader, names);
    for (const auto& [key, file] : m_files)
    {
        if (file.IsLink() && HasEntries(file.path))
            Reader{reader.Value(), reader.Path() + "." + file.path}.Fail("a link with files in it");
    }
}

void Files::LoadNames(const Reader& reader, const std::map<std::string, std::string>& names)
{
    for (const auto& [path, existing] : names)
    {
        const Reader member{reader.Value(), reader.Path() + "." + path};
        RequireDrive(existing, member);
        if (names.contains(existing))
            member.Fail("a hard link to another hard link");
        if (Find(path) != nullptr)
            member.Fail("both a hard link and a file");
        if (Create(existing, false).isDirectory)
            member.Fail("a hard link to a directory");
        AddName(path, existing);
    }
}

Json Files::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, file] : m_files)
    {
        Json described = JsonOfFields(file);
        // The area of the programs has those of which nothing else is known.
        if (!file.program || !described.empty())
            json[file.path] = std::move(described);
    }
    for (const auto& [folded, name] : m_names)
        json[name.path] = {{kHardLink, m_files.at(name.file).path}};
    return json;
}

Json SchemaOfFiles(Json& definitions)
{
    return SchemaByPath<File>(definitions);
}

std::string Files::Normalize(const std::string& path)
{
    std::string normal;
    normal.reserve(path.size());
    for (const char c : std::string_view(path).substr(path.starts_with(kLiteralPrefix) ? kLiteralPrefix.size() : 0))
    {
        const char turned = c == '/' ? '\\' : c;
        if (turned == '\\' && !normal.empty() && normal.back() == '\\')
            continue;
        normal += turned;
    }
    while (!normal.empty() && normal.back() == '\\')
        normal.pop_back();
    return normal;
}

std::string Files::ParentOf(const std::string& path)
{
    const std::string normal = Normalize(path);
    const std::size_t end = normal.rfind('\\');
    return end == std::string::npos ? std::string() : normal.substr(0, end);
}

const File* Files::Find(const std::string& path) const
{
    return FindByKey(FoldCase(Normalize(path)));
}

const File* Files::FindByKey(std::string_view key) const
{
    if (const auto file = m_files.find(key); file != m_files.end())
        return &file->second;
    const auto name = m_names.find(key);
    return name == m_names.end() ? nullptr : &m_files.at(name->second.file);
}

File* Files::Find(const std::string& path)
{
    return const_cast<File*>(std::as_const(*this).Find(path));
}

Resolution Files::Resolve(const std::string& path, LastLink last,
                          const std::function<bool(const File&)>& mayFollow) const
{
    std::string whole = Normalize(path);
    for (int followed = 0; followed <= kMostLinks; ++followed)
    {
        const auto [link, end] = FirstLinkOn(whole, last);
        if (link == nullptr)
            return {whole};
        if (link->isDirectory && mayFollow && !mayFollow(*link))
            return {whole, kUntrustedMountPoint};
        whole = link->link + whole.substr(end);
    }
    return {whole, kCannotResolve};
}

std::pair<const File*, std::size_t> Files::FirstLinkOn(const std::string& path, LastLink last) const
{
    const std::string key = FoldCase(path);
    // Folding may change a path's length, but not its number of backslashes.
    std::size_t keyEnd = key.find('\\');
    for (std::size_t end = path.find('\\'); end < path.size();)
    {
        end = std::min(path.find('\\', end + 1), path.size());
        keyEnd = std::min(key.find('\\', keyEnd + 1), key.size());
        if (end == path.size() && last == LastLink::Keep)
            break;
        const File* file = FindByKey(std::string_view(key).substr(0, keyEnd));
        if (file != nullptr && file->IsLink())
            return {file, end};
    }
    return {nullptr, path.size()};
}

bool Files::IsDirectory(const std::string& path) const
{
    const File* file = Find(path);
    return file != nullptr && file->isDirectory;
}

File& Files::Create(const std::string& path, bool isDirectory)
{
    if (File* existing = Find(path))
        return *existing;
    const std::string normal = Normalize(path);
    const std::string parent = ParentOf(normal);
    if (!parent.empty() && Find(parent) == nullptr)
        Create(parent, true);
    File& file = m_files[FoldCase(normal)];
    file.path = normal;
    file.identity = {++m_lastIdentity};
    file.isDirectory = isDirectory;
    return file;
}

void Files::Remove(const std::string& path)
{
    const std::string key = FoldCase(Normalize(path));
    if (m_names.erase(key) != 0)
        return;
    GoByAnotherName(key);
    m_files.erase(key);
}

void Files::GoByAnotherName(const std::string& key)
{
    const auto other = std::ranges::find_if(m_names, [&](const auto& name) { return name.second.file == key; });
    if (other == m_names.end())
        return;
    const auto [newKey, name] = *other;
    m_names.erase(other);
    auto file = m_files.extract(key);
    file.key() = newKey;
    file.mapped().path = name.path;
    m_files.insert(std::move(file));
    for (auto& [folded, further] : m_names)
    {
        if (further.file == key)
            further.file = newKey;
    }
}

void Files::AddName(const std::string& path, const std::string& existing)
{
    const std::string normal = Normalize(path);
    if (const std::string parent = ParentOf(normal); Find(parent) == nullptr)
        Create(parent, true);
    m_names[FoldCase(normal)] = {normal, FoldCase(Find(existing)->path)};
}

std::uint32_t Files::CountNames(const File& file) const
{
    const std::string key = FoldCase(file.path);
    return 1 + static_cast<std::uint32_t>(
                   std::ranges::count_if(m_names, [&](const auto& name) { return name.second.file == key; }));
}

bool Files::HasEntries(const std::string& directory) const
{
    const std::string beginning = FoldCase(Normalize(directory)) + "\\";
    const auto isBelow = [&](const auto& all) {
        const auto next = all.lower_bound(beginning);
        return next != all.end() && next->first.starts_with(beginning);
    };
    return isBelow(m_files) || isBelow(m_names);
}

File* Files::FindByIdentity(const Identity& identity)
{
    for (auto& [key, file] : m_files)
    {
        if (file.identity.number == identity.number)
            return &file;
    }
    return nullptr;
}

void Files::KeepIdentities(const Files& before)
{
    m_lastIdentity = std::max(m_lastIdentity, before.m_lastIdentity);
    for (auto& [key, file] : m_files)
    {
        const auto old = before.m_files.find(key);
        file.identity = old != before.m_files.end() ? old->second.identity : Identity{++m_lastIdentity};
    }
}

void Files::Move(const std::string& from, const std::string& to)
{
    const std::string oldPath = Normalize(from);
    const std::string oldKey = FoldCase(oldPath);
    const std::string newPath = Normalize(to);
    const auto isMoved = [&](const std::string& key) {
        return key == oldKey || (key.starts_with(oldKey) && key[oldKey.size()] == '\\');
    };
    const auto moved = [&](const std::string& path) { return newPath + path.substr(oldPath.size()); };

    std::map<std::string, std::string> newKeys;
    const auto rename = [&](auto& all) {
        std::remove_reference_t<decltype(all)> renamed;
        for (auto entry = all.lower_bound(oldKey); entry != all.end() && entry->first.starts_with(oldKey);)
        {
            const auto next = std::next(entry);
            if (isMoved(entry->first))
            {
                auto node = all.extract(entry);
                node.mapped().path = moved(node.mapped().path);
                newKeys[node.key()] = FoldCase(node.mapped().path);
                node.key() = FoldCase(node.mapped().path);
                renamed.insert(std::move(node));
            }
            entry = next;
        }
        all.merge(renamed);
    };
    rename(m_files);
    rename(m_names);
    for (auto& [key, name] : m_names)
    {
        if (const auto newKey = newKeys.find(name.file); newKey != newKeys.end())
            name.file = newKey->second;
    }
}

// Reads the libraries or the programs into the files of their paths.
template <typename Part>
void Files::LoadParts(const Reader& reader, std::optional<Part> File::*part, const char* what)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        RequireDrive(path, member);
        File& file = Create(path, false);
        if (file.isDirectory)
            member.Fail(fmt::format("both a {} and a directory", what));
        (file.*part).emplace().Load(member);
    });
}

template <typename Part>
Json Files::PartsToJson(std::optional<Part> File::*part) const
{
    Json json = Json::object();
    for (const auto& [folded, file] : m_files)
    {
        if (file.*part)
            json[file.path] = (file.*part)->ToJson();
    }
    return json;
}

void Files::LoadLibraries(const Reader& reader)
{
    LoadParts(reader, &File::library, "library");
}

Json Files::LibrariesToJson() const
{
    return PartsToJson(&File::library);
}

void Files::LoadPrograms(const Reader& reader)
{
    LoadParts(reader, &File::program, "program");
}

Json Files::ProgramsToJson() const
{
    return PartsToJson(&File::program);
}

void PendingMoves::Load(const Reader& reader)
{
    List<PendingMove>().Read(reader, moves);
}

Json PendingMoves::ToJson() const
{
    return List<PendingMove>().Save(moves);
}

Json SchemaOfPendingMoves(Json& definitions)
{
    return List<PendingMove>().Schema(definitions);
}

} // namespace winsim
