// Sharing modes of standard-library streams, for the simulated machine.
#pragma once

#include "msvcrt.h"

inline constexpr int _SH_DENYNO = 0x40;
