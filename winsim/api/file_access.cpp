// Turns names into full paths, and checks access to files.
#include "winsim/api/file_access.h"

#include "fileapi.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace winsim
{

namespace
{

constexpr std::string_view kTrustedMakers[] = {
    "S-1-5-18",                                                       // LocalSystem
    "S-1-5-32-544",                                                   // the administrators
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", // TrustedInstaller
};

// The drive is not checked: only it may contain a colon.
bool HasInvalidCharacter(const std::string& path)
{
    for (std::size_t i = 2; i < path.size(); ++i)
    {
        const auto c = static_cast<unsigned char>(path[i]);
        if (c < 0x20 || std::string_view("<>:\"|?*").find(path[i]) != std::string_view::npos)
            return true;
    }
    return false;
}

// Windows ignores blanks and periods at the end of a path.
std::string WithoutTail(std::string path)
{
    while (path.size() > 3 && (path.back() == ' ' || path.back() == '.'))
        path.pop_back();
    return path;
}

// Resolves "." and "..".
std::string WithoutDots(const std::string& path)
{
    std::vector<std::string> steps;
    for (std::size_t start = 0; start <= path.size();)
    {
        const std::size_t end = std::min(path.find('\\', start), path.size());
        const std::string step = path.substr(start, end - start);
        start = end + 1;
        if (step == "." || (step.empty() && !steps.empty()))
            continue;
        if (step != "..")
            steps.push_back(step);
        else if (steps.size() > 1)
            steps.pop_back();
    }
    std::string whole;
    for (const std::string& step : steps)
        whole += (whole.empty() ? "" : "\\") + step;
    return whole;
}

// Whether a directory's link is followed: with redirection trust, only if an administrator or Windows itself made it.
bool MayFollow(const File& link)
{
    if (!Simulation::Current().enforcesRedirectionTrust)
        return true;
    return std::ranges::find(kTrustedMakers, link.LinkMaker()) != std::end(kTrustedMakers);
}

// Windows does not normalize a name with this prefix.
constexpr std::string_view kLiteralPrefix = "\\\\?\\";
constexpr std::string_view kLiteralServer = "\\\\?\\UNC\\";
constexpr std::size_t kLongestLiteral = 32767;

bool IsSlash(char c)
{
    return c == '\\' || c == '/';
}

bool HasDrive(const std::string& name)
{
    return name.size() >= 2 && name[1] == ':' && name[0] != ':';
}

// Whether every part of a full path is a name: none is empty, "." or "..".
bool HasStepsAlone(const std::string& path)
{
    for (std::size_t start = 3; start < path.size();)
    {
        const std::size_t end = std::min(path.find('\\', start), path.size());
        const std::string step = path.substr(start, end - start);
        if (step.empty() || step == "." || step == "..")
            return false;
        start = end + 1;
    }
    return true;
}

FileName LiteralName(const std::string& name)
{
    if (name.starts_with(kLiteralServer))
        return {name, ERROR_BAD_NETPATH};
    const std::string path = name.substr(kLiteralPrefix.size());
    if (path.empty())
        return {name, ERROR_INVALID_NAME};
    if (!HasDrive(path))
        return {name, ERROR_FILE_NOT_FOUND};
    const bool isName = !HasInvalidCharacter(path) && path.find('/') == std::string::npos && HasStepsAlone(path);
    return {Files::Normalize(path), isName ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_INVALID_NAME}};
}

// The full path of a name that has no prefix.
std::string PlainPath(const std::string& name)
{
    const std::string& current = Simulation::Current().machine.process.currentDirectory;
    const std::string path = Files::Normalize(name);
    const bool isFull = HasDrive(name) && (name.size() == 2 || IsSlash(name[2]));
    std::string full = path;
    if (HasDrive(name) && !isFull)
        full = current + "\\" + path.substr(2);
    else if (IsSlash(name[0]))
        full = current.substr(0, 2) + path;
    else if (!isFull)
        full = current + "\\" + path;
    return Files::Normalize(WithoutTail(WithoutDots(full)));
}

// The error of opening a file that exists.
DWORD OpenExistingError(const File& file, const Opening& opening)
{
    if (opening.disposition == CREATE_NEW)
        return ERROR_FILE_EXISTS;
    const bool canBeOpened =
        !file.isDirectory || ((opening.flags & FILE_FLAG_BACKUP_SEMANTICS) != 0 && !opening.Replaces());
    const bool isWrittenInVain = opening.Writes() && !file.isDirectory && file.IsReadOnly();
    if (!canBeOpened || !MayAccess(file, opening.access) || isWrittenInVain)
        return ERROR_ACCESS_DENIED;
    if (opening.Writes() && file.isInUse)
        return ERROR_SHARING_VIOLATION;
    return SharingError(file, opening.access, opening.share);
}

// The full path of a name, before links are followed.
FileName UnresolvedName(const std::string& name)
{
    if (name.empty())
        return {{}, ERROR_PATH_NOT_FOUND};
    if (name.starts_with(kLiteralPrefix))
        return LiteralName(name);
    const bool isShared = name.size() >= 2 && IsSlash(name[0]) && IsSlash(name[1]);
    // After "\\.\", or "//?/" with forward slashes, comes a device such as a drive; its path is normalized as usual.
    const bool isDevice = isShared && name.size() >= 4 && (name[2] == '.' || name[2] == '?') && IsSlash(name[3]);
    if (isShared && !isDevice)
        return {name, ERROR_BAD_NETPATH}; // the simulated machine has no network
    FileName result{PlainPath(isDevice ? name.substr(4) : name)};
    if (HasInvalidCharacter(result.path))
        result.error = ERROR_INVALID_NAME;
    return result;
}

} // namespace

