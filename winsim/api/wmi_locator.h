// Makes the object through which a program reaches WMI.
#pragma once

#include "wbemcli.h"

namespace winsim
{

// A new locator; the process holds its only reference.
IWbemLocator* MakeWbemLocator();

} // namespace winsim
