// Privileges of machine_tool.
#pragma once

// Switches a privilege on, if the process holds it.
void MayUse(const wchar_t* privilege);
