// Proves that SIDs, access lists, the security of keys and files, and privileges behave as Windows documents them.
#include "tests/winsim/support.h"

#include <aclapi.h>
#include <shlobj.h>

#include <cstring>
#include <vector>

namespace
{

SID_IDENTIFIER_AUTHORITY NtAuthority()
{
    return {SECURITY_NT_AUTHORITY};
}

PSID MakeSid(BYTE count, DWORD first, DWORD second)
{
    SID_IDENTIFIER_AUTHORITY authority = NtAuthority();
    PSID sid = nullptr;
    EXPECT_TRUE(AllocateAndInitializeSid(&authority, count, first, second, 0, 0, 0, 0, 0, 0, &sid));
    return sid;
}

std::vector<BYTE> BytesOf(const void* memory, std::size_t size)
{
    std::vector<BYTE> bytes(size);
    std::memcpy(bytes.data(), memory, size);
    return bytes;
}

const std::vector<BYTE> kUsers = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x21, 2, 0, 0};
const std::vector<BYTE> kAdministrators = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0};

// Users read, administrators do all.
class AccessLists : public testing::Test
{
protected:
    AccessLists()
    {
        m_users = MakeSid(2, 32, 545);
        m_administrators = MakeSid(2, 32, 544);
    }
    ~AccessLists() override
    {
        FreeSid(m_users);
        FreeSid(m_administrators);
        LocalFree(m_list);
    }

    static EXPLICIT_ACCESS_W EntryOf(PSID sid, DWORD access, DWORD inheritance)
    {
        EXPLICIT_ACCESS_W entry{};
        entry.grfAccessPermissions = access;
        entry.grfAccessMode = SET_ACCESS;
        entry.grfInheritance = inheritance;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.TrusteeType = TRUSTEE_IS_GROUP;
        entry.Trustee.ptstrName = static_cast<LPWSTR>(sid);
        return entry;
    }

    PACL MakeList(DWORD inheritance = CONTAINER_INHERIT_ACE)
    {
        EXPLICIT_ACCESS_W entries[] = {EntryOf(m_users, GENERIC_READ, inheritance),
                                       EntryOf(m_administrators, GENERIC_ALL, inheritance)};
        EXPECT_EQ(SetEntriesInAclW(2, entries, nullptr, &m_list), DWORD{ERROR_SUCCESS});
        return m_list;
    }

