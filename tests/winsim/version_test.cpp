// Proves that the calls about Windows' version and the kind of process behave as Windows documents them. Each machine
// has its own version: expectations are relative to GetVersionExA's answer.
#include "tests/winsim/support.h"

#include <utility>

namespace
{

OSVERSIONINFOA Version()
{
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    EXPECT_TRUE(GetVersionExA(&version));
    return version;
}

// The documented layout of a condition mask, without the bit that the system adds at its top.
ULONGLONG Conditions(ULONGLONG mask)
{
    return mask & ~(ULONGLONG{1} << 63);
}

ULONGLONG MaskOf(BYTE condition)
{
    ULONGLONG mask = 0;
    for (const DWORD type : {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR, VER_SERVICEPACKMINOR})
        mask = VerSetConditionMask(mask, static_cast<DWORD>(type), condition);
    return mask;
}

bool Verify(DWORD major, DWORD minor, WORD servicePack, DWORD types, ULONGLONG mask)
{
    OSVERSIONINFOEXW wanted{};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwMajorVersion = major;
    wanted.dwMinorVersion = minor;
    wanted.wServicePackMajor = servicePack;
    SetLastError(0);
    const bool holds = VerifyVersionInfoW(&wanted, types, mask) != FALSE;
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(holds ? ERROR_SUCCESS : ERROR_OLD_WIN_VERSION));
    return holds;
}

constexpr DWORD kMajorMinor = VER_MAJORVERSION | VER_MINORVERSION;
constexpr WORD kUnreachedServicePack = 99;

TEST(GetVersionExA, FillsBothSizesOfStructureAlike)
{
    const OSVERSIONINFOA version = Version();
    OSVERSIONINFOEXA extended{};
    extended.dwOSVersionInfoSize = sizeof extended;
    ASSERT_TRUE(GetVersionExA(reinterpret_cast<LPOSVERSIONINFOA>(&extended)));
    EXPECT_EQ(extended.dwMajorVersion, version.dwMajorVersion);
    EXPECT_EQ(extended.dwMinorVersion, version.dwMinorVersion);
    EXPECT_EQ(extended.dwBuildNumber, version.dwBuildNumber);
    EXPECT_EQ(extended.dwPlatformId, DWORD{VER_PLATFORM_WIN32_NT});
    EXPECT_EQ(extended.dwOSVersionInfoSize, sizeof extended);
    EXPECT_STREQ(extended.szCSDVersion, version.szCSDVersion);
}

TEST(GetVersionExA, NamesTheServicePack)
{
    OSVERSIONINFOEXA version{};
    version.dwOSVersionInfoSize = sizeof version;
    ASSERT_TRUE(GetVersionExA(reinterpret_cast<LPOSVERSIONINFOA>(&version)));
    const std::string expected =
        version.wServicePackMajor == 0 ? "" : "Service Pack " + std::to_string(version.wServicePackMajor);
    EXPECT_EQ(version.szCSDVersion, expected);
}

TEST(GetVersionExA, RefusesOtherSizes)
{
    for (const DWORD size : {DWORD{0}, DWORD{147}, DWORD{149}, DWORD{155}, DWORD{157}, DWORD{284}})
    {
        OSVERSIONINFOEXA version{};
        version.dwOSVersionInfoSize = size;
        EXPECT_EQ(ErrorOf([&] { return GetVersionExA(reinterpret_cast<LPOSVERSIONINFOA>(&version)); }),
                  ERROR_INSUFFICIENT_BUFFER)
            << size;
        EXPECT_EQ(version.dwMajorVersion, 0u) << size;
    }
}

TEST(VerSetConditionMask, HasThreeBitsForEachType)
{
    const std::pair<DWORD, ULONGLONG> cases[] = {
        {VER_MINORVERSION, 0x3}, {VER_MAJORVERSION, 0x18},       {VER_BUILDNUMBER, 0xC0},
        {VER_PLATFORMID, 0x600}, {VER_SERVICEPACKMINOR, 0x3000}, {VER_SERVICEPACKMAJOR, 0x18000},
    };
    for (const auto& [type, mask] : cases)
        EXPECT_EQ(Conditions(VerSetConditionMask(0, type, VER_GREATER_EQUAL)), mask) << type;
}

TEST(VerSetConditionMask, AddsToTheMask)
{
    ULONGLONG mask = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_LESS);
    EXPECT_EQ(Conditions(mask), 0x20019u);
}

TEST(VerSetConditionMask, TakesTheHighestOfSeveralTypes)
{
    EXPECT_EQ(Conditions(VerSetConditionMask(0, kMajorMinor, VER_GREATER_EQUAL)), 0x18u);
    EXPECT_EQ(Conditions(VerSetConditionMask(0, VER_SERVICEPACKMAJOR | VER_BUILDNUMBER, VER_EQUAL)), 0x8000u);
}

TEST(VerSetConditionMask, LeavesAMaskOfNoTypeEmpty)
{
    EXPECT_EQ(VerSetConditionMask(0, 0, VER_GREATER_EQUAL), 0u);
}

