// Looks up the folders that Windows searches.
#include "winsim/api/search_folders.h"

#include "winsim/process/simulation.h"

#include <algorithm>

namespace winsim
{

std::string FolderNamed(const char* name)
{
    const std::string* folder = Simulation::Current().machine.folders.Find(name);
    return folder == nullptr ? std::string() : *folder;
}

std::vector<std::string> PathFolders()
{
    std::vector<std::string> folders;
    const std::string* path = Simulation::Current().machine.environment.Find("PATH");
    std::string rest = path == nullptr ? std::string() : *path;
    while (!rest.empty())
    {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        folders.push_back(rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    return folders;
}

} // namespace winsim
