// Makes the object through which a program reaches WMI.
#pragma once

#include "wbemcli.h"

namespace winsim
{

inline constexpr IID kWbemLocator = {0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};

// A new locator; the process holds its only reference.
IWbemLocator* MakeWbemLocator();

} // namespace winsim
