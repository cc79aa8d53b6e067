// Makes full paths of names and checks what may be done with files.
#include "winsim/api/file_access.h"

#include "winsim/core/simulation.h"
#include "winsim/core/text.h"

#include <algorithm>
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

FileName NameOf(const std::string& name)
{
    if (name.empty())
        return {{}, ERROR_PATH_NOT_FOUND};
    FileName result{FullPath(name)};
    if (HasInvalidCharacter(result.path))
        result.error = ERROR_INVALID_NAME;
    return result;
}

} // namespace

std::string FullPath(const std::string& name)
{
    const std::string& current = Simulation::Current().machine.process.currentDirectory;
    const std::string drive = current.substr(0, 2);
    std::string path = Files::Normalize(name);
    const bool hasDrive = name.size() >= 2 && name[1] == ':' && name[0] != ':';
    const bool isFull = hasDrive && (name.size() == 2 || name[2] == '\\' || name[2] == '/');
    if (!hasDrive && !name.empty() && (name[0] == '\\' || name[0] == '/'))
        path = drive + path;
    else if (hasDrive && !isFull)
        path = current + "\\" + path.substr(2);
    else if (!hasDrive)
        path = current + "\\" + path;
    return Files::Normalize(WithoutTail(WithoutDots(path)));
}

FileName FileNameOf(const char* ansi)
{
    if (ansi == nullptr)
        return {{}, ERROR_PATH_NOT_FOUND};
    const std::string name = Simulation::Current().FromAnsi(ansi);
    // The narrow calls turn the name into a buffer of that size first.
    if (Utf16(name).size() >= MAX_PATH)
        return {name, ERROR_FILENAME_EXCED_RANGE};
    return NameOf(name);
}

FileName FileNameOf(const char16_t* wide)
{
    if (wide == nullptr)
        return {{}, ERROR_PATH_NOT_FOUND};
    const std::string name = Utf8(wide);
    if (Utf16(name).size() >= MAX_PATH)
        return {name, ERROR_PATH_NOT_FOUND};
    return NameOf(name);
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

} // namespace winsim
