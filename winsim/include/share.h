// Sharing modes of standard-library streams, for the simulated machine.
#pragma once

#include "msvcrt.h"

inline constexpr int _SH_DENYRW = 0x10;
inline constexpr int _SH_DENYWR = 0x20;
inline constexpr int _SH_DENYRD = 0x30;
inline constexpr int _SH_DENYNO = 0x40;