    // The n-th entry of a list: the allowing entry's head, and its SID.
    static void ExpectEntry(PACL list, int n, DWORD inheritance, DWORD access, const std::vector<BYTE>& sid)
    {
        const BYTE* position = reinterpret_cast<const BYTE*>(list + 1);
        ACE_HEADER header{};
        for (int i = 0; i <= n; ++i)
        {
            position += header.AceSize;
            std::memcpy(&header, position, sizeof header);
        }
        DWORD mask = 0;
        std::memcpy(&mask, position + sizeof header, sizeof mask);
        EXPECT_EQ(header.AceType, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_EQ(DWORD{header.AceFlags}, inheritance);
        EXPECT_EQ(DWORD{header.AceSize}, sizeof header + sizeof mask + sid.size());
        EXPECT_EQ(mask, access);
        EXPECT_EQ(BytesOf(position + sizeof header + sizeof mask, sid.size()), sid);
    }

    PSID m_users = nullptr;
    PSID m_administrators = nullptr;
    PACL m_list = nullptr;
};

// ---- SIDs ----

TEST(AllocateAndInitializeSid, LaysASidOut)
{
    const PSID sid = MakeSid(2, 32, 545);
    ASSERT_TRUE(sid != nullptr);
    EXPECT_EQ(BytesOf(sid, kUsers.size()), kUsers);
    EXPECT_TRUE(FreeSid(sid) == nullptr);
}

TEST(AllocateAndInitializeSid, TakesEightSubAuthoritiesAtMost)
{
    SID_IDENTIFIER_AUTHORITY authority = NtAuthority();
    PSID sid = nullptr;
    SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(AllocateAndInitializeSid(&authority, 9, 1, 2, 3, 4, 5, 6, 7, 8, &sid));
    EXPECT_EQ(GetLastError(), 1337u);
}

// ---- Lists ----

TEST_F(AccessLists, KeepTheOrderAndTheGenericRightsOfTheirEntries)
{
    const PACL list = MakeList();
    EXPECT_EQ(list->AclRevision, ACL_REVISION);
    EXPECT_EQ(list->AceCount, 2);
    EXPECT_GE(list->AclSize, 8 + 2 * (8 + 16));
    ExpectEntry(list, 0, CONTAINER_INHERIT_ACE, GENERIC_READ, kUsers);
    ExpectEntry(list, 1, CONTAINER_INHERIT_ACE, GENERIC_ALL, kAdministrators);
}

// ---- Keys ----

std::wstring ObjectNameOfKey(const std::string& key)
{
    const std::string name = "MACHINE\\" + key;
    return {name.begin(), name.end()};
}

void MakeKey(const std::string& name)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(AccessLists, AKeyGivesTheListBackThatItGot)
{
    MakeKey(TestKeyName());
    std::wstring name = ObjectNameOfKey(TestKeyName());
    ASSERT_EQ(SetNamedSecurityInfoW(name.data(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                    MakeList(), nullptr),
              DWORD{ERROR_SUCCESS});
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetNamedSecurityInfoW(name.c_str(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                    nullptr, &descriptor),
              DWORD{ERROR_SUCCESS});
    ASSERT_TRUE(list != nullptr);
    EXPECT_EQ(list->AceCount, 2);
    ExpectEntry(list, 0, CONTAINER_INHERIT_ACE, GENERIC_READ, kUsers);
    ExpectEntry(list, 1, CONTAINER_INHERIT_ACE, GENERIC_ALL, kAdministrators);
    EXPECT_TRUE(LocalFree(descriptor) == nullptr);
}

TEST_F(AccessLists, AKeyGetsAnOwner)
{
    MakeKey(TestKeyName());
    std::wstring name = ObjectNameOfKey(TestKeyName());
    ASSERT_EQ(SetNamedSecurityInfoW(name.data(), SE_REGISTRY_KEY, OWNER_SECURITY_INFORMATION, m_administrators, nullptr,
                                    nullptr, nullptr),
              DWORD{ERROR_SUCCESS});
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetNamedSecurityInfoW(name.c_str(), SE_REGISTRY_KEY, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                                    nullptr, &descriptor),
              DWORD{ERROR_SUCCESS});
    EXPECT_EQ(BytesOf(owner, kAdministrators.size()), kAdministrators);
    EXPECT_TRUE(LocalFree(descriptor) == nullptr);
}

DWORD SetError(std::wstring name, SE_OBJECT_TYPE type, PACL list)
{
    return SetNamedSecurityInfoW(name.data(), type, DACL_SECURITY_INFORMATION, nullptr, nullptr, list, nullptr);
}

DWORD GetError(const std::wstring& name, SE_OBJECT_TYPE type)
{
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetNamedSecurityInfoW(name.c_str(), type, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                              nullptr, &descriptor);
    LocalFree(descriptor);
    return error;
}

TEST_F(AccessLists, AKeyThatIsNotThereIsAFileThatWasNotFound)
{
    const std::wstring name = ObjectNameOfKey(TestKeyName());
    EXPECT_EQ(SetError(name, SE_REGISTRY_KEY, MakeList()), 2u);
    EXPECT_EQ(GetError(name, SE_REGISTRY_KEY), 2u);
}

TEST_F(AccessLists, ANameBelowNoRootIsAWrongParameter)
{
    EXPECT_EQ(SetError(L"NOWHERE\\SOFTWARE", SE_REGISTRY_KEY, MakeList()), 87u);
    EXPECT_EQ(GetError(L"NOWHERE\\SOFTWARE", SE_REGISTRY_KEY), 87u);
}

// ---- Files ----

std::wstring WideDirectory()
{
    const std::string path = TestDirectory();
    return {path.begin(), path.end()};
}

TEST_F(AccessLists, FilesSayWhetherTheyOrTheirDirectoryIsMissing)
{
    const std::wstring top = WideDirectory();
    EXPECT_EQ(GetError(top, SE_FILE_OBJECT), 0u);
    EXPECT_EQ(GetError(top + L"\\none", SE_FILE_OBJECT), 2u);
    EXPECT_EQ(GetError(top + L"\\none\\none", SE_FILE_OBJECT), 3u);
    EXPECT_EQ(SetError(top + L"\\none", SE_FILE_OBJECT, MakeList()), 2u);
    EXPECT_EQ(SetError(top + L"\\none\\none", SE_FILE_OBJECT, m_list), 3u);
}

TEST_F(AccessLists, AFileTakesAProtectedList)
{
    std::wstring path = WideDirectory();
    EXPECT_EQ(SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT,
                                    DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                    MakeList(OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE), nullptr),
              DWORD{ERROR_SUCCESS});
}

