// The way into the management instrumentation.
#pragma once

#include "wbemcli.h"

namespace winsim
{

// A new locator with one reference, which the process holds.
IWbemLocator* MakeWbemLocator();

} // namespace winsim
