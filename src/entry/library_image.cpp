// Makes an image of the program a library: linked into that image alone, and built before all its other objects.
#include "windows/image_kind.h"

namespace
{

struct LibraryImage
{
    LibraryImage() { BecomeLibraryImage(); }
};

// The highest priority there is for a program's own objects.
[[gnu::init_priority(101)]] const LibraryImage g_libraryImage;

} // namespace
