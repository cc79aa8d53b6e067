// Proves that SIDs, access lists, the security of keys and files, and privileges behave as Windows documents them.
#include "tests/winsim/support.h"

#include <aclapi.h>
#include <shlobj.h>

#include <cstring>
#include <iterator>
#include <ostream>
#include <vector>

namespace
{

PSID MakeSid(BYTE count, DWORD first, DWORD second, SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY})
{
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

EXPLICIT_ACCESS_W ExplicitAccess(PSID sid, DWORD access, DWORD inheritance)
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

const std::vector<BYTE> kUsers = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x21, 2, 0, 0};
const std::vector<BYTE> kAdministrators = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0};

// What a query about an object's security gives.
struct SecurityOf
{
    SecurityOf(const std::wstring& name, SE_OBJECT_TYPE type, SECURITY_INFORMATION what)
        : error(static_cast<LSTATUS>(
              GetNamedSecurityInfoW(name.c_str(), type, what, &owner, nullptr, &list, nullptr, &descriptor)))
    {}
    ~SecurityOf() { EXPECT_TRUE(LocalFree(descriptor) == nullptr); }
    SecurityOf(const SecurityOf&) = delete;
    SecurityOf& operator=(const SecurityOf&) = delete;

    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    LSTATUS error;
};

std::vector<BYTE> OwnerOf(const std::wstring& name, SE_OBJECT_TYPE type)
{
    const SecurityOf security(name, type, OWNER_SECURITY_INFORMATION);
    EXPECT_EQ(security.error, 0);
    return BytesOf(security.owner, kAdministrators.size());
}

// The error of giving an object an access list.
LSTATUS SetError(std::wstring name, SE_OBJECT_TYPE type, PACL list, SECURITY_INFORMATION how = 0)
{
    return static_cast<LSTATUS>(
        SetNamedSecurityInfoW(name.data(), type, DACL_SECURITY_INFORMATION | how, nullptr, nullptr, list, nullptr));
}

// Users may read, administrators may do everything.
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

    PACL MakeList(DWORD inheritance = CONTAINER_INHERIT_ACE)
    {
        EXPLICIT_ACCESS_W entries[] = {ExplicitAccess(m_users, GENERIC_READ, inheritance),
                                       ExplicitAccess(m_administrators, GENERIC_ALL, inheritance)};
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
    SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY};
    PSID sid = nullptr;
    EXPECT_EQ(ErrorOf([&] { return AllocateAndInitializeSid(&authority, 9, 1, 2, 3, 4, 5, 6, 7, 8, &sid); }), 1337);
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
    return Wide("MACHINE\\" + key);
}

void MakeKey(const std::string& name)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(AccessLists, AKeyMapsTheGenericRightsOfTheListThatItGets)
{
    MakeKey(TestKeyName());
    const std::wstring name = ObjectNameOfKey(TestKeyName());
    ASSERT_EQ(SetError(name, SE_REGISTRY_KEY, MakeList()), 0);
    const SecurityOf security(name, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION);
    ASSERT_EQ(security.error, 0);
    ASSERT_TRUE(security.list != nullptr);
    EXPECT_EQ(security.list->AceCount, 2);
    // Wine keeps generic rights, and maps them when access is checked.
    ExpectEntry(security.list, 0, CONTAINER_INHERIT_ACE, IsOnWine() ? GENERIC_READ : KEY_READ, kUsers);
    ExpectEntry(security.list, 1, CONTAINER_INHERIT_ACE, IsOnWine() ? GENERIC_ALL : KEY_ALL_ACCESS, kAdministrators);
}

TEST_F(AccessLists, AKeyGetsAnOwner)
{
    MakeKey(TestKeyName());
    std::wstring name = ObjectNameOfKey(TestKeyName());
    ASSERT_EQ(SetNamedSecurityInfoW(name.data(), SE_REGISTRY_KEY, OWNER_SECURITY_INFORMATION, m_administrators, nullptr,
                                    nullptr, nullptr),
              DWORD{ERROR_SUCCESS});
    EXPECT_EQ(OwnerOf(name, SE_REGISTRY_KEY), kAdministrators);
}

LSTATUS GetError(const std::wstring& name, SE_OBJECT_TYPE type)
{
    return SecurityOf(name, type, DACL_SECURITY_INFORMATION).error;
}

