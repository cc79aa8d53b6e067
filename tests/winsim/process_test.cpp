// Proves that the calls about the process itself behave as Windows documents them: command line, memory, environment,
// last error.
#include "tests/winsim/support.h"

#include <shellapi.h>

#include <cstring>
#include <vector>

namespace
{

// The words of a command line after the program's name, in the Shown form and separated by bars.
std::string Words(const wchar_t* line, int first)
{
    int count = 0;
    LPWSTR* words = CommandLineToArgvW(line, &count);
    if (words == nullptr)
        return "failed";
    std::string shown;
    for (int i = first; i < count; ++i)
        shown += (i > first ? "|" : "") + Shown(words[i]);
    EXPECT_TRUE(words[count] == nullptr);
    EXPECT_TRUE(LocalFree(words) == nullptr);
    return shown;
}

TEST(CommandLineToArgvW, SplitsTheArguments)
{
    struct Case
    {
        const wchar_t* line;
        const char* words;
    };
    constexpr Case kCases[] = {
        {L"p", ""},
        {L"p a b", "a|b"},
        {L"p  a\t b  ", "a|b"},
        {L"p \"a b\" c", "a b|c"},
        {L"p a\" \"b", "a b"},
        {L"p \"\"", ""},
        {L"p \"\" b", "|b"},
        {L"p a\"\"b", "ab"},
        {L"p \"a b", "a b"},
        {L"p \"a b ", "a b "},
        {L"p \"", ""},
        {L"p a\\b", "a\\b"},
        {L"p a\\\\b", "a\\\\b"},
        {L"p \"a\\b\"", "a\\b"},
        {L"p a\\\"b", "a\"b"},
        {L"p a\\\\\"b c\"", "a\\b c"},
        {L"p a\\\\\\\"b", "a\\\"b"},
        {L"p \"a\\\\\" b", "a\\|b"},
        {L"p \"a\\\" b", "a\" b"},
        {L"p C:\\x\\ b", "C:\\x\\|b"},
        {L"p \"C:\\x y\\\\\" b", "C:\\x y\\|b"},
        {L"p a\\", "a\\"},
        {L"p \\", "\\"},
        {L"p \"a\"\"b\" c", "a\"b c"},
        {L"p \"a\"\"\"b c", "a\"b c"},
        {L"p \"\"\"a b\"\"\" c", "\"a|b\"|c"},
        {L"p /X=\"a b\" /Y", "/X=a b|/Y"},
        {L"p a\nb", "a<000A>b"},
        {L"p \x00E4\x4E00", "<00E4><4E00>"},
    };
    for (const Case& c : kCases)
        EXPECT_EQ(Words(c.line, 1), c.words) << Shown(c.line);
}

TEST(CommandLineToArgvW, TakesTheProgramsNameLiterally)
{
    constexpr std::pair<const wchar_t*, const char*> kCases[] = {
        {L"p", "p"},
        {L"C:\\x\\p.exe a", "C:\\x\\p.exe|a"},
        {L"\"C:\\x y\\p.exe\" a", "C:\\x y\\p.exe|a"},
        {L"\"C:\\x y\\\" a", "C:\\x y\\|a"}, // a backslash has no special meaning here
        {L"\"C:\\x y", "C:\\x y"},
        {L"\"\" a", "|a"},
        {L" a b", "|a|b"},
        {L"\ta", "|a"},
        {L"x\"y z\" a", "x\"y|z a"},
        {L"\"p\"a b", "p|a|b"},
    };
    for (const auto& [line, words] : kCases)
        EXPECT_EQ(Words(line, 0), words) << Shown(line);
}

TEST(CommandLineToArgvW, GivesTheProgramsPathForAnEmptyLine)
{
    const std::string words = Words(L"", 0);
    EXPECT_NE(words.find(":\\"), std::string::npos) << words;
    EXPECT_EQ(words.find('|'), std::string::npos) << words;
}

TEST(GetCommandLineW, StaysTheSame)
{
    LPWSTR line = GetCommandLineW();
    ASSERT_TRUE(line != nullptr);
    EXPECT_NE(Shown(line), "");
    EXPECT_TRUE(GetCommandLineW() == line);
}

TEST(LocalAlloc, ZeroesWhenAsked)
{
    auto* block = static_cast<unsigned char*>(LocalAlloc(LPTR, 1000));
    ASSERT_TRUE(block != nullptr);
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(block[i], 0) << i;
    EXPECT_TRUE(LocalFree(block) == nullptr);
}

TEST(LocalAlloc, GivesABlockOfItsOwnForNoBytes)
{
    void* first = LocalAlloc(LMEM_FIXED, 0);
    void* second = LocalAlloc(LMEM_FIXED, 0);
    EXPECT_TRUE(first != nullptr);
    EXPECT_TRUE(second != nullptr);
    EXPECT_TRUE(first != second);
    EXPECT_TRUE(LocalFree(first) == nullptr);
    EXPECT_TRUE(LocalFree(second) == nullptr);
}

TEST(LocalFree, TakesNull)
{
    EXPECT_TRUE(LocalFree(nullptr) == nullptr);
}

TEST(GetEnvironmentVariableA, GivesTheLengthWithoutTheTerminator)
{
    char value[16] = "";
    EXPECT_EQ(GetEnvironmentVariableA("KELO_CONFORMANCE", value, sizeof value), 8u);
    EXPECT_STREQ(value, "seven ch");
    EXPECT_EQ(GetEnvironmentVariableA("Kelo_Conformance", value, 9), 8u);
}

TEST(GetEnvironmentVariableA, GivesTheNeededSizeWithTheTerminator)
{
    char value[16] = "untouched";
    EXPECT_EQ(GetEnvironmentVariableA("KELO_CONFORMANCE", value, 8), 9u);
    EXPECT_EQ(GetEnvironmentVariableA("KELO_CONFORMANCE", nullptr, 0), 9u);
}

TEST(GetEnvironmentVariableA, FailsForAnUnknownName)
{
    char value[16] = "untouched";
    EXPECT_EQ(ErrorOf([&] { return GetEnvironmentVariableA("KELO_CONFORMANCE_NOT", value, sizeof value) != 0; }),
              ERROR_ENVVAR_NOT_FOUND);
}

TEST(GetCurrentProcess, IsThePseudoHandle)
{
    EXPECT_TRUE(GetCurrentProcess() == INVALID_HANDLE_VALUE);
}

TEST(GetCurrentProcessId, AndThreadIdAreNumbersThatStay)
{
    EXPECT_NE(GetCurrentProcessId(), 0u);
    EXPECT_EQ(GetCurrentProcessId(), GetCurrentProcessId());
    EXPECT_NE(GetCurrentThreadId(), 0u);
    EXPECT_EQ(GetCurrentThreadId(), GetCurrentThreadId());
}

TEST(SetDllDirectoryW, TakesAFolderNoFolderAndNull)
{
    EXPECT_TRUE(SetDllDirectoryW(L"C:\\Windows"));
    EXPECT_TRUE(SetDllDirectoryW(L""));
    EXPECT_TRUE(SetDllDirectoryW(nullptr));
}

TEST(GetLastError, KeepsWhatWasSetOverCallsThatSucceed)
{
    SetLastError(4711);
    EXPECT_EQ(GetLastError(), 4711u);
    MultiByteToWideChar(CP_ACP, 0, "a", -1, nullptr, 0);
    GetTickCount();
    EXPECT_EQ(GetLastError(), 4711u);
}

// ---- Null pointers ----

TEST(NullPointers, FaultWhereWindowsDoesNotCheckThem)
{
    EXPECT_TRUE(Faults([] { GetSystemTime(nullptr); }));
    EXPECT_FALSE(Faults([] { GetTickCount(); }));
}

TEST(NullPointers, AreMissingNames)
{
    char text[16] = {};
    SetLastError(0);
    EXPECT_EQ(GetEnvironmentVariableA(nullptr, text, sizeof text), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ENVVAR_NOT_FOUND));
    EXPECT_EQ(GetFileAttributesW(nullptr), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(LoadLibraryA(nullptr) == nullptr);
    const HMODULE library = LoadLibraryA("kernel32.dll");
    EXPECT_TRUE(GetProcAddress(library, nullptr) == nullptr);
    EXPECT_TRUE(FreeLibrary(library));
}

} // namespace
