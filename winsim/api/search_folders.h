// The folders that Windows searches for programs and libraries.
#pragma once

#include <string>
#include <vector>

namespace winsim
{

// The path of one of the machine's folders ("system", "windows", ...); empty if it is not described.
std::string FolderNamed(const char* name);

// The folders in the environment variable PATH, in order.
std::vector<std::string> PathFolders();

} // namespace winsim
