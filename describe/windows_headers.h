// Windows' own headers, without the macros that are names in the code of machine descriptions.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#undef interface
#undef GetObject
