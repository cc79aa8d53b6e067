// Proves that access lists, owners and privileges decide who may open a key or a file. The key that belongs to somebody
// else comes from the machine description.
#include "tests/winsim/support.h"

#include <aclapi.h>

#include <iterator>

namespace
{

constexpr char kNoList[] = "Wine asks the host's permissions for a file, and the super-user may do everything";
constexpr char kNoPrivilege[] = "Wine lets nobody take ownership against the list";
constexpr DWORD kAllOfAFile = 0x1F01FF; // FILE_ALL_ACCESS
constexpr char kProtectedKey[] = "SOFTWARE\\KeloProtected";

// A well-known SID below NT's authority.
class WellKnown
{
public:
    explicit WellKnown(DWORD account) : WellKnown(1, account, 0) {}
    WellKnown(DWORD domain, DWORD group) : WellKnown(2, domain, group) {}
    ~WellKnown() { FreeSid(m_sid); }
    WellKnown(const WellKnown&) = delete;
    WellKnown& operator=(const WellKnown&) = delete;

    PSID Get() const { return m_sid; }

private:
    WellKnown(BYTE count, DWORD first, DWORD second)
    {
        SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY};
        EXPECT_TRUE(AllocateAndInitializeSid(&authority, count, first, second, 0, 0, 0, 0, 0, 0, &m_sid));
    }

    PSID m_sid = nullptr;
};

// Gives an object a list of its own that allows one trustee some rights and nobody else any.
DWORD AllowOnly(std::wstring name, SE_OBJECT_TYPE type, PSID trustee, DWORD rights)
{
    EXPLICIT_ACCESS_W entry{};
    entry.grfAccessPermissions = rights;
    entry.grfAccessMode = SET_ACCESS;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.ptstrName = static_cast<LPWSTR>(trustee);
    PACL list = nullptr;
    EXPECT_EQ(SetEntriesInAclW(1, &entry, nullptr, &list), DWORD{ERROR_SUCCESS});
    const DWORD error =
        SetNamedSecurityInfoW(name.data(), type, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                              nullptr, nullptr, list, nullptr);
    LocalFree(list);
    return error;
}

DWORD TakeOwnership(std::wstring name, SE_OBJECT_TYPE type)
{
    const WellKnown administrators{SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS};
    return SetNamedSecurityInfoW(name.data(), type, OWNER_SECURITY_INFORMATION, administrators.Get(), nullptr, nullptr,
                                 nullptr);
}

void SetTakeOwnershipPrivilege(DWORD attributes)
{
    HANDLE token = nullptr;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = attributes;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token));
    EXPECT_TRUE(LookupPrivilegeValueA(nullptr, "SeTakeOwnershipPrivilege", &privileges.Privileges[0].Luid));
    EXPECT_TRUE(AdjustTokenPrivileges(token, FALSE, &privileges, sizeof privileges, nullptr, nullptr));
    EXPECT_TRUE(CloseHandle(token));
}

LSTATUS KeyError(const char* name, REGSAM access)
{
    HKEY key = nullptr;
    const LSTATUS error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, access, &key);
    if (error == ERROR_SUCCESS)
    {
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
    return error;
}

DWORD FileError(const std::wstring& path, DWORD access)
{
    const HANDLE file = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return GetLastError();
    EXPECT_TRUE(CloseHandle(file));
    return ERROR_SUCCESS;
}

TEST(Access, ThePrivilegeToTakeOwnershipLeadsToAKeyThatDeniesEverything)
{
    if (IsOnWine())
        GTEST_SKIP() << kNoPrivilege;
    const std::wstring name = L"MACHINE\\" + std::wstring(kProtectedKey, std::end(kProtectedKey) - 1);
    const WellKnown administrators{SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS};
    SetTakeOwnershipPrivilege(0);
    for (const DWORD access : {DWORD{KEY_QUERY_VALUE}, DWORD{READ_CONTROL}, DWORD{WRITE_DAC}, DWORD{WRITE_OWNER}})
        EXPECT_EQ(KeyError(kProtectedKey, access), 5) << access;
    EXPECT_EQ(TakeOwnership(name, SE_REGISTRY_KEY), 5u);

    SetTakeOwnershipPrivilege(SE_PRIVILEGE_ENABLED);
    EXPECT_EQ(KeyError(kProtectedKey, KEY_QUERY_VALUE), 5);
    EXPECT_EQ(TakeOwnership(name, SE_REGISTRY_KEY), 0u);
    SetTakeOwnershipPrivilege(0);
    EXPECT_EQ(KeyError(kProtectedKey, KEY_QUERY_VALUE), 5);
    EXPECT_EQ(KeyError(kProtectedKey, READ_CONTROL | WRITE_DAC), 0);
    EXPECT_EQ(AllowOnly(name, SE_REGISTRY_KEY, administrators.Get(), KEY_ALL_ACCESS), 0u);
    EXPECT_EQ(KeyError(kProtectedKey, KEY_QUERY_VALUE), 0);
}

TEST(Access, AFilesListDecidesWhoOpensIt)
{
    if (IsOnWine())
        GTEST_SKIP() << kNoList;
    const std::string folder = TestDirectory();
    const std::wstring path = std::wstring(folder.begin(), folder.end()) + L"\\file";
    const WellKnown localSystem{SECURITY_LOCAL_SYSTEM_RID};
    const WellKnown users{SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS};
    EXPECT_EQ(FileError(path, GENERIC_READ | GENERIC_WRITE), 0u);

    EXPECT_EQ(AllowOnly(path, SE_FILE_OBJECT, localSystem.Get(), kAllOfAFile), 0u);
    EXPECT_EQ(FileError(path, GENERIC_READ), 5u);
    EXPECT_EQ(FileError(path, GENERIC_WRITE), 5u);

    // The owner may replace the list nevertheless.
    EXPECT_EQ(AllowOnly(path, SE_FILE_OBJECT, users.Get(), GENERIC_READ), 0u);
    EXPECT_EQ(FileError(path, GENERIC_READ), 0u);
    EXPECT_EQ(FileError(path, GENERIC_WRITE), 5u);
}

} // namespace
