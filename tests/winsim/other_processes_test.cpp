// Proves that the calls about other processes behave as Windows documents them. The programs are described in
// machine.json, for the simulated machine and for Wine.
#include "tests/winsim/support.h"

// The functions of psapi.dll, looked up as the program does.
#define PSAPI_VERSION 1
#include <psapi.h>
#include <share.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace
{

constexpr wchar_t kSeven[] = L"C:\\Standins\\seven.exe";     // ends at once with 7
constexpr wchar_t kSlow[] = L"C:\\Standins\\slow.exe";       // ends with 5 after half a second
constexpr wchar_t kEndless[] = L"C:\\Standins\\endless.exe"; // never ends
constexpr wchar_t kByArguments[] = L"C:\\Standins\\two words\\by arguments.exe";

constexpr DWORD kLongMs = 30000;

// A started process, or the error of starting it.
class Child
{
public:
    explicit Child(const wchar_t* application, std::wstring commandLine = L"x", const wchar_t* directory = nullptr)
    {
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        if (!CreateProcessW(application, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                            directory, &startup, &m_process))
            m_error = GetLastError();
    }
    ~Child()
    {
        if (m_error != 0)
            return;
        // Ends the process if it is still running.
        TerminateProcess(m_process.hProcess, 0);
        EXPECT_TRUE(CloseHandle(m_process.hProcess));
        EXPECT_TRUE(CloseHandle(m_process.hThread));
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    DWORD Error() const { return m_error; }
    HANDLE Get() const { return m_process.hProcess; }
    DWORD Id() const { return m_process.dwProcessId; }
    DWORD ExitCode() const
    {
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeProcess(m_process.hProcess, &code));
        return code;
    }

private:
    PROCESS_INFORMATION m_process{};
    DWORD m_error = 0;
};

// Runs a command line without a separate program name. Returns its exit code.
DWORD ExitCodeOf(const std::wstring& commandLine)
{
    const Child child{nullptr, commandLine};
    EXPECT_EQ(child.Error(), 0u);
    EXPECT_EQ(WaitForSingleObject(child.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    return child.ExitCode();
}

// The error of starting a command line without a separate program name.
DWORD StartError(const std::wstring& commandLine)
{
    return Child{nullptr, commandLine}.Error();
}

// A handle to a process with some rights, closed by the destructor.
class OpenedProcess
{
public:
    OpenedProcess(DWORD access, DWORD id) : m_process(OpenProcess(access, FALSE, id))
    {
        if (m_process == nullptr)
            m_error = GetLastError();
    }
    ~OpenedProcess()
    {
        if (m_process != nullptr)
        {
            EXPECT_TRUE(CloseHandle(m_process));
        }
    }
    OpenedProcess(const OpenedProcess&) = delete;
    OpenedProcess& operator=(const OpenedProcess&) = delete;

    HANDLE Get() const { return m_process; }
    DWORD Error() const { return m_error; }

private:
    HANDLE m_process;
    DWORD m_error = 0;
};

std::vector<DWORD> ListedProcesses()
{
    std::vector<DWORD> ids(4096);
    DWORD bytes = 0;
    EXPECT_TRUE(EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &bytes));
    ids.resize(bytes / sizeof(DWORD));
    return ids;
}

bool IsListed(DWORD id)
{
    const std::vector<DWORD> ids = ListedProcesses();
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// The first module of a process. For a moment, a new process has none.
HMODULE FirstModule(HANDLE process)
{
    HMODULE module = nullptr;
    DWORD needed = 0;
    for (int polls = 0; module == nullptr && polls < 250; ++polls)
    {
        if (!EnumProcessModules(process, &module, sizeof module, &needed) || module == nullptr)
            Sleep(20);
    }
    EXPECT_GE(needed, sizeof module);
    return module;
}

TEST(CreateProcessW, RunsAProgramToItsEnd)
{
    const Child child{kSeven};
    ASSERT_EQ(child.Error(), 0u);
    EXPECT_NE(child.Id(), GetCurrentProcessId());
    EXPECT_EQ(WaitForSingleObject(child.Get(), INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(child.ExitCode(), 7u);
}

TEST(CreateProcessW, FindsTheProgramInACommandLineWithAndWithoutQuotationMarks)
{
    const std::wstring program = kByArguments;
    for (const std::wstring& name : {program, L'"' + program + L'"'})
    {
        EXPECT_EQ(ExitCodeOf(name), 1u) << Shown(name.c_str());
        EXPECT_EQ(ExitCodeOf(name + L" /V"), 2u) << Shown(name.c_str());
        EXPECT_EQ(ExitCodeOf(name + L" \"a b\" /V"), 3u) << Shown(name.c_str());
    }
}

TEST(CreateProcessW, AppendsTheExtensionToANameWithoutOne)
{
    EXPECT_EQ(ExitCodeOf(L"C:\\Standins\\seven"), 7u);
    EXPECT_EQ(ExitCodeOf(L"C:\\Standins\\seven /V"), 7u);
}

// The current folder is Windows' system folder, two levels below the drive's root.
TEST(CreateProcessW, TakesANameWithoutAFullPathFromTheCurrentFolderOrDrive)
{
    for (const wchar_t* line : {L"\\Standins\\seven.exe", L"\\Standins\\seven /V", L"..\\..\\Standins\\seven.exe",
                                L"\"..\\..\\Standins\\seven\" /V", L"C:..\\..\\Standins\\seven.exe"})
        EXPECT_EQ(ExitCodeOf(line), 7u) << Shown(line);
    for (const wchar_t* application : {L"\\Standins\\seven.exe", L"..\\..\\Standins\\seven.exe"})
        EXPECT_EQ(Child{application}.Error(), 0u) << Shown(application);
}

TEST(CreateProcessW, FailsForAMissingFileOrFolder)
{
    EXPECT_EQ(Child{L"C:\\Standins\\none.exe"}.Error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Child{L"C:\\KeloNoSuch\\none.exe"}.Error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    for (const wchar_t* line : {L"C:\\Standins\\none.exe", L"C:\\Standins\\none.exe /V", L"kelo-none.exe /V",
                                L"\"C:\\Standins\\none.exe\" /V", L"C:\\Standins\\two none\\none.exe /V"})
        EXPECT_EQ(StartError(line), static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) << Shown(line);
    if (IsOnWine())
        GTEST_SKIP() << "Wine looks no further than for the file";
    for (const wchar_t* line : {L"C:\\KeloNoSuch\\none.exe /V", L"\"C:\\KeloNoSuch\\none.exe\" /V"})
        EXPECT_EQ(StartError(line), static_cast<DWORD>(ERROR_PATH_NOT_FOUND)) << Shown(line);
}

TEST(CreateProcessW, FailsForAFolder)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine says that a handle is invalid";
    EXPECT_EQ(Child{L"C:\\Standins"}.Error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(CreateProcessW, FailsForAnEmptyName)
{
    EXPECT_EQ(Child{L""}.Error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
}

TEST(CreateProcessW, FailsForAPathWithoutItsDriveLetter)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes the colon for a missing folder";
    EXPECT_EQ(Child{L":\\Standins\\seven.exe"}.Error(), static_cast<DWORD>(ERROR_INVALID_NAME));
}

TEST(CreateProcessW, TakesANameAsItStandsOrOnTheCurrentDrive)
{
    EXPECT_EQ(ExitCodeOf(LR"("\\?\C:\Standins\seven.exe" /V)"), 7u);
    EXPECT_EQ(ExitCodeOf(LR"(\Standins\seven.exe /V)"), 7u);
}

TEST(CreateProcessW, FailsForAFileThatIsNoProgram)
{
    const std::string path = TestDirectory() + "\\text.exe";
    std::FILE* file = _fsopen(path.c_str(), "a", _SH_DENYNO);
    ASSERT_TRUE(file != nullptr);
    EXPECT_GE(std::fputs("This is no program, and it is long enough to be looked at as one.", file), 0);
    EXPECT_EQ(std::fclose(file), 0);
    const std::wstring wide(path.begin(), path.end());
    EXPECT_EQ(Child{wide.c_str()}.Error(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));
    EXPECT_EQ(StartError(L'"' + wide + L"\" /V"), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));
}

TEST(CreateProcessW, FailsForAMissingCurrentDirectory)
{
    EXPECT_EQ(Child(kSeven, L"x", L"C:\\KeloNoSuch").Error(), static_cast<DWORD>(ERROR_DIRECTORY));
    EXPECT_EQ(Child(kSeven, L"x", L"C:\\Standins\\").Error(), 0u);
}

TEST(CreateProcessW, FailsForACommandLineOf32767Characters)
{
    const std::wstring longest = L"C:\\Standins\\seven.exe " + std::wstring(32766 - 22, L'x');
    EXPECT_EQ(ExitCodeOf(longest), 7u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes a command line of any length";
    EXPECT_EQ(StartError(longest + L"x"), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
}

TEST(WaitForSingleObject, EndsWithTheProcess)
{
    const Child child{kSlow};
    ASSERT_EQ(child.Error(), 0u);
    EXPECT_EQ(WaitForSingleObject(child.Get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(child.ExitCode(), static_cast<DWORD>(STILL_ACTIVE));
    EXPECT_EQ(WaitForSingleObject(child.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(child.ExitCode(), 5u);
    EXPECT_EQ(WaitForSingleObject(child.Get(), 0), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(WaitForSingleObject(child.Get(), INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
}

TEST(WaitForSingleObject, GivesUpAfterItsTime)
{
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    const DWORD begin = GetTickCount();
    EXPECT_EQ(WaitForSingleObject(child.Get(), 200), static_cast<DWORD>(WAIT_TIMEOUT));
    const DWORD waited = GetTickCount() - begin;
    EXPECT_GE(waited, 180u);
    EXPECT_LT(waited, kLongMs);
    EXPECT_EQ(child.ExitCode(), static_cast<DWORD>(STILL_ACTIVE));
}

TEST(WaitForSingleObject, WaitsForAProcessThatWasOpened)
{
    const Child child{kSlow};
    ASSERT_EQ(child.Error(), 0u);
    const OpenedProcess process{SYNCHRONIZE, child.Id()};
    EXPECT_EQ(WaitForSingleObject(process.Get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(WaitForSingleObject(process.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
}

TEST(WaitForSingleObject, FailsForAClosedHandle)
{
    MisusesHandles();
    const Child child{kSeven};
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, child.Id());
    EXPECT_TRUE(CloseHandle(process));
    EXPECT_EQ(WaitForSingleObject(process, 0), static_cast<DWORD>(WAIT_FAILED));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(CloseHandle, ClosesAHandleOnce)
{
    MisusesHandles();
    const Child child{kSeven};
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, child.Id());
    EXPECT_TRUE(CloseHandle(process));
    EXPECT_FALSE(CloseHandle(process));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    DWORD code = 0;
    EXPECT_FALSE(GetExitCodeProcess(process, &code));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_FALSE(TerminateProcess(process, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(CloseHandle, LeavesTheProcessRunning)
{
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    {
        const OpenedProcess process{PROCESS_TERMINATE, child.Id()};
    }
    EXPECT_EQ(child.ExitCode(), static_cast<DWORD>(STILL_ACTIVE));
}

TEST(TerminateProcess, EndsAProcessWithAnExitCode)
{
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    EXPECT_TRUE(IsListed(child.Id()));
    {
        const OpenedProcess process{PROCESS_TERMINATE, child.Id()};
        EXPECT_TRUE(TerminateProcess(process.Get(), 0xFFFFFFFF));
    }
    EXPECT_EQ(WaitForSingleObject(child.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(child.ExitCode(), 0xFFFFFFFFu);
    EXPECT_FALSE(IsListed(child.Id()));
}

TEST(TerminateProcess, FailsForAProcessThatHasEnded)
{
    const Child child{kSeven};
    ASSERT_EQ(child.Error(), 0u);
    EXPECT_EQ(WaitForSingleObject(child.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(child.ExitCode(), 7u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine says that it has ended it";
    EXPECT_FALSE(TerminateProcess(child.Get(), 1));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(child.ExitCode(), 7u);
}

TEST(OpenProcess, GivesTheRightsAskedForAlone)
{
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    FirstModule(child.Get());
    const OpenedProcess queried{PROCESS_QUERY_INFORMATION, child.Id()};
    constexpr DWORD kDenied = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(TerminateProcess(queried.Get(), 0));
    EXPECT_EQ(GetLastError(), kDenied);
    EXPECT_EQ(WaitForSingleObject(queried.Get(), 0), static_cast<DWORD>(WAIT_FAILED));
    EXPECT_EQ(GetLastError(), kDenied);
    HMODULE module = nullptr;
    DWORD value = 0;
    EXPECT_FALSE(EnumProcessModules(queried.Get(), &module, sizeof module, &value));
    EXPECT_EQ(GetLastError(), kDenied);

    const OpenedProcess terminated{PROCESS_TERMINATE, child.Id()};
    EXPECT_FALSE(GetExitCodeProcess(terminated.Get(), &value));
    EXPECT_EQ(GetLastError(), kDenied);
}

TEST(OpenProcess, FailsForAnIdentifierOfNoProcess)
{
    for (const DWORD id : {DWORD{0}, DWORD{0x7FFFFFF0}})
        EXPECT_EQ(OpenedProcess(PROCESS_QUERY_INFORMATION, id).Error(), static_cast<DWORD>(ERROR_INVALID_PARAMETER))
            << id;
}

TEST(OpenProcess, FailsForTheSystemsOwnProcess)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine has no such process";
    constexpr DWORD kSystem = 4;
    EXPECT_EQ(OpenedProcess(PROCESS_TERMINATE, kSystem).Error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(EnumProcesses, ListsTheProcessItselfAndItsChildren)
{
    EXPECT_TRUE(IsListed(GetCurrentProcessId()));
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    EXPECT_TRUE(IsListed(child.Id()));
}

TEST(EnumProcesses, ListsAsManyAsFit)
{
    ASSERT_GT(ListedProcesses().size(), 2u);
    DWORD ids[3] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    DWORD bytes = 0xFFFFFFFF;
    EXPECT_TRUE(EnumProcesses(ids, 0, &bytes));
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(ids[0], 0xFFFFFFFFu);
    EXPECT_TRUE(EnumProcesses(ids, 2 * sizeof ids[0], &bytes));
    EXPECT_EQ(bytes, 2 * sizeof ids[0]);
    EXPECT_NE(ids[1], 0xFFFFFFFFu);
    EXPECT_EQ(ids[2], 0xFFFFFFFFu);
    EXPECT_TRUE(EnumProcesses(ids, 2 * sizeof ids[0] - 1, &bytes));
    EXPECT_EQ(bytes, sizeof ids[0]);
}

TEST(EnumProcessModules, GivesTheProgramFirst)
{
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    const OpenedProcess process{PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, child.Id()};
    const HMODULE module = FirstModule(process.Get());
    ASSERT_TRUE(module != nullptr);
    char name[MAX_PATH] = {};
    EXPECT_EQ(GetModuleBaseNameA(process.Get(), module, name, MAX_PATH), 11u);
    EXPECT_STREQ(name, "endless.exe");
}

TEST(EnumProcessModules, TellsTheSizeOfTheWholeListWhateverFits)
{
    const Child child{kEndless};
    ASSERT_EQ(child.Error(), 0u);
    FirstModule(child.Get());
    HMODULE module = nullptr;
    DWORD needed = 0;
    EXPECT_TRUE(EnumProcessModules(child.Get(), &module, 0, &needed));
    EXPECT_GE(needed, sizeof module);
    EXPECT_TRUE(module == nullptr);
}

} // namespace
