// The folders that Windows searches for programs and libraries.
#pragma once

#include <string>
#include <vector>

namespace winsim
{

// One of the machine's folders ("system", "windows", ...), or an empty text.
std::string FolderNamed(const char* name);

// The folders of the variable PATH, in order.
std::vector<std::string> PathFolders();

} // namespace winsim
