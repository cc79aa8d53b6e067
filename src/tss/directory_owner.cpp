// Takes a directory from the user whom it belongs to.
#include "tss/directory_owner.h"

#include "platform/trusted_owner.h"
#include "platform/unique_handle.h"
#include "tss/unblock_tpm_commands.h"

#include <aclapi.h>

namespace
{

constexpr char kTakeOwnership[] = "SeTakeOwnershipPrivilege";

// Opens a directory for another owner. The privilege, which needs no right in the directory's list, is on only
// meanwhile; a process without it may have the right.
DWORD OpenForNewOwner(const std::wstring& path, UniqueKernelHandle& directory)
{
    UniqueKernelHandle token;
    const bool isEnabled = OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Put()) &&
                           SetPrivilege(token.Get(), kTakeOwnership, true);
    const HANDLE opened =
        CreateFileW(path.c_str(), WRITE_OWNER, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    const DWORD error = opened != INVALID_HANDLE_VALUE ? ERROR_SUCCESS : GetLastError();
    if (isEnabled)
        SetPrivilege(token.Get(), kTakeOwnership, false);
    directory.Reset(error == ERROR_SUCCESS ? opened : nullptr);
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
