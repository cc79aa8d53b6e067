// The minidriver, for the sequences that install and remove a driver.
#pragma once

#include "smartcard/card_driver.h"

// The minidriver of the program's 64-bit or 32-bit build. They differ in the body libraries that an installation
// copies, and in the one that a removal deletes.
CardDriver MiniDriver(bool is64BitBuild);