TEST_F(AccessLists, AKeyThatIsNotThereIsAFileThatWasNotFound)
{
    const std::wstring name = ObjectNameOfKey(TestKeyName());
    EXPECT_EQ(SetError(name, SE_REGISTRY_KEY, MakeList()), 2);
    EXPECT_EQ(GetError(name, SE_REGISTRY_KEY), 2);
}

TEST_F(AccessLists, ANameBelowNoRootIsAWrongParameter)
{
    EXPECT_EQ(SetError(L"NOWHERE\\SOFTWARE", SE_REGISTRY_KEY, MakeList()), 87);
    EXPECT_EQ(GetError(L"NOWHERE\\SOFTWARE", SE_REGISTRY_KEY), 87);
}

// ---- Files ----

std::wstring WideDirectory()
{
    return Wide(TestDirectory());
}

void MakeFileAt(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_TRUE(file != INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(file));
}

void MakeDirectory(const std::wstring& path)
{
    EXPECT_EQ(SHCreateDirectoryExW(nullptr, path.c_str(), nullptr), ERROR_SUCCESS);
}

TEST_F(AccessLists, FilesSayWhetherTheyOrTheirDirectoryIsMissing)
{
    const std::wstring top = WideDirectory();
    EXPECT_EQ(GetError(top, SE_FILE_OBJECT), 0);
    EXPECT_EQ(GetError(top + L"\\none", SE_FILE_OBJECT), 2);
    EXPECT_EQ(GetError(top + L"\\none\\none", SE_FILE_OBJECT), 3);
    EXPECT_EQ(SetError(top + L"\\none", SE_FILE_OBJECT, MakeList()), 2);
    EXPECT_EQ(SetError(top + L"\\none\\none", SE_FILE_OBJECT, m_list), 3);
}

TEST_F(AccessLists, AFileTakesAProtectedList)
{
    EXPECT_EQ(SetError(WideDirectory(), SE_FILE_OBJECT, MakeList(OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE),
                       PROTECTED_DACL_SECURITY_INFORMATION),
              0);
}

// ---- Owners ----

TEST(Owners, AnAdministratorsNewKeysBelongToTheAdministrators)
{
    MakeKey(TestKeyName() + "\\below");
    EXPECT_EQ(OwnerOf(ObjectNameOfKey(TestKeyName()), SE_REGISTRY_KEY), kAdministrators);
    EXPECT_EQ(OwnerOf(ObjectNameOfKey(TestKeyName() + "\\below"), SE_REGISTRY_KEY), kAdministrators);
}

TEST(Owners, AnAdministratorsNewFilesBelongToTheAdministrators)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine keeps a file's owner as a Unix user, who is no group";
    const std::wstring top = WideDirectory();
    MakeFileAt(top + L"\\file");
    EXPECT_TRUE(CopyFileW((top + L"\\file").c_str(), (top + L"\\copy").c_str(), TRUE));
    for (const std::wstring& path : {top, top + L"\\file", top + L"\\copy"})
        EXPECT_EQ(OwnerOf(path, SE_FILE_OBJECT), kAdministrators);
}

LSTATUS OpenKeyStatus(const std::string& name, REGSAM access)
{
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, access, &key);
    if (status == ERROR_SUCCESS)
    {
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
    return status;
}

