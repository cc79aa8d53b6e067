// Makes the administrators the owner of a user's directory.
#include "tss/directory_owner.h"

#include "tss/unblock_tpm_commands.h"
#include "windows/pinned_path.h"
#include "windows/trusted_owner.h"
#include "windows/unique_handle.h"

#include <aclapi.h>

namespace
{

// Opens a directory to change its owner. The privilege, which stands in for a right in the directory's list, is enabled
// only for this call; a process without the privilege may have the right.
DWORD OpenForNewOwner(const std::wstring& path, UniqueKernelHandle& directory)
{
    UniqueKernelHandle token;
    const bool isEnabled = OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Put()) &&
                           SetPrivilege(token.Get(), kTakeOwnership, true);
    directory = OpenItself(path, WRITE_OWNER);
    const DWORD error = directory ? ERROR_SUCCESS : GetLastError();
    if (isEnabled)
        SetPrivilege(token.Get(), kTakeOwnership, false);
    return error;
}

} // namespace

DWORD TakeFromUser(const std::wstring& path, HANDLE directory, PSID administrators)
{
    DWORD error = CheckOwner(directory);
    if (error != ERROR_INVALID_OWNER)
        return error;
    UniqueKernelHandle opened;
    error = OpenForNewOwner(path, opened);
    if (error != ERROR_SUCCESS)
        return error;
    return SetSecurityInfo(opened.Get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, administrators, nullptr, nullptr,
                           nullptr);
}
