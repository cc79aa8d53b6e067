// Checks opening, deleting and renaming files against the open handles.
#include "winsim/process/open_files.h"

#include "fileapi.h"
#include "winnt.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/process/simulation.h"

#include <algorithm>

namespace winsim
{

namespace
{

struct SharedRight
{
    std::uint32_t access;
    std::uint32_t share;
};

// Windows checks sharing only for handles with one of these rights.
constexpr SharedRight kSharedRights[] = {
    {FILE_READ_DATA | FILE_EXECUTE, FILE_SHARE_READ},
    {FILE_WRITE_DATA | FILE_APPEND_DATA, FILE_SHARE_WRITE},
    {DELETE, FILE_SHARE_DELETE},
};

bool TakesPart(std::uint32_t access)
{
    return std::ranges::any_of(kSharedRights, [&](const SharedRight& right) { return (access & right.access) != 0; });
}

// Whether a handle that shares `share` allows another handle with `access`.
bool Allows(std::uint32_t share, std::uint32_t access)
{
    return std::ranges::all_of(kSharedRights, [&](const SharedRight& right) {
        return (access & right.access) == 0 || (share & right.share) != 0;
    });
}

// Whether isMeant(open) is true for an open handle.
template <typename IsMeant>
bool AnyHandle(IsMeant isMeant)
{
    bool isAny = false;
    const auto look = [&](const OpenFile& open) { isAny = isAny || isMeant(open); };
    const HandleTable& handles = Simulation::Current().handles;
    handles.ForEachOpen<OpenFile>(look);
    handles.ForEachOpen<OpenStream>([&](const OpenStream& stream) { look(stream.file); });
    return isAny;
}

// The same for handles for which sharing is checked.
template <typename IsMeant>
bool AnyOpen(IsMeant isMeant)
{
    return AnyHandle([&](const OpenFile& open) { return TakesPart(open.access) && isMeant(open); });
}

} // namespace

bool IsFileOpen(const File& file)
{
    return AnyHandle([&](const OpenFile& open) { return open.file.number == file.identity.number; });
}

std::uint32_t FileAccessOf(std::uint32_t mask)
{
    return MappedRights(mask, kFileRights);
}

std::uint32_t SharingError(const File& file, std::uint32_t access, std::uint32_t share)
{
    if (!TakesPart(access))
        return ERROR_SUCCESS;
    const bool isRefused = AnyOpen([&](const OpenFile& open) {
        return open.file.number == file.identity.number && !(Allows(open.share, access) && Allows(share, open.access));
    });
    return isRefused ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS;
}

std::uint32_t UnlinkError(const File& file)
{
    return SharingError(file, DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

std::uint32_t OpenBelowError(const File& directory)
{
    const std::string beginning = FoldCase(directory.path) + "\\";
    Files& files = Simulation::Current().machine.files;
    const bool isAny = AnyOpen([&](const OpenFile& open) {
        const File* file = files.FindByIdentity(open.file);
        return file != nullptr && FoldCase(file->path).starts_with(beginning);
    });
    return isAny ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

} // namespace winsim