TEST_F(AccessLists, TheOwnerMayAlwaysReadAndReplaceTheList)
{
    MakeKey(TestKeyName());
    const std::wstring name = ObjectNameOfKey(TestKeyName());
    const PSID localSystem = MakeSid(1, 18, 0);
    EXPLICIT_ACCESS_W entry = ExplicitAccess(localSystem, KEY_QUERY_VALUE, 0);
    PACL nobodyElse = nullptr;
    ASSERT_EQ(SetEntriesInAclW(1, &entry, nullptr, &nobodyElse), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(SetError(name, SE_REGISTRY_KEY, nobodyElse), 0);
    EXPECT_EQ(OpenKeyStatus(TestKeyName(), KEY_QUERY_VALUE), 5);
    EXPECT_EQ(OpenKeyStatus(TestKeyName(), READ_CONTROL | WRITE_DAC), 0);
    EXPECT_EQ(GetError(name, SE_REGISTRY_KEY), 0);
    EXPECT_EQ(SetError(name, SE_REGISTRY_KEY, MakeList()), 0);
    EXPECT_EQ(OpenKeyStatus(TestKeyName(), KEY_QUERY_VALUE), 0);
    LocalFree(nobodyElse);
    FreeSid(localSystem);
}

// ---- Inheritance ----

constexpr DWORD kObjects = OBJECT_INHERIT_ACE;
constexpr DWORD kContainers = CONTAINER_INHERIT_ACE;
constexpr DWORD kBoth = kObjects | kContainers;
constexpr DWORD kPassedOn = INHERITED_ACE | INHERIT_ONLY_ACE;

// An entry for a trustee of Windows: NT's authority is 5, the creator's 3.
struct Entry
{
    BYTE authority;
    DWORD account; // below BUILTIN when it is a group's, such as 544
    DWORD flags;
    DWORD mask;

    bool operator==(const Entry&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Entry& entry)
{
    return stream << std::hex << "S-1-" << int{entry.authority} << "-..." << entry.account << " flags " << entry.flags
                  << " mask " << entry.mask;
}

constexpr Entry kEntries[] = {
    {5, 545, kBoth, 0x20019},
    {5, 544, 0, GENERIC_ALL},
    {5, 544, kBoth | INHERIT_ONLY_ACE, GENERIC_ALL},
    {5, 18, kContainers, 0x2001F},
    {5, 20, kObjects, 0x2001F},
    {5, 19, kBoth | NO_PROPAGATE_INHERIT_ACE, GENERIC_READ},
    {3, 0, kBoth | INHERIT_ONLY_ACE, GENERIC_WRITE},
    {1, 0, 0, 0x20019},
};

PSID SidOf(const Entry& entry)
{
    const bool isGroup = entry.account >= 500;
    return MakeSid(isGroup ? 2 : 1, isGroup ? 32 : entry.account, entry.account, {{0, 0, 0, 0, 0, entry.authority}});
}

// Gives an object an access list with these entries.
void SetEntries(const std::wstring& name, SE_OBJECT_TYPE type, const std::vector<Entry>& entries,
                SECURITY_INFORMATION how)
{
    std::vector<EXPLICIT_ACCESS_W> list;
    for (const Entry& entry : entries)
        list.push_back(ExplicitAccess(SidOf(entry), entry.mask, entry.flags));
    PACL acl = nullptr;
    EXPECT_EQ(SetEntriesInAclW(static_cast<ULONG>(list.size()), list.data(), nullptr, &acl), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(SetError(name, type, acl, how), 0);
    LocalFree(acl);
    for (const EXPLICIT_ACCESS_W& one : list)
        FreeSid(one.Trustee.ptstrName);
}

std::vector<Entry> EntriesOf(const std::wstring& name, SE_OBJECT_TYPE type)
{
    const SecurityOf security(name, type, DACL_SECURITY_INFORMATION);
    EXPECT_EQ(security.error, 0);
    std::vector<Entry> entries;
    const BYTE* position = reinterpret_cast<const BYTE*>(security.list + 1);
    for (WORD i = 0; security.list != nullptr && i < security.list->AceCount; ++i)
    {
        ACE_HEADER header{};
        std::memcpy(&header, position, sizeof header);
        Entry entry{position[sizeof header + 4 + 7], 0, header.AceFlags, 0};
        std::memcpy(&entry.mask, position + sizeof header, sizeof entry.mask);
        std::memcpy(&entry.account, position + header.AceSize - sizeof entry.account, sizeof entry.account);
        entries.push_back(entry);
        position += header.AceSize;
    }
    return entries;
}

// A directory and a key whose entries are inherited.
std::wstring OpenDirectory()
{
    const std::wstring path = WideDirectory();
    SetEntries(path, SE_FILE_OBJECT, {std::begin(kEntries), std::end(kEntries)}, PROTECTED_DACL_SECURITY_INFORMATION);
    return path;
}

std::wstring OpenKeyName()
{
    MakeKey(TestKeyName());
    const std::wstring name = ObjectNameOfKey(TestKeyName());
    SetEntries(name, SE_REGISTRY_KEY, {std::begin(kEntries), std::end(kEntries)}, PROTECTED_DACL_SECURITY_INFORMATION);
    return name;
}

const std::vector<Entry> kInheritedByFile = {
    {5, 545, INHERITED_ACE, 0x20019}, {5, 544, INHERITED_ACE, 0x1F01FF}, {5, 20, INHERITED_ACE, 0x2001F},
    {5, 19, INHERITED_ACE, 0x120089}, {5, 544, INHERITED_ACE, 0x120116},
};

// The entries that a container inherits, where GENERIC_ALL, GENERIC_READ and GENERIC_WRITE are mapped to these rights.
std::vector<Entry> InheritedByContainer(DWORD all, DWORD read, DWORD write)
{
    return {
        {5, 545, INHERITED_ACE | kBoth, 0x20019}, {5, 544, INHERITED_ACE, all},
        {5, 544, kPassedOn | kBoth, GENERIC_ALL}, {5, 18, INHERITED_ACE | kContainers, 0x2001F},
        {5, 20, kPassedOn | kObjects, 0x2001F},   {5, 19, INHERITED_ACE, read},
        {5, 544, INHERITED_ACE, write},           {3, 0, kPassedOn | kBoth, GENERIC_WRITE},
    };
}

class Inheritance : public testing::Test
{
protected:
    void SetUp() override
    {
        if (IsOnWine())
            GTEST_SKIP() << "Wine's keys and files have lists of their own, and hand nothing down";
    }
};

TEST_F(Inheritance, ANewFileGetsWhatItsDirectoryHandsToFiles)
{
    const std::wstring top = OpenDirectory();
    MakeFileAt(top + L"\\file");
    EXPECT_TRUE(CopyFileW((top + L"\\file").c_str(), (top + L"\\copy").c_str(), TRUE));
    EXPECT_EQ(EntriesOf(top + L"\\file", SE_FILE_OBJECT), kInheritedByFile);
    EXPECT_EQ(EntriesOf(top + L"\\copy", SE_FILE_OBJECT), kInheritedByFile);
}

TEST_F(Inheritance, ANewDirectoryGetsWhatItsDirectoryHandsToDirectoriesAndHandsItOn)
{
    const std::wstring top = OpenDirectory();
    MakeDirectory(top + L"\\one\\two");
    std::vector<Entry> expected = InheritedByContainer(0x1F01FF, 0x120089, 0x120116);
    EXPECT_EQ(EntriesOf(top + L"\\one", SE_FILE_OBJECT), expected);
    std::erase(expected, Entry{5, 19, INHERITED_ACE, 0x120089}); // not passed on further
    EXPECT_EQ(EntriesOf(top + L"\\one\\two", SE_FILE_OBJECT), expected);
}

TEST_F(Inheritance, ANewKeyGetsWhatTheKeyAboveHandsDown)
{
    const std::wstring top = OpenKeyName();
    MakeKey(TestKeyName() + "\\below");
    EXPECT_EQ(EntriesOf(top + L"\\below", SE_REGISTRY_KEY), InheritedByContainer(0xF003F, 0x20019, 0x20006));
}

TEST_F(Inheritance, AListThatIsNotProtectedIsFollowedByWhatIsInherited)
{
    const std::wstring file = OpenDirectory() + L"\\file";
    MakeFileAt(file);
    const std::vector<Entry> own = {{5, 546, 0, 0x120089}};
    SetEntries(file, SE_FILE_OBJECT, own, PROTECTED_DACL_SECURITY_INFORMATION);
    EXPECT_EQ(EntriesOf(file, SE_FILE_OBJECT), own);
    SetEntries(file, SE_FILE_OBJECT, own, 0); // stays protected
    EXPECT_EQ(EntriesOf(file, SE_FILE_OBJECT), own);

    std::vector<Entry> both = own;
    both.insert(both.end(), kInheritedByFile.begin(), kInheritedByFile.end());
    SetEntries(file, SE_FILE_OBJECT, own, UNPROTECTED_DACL_SECURITY_INFORMATION);
    EXPECT_EQ(EntriesOf(file, SE_FILE_OBJECT), both);
    SetEntries(file, SE_FILE_OBJECT, own, 0);
    EXPECT_EQ(EntriesOf(file, SE_FILE_OBJECT), both);
}

TEST_F(Inheritance, AListThatIsSetAsItWasReadStaysTheSame)
{
    const std::wstring file = OpenDirectory() + L"\\file";
    MakeFileAt(file);
    const auto setAsRead = [&](SECURITY_INFORMATION how) {
        const SecurityOf security(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION);
        EXPECT_EQ(security.error, 0);
        EXPECT_EQ(SetError(file, SE_FILE_OBJECT, security.list, how), 0);
    };
    setAsRead(0);
    EXPECT_EQ(EntriesOf(file, SE_FILE_OBJECT), kInheritedByFile);

    // In a protected list, the entries are the file's own.
    setAsRead(PROTECTED_DACL_SECURITY_INFORMATION);
    std::vector<Entry> own = kInheritedByFile;
    for (Entry& entry : own)
        entry.flags = 0;
    EXPECT_EQ(EntriesOf(file, SE_FILE_OBJECT), own);
}

TEST_F(Inheritance, WhenNothingIsHandedDownTheCreatorsDefaultCounts)
{
    const std::wstring top = WideDirectory();
    SetEntries(top, SE_FILE_OBJECT, {{5, 544, kContainers, GENERIC_ALL}}, PROTECTED_DACL_SECURITY_INFORMATION);
    MakeFileAt(top + L"\\file");
    const std::vector<Entry> expected = {{5, 544, 0, 0x1F01FF}, {5, 18, 0, 0x1F01FF}};
    EXPECT_EQ(EntriesOf(top + L"\\file", SE_FILE_OBJECT), expected);
}

// ---- Privileges ----

// The process's token, opened for some access.
class Token
{
public:
    explicit Token(DWORD access) { EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), access, &m_token)); }
    ~Token() { EXPECT_TRUE(CloseHandle(m_token)); }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    BOOL Adjust(const LUID_AND_ATTRIBUTES& privilege) const
    {
        TOKEN_PRIVILEGES privileges{1, {privilege}};
        return AdjustTokenPrivileges(m_token, FALSE, &privileges, sizeof privileges, nullptr, nullptr);
    }
    BOOL GetUser(void* buffer, DWORD& size) const
    {
        return GetTokenInformation(m_token, TokenUser, buffer, size, &size);
    }

private:
    HANDLE m_token = nullptr;
};

