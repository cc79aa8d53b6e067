// Proves that the calls on files behave as Windows documents them, with its errors.
#include "tests/winsim/support.h"

namespace
{

void MakeReadOnlyFile(const std::string& path)
{
    const HANDLE file =
        CreateFileW(Wide(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_READONLY, nullptr);
    ASSERT_TRUE(file != INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(file));
}

// The error of a call in its narrow and its wide form.
template <typename First, typename Second>
LSTATUS SameError(First narrow, Second wide)
{
    const LSTATUS error = ErrorOf(narrow);
    EXPECT_EQ(ErrorOf(wide), error);
    return error;
}

LSTATUS CopyError(const std::string& from, const std::string& to, BOOL failIfExists)
{
    return SameError([&] { return CopyFileA(from.c_str(), to.c_str(), failIfExists); },
                     [&] { return CopyFileW(Wide(from).c_str(), Wide(to).c_str(), failIfExists); });
}

LSTATUS DeleteError(const std::string& path)
{
    return ErrorOf([&] { return DeleteFileA(path.c_str()); });
}

LSTATUS MoveError(const std::string& from, const std::string& to)
{
    return ErrorOf([&] { return MoveFileA(from.c_str(), to.c_str()); });
}

LSTATUS AttributesError(const std::string& path)
{
    return SameError([&] { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; },
                     [&] { return GetFileAttributesW(Wide(path).c_str()) != INVALID_FILE_ATTRIBUTES; });
}

// ---- Attributes ----

TEST(GetFileAttributes, TellsFilesFromDirectories)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    EXPECT_EQ(GetFileAttributesA(top.c_str()) & FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(GetFileAttributesA((top + "\\file").c_str()), FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(GetFileAttributesW(Wide(top + "\\FILE").c_str()), FILE_ATTRIBUTE_ARCHIVE);
}

TEST(GetFileAttributes, SaysWhetherTheFileOrItsDirectoryIsMissing)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    EXPECT_EQ(AttributesError(top + "\\none"), 2);
    EXPECT_EQ(AttributesError(top + "\\none\\none"), 3);
    EXPECT_EQ(AttributesError(top + "\\file\\none"), 3);
    EXPECT_EQ(AttributesError(""), 3);
}

TEST(GetFileAttributes, KnowsNamesThatCannotBe)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes them for missing";
    EXPECT_EQ(AttributesError(":\\NTRU\\bin\\TSP1_x64.dll"), 123);
    EXPECT_EQ(AttributesError("C:\\what?"), 123);
}

TEST(GetFileAttributes, ResolvesSteps)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    EXPECT_EQ(AttributesError(top + "\\.\\file"), 0);
    EXPECT_EQ(AttributesError(top + "\\none\\..\\file"), 0);
    EXPECT_EQ(AttributesError(top + "\\\\file"), 0);
    EXPECT_EQ(AttributesError(top + "/file"), 0);
}

// ---- Names ----

bool AreOneName(const wchar_t* made, const wchar_t* asked)
{
    const std::wstring top = Wide(TestDirectory()) + L"\\";
    const HANDLE file = CreateFileW((top + made).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    EXPECT_TRUE(file != INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(file));
    const bool found = GetFileAttributesW((top + asked).c_str()) != INVALID_FILE_ATTRIBUTES;
    EXPECT_TRUE(MoveFileExW(top.c_str(), (top.substr(0, top.size() - 1) + L"-" + made).c_str(), 0));
    return found;
}

TEST(FileNames, LettersOfEitherCaseAreOne)
{
    EXPECT_TRUE(AreOneName(L"stkprobe.dll", L"STKPROBE.DLL"));
    EXPECT_TRUE(AreOneName(L"\u00E9", L"\u00C9")); // an accent
    EXPECT_TRUE(AreOneName(L"\u0436", L"\u0416")); // Cyrillic
    EXPECT_TRUE(AreOneName(L"\u03C3", L"\u03A3")); // Greek sigma
    EXPECT_TRUE(AreOneName(L"\u00FF", L"\u0178")); // a y with two dots
}

TEST(FileNames, LettersThatAreOnlyRelatedAreNot)
{
    EXPECT_FALSE(AreOneName(L"\u0131", L"I"));      // the dotless i
    EXPECT_FALSE(AreOneName(L"\u0130", L"i"));      // the capital i with a dot
    EXPECT_FALSE(AreOneName(L"\u00B5", L"\u039C")); // the micro sign and a capital mu
    EXPECT_FALSE(AreOneName(L"\u017F", L"S"));      // the long s
    EXPECT_FALSE(AreOneName(L"\u00DF", L"SS"));     // the sharp s
}

TEST(FileNames, LoseWhatWindowsDoesNotCount)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    for (const char* name : {"\\file.", "\\file ", "\\file. .", "\\.\\file", "\\\\file", "\\none\\..\\file", "/file"})
        EXPECT_EQ(AttributesError(top + name), 0u) << name;
    EXPECT_EQ(AttributesError(top + ".\\file"), 0);
    EXPECT_EQ(AttributesError(top + "\\file\\."), 0);
    EXPECT_EQ(AttributesError(top + "\\file\\none\\.."), 0);
    EXPECT_EQ(AttributesError(top + " \\file"), 3);
    EXPECT_EQ(AttributesError(top + "...\\file"), 3);
}

