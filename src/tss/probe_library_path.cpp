// Assembles the path of a detection library.
#include "tss/probe_library_path.h"

#include "windows/full_path.h"

BoundedPath ProbeLibraryPath(const char* target, const char* vendor)
{
    if (target == nullptr || !IsFullPath(target))
        return {};
    BoundedPath path{target};
    if (vendor == nullptr)
        return path.Append(kProbeLibraryFile + 1);
    return path.Append(vendor).Append(kProbeLibraryFile);
}
