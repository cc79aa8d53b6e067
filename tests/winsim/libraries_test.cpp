// Proves that libraries are loaded and their functions found as Windows documents it.
#include "tests/winsim/support.h"

#include <share.h>
#include <shlobj.h>

#include <cstdio>

namespace
{

DWORD LoadError(const std::string& name)
{
    SetLastError(ERROR_SUCCESS);
    const HMODULE library = LoadLibraryA(name.c_str());
    const DWORD error = GetLastError();
    if (library == nullptr)
        return error;
    EXPECT_TRUE(FreeLibrary(library));
    return ERROR_SUCCESS;
}

TEST(LoadLibrary, FindsALibraryOfWindowsByItsName)
{
    for (const char* name : {"kernel32.dll", "KERNEL32.DLL", "kernel32"})
        EXPECT_EQ(LoadError(name), 0u) << name;
    const HMODULE library = LoadLibraryW(L"kernel32.dll");
    ASSERT_TRUE(library != nullptr);
    EXPECT_TRUE(FreeLibrary(library));
}

TEST(LoadLibrary, OpensANameThatIsTakenAsItStands)
{
    char system[MAX_PATH] = {};
    ASSERT_EQ(SHGetFolderPathA(nullptr, CSIDL_SYSTEM, nullptr, SHGFP_TYPE_CURRENT, system), S_OK);
    const std::string folder = R"(\\?\)" + std::string(system);
    EXPECT_EQ(LoadError(folder + "\\bcrypt.dll"), 0u);
    EXPECT_EQ(LoadError(folder + "\\bcrypt"), 0u);
    EXPECT_EQ(LoadError(folder + "\\.\\bcrypt.dll"), 126u);
    EXPECT_EQ(LoadError(std::string(system).substr(2) + "\\bcrypt.dll"), 0u);
}

TEST(LoadLibrary, AMissingLibraryIsAModuleThatWasNotFound)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(LoadError(top + "\\none.dll"), 126u);
    EXPECT_EQ(LoadError(top + "\\none\\none.dll"), 126u);
    EXPECT_EQ(LoadError("kelo-none.dll"), 126u);
    SetLastError(ERROR_SUCCESS);
    EXPECT_TRUE(LoadLibraryW(L"kelo-none.dll") == nullptr);
    EXPECT_EQ(GetLastError(), 126u);
}

TEST(LoadLibrary, AFileThatIsNoLibraryHasABadFormat)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not find it";
    const std::string path = TestDirectory() + "\\text.dll";
    std::FILE* file = _fsopen(path.c_str(), "a", _SH_DENYNO);
    ASSERT_TRUE(file != nullptr);
    EXPECT_GE(std::fputs("text", file), 0);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(LoadError(path), 193u);
}

TEST(LoadLibraryA, RefusesANameThatIsTooLong)
{
    EXPECT_EQ(LoadError("C:\\" + std::string(300, 'x')), 206u);
}

TEST(GetProcAddress, ComparesNamesWithTheirCase)
{
    const HMODULE library = LoadLibraryA("kernel32.dll");
    ASSERT_TRUE(library != nullptr);
    EXPECT_TRUE(GetProcAddress(library, "GetTickCount") != nullptr);
    for (const char* name : {"gettickcount", "GetTickCountOfNobody", ""})
    {
        SetLastError(ERROR_SUCCESS);
        EXPECT_TRUE(GetProcAddress(library, name) == nullptr) << name;
        EXPECT_EQ(GetLastError(), 127u) << name;
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
