// Keeps the files and directories of a simulated machine, and their JSON form.
#include "winsim/areas/files.h"

#include "winsim/core/text.h"

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

} // namespace

void Files::Load(const Reader& reader)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        if (!HasDrive(path))
            member.Fail("a path begins with a drive, such as C:\\");
        ObjectReader object{member};
        bool isDirectory = false;
        object.Read("directory", isDirectory);
        File& file = Create(path, isDirectory);
        if (file.isDirectory != isDirectory)
            member.Fail("both a file and a directory");
        object.Read("text", file.content);
        object.With("bytes", [&](const Reader& bytes) { file.content = BytesOfLatin1(bytes); });
        object.With("size", [&](const Reader& size) { file.size = size.As<std::uint64_t>(); });
        object.Read("attributes", file.attributes);
        object.Read("denied", file.isDenied);
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
        if (file.attributes != 0)
            entry["attributes"] = file.attributes;
        if (file.isDenied)
            entry["denied"] = true;
    }
    return json;
}

std::string Files::Normalize(const std::string& path)
{
    std::string normal;
    for (const char c : path)
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

} // namespace winsim