LUID_AND_ATTRIBUTES TakeOwnership(DWORD attributes = SE_PRIVILEGE_ENABLED)
{
    LUID_AND_ATTRIBUTES privilege{{}, attributes};
    EXPECT_TRUE(LookupPrivilegeValueA(nullptr, "SeTakeOwnershipPrivilege", &privilege.Luid));
    return privilege;
}

TEST(Tokens, ThePrivilegeToTakeOwnershipHasItsNumber)
{
    EXPECT_EQ(TakeOwnership().Luid.LowPart, 9u);
    EXPECT_EQ(TakeOwnership().Luid.HighPart, 0);
}

TEST(Tokens, AnUnknownPrivilegeHasNoNumber)
{
    LUID luid{};
    EXPECT_EQ(ErrorOf([&] { return LookupPrivilegeValueA(nullptr, "SeKeloPrivilege", &luid); }), 1313);
}

TEST(Tokens, APrivilegeThatIsHeldIsSetAndTheLastErrorWithIt)
{
    const Token token(TOKEN_ADJUST_PRIVILEGES);
    for (const DWORD attributes : {DWORD{SE_PRIVILEGE_ENABLED}, DWORD{0}})
    {
        const LUID_AND_ATTRIBUTES privilege = TakeOwnership(attributes);
        SetLastError(77);
        EXPECT_TRUE(token.Adjust(privilege));
        EXPECT_EQ(GetLastError(), 0u);
    }
}