// ---- Privileges ----

class Tokens : public testing::Test
{
protected:
    static HANDLE Open(DWORD access)
    {
        HANDLE token = nullptr;
        EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), access, &token));
        return token;
    }

    static TOKEN_PRIVILEGES OnePrivilege(const char* name)
    {
        TOKEN_PRIVILEGES privileges{};
        privileges.PrivilegeCount = 1;
        privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
        EXPECT_TRUE(LookupPrivilegeValueA(nullptr, name, &privileges.Privileges[0].Luid));
        return privileges;
    }
};

TEST_F(Tokens, ThePrivilegeToTakeOwnershipHasItsNumber)
{
    const LUID luid = OnePrivilege("SeTakeOwnershipPrivilege").Privileges[0].Luid;
    EXPECT_EQ(luid.LowPart, 9u);
    EXPECT_EQ(luid.HighPart, 0);
}

TEST_F(Tokens, AnUnknownPrivilegeHasNoNumber)
{
    LUID luid{};
    SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(LookupPrivilegeValueA(nullptr, "SeKeloPrivilege", &luid));
    EXPECT_EQ(GetLastError(), 1313u);
}

TEST_F(Tokens, APrivilegeThatIsHeldIsSetAndTheLastErrorWithIt)
{
    const HANDLE token = Open(TOKEN_ADJUST_PRIVILEGES);
    TOKEN_PRIVILEGES privileges = OnePrivilege("SeTakeOwnershipPrivilege");
    for (const DWORD attributes : {DWORD{SE_PRIVILEGE_ENABLED}, DWORD{0}})
    {
        privileges.Privileges[0].Attributes = attributes;
        SetLastError(77);
        EXPECT_TRUE(AdjustTokenPrivileges(token, FALSE, &privileges, sizeof privileges, nullptr, nullptr));
        EXPECT_EQ(GetLastError(), 0u);
    }
    EXPECT_TRUE(CloseHandle(token));
}

TEST_F(Tokens, APrivilegeThatIsNotHeldShowsInTheLastErrorAlone)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine says nothing";
    const HANDLE token = Open(TOKEN_ADJUST_PRIVILEGES);
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0] = {{0x7FFFFFFF, 0}, SE_PRIVILEGE_ENABLED};
    EXPECT_TRUE(AdjustTokenPrivileges(token, FALSE, &privileges, sizeof privileges, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), 1300u);
    EXPECT_TRUE(CloseHandle(token));
}

TEST_F(Tokens, ATokenMustBeOpenedForIt)
{
    const HANDLE token = Open(TOKEN_QUERY);
    TOKEN_PRIVILEGES privileges = OnePrivilege("SeTakeOwnershipPrivilege");
    SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(AdjustTokenPrivileges(token, FALSE, &privileges, sizeof privileges, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_TRUE(CloseHandle(token));
}

} // namespace
