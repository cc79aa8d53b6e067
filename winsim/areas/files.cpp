// Keeps the files and directories of a simulated machine, and their JSON form.
#include "winsim/areas/files.h"

#include "fileapi.h"
#include "winsim/core/text.h"

#include <fmt/format.h>

#include <cstdio>
#include <string_view>

namespace winsim
{

namespace
{

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

// Content that is no text is described as the Latin-1 text of its bytes.
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

bool HasDrive(const std::string& path)
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

// A name that begins so is taken as it stands.
constexpr std::string_view kLiteralPrefix = "\\\\?\\";

void RequireDrive(const std::string& path, const Reader& reader)
{
    if (!HasDrive(path))
        reader.Fail("a path begins with a drive, such as C:\\");
}

} // namespace

std::uint32_t File::Attributes() const
{
    if (isDirectory)
        return FILE_ATTRIBUTE_DIRECTORY | attributes.value_or(0);
    return attributes.value_or(FILE_ATTRIBUTE_ARCHIVE);
}

bool File::IsReadOnly() const
{
    return (Attributes() & FILE_ATTRIBUTE_READONLY) != 0;
}

void Files::Load(const Reader& reader)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        RequireDrive(path, member);
        ObjectReader object{member};
        bool isDirectory = false;
        object.Read("directory", isDirectory);
        File& file = Create(path, isDirectory);
        if (file.isDirectory != isDirectory)
            member.Fail("both a file and a directory");
        object.Read("text", file.content);
        object.With("bytes", [&](const Reader& bytes) { file.content = BytesOfLatin1(bytes); });
        object.With("size", [&](const Reader& size) { file.size = size.As<std::uint64_t>(); });
        object.With("version", [&](const Reader& version) { file.version = VersionOf(version); });
        object.With("attributes", [&](const Reader& bits) { file.attributes = bits.As<std::uint32_t>(); });
        object.Read("denied", file.isDenied);
        object.Read("inUse", file.isInUse);
        file.security.Read(object);
        object.Done();
    });
}

Json Files::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, file] : m_files)
    {
        Json& entry = json[file.path] = Json::object();
        if (file.isDirectory)
            entry["directory"] = true;
        if (!file.content.empty())
        {
            if (IsPlainText(file.content))
                entry["text"] = file.content;
            else
                entry["bytes"] = Latin1Of(file.content);
        }
        if (file.size)
            entry["size"] = *file.size;
        if (file.version)
            entry["version"] = fmt::format("{}", fmt::join(*file.version, "."));
        if (file.attributes)
            entry["attributes"] = *file.attributes;
        if (file.isDenied)
            entry["denied"] = true;
        if (file.isInUse)
            entry["inUse"] = true;
        file.security.Write(entry);
    }
    return json;
}

std::string Files::Normalize(const std::string& path)
{
    std::string normal;
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
    const auto file = m_files.find(FoldCase(Normalize(path)));
    return file == m_files.end() ? nullptr : &file->second;
}

File* Files::Find(const std::string& path)
{
    const auto file = m_files.find(FoldCase(Normalize(path)));
    return file == m_files.end() ? nullptr : &file->second;
}

bool Files::IsDirectory(const std::string& path) const
{
    const File* file = Find(path);
    return file != nullptr && file->isDirectory;
}

File& Files::Create(const std::string& path, bool isDirectory)
{
    const std::string normal = Normalize(path);
    const std::string parent = ParentOf(normal);
    if (!parent.empty() && Find(parent) == nullptr)
        Create(parent, true);
    const auto [entry, isNew] = m_files.try_emplace(FoldCase(normal));
    if (isNew)
    {
        entry->second.path = normal;
        entry->second.isDirectory = isDirectory;
    }
    return entry->second;
}

void Files::Remove(const std::string& path)
{
    m_files.erase(FoldCase(Normalize(path)));
}

void Files::Move(const std::string& from, const std::string& to)
{
    const std::string oldPath = FoldCase(Normalize(from));
    const std::string newPath = Normalize(to);
    std::map<std::string, File> moved;
    for (auto entry = m_files.lower_bound(oldPath); entry != m_files.end() && entry->first.starts_with(oldPath);)
    {
        const bool isBelow = entry->first.size() > oldPath.size() && entry->first[oldPath.size()] == '\\';
        if (entry->first != oldPath && !isBelow)
        {
            ++entry;
            continue;
        }
        File& file = entry->second;
        file.path = newPath + file.path.substr(Normalize(from).size());
        moved[FoldCase(file.path)] = std::move(file);
        entry = m_files.erase(entry);
    }
    m_files.merge(moved);
}

void Files::LoadLibraries(const Reader& reader)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        RequireDrive(path, member);
        File& file = Create(path, false);
        if (file.isDirectory)
            member.Fail("both a library and a directory");
        file.library.emplace().Load(member);
    });
}

Json Files::LibrariesToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, file] : m_files)
    {
        if (file.library)
            json[file.path] = file.library->ToJson();
    }
    return json;
}

void PendingMoves::Load(const Reader& reader)
{
    moves.clear();
    reader.Elements([&](const Reader& element) {
        PendingMove move;
        ObjectReader object{element};
        if (!object.Read("from", move.from))
            element.Fail("no file to move");
        object.Read("to", move.to);
        object.Done();
        moves.push_back(std::move(move));
    });
}

Json PendingMoves::ToJson() const
{
    Json json = Json::array();
    for (const PendingMove& move : moves)
    {
        Json entry{{"from", move.from}};
        if (!move.to.empty())
            entry["to"] = move.to;
        json.push_back(std::move(entry));
    }
    return json;
}

} // namespace winsim