TEST(Tokens, APrivilegeThatIsNotHeldShowsInTheLastErrorAlone)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine says nothing";
    const Token token(TOKEN_ADJUST_PRIVILEGES);
    EXPECT_TRUE(token.Adjust({{0x7FFFFFFF, 0}, SE_PRIVILEGE_ENABLED}));
    EXPECT_EQ(GetLastError(), 1300u);
}

TEST(Tokens, ATokenMustBeOpenedForIt)
{
    const Token token(TOKEN_QUERY);
    const LUID_AND_ATTRIBUTES privilege = TakeOwnership();
    EXPECT_EQ(ErrorOf([&] { return token.Adjust(privilege); }), 5);
}

TEST(Tokens, TheUserIsAValidSid)
{
    const Token token(TOKEN_QUERY);
    DWORD size = 0;
    EXPECT_EQ(ErrorOf([&] { return token.GetUser(nullptr, size); }), 122);
    std::vector<BYTE> buffer(size);
    EXPECT_TRUE(token.GetUser(buffer.data(), size));
    TOKEN_USER user{};
    std::memcpy(&user, buffer.data(), sizeof user);
    EXPECT_TRUE(IsValidSid(user.User.Sid));
    EXPECT_TRUE(EqualSid(user.User.Sid, user.User.Sid));
    EXPECT_EQ(GetSidIdentifierAuthority(user.User.Sid)->Value[5], 5);
    const Token other(TOKEN_ADJUST_PRIVILEGES);
    EXPECT_EQ(ErrorOf([&] { return other.GetUser(buffer.data(), size); }), 5);
}

