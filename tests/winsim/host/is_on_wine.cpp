// The simulated machine is not Wine.
#include "tests/winsim/support.h"

bool IsOnWine()
{
    return false;
}
