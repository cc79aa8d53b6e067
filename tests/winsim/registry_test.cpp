// Proves that the registry's calls behave as Windows documents them.
#include "tests/winsim/support.h"

#include <cstring>
#include <vector>

namespace
{

// A new key of the running test, open with all access.
class TestKey
{
public:
    TestKey()
    {
        EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, TestKeyName().c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_ALL_ACCESS, nullptr, &m_key, nullptr),
                  ERROR_SUCCESS);
    }
    ~TestKey() { EXPECT_EQ(RegCloseKey(m_key), ERROR_SUCCESS); }
    TestKey(const TestKey&) = delete;
    TestKey& operator=(const TestKey&) = delete;

    operator HKEY() const { return m_key; }

    void Set(const char* name, DWORD type, const std::string& bytes) const
    {
        EXPECT_EQ(RegSetValueExA(m_key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                                 static_cast<DWORD>(bytes.size())),
                  ERROR_SUCCESS);
    }

private:
    HKEY m_key = nullptr;
};

// The result of a query. The buffer is filled with dots before.
struct Queried
{
    LSTATUS status = 0;
    DWORD type = 77;
    DWORD size = 0;
    char buffer[32];

    std::string Bytes() const { return Shown(std::string(buffer, size)); }
    std::string BytesAndNext() const { return Shown(std::string(buffer, size + 1)); }
};

Queried Query(HKEY key, const char* name, DWORD room = 32)
{
    Queried queried;
    std::memset(queried.buffer, '.', sizeof queried.buffer);
    queried.size = room;
    queried.status =
        RegQueryValueExA(key, name, nullptr, &queried.type, reinterpret_cast<BYTE*>(queried.buffer), &queried.size);
    return queried;
}

LSTATUS Open(const std::string& name, REGSAM access, HKEY* key)
{
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, access, key);
}

TEST(RegCreateKeyExA, SaysWhetherTheKeyIsNew)
{
    HKEY key = nullptr;
    DWORD disposition = 0;
    const std::string name = TestKeyName();
    for (const DWORD expected : {DWORD{REG_CREATED_NEW_KEY}, DWORD{REG_OPENED_EXISTING_KEY}})
    {
        ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                  nullptr, &key, &disposition),
                  ERROR_SUCCESS);
        EXPECT_EQ(disposition, expected);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
}

TEST(RegCreateKeyExA, MakesTheKeysOnTheWay)
{
    const TestKey parent;
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(parent, "one\\two\\three", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    ASSERT_EQ(Open(TestKeyName() + "\\one\\two", KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(RegCreateKeyExA, NeedsAName)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine opens the key itself for no name";
    const TestKey parent;
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(parent, nullptr, 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr), ERROR_BADKEY);
}

TEST(RegOpenKeyExA, FindsAKeyInEitherCaseAndWithATrailingBackslash)
{
    const TestKey existing;
    std::string upper = TestKeyName();
    for (char& c : upper)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 0x20) : c;
    for (const std::string& name : {TestKeyName(), upper, TestKeyName() + "\\"})
    {
        HKEY key = nullptr;
        EXPECT_EQ(Open(name, KEY_READ, &key), ERROR_SUCCESS) << name;
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS) << name;
    }
}

TEST(RegOpenKeyExA, OpensTheKeyItselfForNoName)
{
    const TestKey existing;
    existing.Set("v", REG_DWORD, std::string("\1\0\0\0", 4));
    for (const char* name : {static_cast<const char*>(nullptr), ""})
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegOpenKeyExA(existing, name, 0, KEY_READ, &key), ERROR_SUCCESS);
        EXPECT_EQ(Query(key, "v").status, ERROR_SUCCESS);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
}