TEST(FileNames, BeginAtTheRootOfAnotherDrive)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine has no drive Q";
    EXPECT_EQ(AttributesError("Q:none"), 3);
}

TEST(FileNames, OfOneStepHaveAtMost255Characters)
{
    const std::string top = TestDirectory();
    const std::wstring longest = Wide(R"(\\?\)" + top + "\\") + std::wstring(255, L'x');
    const auto attributesError = [](const std::wstring& name) {
        return ErrorOf([&] { return GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES; });
    };
    EXPECT_EQ(attributesError(longest), 2);
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes a longer name for a missing file";
    EXPECT_EQ(attributesError(longest + L"x"), 123);
}

// ---- Names that are taken as they stand ----

std::string Literal(const std::string& path)
{
    return R"(\\?\)" + path;
}

TEST(LiteralNames, AreOpenedByEveryCall)
{
    const std::string top = Literal(TestDirectory());
    MakeFile(top + "\\one");
    EXPECT_EQ(AttributesError(top + "\\ONE"), 0);
    EXPECT_EQ(AttributesError(top + "\\"), 0);
    EXPECT_EQ(CopyError(top + "\\one", top + "\\two", FALSE), 0);
    EXPECT_EQ(MoveError(top + "\\two", top + "\\three"), 0);
    EXPECT_TRUE(MoveFileExW(Wide(top + "\\three").c_str(), Wide(top + "\\four").c_str(), 0));
    EXPECT_TRUE(MoveFileExW(Wide(top + "\\four").c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT));
    EXPECT_TRUE(Exists(top.substr(4) + "\\four"));
    EXPECT_EQ(DeleteError(top + "\\four"), 0);
    MakeReadOnlyFile(top + "\\five");
    EXPECT_EQ(DeleteError(top.substr(4) + "\\five"), 5);
}

TEST(LiteralNames, SayWhatIsMissing)
{
    const std::string top = Literal(TestDirectory());
    EXPECT_EQ(AttributesError(top + "\\none"), 2);
    EXPECT_EQ(AttributesError(top + "\\none\\none"), 3);
}

TEST(LiteralNames, HaveNothingResolvedOrDropped)
{
    const std::string top = Literal(TestDirectory());
    MakeFile(top + "\\one");
    for (const char* name : {"\\.\\one", "\\none\\..\\one", "\\\\one", "/one", "\\what?"})
        EXPECT_EQ(AttributesError(top + name), 123) << name;
    EXPECT_EQ(AttributesError(top + "\\one."), 2);
    EXPECT_EQ(AttributesError(top + "\\one "), 2);
    EXPECT_EQ(AttributesError(R"(\\?\)"), 123);
}

TEST(LiteralNames, MayBeLongerThanOthers)
{
    const std::wstring path = Wide(Literal(TestDirectory())) + L"\\" + std::wstring(250, L'x');
    const HANDLE made = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_TRUE(made != INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(made));
    EXPECT_TRUE(GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES);
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes a wide name of any length";
    EXPECT_EQ(ErrorOf([&] { return GetFileAttributesW(path.c_str() + 4) != INVALID_FILE_ATTRIBUTES; }), 3u);
}

TEST(DeviceNames, AreResolvedLikeOthers)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    EXPECT_EQ(AttributesError(R"(\\.\)" + top + "\\.\\file"), 0);
    EXPECT_EQ(AttributesError("//?/" + top + "/none/../file"), 0);
}

TEST(SharedNames, AreOnNoComputerThatIsThere)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine has another error for the computer";
    EXPECT_EQ(AttributesError(R"(\\kelo-none\share\file)"), 53);
    EXPECT_EQ(AttributesError(R"(\\?\UNC\kelo-none\share\file)"), 53);
}

