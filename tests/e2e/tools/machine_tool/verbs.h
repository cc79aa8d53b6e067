// The verbs of machine_tool, by what they do: each takes its own name and its arguments, and returns 0 or the Windows
// error.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

using Words = std::vector<std::wstring>;

// Changes of services, and a wait for their states.
int RegisterService(const Words& words);
int BeginService(const Words& words);
int RemoveService(const Words& words);
int AwaitStates(const Words& words);

// Changes of the registry.
int MakeKey(const Words& words);
int SetValue(const Words& words);
int SecureKey(const Words& words);

// Changes of files.
int CopyToPlace(const Words& words);
int WriteText(const Words& words);
int MakeLink(const Words& words);
int MakeHardLink(const Words& words);

// What a machine is like.
int ShowStates(const Words& words);
int ShowProcesses(const Words& words);
int SaveKey(const Words& words);

// The result of a verb whose only call may have failed.
inline int ExitStatus(BOOL succeeded)
{
    return succeeded ? 0 : static_cast<int>(GetLastError());
}
