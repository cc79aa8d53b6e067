// Makes full paths of names and checks what may be done with files.
#include "winsim/api/file_access.h"

#include "fileapi.h"
#include "winsim/areas/inheritance.h"
#include "winsim/core/simulation.h"
#include "winsim/core/text.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace winsim
{

namespace
{

// Without the drive, which alone may hold a colon.
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

// Windows drops blanks and periods at the end of a path.
std::string WithoutTail(std::string path)
{
    while (path.size() > 3 && (path.back() == ' ' || path.back() == '.'))
        path.pop_back();
    return path;
}

// Resolves the steps "." and "..".
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

// A name that begins so is taken as it stands: nothing in it is turned, resolved or dropped.
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

// Whether each step of a full path is a name.
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

// The path of a name without a prefix.
std::string ResolvedPath(const std::string& name)
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

} // namespace

FileName FullName(const std::string& name)
{
    if (name.empty())
        return {{}, ERROR_PATH_NOT_FOUND};
    if (name.starts_with(kLiteralPrefix))
        return LiteralName(name);
    const bool isShared = name.size() >= 2 && IsSlash(name[0]) && IsSlash(name[1]);
    // "\\.\" and, with other slashes, "//?/" name a device such as a drive, whose path is resolved like any other.
    const bool isDevice = isShared && name.size() >= 4 && (name[2] == '.' || name[2] == '?') && IsSlash(name[3]);
    if (isShared && !isDevice)
        return {name, ERROR_BAD_NETPATH}; // the simulated machine is in no network
    FileName result{ResolvedPath(isDevice ? name.substr(4) : name)};
    if (HasInvalidCharacter(result.path))
        result.error = ERROR_INVALID_NAME;
    return result;
}

FileName FileNameOf(const char* ansi)
{
    if (ansi == nullptr)
        return {{}, ERROR_PATH_NOT_FOUND};
    const std::string name = Simulation::Current().FromAnsi(ansi);
    // The narrow calls turn the name into a buffer of that size first.
    if (Utf16(name).size() >= MAX_PATH)
        return {name, ERROR_FILENAME_EXCED_RANGE};
    return FullName(name);
}

FileName FileNameOf(const char16_t* wide)
{
    if (wide == nullptr)
        return {{}, ERROR_PATH_NOT_FOUND};
    const std::string name = Utf8(wide);
    const bool isLiteral = name.starts_with(kLiteralPrefix);
    if (std::u16string_view(wide).size() >= (isLiteral ? kLongestLiteral : MAX_PATH))
        return {name, isLiteral ? DWORD{ERROR_FILENAME_EXCED_RANGE} : DWORD{ERROR_PATH_NOT_FOUND}};
    return FullName(name);
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

DWORD CreateError(const std::string& path)
{
    const File* parent = Simulation::Current().machine.files.Find(Files::ParentOf(path));
    if (parent == nullptr || !parent->isDirectory)
        return ERROR_PATH_NOT_FOUND;
    return MayAccess(*parent, kAddFile) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

DWORD OpenError(const FileName& name, DWORD access, DWORD disposition)
{
    if (name.error != ERROR_SUCCESS)
        return name.error;
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING)
        return ERROR_INVALID_PARAMETER;
    const File* file = Simulation::Current().machine.files.Find(name.path);
    if (file == nullptr)
        return disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING ? MissingError(name.path)
                                                                                : CreateError(name.path);
    if (disposition == CREATE_NEW)
        return ERROR_FILE_EXISTS;
    const bool isWriting = (access & (GENERIC_WRITE | GENERIC_ALL | kWriteData)) != 0 || disposition == CREATE_ALWAYS;
    if (file->isDirectory || !MayAccess(*file, access) || (isWriting && file->IsReadOnly()))
        return ERROR_ACCESS_DENIED;
    return isWriting && file->isInUse ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS;
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