TEST(VerifyVersionInfoW, GreaterEqualComparesMajorBeforeMinor)
{
    const auto [size, major, minor, build, platform, csd] = Version();
    const ULONGLONG mask = MaskOf(VER_GREATER_EQUAL);
    EXPECT_TRUE(Verify(major, minor, 0, kMajorMinor, mask));
    EXPECT_FALSE(Verify(major, minor + 1, 0, kMajorMinor, mask));
    EXPECT_TRUE(Verify(major - 1, minor + 1, 0, kMajorMinor, mask));
    EXPECT_FALSE(Verify(major + 1, 0, 0, kMajorMinor, mask));
    EXPECT_TRUE(Verify(major - 1, 0, 0, VER_MAJORVERSION, mask));
    EXPECT_TRUE(Verify(major, 0, 0, VER_MAJORVERSION, mask));
    EXPECT_FALSE(Verify(major + 1, 0, 0, VER_MAJORVERSION, mask));
    EXPECT_FALSE(Verify(0, minor + 1, 0, VER_MINORVERSION, mask));
}

TEST(VerifyVersionInfoW, GreaterEqualComparesServicePacksOfTheSameVersionOnly)
{
    const auto [size, major, minor, build, platform, csd] = Version();
    const ULONGLONG mask = MaskOf(VER_GREATER_EQUAL);
    constexpr DWORD kWithServicePack = kMajorMinor | VER_SERVICEPACKMAJOR;
    EXPECT_TRUE(Verify(major, minor, 0, kWithServicePack, mask));
    EXPECT_FALSE(Verify(major, minor, kUnreachedServicePack, kWithServicePack, mask));
    EXPECT_TRUE(Verify(major - 1, minor, kUnreachedServicePack, kWithServicePack, mask));
    EXPECT_TRUE(Verify(major, minor, kUnreachedServicePack, kMajorMinor, mask));
}

TEST(VerifyVersionInfoW, KnowsTheOtherConditions)
{
    struct Case
    {
        BYTE condition;
        bool atOlder; // whether it holds when an older, the same and a newer major version is wanted
        bool atSame;
        bool atNewer;
    };
    constexpr Case kCases[] = {
        {VER_EQUAL, false, true, false}, {VER_GREATER, true, false, false},   {VER_GREATER_EQUAL, true, true, false},
        {VER_LESS, false, false, true},  {VER_LESS_EQUAL, false, true, true},
    };
    const auto [size, major, minor, build, platform, csd] = Version();
    for (const Case& c : kCases)
    {
        const ULONGLONG mask = MaskOf(c.condition);
        SCOPED_TRACE(static_cast<int>(c.condition));
        EXPECT_EQ(Verify(major - 1, minor, 0, VER_MAJORVERSION, mask), c.atOlder);
        EXPECT_EQ(Verify(major, minor, 0, VER_MAJORVERSION, mask), c.atSame);
        EXPECT_EQ(Verify(major + 1, minor, 0, VER_MAJORVERSION, mask), c.atNewer);
        EXPECT_EQ(Verify(major - 1, minor, 0, kMajorMinor, mask), c.atOlder);
        EXPECT_EQ(Verify(major, minor, 0, kMajorMinor, mask), c.atSame);
        EXPECT_EQ(Verify(major + 1, minor, 0, kMajorMinor, mask), c.atNewer);
        EXPECT_EQ(Verify(major, minor + 1, 0, kMajorMinor, mask), c.atNewer);
    }
}

TEST(VerifyVersionInfoW, ComparesTheBuildAndThePlatform)
{
    const OSVERSIONINFOA version = Version();
    OSVERSIONINFOEXW wanted{};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwBuildNumber = version.dwBuildNumber;
    wanted.dwPlatformId = version.dwPlatformId;
    const ULONGLONG mask =
        VerSetConditionMask(VerSetConditionMask(0, VER_BUILDNUMBER, VER_EQUAL), VER_PLATFORMID, VER_EQUAL);
    EXPECT_TRUE(VerifyVersionInfoW(&wanted, VER_BUILDNUMBER | VER_PLATFORMID, mask));
    ++wanted.dwBuildNumber;
    EXPECT_FALSE(VerifyVersionInfoW(&wanted, VER_BUILDNUMBER | VER_PLATFORMID, mask));
    EXPECT_TRUE(VerifyVersionInfoW(&wanted, VER_PLATFORMID, mask));
    ++wanted.dwPlatformId;
    EXPECT_FALSE(VerifyVersionInfoW(&wanted, VER_PLATFORMID, mask));
}

TEST(VerifyVersionInfoW, RefusesToCompareNothing)
{
    OSVERSIONINFOEXW wanted{};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    EXPECT_EQ(ErrorOf([&] { return VerifyVersionInfoW(&wanted, 0, MaskOf(VER_GREATER_EQUAL)); }), ERROR_BAD_ARGUMENTS);
    EXPECT_EQ(ErrorOf([&] { return VerifyVersionInfoW(&wanted, VER_MAJORVERSION, 0); }), ERROR_BAD_ARGUMENTS);
}

TEST(IsWow64Process, IsFalseForA64BitProcess)
{
    BOOL isWow64 = TRUE;
    EXPECT_TRUE(IsWow64Process(GetCurrentProcess(), &isWow64));
    EXPECT_FALSE(isWow64);
}

TEST(IsWow64Process, NeedsAHandleThatMayAsk)
{
    MisusesHandles();
    BOOL isWow64 = TRUE;
    EXPECT_EQ(ErrorOf([&] { return IsWow64Process(nullptr, &isWow64); }), ERROR_INVALID_HANDLE);
    const HANDLE asking = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, GetCurrentProcessId());
    EXPECT_TRUE(IsWow64Process(asking, &isWow64));
    EXPECT_FALSE(isWow64);
    EXPECT_TRUE(CloseHandle(asking));
    const HANDLE waiting = OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId());
    EXPECT_EQ(ErrorOf([&] { return IsWow64Process(waiting, &isWow64); }), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(CloseHandle(waiting));
}

} // namespace