TEST(RootedNames, AreOnTheCurrentDrive)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    EXPECT_EQ(AttributesError(top.substr(2) + "\\file"), 0);
    EXPECT_EQ(CopyError(top.substr(2) + "\\file", top.substr(2) + "\\copy", FALSE), 0);
    EXPECT_TRUE(Exists(top + "\\copy"));
}

// ---- Copies ----

TEST(CopyFile, CopiesOverAFileUnlessItIsToFail)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    MakeFile(top + "\\two");
    EXPECT_EQ(CopyError(top + "\\one", top + "\\three", FALSE), 0);
    EXPECT_EQ(CopyError(top + "\\one", top + "\\two", FALSE), 0);
    EXPECT_EQ(CopyError(top + "\\one", top + "\\two", TRUE), 80);
    EXPECT_EQ(CopyError(top + "\\one", top + "\\TWO", TRUE), 80);
    EXPECT_TRUE(Exists(top + "\\one") && Exists(top + "\\three"));
}

TEST(CopyFile, SaysWhatIsMissing)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    EXPECT_EQ(CopyError(top + "\\none", top + "\\two", FALSE), 2);
    EXPECT_EQ(CopyError(top + "\\none\\none", top + "\\two", FALSE), 3);
    EXPECT_EQ(CopyError(top + "\\one", top + "\\none\\two", FALSE), 3);
    EXPECT_EQ(CopyError(top + "\\none", top + "\\one", TRUE), 2);
    EXPECT_EQ(CopyError("", top + "\\two", FALSE), 3);
    EXPECT_EQ(CopyError(top + "\\one", "", FALSE), 3);
}

TEST(CopyFile, CopiesNoDirectory)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    EXPECT_EQ(CopyError(top, top + "\\two", FALSE), 5);
    EXPECT_EQ(CopyError(top + "\\one", top, FALSE), 5);
    EXPECT_EQ(CopyError(top + "\\one", top, TRUE), 80);
}

TEST(CopyFile, CopiesNoFileOntoItself)
{
    const std::string path = TestDirectory() + "\\one";
    MakeFile(path);
    EXPECT_EQ(CopyError(path, path, FALSE), 32);
}

TEST(CopyFile, TakesTheAttributesAlong)
{
    const std::string top = TestDirectory();
    MakeReadOnlyFile(top + "\\one");
    EXPECT_TRUE(CopyFileA((top + "\\one").c_str(), (top + "\\two").c_str(), FALSE));
    EXPECT_EQ(GetFileAttributesA((top + "\\two").c_str()), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
}

TEST(CopyFile, ReplacesNoReadOnlyFile)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine replaces it";
    const std::string top = TestDirectory();
    MakeReadOnlyFile(top + "\\one");
    MakeFile(top + "\\two");
    EXPECT_EQ(CopyError(top + "\\two", top + "\\one", FALSE), 5);
}

TEST(CopyFileA, RefusesANameThatIsTooLong)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    const std::string name = top + "\\" + std::string(260, 'x');
    EXPECT_EQ(ErrorOf([&] { return CopyFileA(name.c_str(), (top + "\\two").c_str(), FALSE); }), 206u);
    EXPECT_EQ(DeleteError(name), 206);
    if (IsOnWine())
        GTEST_SKIP() << "Wine loses the error of the second name";
    EXPECT_EQ(ErrorOf([&] { return CopyFileA((top + "\\one").c_str(), name.c_str(), FALSE); }), 206u);
}

// ---- Deletion ----

TEST(DeleteFile, DeletesAFileAlone)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    EXPECT_EQ(DeleteError(top + "\\ONE"), 0);
    EXPECT_FALSE(Exists(top + "\\one"));
    EXPECT_EQ(DeleteError(top + "\\one"), 2);
    EXPECT_EQ(DeleteError(top + "\\none\\one"), 3);
    EXPECT_EQ(DeleteError(top), 5);
    EXPECT_EQ(DeleteError(""), 3);
    EXPECT_EQ(ErrorOf([&] { return DeleteFileW(Wide(top + "\\one").c_str()); }), 2u);
}

TEST(DeleteFile, DeletesNoReadOnlyFile)
{
    const std::string path = TestDirectory() + "\\one";
    MakeReadOnlyFile(path);
    EXPECT_EQ(DeleteError(path), 5);
    EXPECT_TRUE(Exists(path));
}

// ---- Moves ----

