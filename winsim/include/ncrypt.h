// Key storage, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr ULONG NCRYPT_KEY_STORAGE_INTERFACE = 0x00010001;
