// Windows Installer, for the simulated machine.
#pragma once

#include "winsim_types.h"

using MSIHANDLE = DWORD;
