// Proves that libraries are loaded and their functions found as Windows documents it.
#include "tests/winsim/support.h"

#include <shlobj.h>

namespace
{

LSTATUS LoadError(const std::string& name)
{
    return ErrorOf([&] {
        const HMODULE library = LoadLibraryA(name.c_str());
        return library != nullptr && FreeLibrary(library);
    });
}

TEST(LoadLibrary, FindsALibraryOfWindowsByItsName)
{
    for (const char* name : {"kernel32.dll", "KERNEL32.DLL", "kernel32"})
        EXPECT_EQ(LoadError(name), 0) << name;
    const HMODULE library = LoadLibraryW(L"kernel32.dll");
    ASSERT_TRUE(library != nullptr);
    EXPECT_TRUE(FreeLibrary(library));
}

TEST(LoadLibrary, OpensANameThatIsTakenAsItStands)
{
    const std::string system = FolderPath(CSIDL_SYSTEM);
    const std::string folder = R"(\\?\)" + system;
    EXPECT_EQ(LoadError(folder + "\\bcrypt.dll"), 0);
    EXPECT_EQ(LoadError(folder + "\\bcrypt"), 0);
    EXPECT_EQ(LoadError(folder + "\\.\\bcrypt.dll"), 126);
    EXPECT_EQ(LoadError(system.substr(2) + "\\bcrypt.dll"), 0);
}

TEST(LoadLibrary, AMissingLibraryIsAModuleThatWasNotFound)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(LoadError(top + "\\none.dll"), 126);
    EXPECT_EQ(LoadError(top + "\\none\\none.dll"), 126);
    EXPECT_EQ(LoadError("kelo-none.dll"), 126);
    EXPECT_EQ(ErrorOf([&] { return LoadLibraryW(L"kelo-none.dll") != nullptr; }), 126);
}

TEST(LoadLibrary, AFileThatIsNoLibraryHasABadFormat)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not find it";
    const std::string path = TestDirectory() + "\\text.dll";
    MakeFile(path, "text");
    EXPECT_EQ(LoadError(path), 193);
}

TEST(LoadLibraryA, RefusesANameThatIsTooLong)
{
    EXPECT_EQ(LoadError("C:\\" + std::string(300, 'x')), 206);
}

TEST(GetProcAddress, ComparesNamesWithTheirCase)
{
    const HMODULE library = LoadLibraryA("kernel32.dll");
    ASSERT_TRUE(library != nullptr);
    EXPECT_TRUE(GetProcAddress(library, "GetTickCount") != nullptr);
    for (const char* name : {"gettickcount", "GetTickCountOfNobody", ""})
    {
        EXPECT_EQ(ErrorOf([&] { return GetProcAddress(library, name) != nullptr; }), 127) << name;
    }
    EXPECT_TRUE(FreeLibrary(library));
}

TEST(GetProcAddress, GivesAFunctionThatCanBeCalled)
{
    const HMODULE library = LoadLibraryA("kernel32.dll");
    ASSERT_TRUE(library != nullptr);
    const auto tickCount =
        reinterpret_cast<DWORD(WINAPI*)()>(reinterpret_cast<void*>(GetProcAddress(library, "GetTickCount")));
    ASSERT_TRUE(tickCount != nullptr);
    const DWORD before = GetTickCount();
    EXPECT_LT(tickCount() - before, 60000u);
    EXPECT_TRUE(FreeLibrary(library));
}

TEST(GetModuleFileNameA, CutsAPathThatIsTooLong)
{
    char path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string whole = path;
    EXPECT_EQ(length, whole.size());
    EXPECT_EQ(whole.substr(1, 2), ":\\");

    SetLastError(ERROR_SUCCESS);
    char few[4] = {};
    EXPECT_EQ(GetModuleFileNameA(nullptr, few, sizeof few), sizeof few);
    EXPECT_EQ(GetLastError(), 122u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine cuts the terminator off too";
    EXPECT_EQ(std::string(few), whole.substr(0, 3));
}

TEST(SetErrorMode, GivesTheModeBeforeBack)
{
    const UINT before = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    EXPECT_EQ(SetErrorMode(0), 0x8001u);
    EXPECT_EQ(SetErrorMode(before), 0u);
}

} // namespace
