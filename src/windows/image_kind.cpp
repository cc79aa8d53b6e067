// Holds what kind of image this is.
#include "windows/image_kind.h"

namespace
{

constinit bool g_isLibrary = false;

} // namespace

void BecomeLibraryImage()
{
    g_isLibrary = true;
}

bool IsLibraryImage()
{
    return g_isLibrary;
}