FileName FullName(const std::string& name, LastLink last)
{
    FileName full = UnresolvedName(name);
    full.named = full.path;
    if (full.error != ERROR_SUCCESS)
        return full;
    const Resolution resolved = Simulation::Current().machine.files.Resolve(full.path, last, &MayFollow);
    full.path = resolved.path;
    full.error = resolved.error;
    return full;
}

std::string RealPath(const std::string& path)
{
    const FileName name = FullName(path);
    if (name.error != ERROR_SUCCESS)
        return path;
    const File* file = Simulation::Current().machine.files.Find(name.path);
    return file == nullptr ? name.path : file->path;
}

FileName FileNameOf(const char* ansi, LastLink last)
{
    if (ansi == nullptr)
        return {{}, ERROR_PATH_NOT_FOUND};
    const std::string name = Simulation::Current().FromAnsi(ansi);
    // Calls that take ANSI text convert it into a buffer of this size first.
    if (Utf16(name).size() >= MAX_PATH)
        return {name, ERROR_FILENAME_EXCED_RANGE};
    return FullName(name, last);
}

FileName FileNameOf(const char16_t* wide, LastLink last)
{
    if (wide == nullptr)
        return {{}, ERROR_PATH_NOT_FOUND};
    const std::string name = Utf8(wide);
    const bool isLiteral = name.starts_with(kLiteralPrefix);
    if (std::u16string_view(wide).size() >= (isLiteral ? kLongestLiteral : MAX_PATH))
        return {name, isLiteral ? DWORD{ERROR_FILENAME_EXCED_RANGE} : DWORD{ERROR_PATH_NOT_FOUND}};
    return FullName(name, last);
}

DWORD MissingError(const std::string& path)
{
    return Simulation::Current().machine.files.IsDirectory(Files::ParentOf(path)) ? ERROR_FILE_NOT_FOUND
                                                                                  : ERROR_PATH_NOT_FOUND;
}

bool MayAccess(const File& file, std::uint32_t rights)
{
    return !file.isDenied && file.security.Grants(Simulation::Current().machine.token, rights, kFileRights);
}

DWORD MakeDirectory(const FileName& name)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    Files& files = Simulation::Current().machine.files;
    if (files.Find(name.path) != nullptr)
        return ERROR_ALREADY_EXISTS;
    const DWORD error = CreateError(name.path, FILE_ADD_SUBDIRECTORY);
    if (error == ERROR_SUCCESS)
        OpenOrMake(name.path, true);
    return error;
}

DWORD CreateError(const std::string& path, std::uint32_t rights)
{
    const File* parent = Simulation::Current().machine.files.Find(Files::ParentOf(path));
    if (parent == nullptr || !parent->isDirectory)
        return ERROR_PATH_NOT_FOUND;
    return MayAccess(*parent, rights) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

bool Opening::Replaces() const
{
    return disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
}

bool Opening::Writes() const
{
    return (access & FILE_WRITE_DATA) != 0 || Replaces();
}

DWORD OpenError(const FileName& name, const Opening& opening)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    if (opening.disposition < CREATE_NEW || opening.disposition > TRUNCATE_EXISTING)
        return ERROR_INVALID_PARAMETER;
    if (const File* file = Simulation::Current().machine.files.Find(name.path))
        return OpenExistingError(*file, opening);
    const bool isToExist = opening.disposition == OPEN_EXISTING || opening.disposition == TRUNCATE_EXISTING;
    return isToExist ? MissingError(name.path) : CreateError(name.path);
}

File& OpenOrMake(const std::string& path, bool isDirectory)
{
    Machine& machine = Simulation::Current().machine;
    if (File* const file = machine.files.Find(path))
        return *file;
    const std::string parent = Files::ParentOf(path);
    const Security container = parent.empty() ? Security() : OpenOrMake(parent, true).security;
    File& made = machine.files.Create(path, isDirectory);
    made.security = SecurityOfNew(container, machine.token, isDirectory ? kDirectoryKind : kFileKind);
    return made;
}

} // namespace winsim