TEST(RegOpenKeyExA, FailsForAMissingKey)
{
    HKEY key = nullptr;
    EXPECT_EQ(Open(TestKeyName(), KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Open(TestKeyName() + "\\below", KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(key == nullptr);
}

TEST(RegOpenKeyExW, FindsWhatTheAnsiFunctionMade)
{
    const TestKey parent;
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(parent, "\xE4\x80", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    ASSERT_EQ(RegOpenKeyExW(parent, L"\x00C4\x20AC", 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegOpenKeyExW(parent, L"\x00C4", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(RegOpenKeyExW(parent, nullptr, 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(RegQueryValueExA, GivesBackWhatWasSet)
{
    const std::pair<DWORD, std::string> cases[] = {
        {REG_SZ, std::string("text\0", 5)},
        {REG_SZ, std::string("\0", 1)},
        {REG_EXPAND_SZ, std::string("%windir%\0", 9)},
        {REG_MULTI_SZ, std::string("a\0bc\0\0", 6)},
        {REG_DWORD, std::string("\x01\x02\x03\x04", 4)},
        {REG_QWORD, std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8)},
        {REG_BINARY, std::string("\0\xFF\x80", 3)},
        {REG_NONE, std::string("xyz")},
        {REG_BINARY, std::string()},
        {REG_DWORD, std::string("\x01\x02", 2)}, // the size is not checked
        {200, std::string("abc")},               // nor is the type
    };
    const TestKey key;
    for (const auto& [type, bytes] : cases)
    {
        key.Set("value", type, bytes);
        const Queried queried = Query(key, "value");
        EXPECT_EQ(queried.status, ERROR_SUCCESS);
        EXPECT_EQ(queried.type, type);
        EXPECT_EQ(queried.size, bytes.size());
        EXPECT_EQ(queried.BytesAndNext(), Shown(bytes + "."));
    }
}

TEST(RegQueryValueExA, KeepsCharactersOfTheAnsiPage)
{
    const TestKey key;
    key.Set("\xDCmlaut", REG_SZ, std::string("\xE4\x80\0", 3));
    EXPECT_EQ(Query(key, "\xFCMLAUT").Bytes(), "<E4><80><00>");
}

TEST(RegQueryValueExA, SaysMoreDataWithTheNeededSize)
{
    const TestKey key;
    key.Set("text", REG_SZ, std::string("four\0", 5));
    key.Set("number", REG_DWORD, std::string("\x01\x02\x03\x04", 4));
    for (const DWORD room : {DWORD{0}, DWORD{1}, DWORD{4}})
    {
        const Queried text = Query(key, "text", room);
        EXPECT_EQ(text.status, ERROR_MORE_DATA);
        EXPECT_EQ(text.type, DWORD{REG_SZ});
        EXPECT_EQ(text.size, 5u);
    }
    const Queried number = Query(key, "number", 3);
    EXPECT_EQ(number.status, ERROR_MORE_DATA);
    EXPECT_EQ(number.type, DWORD{REG_DWORD});
    EXPECT_EQ(number.size, 4u);
    EXPECT_EQ(Query(key, "text", 5).status, ERROR_SUCCESS);
}

TEST(RegQueryValueExA, GivesTheSizeForNoBuffer)
{
    const TestKey key;
    key.Set("text", REG_SZ, std::string("four\0", 5));
    DWORD type = 77;
    DWORD size = 1;
    EXPECT_EQ(RegQueryValueExA(key, "text", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(RegQueryValueExA(key, "text", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExA(key, "other", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST(RegQueryValueExA, NeedsASizeForABuffer)
{
    const TestKey key;
    key.Set("text", REG_SZ, std::string("four\0", 5));
    BYTE data[8] = {};
    DWORD reserved = 0;
    DWORD size = sizeof data;
    EXPECT_EQ(RegQueryValueExA(key, "text", nullptr, nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(key, "text", &reserved, nullptr, data, &size), ERROR_INVALID_PARAMETER);
}

TEST(RegQueryValueExA, FailsForAMissingValue)
{
    const TestKey key;
    EXPECT_EQ(Query(key, "missing").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Query(key, nullptr).status, ERROR_FILE_NOT_FOUND);
}

TEST(RegQueryValueExA, NamesTheDefaultValueWithNullOrNothing)
{
    const TestKey key;
    key.Set(nullptr, REG_SZ, std::string("d\0", 2));
    EXPECT_EQ(Query(key, "").Bytes(), "d<00>");
    key.Set("", REG_SZ, std::string("e\0", 2));
    EXPECT_EQ(Query(key, nullptr).Bytes(), "e<00>");
}

TEST(RegSetValueExA, StoresATerminatorThatFollowsTheGivenSize)
{
    const TestKey key;
    EXPECT_EQ(RegSetValueExA(key, "text", 0, REG_SZ, reinterpret_cast<const BYTE*>("four"), 4), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "text").Bytes(), "four<00>");
}

TEST(RegSetValueExA, StoresTextWithoutATerminatorAsItIs)
{
    const TestKey key;
    EXPECT_EQ(RegSetValueExA(key, "text", 0, REG_SZ, reinterpret_cast<const BYTE*>("fourteen"), 4), ERROR_SUCCESS);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(key, "text", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 4u);
}

TEST(RegQueryValueExA, TerminatesTextWhenThereIsRoom)
{
    const TestKey key;
    EXPECT_EQ(RegSetValueExA(key, "text", 0, REG_SZ, reinterpret_cast<const BYTE*>("fourteen"), 4), ERROR_SUCCESS);
    const Queried roomy = Query(key, "text");
    EXPECT_EQ(roomy.status, ERROR_SUCCESS);
    EXPECT_EQ(roomy.size, 4u);
    EXPECT_EQ(roomy.BytesAndNext(), "four<00>");
    const Queried tight = Query(key, "text", 4);
    EXPECT_EQ(tight.status, ERROR_SUCCESS);
    EXPECT_EQ(tight.BytesAndNext(), "four.");
}

TEST(RegQueryValueExA, GivesNothingForTextOfNoBytes)
{
    const TestKey key;
    EXPECT_EQ(RegSetValueExA(key, "text", 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
    const Queried queried = Query(key, "text");
    EXPECT_EQ(queried.status, ERROR_SUCCESS);
    EXPECT_EQ(queried.type, DWORD{REG_SZ});
    EXPECT_EQ(queried.size, 0u);
    EXPECT_EQ(queried.buffer[0], '.');
}

TEST(RegDeleteValueA, RemovesAValueInEitherCaseOnce)
{
    const TestKey key;
    key.Set("value", REG_SZ, std::string("x\0", 2));
    EXPECT_EQ(RegDeleteValueA(key, "VALUE"), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "value").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueA(key, "value"), ERROR_FILE_NOT_FOUND);
}

TEST(RegDeleteValueA, RemovesTheDefaultValue)
{
    const TestKey key;
    key.Set(nullptr, REG_SZ, std::string("x\0", 2));
    EXPECT_EQ(RegDeleteValueA(key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, nullptr).status, ERROR_FILE_NOT_FOUND);
}

TEST(RegDeleteValueW, RemovesWhatTheAnsiFunctionMade)
{
    const TestKey key;
    key.Set("\xE4", REG_SZ, std::string("x\0", 2));
    EXPECT_EQ(RegDeleteValueW(key, L"\x00C4"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key, L"\x00C4"), ERROR_FILE_NOT_FOUND);
}

TEST(RegistryRights, AreThoseThatTheKeyWasOpenedWith)
{
    const TestKey existing;
    existing.Set("value", REG_SZ, std::string("x\0", 2));
    HKEY key = nullptr;
    ASSERT_EQ(Open(TestKeyName(), KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "value").status, ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExA(key, "value", 0, REG_SZ, reinterpret_cast<const BYTE*>("y"), 2), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(key, "value"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    ASSERT_EQ(Open(TestKeyName(), KEY_SET_VALUE, &key), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "value").status, ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(key, "value"), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(RegCloseKey, LeavesAPredefinedKeyOpen)
{
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(RegCloseKey, LeavesNothingToUse)
{
    MisusesHandles();
    HKEY key = nullptr;
    HKEY below = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, &key), ERROR_SUCCESS);
    ASSERT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Query(key, "value").status, ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegSetValueExA(key, "value", 0, REG_SZ, reinterpret_cast<const BYTE*>("y"), 2), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegDeleteValueA(key, "value"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegOpenKeyExA(key, "Microsoft", 0, KEY_READ, &below), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCreateKeyExA(key, "x", 0, nullptr, 0, KEY_READ, nullptr, &below, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
}

// ---- Predefined keys ----

TEST(PredefinedKeys, AreNotOpenedAgain)
{
    for (const char* name : {static_cast<const char*>(nullptr), ""})
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, &key), ERROR_SUCCESS);
        EXPECT_TRUE(key == HKEY_LOCAL_MACHINE);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
}

TEST(PredefinedKeys, HaveValuesLikeOthers)
{
    EXPECT_EQ(Query(HKEY_CURRENT_USER, "Kelo").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegSetValueExA(HKEY_CURRENT_USER, "Kelo", 0, REG_SZ, reinterpret_cast<const BYTE*>("x"), 2),
              ERROR_SUCCESS);
    EXPECT_EQ(Query(HKEY_CURRENT_USER, "Kelo").Bytes(), "x<00>");
    EXPECT_EQ(RegDeleteValueA(HKEY_CURRENT_USER, "Kelo"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueA(HKEY_CURRENT_USER, "Kelo"), ERROR_FILE_NOT_FOUND);
}

TEST(PredefinedKeys, StayWhenTheyAreDeleted)
{
    EXPECT_NE(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L""), ERROR_SUCCESS);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(PredefinedKeys, OfTheMachineTakeNoKeysOfPrograms)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine makes the key";
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Kelo", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_INVALID_PARAMETER);
}

// ---- Names ----

TEST(KeyNames, DoNotBeginWithABackslash)
{
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "\\SOFTWARE", 0, KEY_READ, &key), ERROR_BAD_PATHNAME);
    const TestKey parent;
    EXPECT_EQ(RegCreateKeyExA(parent, "\\x", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr), ERROR_BAD_PATHNAME);
}

TEST(KeyNames, MayHaveMoreBackslashesThanOne)
{
    const TestKey parent;
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(parent, "one\\two", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    ASSERT_EQ(RegOpenKeyExA(parent, "one\\\\two\\\\", 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(KeyNames, HaveAtMost255Characters)
{
    const TestKey parent;
    HKEY key = nullptr;
    const std::string longest(255, 'k');
    ASSERT_EQ(RegCreateKeyExA(parent, longest.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    if (IsOnWine())
        GTEST_SKIP() << "Wine has another error for longer names";
    const std::string tooLong(300, 'k');
    EXPECT_EQ(RegCreateKeyExA(parent, tooLong.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(parent, tooLong.c_str(), 0, KEY_READ, &key), ERROR_INVALID_PARAMETER);
}

// ---- Results ----

TEST(RegOpenKeyExA, GivesNoKeyWhenItFails)
{
    HKEY key = HKEY_CURRENT_USER;
    EXPECT_EQ(Open(TestKeyName(), KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(key == nullptr);
    if (IsOnWine())
        GTEST_SKIP() << "Wine faults without a place for the key";
    EXPECT_EQ(Open("SOFTWARE", KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
}

TEST(RegSetValueExA, NeedsTheDataOfItsSize)
{
    const TestKey key;
    EXPECT_EQ(RegSetValueExA(key, "value", 0, REG_BINARY, nullptr, 4), ERROR_NOACCESS);
    EXPECT_TRUE(Faults([&] { RegSetValueExA(key, "value", 0, REG_SZ, nullptr, 4); }));
    EXPECT_EQ(Query(key, "value").status, ERROR_FILE_NOT_FOUND);
}

// ---- Rights ----

TEST(RegistryRights, AreMappedFromGenericOnes)
{
    const TestKey existing;
    existing.Set("value", REG_SZ, std::string("x\0", 2));
    HKEY key = nullptr;
    ASSERT_EQ(Open(TestKeyName(), GENERIC_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "value").status, ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueA(key, "value"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    ASSERT_EQ(Open(TestKeyName(), GENERIC_WRITE, &key), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "value").status, ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(key, "value"), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(RegistryRights, AreAllThatThereAreWhenTheMostIsAskedFor)
{
    const TestKey existing;
    HKEY key = nullptr;
    ASSERT_EQ(Open(TestKeyName(), MAXIMUM_ALLOWED, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExA(key, "value", 0, REG_SZ, reinterpret_cast<const BYTE*>("y"), 2), ERROR_SUCCESS);
    EXPECT_EQ(Query(key, "value").status, ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

// ---- Deleted keys ----

TEST(RegDeleteKeyW, DeletesAKeyWithoutSubkeys)
{
    const TestKey parent;
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(parent, "one\\two", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(parent, L"one"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(parent, L"one\\two"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(parent, L"one\\two"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyW(parent, L"ONE\\"), ERROR_SUCCESS);
    EXPECT_EQ(RegOpenKeyExA(parent, "one", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyW(parent, nullptr), ERROR_INVALID_PARAMETER);
}

// The status of each call on a key's handle.
std::vector<LSTATUS> StatusesOf(HKEY key)
{
    HKEY below = nullptr;
    return {Query(key, "value").status,
            RegSetValueExA(key, "value", 0, REG_SZ, reinterpret_cast<const BYTE*>("y"), 2),
            RegDeleteValueA(key, "value"),
            RegOpenKeyExA(key, nullptr, 0, KEY_READ, &below),
            RegOpenKeyExA(key, "below", 0, KEY_READ, &below),
            RegCreateKeyExA(key, "below", 0, nullptr, 0, KEY_READ, nullptr, &below, nullptr),
            RegDeleteKeyW(key, L"below")};
}

TEST(DeletedKeys, CanOnlyBeClosed)
{
    HKEY key = nullptr;
    {
        const TestKey same;
        same.Set("value", REG_SZ, std::string("x\0", 2));
        ASSERT_EQ(Open(TestKeyName(), KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteKeyW(same, L""), ERROR_SUCCESS);
    }
    EXPECT_EQ(StatusesOf(key), std::vector<LSTATUS>(7, ERROR_KEY_DELETED));
    const TestKey another;
    another.Set("value", REG_SZ, std::string("x\0", 2));
    EXPECT_EQ(StatusesOf(key), std::vector<LSTATUS>(7, ERROR_KEY_DELETED));
    EXPECT_EQ(Query(another, "value").status, ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

} // namespace
