// Takes away what the kit or its tests made: folders, registry keys, services.
#pragma once

#include <string>

namespace proof
{

// Removes a file or folder with all that is in it, also against access lists and read-only attributes. Links are
// removed and not followed.
void RemoveTree(const std::wstring& path);

// The same for each file and folder whose last name fits a pattern with "*".
void RemoveTrees(const std::wstring& pattern);

// Removes a key below HKEY_LOCAL_MACHINE with all that is below it, also against access lists.
void RemoveKey(const std::wstring& path);

// Removes what stand-ins of programs, and that of the task library, keep in the registry.
void RemoveStandInKeys();

// Ends and deletes the services whose programs are in a folder, a path with a backslash at its end. Returns whether
// there was one.
bool RemoveServicesBelow(const std::wstring& folder);

} // namespace proof
