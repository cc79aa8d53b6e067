// The part of Windows' main header that the program uses, for the simulated machine. Calls, structures and
// constants have Windows' names, layouts and values.
#pragma once

#include "winsim_types.h"

#include "errhandlingapi.h"
#include "fileapi.h"
#include "libloaderapi.h"
#include "msvcrt.h"
#include "securitybaseapi.h"
#include "winbase.h"
#include "winnls.h"
#include "winnt.h"
#include "winreg.h"
#include "winsvc.h"
#include "winuser.h"
#include "winver.h"