TEST(MoveFile, GivesAFileAnotherName)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    EXPECT_EQ(MoveError(top + "\\one", top + "\\two"), 0);
    EXPECT_FALSE(Exists(top + "\\one"));
    EXPECT_TRUE(Exists(top + "\\two"));
    EXPECT_EQ(MoveError(top + "\\two", top + "\\TWO"), 0);
    EXPECT_TRUE(Exists(top + "\\two"));
}

TEST(MoveFile, MovesADirectoryWithWhatIsInIt)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    EXPECT_EQ(MoveError(top, top + "-moved"), 0);
    EXPECT_FALSE(Exists(top));
    EXPECT_TRUE(Exists(top + "-moved\\file"));
}

TEST(MoveFile, ReplacesNothing)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    MakeFile(top + "\\two");
    EXPECT_EQ(MoveError(top + "\\one", top + "\\two"), 183);
    EXPECT_EQ(MoveError(top + "\\none", top + "\\two"), 2);
    EXPECT_EQ(MoveError(top + "\\none\\one", top + "\\three"), 3);
    EXPECT_EQ(MoveError(top + "\\one", top + "\\none\\two"), 3);
    EXPECT_TRUE(Exists(top + "\\one"));
}

TEST(MoveFile, MovesAReadOnlyFile)
{
    const std::string top = TestDirectory();
    MakeReadOnlyFile(top + "\\one");
    EXPECT_EQ(MoveError(top + "\\one", top + "\\two"), 0);
    EXPECT_EQ(DeleteError(top + "\\two"), 5);
}

TEST(MoveFileEx, ReplacesWhenItMay)
{
    const std::string top = TestDirectory();
    const std::wstring one = Wide(top + "\\one");
    const std::wstring two = Wide(top + "\\two");
    MakeFile(top + "\\one");
    MakeFile(top + "\\two");
    EXPECT_EQ(ErrorOf([&] { return MoveFileExW(one.c_str(), two.c_str(), 0); }), 183u);
    EXPECT_EQ(ErrorOf([&] { return MoveFileExW(one.c_str(), two.c_str(), MOVEFILE_REPLACE_EXISTING); }), 0u);
    EXPECT_FALSE(Exists(top + "\\one"));
}

TEST(MoveFileEx, LeavesAFileInPlaceThatItMovesLater)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    EXPECT_TRUE(MoveFileExW(Wide(top + "\\one").c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT));
    EXPECT_TRUE(Exists(top + "\\one"));
}

// ---- Opening ----

LSTATUS OpenError(const std::string& path, DWORD access, DWORD disposition)
{
    SetLastError(ERROR_SUCCESS);
    const HANDLE file = CreateFileW(Wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    const auto error = static_cast<LSTATUS>(GetLastError());
    EXPECT_EQ(file == INVALID_HANDLE_VALUE, error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS);
    EXPECT_TRUE(CloseHandle(file));
    return error;
}

TEST(CreateFileW, OpensOrMakes)
{
    const std::string path = TestDirectory() + "\\one";
    EXPECT_EQ(OpenError(path, GENERIC_READ, OPEN_EXISTING), 2);
    EXPECT_EQ(OpenError(path, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS), 0);
    EXPECT_EQ(OpenError(path, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS), 183);
    EXPECT_EQ(OpenError(path, GENERIC_READ, OPEN_EXISTING), 0);
    EXPECT_EQ(OpenError(path, GENERIC_READ, CREATE_NEW), 80);
}

TEST(CreateFileW, RefusesDirectoriesAndMissingOnes)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(OpenError(top, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS), 5);
    EXPECT_EQ(OpenError(top + "\\none\\one", GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS), 3);
}

TEST(CreateFileW, OpensNoReadOnlyFileForWriting)
{
    if (IsOnWine())
        GTEST_SKIP() << "the super-user may, and Wine asks the host";
    const std::string path = TestDirectory() + "\\one";
    MakeReadOnlyFile(path);
    EXPECT_EQ(OpenError(path, GENERIC_WRITE, OPEN_EXISTING), 5);
    EXPECT_EQ(OpenError(path, GENERIC_READ, OPEN_EXISTING), 0);
}

TEST(CloseHandle, TakesTheValueThatStandsForTheProcess)
{
    EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(CloseHandle(GetCurrentProcess()));
}

TEST(CloseHandle, RefusesWhatIsNoHandle)
{
    MisusesHandles();
    EXPECT_EQ(ErrorOf([] { return CloseHandle(nullptr); }), 6u);
}

} // namespace
