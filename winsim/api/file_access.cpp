// Turns names into full paths, and checks access to files.
#include "winsim/api/file_access.h"

#include "fileapi.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include <fmt/format.h>

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

bool IsSlash(char c)
{
    return c == '\\' || c == '/';
}

// The steps of a path, which are separated by one or more slashes.
std::vector<std::string> StepsOf(const std::string& path)
{
    std::vector<std::string> steps;
    for (std::size_t start = 0; start < path.size();)
    {
        const auto slash = std::find_if(path.begin() + static_cast<std::ptrdiff_t>(start), path.end(), &IsSlash);
        const auto end = static_cast<std::size_t>(slash - path.begin());
        if (end != start)
            steps.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return steps;
}

// A path as Windows understands it: "." and ".." are resolved, a single period at the end of a directory's name does
// not count, nor do blanks and periods at the end of a path without a slash.
std::string Resolved(const std::string& path)
{
    const bool isDirectory = IsSlash(path.back());
    std::vector<std::string> steps = StepsOf(path);
    std::vector<std::string> resolved;
    for (std::string& step : steps)
    {
        const bool isLast = &step == &steps.back() && !isDirectory;
        if (step == "..")
        {
            if (resolved.size() > 1)
                resolved.pop_back();
            continue;
        }
        if (isLast)
            step.resize(step.find_last_not_of(" .") + 1);
        else if (step.ends_with('.') && !step.ends_with(".."))
            step.pop_back();
        if (!step.empty())
            resolved.push_back(step);
    }
    return fmt::format("{}", fmt::join(resolved, "\\"));
}

// Whether a directory's link is followed: with redirection trust, only if an administrator or Windows itself made it.
bool MayFollow(const File& link)
{
    if (!Simulation::Current().enforcesRedirectionTrust)
        return true;
    return std::ranges::find(kTrustedMakers, link.LinkMaker()) != std::end(kTrustedMakers);
}

constexpr std::string_view kLiteralServer = "\\\\?\\UNC\\";
constexpr std::size_t kLongestLiteral = 32767;

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

// The directory that a name such as "D:file" begins at: the current one, or the one that the variable "=D:" holds for
// another drive, which otherwise is its root.
std::string CurrentOn(const std::string& drive)
{
    const Machine& machine = Simulation::Current().machine;
    const std::string& current = machine.process.currentDirectory;
    if (SameName(current.substr(0, 2), drive))
        return current;
    const std::string* const other = machine.environment.Find("=" + drive);
    return other != nullptr ? *other : drive;
}

// The full path of a name that has no prefix.
std::string PlainPath(const std::string& name)
{
    const std::string& current = Simulation::Current().machine.process.currentDirectory;
    const bool hasDrive = HasDrive(name);
    if (hasDrive && (name.size() == 2 || IsSlash(name[2])))
        return Resolved(name);
    if (hasDrive)
        return Resolved(CurrentOn(name.substr(0, 2)) + "\\" + name.substr(2));
    return Resolved((IsSlash(name[0]) ? current.substr(0, 2) : current) + "\\" + name);
}

// The names of devices, which are found in every directory and with any extension.
constexpr std::string_view kDevices[] = {"AUX", "CON", "NUL", "PRN", "CONIN$", "CONOUT$"};
constexpr std::string_view kNumberedDevices[] = {"COM", "LPT"};

bool IsDevice(std::string name)
{
    name.resize(std::min(name.find_first_of(".:"), name.size()));
    while (name.ends_with(' '))
        name.pop_back();
    const auto isName = [&](std::string_view device) { return SameName(name, device); };
    const bool hasNumber = name.size() == 4 && name[3] >= '1' && name[3] <= '9';
    return std::ranges::any_of(kDevices, isName) ||
           (hasNumber && std::ranges::any_of(kNumberedDevices, [&](std::string_view device) {
                return SameName(std::string_view(name).substr(0, 3), device);
            }));
}

constexpr char kWhoResolves[] = "winsim";
constexpr std::size_t kLongestStep = 255;

// The error of a full path whose prefix is removed.
DWORD PathError(const std::string& path)
{
    const std::size_t lastStep = path.rfind('\\') + 1;
    if (lastStep != 0 && IsDevice(path.substr(lastStep)))
    {
        Simulation::Current().NoteNotSimulated(kWhoResolves, "the device " + path.substr(lastStep));
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    const std::size_t colon = path.find(':', 2);
    if (lastStep != 0 && colon != std::string::npos && colon > lastStep)
        Simulation::Current().NoteNotSimulated(kWhoResolves, "the streams of files");
    const auto isTooLong = [](const std::string& step) { return Utf16(step).size() > kLongestStep; };
    const bool isName = !HasInvalidCharacter(path) && std::ranges::none_of(StepsOf(path), isTooLong);
    return isName ? ERROR_SUCCESS : ERROR_INVALID_NAME;
}

FileName LiteralName(const std::string& name)
{
    if (name.starts_with(kLiteralServer))
        return {name, ERROR_BAD_NETPATH};
    const std::string path = name.substr(kLiteralPrefix.size());
    if (path.empty())
        return {name, ERROR_INVALID_NAME};
    if (!HasDrive(path))
    {
        Simulation::Current().NoteNotSimulated(kWhoResolves, "devices other than drives");
        return {name, ERROR_FILE_NOT_FOUND};
    }
    const bool isName = path.find('/') == std::string::npos && HasStepsAlone(path);
    return {Files::Normalize(path), isName ? PathError(path) : DWORD{ERROR_INVALID_NAME}};
}

// The error of opening a file that exists.
DWORD OpenExistingError(const File& file, const Opening& opening)
{
    if (opening.disposition == CREATE_NEW)
        return ERROR_FILE_EXISTS;
    const bool canBeOpened =
        !file.isDirectory || ((opening.flags & FILE_FLAG_BACKUP_SEMANTICS) != 0 && !opening.Replaces());
    // A file that is replaced keeps these attributes, or is refused.
    const DWORD kept = file.Attributes() & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    if (opening.disposition == CREATE_ALWAYS && (kept & ~opening.flags) != 0)
        return ERROR_ACCESS_DENIED;
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
    if (isDevice && (!HasDrive(name.substr(4)) || name.size() == 6))
    {
        Simulation::Current().NoteNotSimulated(kWhoResolves, "devices other than drives");
        return {name, ERROR_FILE_NOT_FOUND};
    }
    const std::string path = PlainPath(isDevice ? name.substr(4) : name);
    return {path, PathError(path)};
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
    if (full.error == ERROR_SUCCESS && Simulation::Current().IsDeletionPending(full.path))
        full.error = ERROR_ACCESS_DENIED;
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
    const Machine& machine = Simulation::Current().machine;
    if (file.isDenied)
        return false;
    if (file.security.Grants(machine.token, rights, kFileRights))
        return true;
    // Whoever may delete what is in a directory needs no right on the file, unless the machine is described so.
    const File* const parent = machine.files.Find(Files::ParentOf(file.path));
    return (rights & DELETE) != 0 && file.security.Grants(machine.token, rights & ~DELETE, kFileRights) &&
           (MappedRights(file.security.deniedAccess, kFileRights) & DELETE) == 0 && parent != nullptr &&
           parent->security.access && parent->security.Grants(machine.token, FILE_DELETE_CHILD, kFileRights);
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
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const bool cannotReplace = opening.disposition == TRUNCATE_EXISTING && (opening.access & FILE_WRITE_DATA) == 0;
    if ((opening.share & ~kShareAll) != 0 || cannotReplace)
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
