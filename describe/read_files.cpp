// Reads files and folders.
#include "describe/capture.h"
#include "describe/read_security.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/unique_handle.h"
#include "winsim/base/text.h"

#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <vector>

namespace describe
{

namespace
{

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kItself =
    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT; // also a folder, and no link's target
constexpr DWORD kKindAttributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_NORMAL;
constexpr ULONG kSymbolicLink = 0xA000000C;
constexpr ULONG kMountPoint = 0xA0000003;
constexpr int kMostLinks = 63;

// How REPARSE_DATA_BUFFER begins, which is in the headers of drivers. Mount points lack the flags.
struct ReparseData
{
    ULONG tag;
    USHORT size;
    USHORT reserved;
    USHORT nameOffset;
    USHORT nameSize;
    USHORT shownOffset;
    USHORT shownSize;
};
constexpr std::size_t kSymbolicLinkNames = sizeof(ReparseData) + sizeof(ULONG);

UniqueKernelHandle Open(const std::string& path, DWORD access)
{
    // Without the backslash, a drive's name stands for its current directory.
    const std::wstring name = ToWide(path.back() == ':' ? path + "\\" : path);
    const HANDLE file = CreateFileW(name.c_str(), access, kShareAll, nullptr, OPEN_EXISTING, kItself, nullptr);
    return UniqueKernelHandle{file == INVALID_HANDLE_VALUE ? nullptr : file};
}

bool IsMissing(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
           error == ERROR_NOT_READY;
}

// A path whose last name is as its folder spells it.
std::string Spelled(const std::string& path)
{
    if (path.back() == ':')
        return path;
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(ToWide(path).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return path;
    FindClose(search);
    return winsim::Files::ParentOf(path) + "\\" + FromWide(found.cFileName);
}

// The full path that a link leads to; nothing if the file is no link, or leads to something without a drive.
std::optional<std::string> LinkTarget(HANDLE file, const std::string& folder)
{
    alignas(ReparseData) BYTE buffer[MAXIMUM_REPARSE_DATA_BUFFER_SIZE] = {};
    DWORD size = 0;
    if (!DeviceIoControl(file, FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer, sizeof buffer, &size, nullptr))
        return std::nullopt;
    ReparseData data{};
    std::memcpy(&data, buffer, sizeof data);
    if (data.tag != kSymbolicLink && data.tag != kMountPoint)
        return std::nullopt;
    const std::size_t names = data.tag == kSymbolicLink ? kSymbolicLinkNames : sizeof data;
    std::wstring target(data.nameSize / sizeof(wchar_t), L'\0');
    std::memcpy(target.data(), buffer + names + data.nameOffset, data.nameSize);
    if (target.starts_with(L"\\??\\"))
        target.erase(0, 4);
    else if (target.find(L':') == std::wstring::npos)
        target = ToWide(folder) + L"\\" + target;
    wchar_t full[0x8000] = {};
    if (target.size() < 2 || target[1] != L':' ||
        GetFullPathNameW(target.c_str(), static_cast<DWORD>(std::size(full)), full, nullptr) == 0)
        return std::nullopt;
    return winsim::Files::Normalize(FromWide(full));
}

std::optional<winsim::FileVersion> VersionOf(const std::string& path)
{
    const std::wstring name = ToWide(path);
    DWORD unused = 0;
    std::vector<BYTE> block(GetFileVersionInfoSizeW(name.c_str(), &unused));
    void* root = nullptr;
    UINT length = 0;
    if (block.empty() || !GetFileVersionInfoW(name.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
        !VerQueryValueW(block.data(), L"\\", &root, &length) || length < sizeof(VS_FIXEDFILEINFO))
        return std::nullopt;
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
    return winsim::FileVersion{HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                               HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS)};
}

class FileReader
{
public:
    explicit FileReader(Capture& capture) : m_capture(capture) {}

    // Reads a file, and the folders and links on the way to it.
    void ReadAsked(std::string path)
    {
        for (int links = 0; links <= kMostLinks; ++links)
        {
            const std::optional<std::string> onward = ReadAlong(winsim::Files::Normalize(path));
            if (!onward)
                return;
            path = *onward;
        }
        m_capture.notes.Add("files." + path, "too many links");
    }

private:
    // Reads what is on a path. Returns where the first link on it leads to.
    std::optional<std::string> ReadAlong(const std::string& path)
    {
        if (path.size() < 2 || path[1] != ':')
            return std::nullopt; // a share
        const winsim::File* file = Read(path.substr(0, 2));
        for (std::size_t end = 2; file != nullptr && end < path.size();)
        {
            const std::size_t begin = end;
            end = std::min(path.find('\\', begin + 1), path.size());
            file = Read(file->path + path.substr(begin, end - begin));
            if (file != nullptr && file->IsLink() && end < path.size())
                return file->link + path.substr(end);
        }
        return std::nullopt;
    }

    // A file or folder, read once. Null if it is not there.
    const winsim::File* Read(const std::string& asked)
    {
        const auto [spelled, isNew] = m_spelled.try_emplace(winsim::FoldCase(asked), asked);
        if (!isNew)
            return m_capture.machine.files.Find(spelled->second);
        DWORD access = FILE_READ_ATTRIBUTES | READ_CONTROL;
        UniqueKernelHandle file = Open(asked, access);
        if (!file && GetLastError() == ERROR_ACCESS_DENIED)
            file = Open(asked, access = FILE_READ_ATTRIBUTES);
        const DWORD error = file ? ERROR_SUCCESS : GetLastError();
        if (IsMissing(error))
            return nullptr;
        const std::string& path = spelled->second = Spelled(asked);
        if (const winsim::File* known = m_capture.machine.files.Find(path))
            return known; // by another name, such as a short one
        BY_HANDLE_FILE_INFORMATION information{};
        if (!file || !GetFileInformationByHandle(file.Get(), &information))
        {
            m_capture.notes.AddError("files." + path, file ? GetLastError() : error);
            return nullptr;
        }
        const bool isDirectory = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        winsim::File& described = m_capture.machine.files.Create(path, isDirectory);
        if ((access & READ_CONTROL) != 0)
            ReadSecurity(m_capture, file.Get(), SE_FILE_OBJECT, "files." + path, described.security);
        else
            m_capture.notes.AddError("files." + path + ".access", ERROR_ACCESS_DENIED);
        ReadAttributes(file.Get(), information, described);
        file.Reset();
        if (!described.IsLink())
            ReadUse(described);
        return &described;
    }

    void ReadAttributes(HANDLE file, const BY_HANDLE_FILE_INFORMATION& information, winsim::File& described)
    {
        const DWORD attributes = information.dwFileAttributes & ~kKindAttributes;
        if (attributes != (described.isDirectory ? 0 : FILE_ATTRIBUTE_ARCHIVE))
            described.attributes = attributes;
        if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
            described.link = LinkTarget(file, winsim::Files::ParentOf(described.path)).value_or("");
        if (described.isDirectory || described.IsLink())
            return;
        described.size = static_cast<std::uint64_t>(information.nFileSizeHigh) << 32 | information.nFileSizeLow;
        described.version = VersionOf(described.path);
        for (DWORD name = 1; name < information.nNumberOfLinks; ++name)
            AddName(described.path, name);
    }

    // Only the number of names counts, and others may be in folders that have nothing to do with the program.
    void AddName(const std::string& path, DWORD number)
    {
        m_capture.machine.files.AddName(
            path.substr(0, 2) + "\\name " + std::to_string(number) + " of " + path.substr(path.rfind('\\') + 1), path);
    }

    // Whether it could be changed. It is opened for that, and not changed.
    void ReadUse(winsim::File& described)
    {
        const bool isReadOnly = (described.attributes.value_or(0) & FILE_ATTRIBUTE_READONLY) != 0;
        DWORD access = FILE_READ_DATA; // or FILE_LIST_DIRECTORY
        if (!isReadOnly || described.isDirectory)
            access |= FILE_WRITE_DATA; // or FILE_ADD_FILE
        if (!m_capture.isElevated || Open(described.path, access))
            return;
        const DWORD error = GetLastError();
        if (error == ERROR_SHARING_VIOLATION || error == ERROR_USER_MAPPED_FILE)
            described.isInUse = true;
        else if (described.security.Grants(m_capture.machine.token, access, winsim::kFileRights))
            described.isDenied = true;
    }

    Capture& m_capture;
    std::map<std::string, std::string> m_spelled; // the paths that were tried, by what was asked
};

// A path that a registry value or a service names, without a backslash at the end; empty if it has no drive.
std::string FolderIn(const std::string& text)
{
    const std::string path = winsim::Files::Normalize(text);
    return path.size() > 2 && path[1] == ':' ? path : std::string();
}

std::string TextOf(const winsim::RegistryValue* value)
{
    std::wstring text;
    for (std::size_t i = 0; value != nullptr && i + 1 < value->bytes.size(); i += 2)
        text += static_cast<wchar_t>(static_cast<BYTE>(value->bytes[i]) | static_cast<BYTE>(value->bytes[i + 1]) << 8);
    return value != nullptr && winsim::IsTextType(value->type) ? FromWide(text.substr(0, text.find(L'\0')))
                                                               : std::string();
}

// The paths in the list of moves, which has two texts for each move.
class MoveTexts
{
public:
    explicit MoveTexts(std::wstring texts) : m_texts(std::move(texts)) {}

    // The next path, without what precedes it in the list; empty for none.
    std::string Next()
    {
        constexpr std::size_t kPrefix = 4; // \??\ before each path
        const std::size_t end = std::min(m_texts.find(L'\0', m_at), m_texts.size());
        const std::wstring text = m_texts.substr(m_at, end - m_at);
        m_at = std::min(end + 1, m_texts.size());
        const std::size_t begin = text.starts_with(L'!') ? kPrefix + 1 : kPrefix;
        return text.size() > begin ? FromWide(text.substr(begin)) : std::string();
    }

private:
    std::wstring m_texts;
    std::size_t m_at = 0;
};

void ReadPendingMoves(Capture& capture)
{
    constexpr wchar_t kManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    std::wstring texts(0x40000, L'\0');
    auto size = static_cast<DWORD>(texts.size() * sizeof(wchar_t));
    UniqueRegistryKey key;
    LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kManager, 0, KEY_QUERY_VALUE, key.Put());
    if (error == ERROR_SUCCESS)
        error = RegQueryValueExW(key.Get(), L"PendingFileRenameOperations", nullptr, nullptr,
                                 reinterpret_cast<BYTE*>(texts.data()), &size);
    if (error == ERROR_FILE_NOT_FOUND)
        return;
    if (error != ERROR_SUCCESS)
        return capture.notes.AddError("pendingMoves", static_cast<std::uint32_t>(error));
    const std::vector<std::string> asked = AskedFiles(capture.places);
    const auto isAsked = [&](const std::string& path) {
        return std::ranges::any_of(asked, [&](const std::string& one) { return winsim::SameName(one, path); });
    };
    MoveTexts moves{texts.substr(0, size / sizeof(wchar_t))};
    for (std::string from = moves.Next(); !from.empty(); from = moves.Next())
    {
        const std::string to = moves.Next();
        if (isAsked(from) || isAsked(to))
            capture.machine.pendingMoves.moves.push_back({from, to});
    }
}

} // namespace

void ReadProgram(Capture& capture)
{
    constexpr const char* kKeys[] = {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common",
                                     "HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common"};
    Places& places = capture.places;
    for (const char* key : kKeys)
    {
        const std::string folder = FolderIn(TextOf(capture.machine.registry.FindValue(key, "Installation Path")));
        if (!folder.empty())
            places.packages.push_back(folder);
    }
    const std::string usual = places.programFiles + "\\Kelo Systems Corp\\Toolkit";
    places.program = capture.options.program;
    if (places.program.empty())
        places.program = (places.packages.empty() ? usual : places.packages.front()) + "\\KeloCustomAction.exe";
    capture.machine.process.path = places.program;

    const winsim::Service* stack = capture.machine.services.Find("tcsd_win32.exe");
    // Without quotation marks, the program does not find the folder.
    if (stack != nullptr && stack->binaryPath.starts_with('"'))
        places.ntruStack = stack->binaryPath.substr(1, stack->binaryPath.rfind('\\') - 1);
}

void ReadFiles(Capture& capture)
{
    FileReader reader{capture};
    for (const std::string& path : AskedFiles(capture.places))
        reader.ReadAsked(path);
    ReadPendingMoves(capture);
}

} // namespace describe
