// The shell's command-line parser, for the simulated machine.
#pragma once

#include "winsim_types.h"

extern "C"
{
    LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR lpCmdLine, int* pNumArgs);
}