TEST_F(AccessLists, ASidTellsItsParts)
{
    EXPECT_EQ(*GetSidSubAuthorityCount(m_users), 2);
    EXPECT_EQ(*GetSidSubAuthority(m_users, 0), 32u);
    EXPECT_EQ(*GetSidSubAuthority(m_users, 1), 545u);
    EXPECT_EQ(GetSidIdentifierAuthority(m_users)->Value[5], 5);
    EXPECT_FALSE(EqualSid(m_users, m_administrators));
    EXPECT_TRUE(IsValidSid(m_users));
}

TEST_F(AccessLists, AHandleGivesAndTakesWhatItWasOpenedFor)
{
    const std::wstring path = WideDirectory();
    const auto open = [&](DWORD access) {
        return CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                           nullptr);
    };
    const HANDLE reading = open(READ_CONTROL);
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_EQ(GetSecurityInfo(reading, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr,
                              &descriptor),
              0u);
    EXPECT_TRUE(IsValidSid(owner));
    LocalFree(descriptor);
    EXPECT_EQ(
        SetSecurityInfo(reading, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, MakeList(), nullptr), 5u);
    EXPECT_TRUE(CloseHandle(reading));

    const HANDLE writing = open(READ_CONTROL | WRITE_DAC);
    EXPECT_EQ(SetSecurityInfo(writing, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, m_list, nullptr),
              0u);
    EXPECT_TRUE(CloseHandle(writing));
}

TEST(Tokens, MapGenericRights)
{
    const Token token(GENERIC_READ);
    DWORD size = 0;
    EXPECT_EQ(ErrorOf([&] { return token.GetUser(nullptr, size); }), 122);
    const LUID_AND_ATTRIBUTES privilege = TakeOwnership();
    EXPECT_EQ(ErrorOf([&] { return token.Adjust(privilege); }), 5);
}

TEST(Tokens, NeedAPlaceForTheHandle)
{
    EXPECT_EQ(ErrorOf([] { return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, nullptr); }), 998);
}

TEST_F(AccessLists, ADeniedGenericRightDeniesWhatItMeans)
{
    MakeKey(TestKeyName());
    const std::wstring name = ObjectNameOfKey(TestKeyName());
    EXPLICIT_ACCESS_W entries[] = {ExplicitAccess(m_users, GENERIC_WRITE, 0),
                                   ExplicitAccess(m_administrators, GENERIC_ALL, 0)};
    entries[0].grfAccessMode = DENY_ACCESS;
    entries[1].grfAccessMode = GRANT_ACCESS;
    PACL list = nullptr;
    ASSERT_EQ(SetEntriesInAclW(2, entries, nullptr, &list), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(SetError(name, SE_REGISTRY_KEY, list), 0);
    EXPECT_EQ(OpenKeyStatus(TestKeyName(), KEY_QUERY_VALUE), 0);
    EXPECT_EQ(OpenKeyStatus(TestKeyName(), KEY_SET_VALUE), 5);
    EXPECT_EQ(SetError(name, SE_REGISTRY_KEY, MakeList()), 0);
    LocalFree(list);
}

TEST_F(AccessLists, AreWantedFromAnObjectWithAName)
{
    EXPECT_EQ(SetNamedSecurityInfoW(nullptr, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, MakeList(),
                                    nullptr),
              87u);
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_EQ(GetNamedSecurityInfoW(nullptr, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                    nullptr, &descriptor),
              87u);
}

} // namespace
