// Proves that the calls about other processes behave as Windows documents them. The programs are described in
// machine.json, for the simulated machine and for Wine.
#include "tests/winsim/support.h"

// The functions of psapi.dll, looked up as the program does.
#define PSAPI_VERSION 1
#include <psapi.h>

#include <algorithm>
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
            m_error = ErrorOf(FALSE);
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

    LSTATUS Error() const { return m_error; }
    HANDLE Get() const { return m_process.hProcess; }
    HANDLE Thread() const { return m_process.hThread; }
    DWORD Id() const { return m_process.dwProcessId; }
    DWORD ThreadId() const { return m_process.dwThreadId; }
    DWORD ExitCode() const
    {
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeProcess(m_process.hProcess, &code));
        return code;
    }

private:
    PROCESS_INFORMATION m_process{};
    LSTATUS m_error = 0;
};

// One that has to start.
struct RunningChild : Child
{
    explicit RunningChild(const wchar_t* application) : Child(application) { EXPECT_EQ(Error(), 0); }
};

// The result of a wait for the process's end.
DWORD WaitFor(const Child& child, DWORD ms = kLongMs)
{
    return WaitForSingleObject(child.Get(), ms);
}

// Runs a command line without a separate program name. Returns its exit code.
DWORD ExitCodeOf(const std::wstring& commandLine)
{
    const Child child{nullptr, commandLine};
    EXPECT_EQ(child.Error(), 0);
    EXPECT_EQ(WaitFor(child), DWORD{WAIT_OBJECT_0});
    return child.ExitCode();
}

// The error of starting a command line without a separate program name.
LSTATUS StartError(const std::wstring& commandLine)
{
    return Child{nullptr, commandLine}.Error();
}

// A handle to a process with some rights, closed by the destructor.
class OpenedProcess
{
public:
    OpenedProcess(DWORD access, DWORD id)
        : m_process(OpenProcess(access, FALSE, id)), m_error(ErrorOf(m_process != nullptr))
    {}
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
    LSTATUS Error() const { return m_error; }

private:
    HANDLE m_process;
    LSTATUS m_error;
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
    const RunningChild child{kSeven};
    EXPECT_NE(child.Id(), GetCurrentProcessId());
    EXPECT_EQ(WaitFor(child, INFINITE), DWORD{WAIT_OBJECT_0});
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
        EXPECT_EQ(Child{application}.Error(), 0) << Shown(application);
}

TEST(CreateProcessW, FailsForAMissingFileOrFolder)
{
    EXPECT_EQ(Child{L"C:\\Standins\\none.exe"}.Error(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Child{L"C:\\KeloNoSuch\\none.exe"}.Error(), ERROR_PATH_NOT_FOUND);
    for (const wchar_t* line : {L"C:\\Standins\\none.exe", L"C:\\Standins\\none.exe /V", L"kelo-none.exe /V",
                                L"\"C:\\Standins\\none.exe\" /V", L"C:\\Standins\\two none\\none.exe /V"})
        EXPECT_EQ(StartError(line), ERROR_FILE_NOT_FOUND) << Shown(line);
    if (IsOnWine())
        GTEST_SKIP() << "Wine looks no further than for the file";
    for (const wchar_t* line : {L"C:\\KeloNoSuch\\none.exe /V", L"\"C:\\KeloNoSuch\\none.exe\" /V"})
        EXPECT_EQ(StartError(line), ERROR_PATH_NOT_FOUND) << Shown(line);
}

TEST(CreateProcessW, FailsForAFolder)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine says that a handle is invalid";
    EXPECT_EQ(Child{L"C:\\Standins"}.Error(), ERROR_ACCESS_DENIED);
}

TEST(CreateProcessW, FailsForAnEmptyName)
{
    EXPECT_EQ(Child{L""}.Error(), ERROR_PATH_NOT_FOUND);
}

TEST(CreateProcessW, FailsForAPathWithoutItsDriveLetter)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes the colon for a missing folder";
    EXPECT_EQ(Child{L":\\Standins\\seven.exe"}.Error(), ERROR_INVALID_NAME);
}

TEST(CreateProcessW, TakesANameAsItStandsOrOnTheCurrentDrive)
{
    EXPECT_EQ(ExitCodeOf(LR"("\\?\C:\Standins\seven.exe" /V)"), 7u);
    EXPECT_EQ(ExitCodeOf(LR"(\Standins\seven.exe /V)"), 7u);
}

TEST(CreateProcessW, FailsForAFileThatIsNoProgram)
{
    const std::string path = TestDirectory() + "\\text.exe";
    MakeFile(path, "This is no program, and it is long enough to be looked at as one.");
    const std::wstring wide = Wide(path);
    EXPECT_EQ(Child{wide.c_str()}.Error(), ERROR_BAD_EXE_FORMAT);
    EXPECT_EQ(StartError(L'"' + wide + L"\" /V"), ERROR_BAD_EXE_FORMAT);
}

TEST(CreateProcessW, StartsAFileThatCanBeCopiedMovedAndDeletedLikeAnyOther)
{
    const DWORD attributes = GetFileAttributesW(kSeven);
    EXPECT_NE(attributes, INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(attributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
    const std::wstring folder = Wide(TestDirectory());
    const std::wstring moved = folder + L"\\seven.exe";
    ASSERT_TRUE(CopyFileW(kSeven, (folder + L"\\copy.exe").c_str(), TRUE));
    ASSERT_TRUE(MoveFileExW((folder + L"\\copy.exe").c_str(), moved.c_str(), 0));
    EXPECT_EQ(ExitCodeOf(L"\"" + moved + L"\""), 7u);
    // A program's file can be in use for a moment after its end.
    for (int polls = 0; !DeleteFileW(moved.c_str()) && polls < 100; ++polls)
        Sleep(20);
    EXPECT_EQ(StartError(L"\"" + moved + L"\""), ERROR_FILE_NOT_FOUND);
}

TEST(CreateProcessW, FailsForAMissingCurrentDirectory)
{
    EXPECT_EQ(Child(kSeven, L"x", L"C:\\KeloNoSuch").Error(), ERROR_DIRECTORY);
    EXPECT_EQ(Child(kSeven, L"x", L"C:\\Standins\\").Error(), 0);
}

TEST(CreateProcessW, FailsForACommandLineOf32767Characters)
{
    const std::wstring longest = L"C:\\Standins\\seven.exe " + std::wstring(32766 - 22, L'x');
    EXPECT_EQ(ExitCodeOf(longest), 7u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes a command line of any length";
    EXPECT_EQ(StartError(longest + L"x"), ERROR_FILENAME_EXCED_RANGE);
}

TEST(WaitForSingleObject, EndsWithTheProcess)
{
    const RunningChild child{kSlow};
    EXPECT_EQ(WaitFor(child, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(child.ExitCode(), DWORD{STILL_ACTIVE});
    EXPECT_EQ(WaitFor(child), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(child.ExitCode(), 5u);
    EXPECT_EQ(WaitFor(child, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitFor(child, INFINITE), DWORD{WAIT_OBJECT_0});
}

TEST(WaitForSingleObject, GivesUpAfterItsTime)
{
    const RunningChild child{kEndless};
    const DWORD begin = GetTickCount();
    EXPECT_EQ(WaitFor(child, 200), DWORD{WAIT_TIMEOUT});
    const DWORD waited = GetTickCount() - begin;
    EXPECT_GE(waited, 180u);
    EXPECT_LT(waited, kLongMs);
    EXPECT_EQ(child.ExitCode(), DWORD{STILL_ACTIVE});
}

TEST(WaitForSingleObject, WaitsForAProcessThatWasOpened)
{
    const RunningChild child{kSlow};
    const OpenedProcess process{SYNCHRONIZE, child.Id()};
    EXPECT_EQ(WaitForSingleObject(process.Get(), 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(process.Get(), kLongMs), DWORD{WAIT_OBJECT_0});
}

TEST(WaitForSingleObject, FailsForAClosedHandle)
{
    MisusesHandles();
    const Child child{kSeven};
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, child.Id());
    EXPECT_TRUE(CloseHandle(process));
    EXPECT_EQ(ErrorOf([&] { return WaitForSingleObject(process, 0) != WAIT_FAILED; }), ERROR_INVALID_HANDLE);
}

TEST(CloseHandle, ClosesAHandleOnce)
{
    MisusesHandles();
    const Child child{kSeven};
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, child.Id());
    EXPECT_TRUE(CloseHandle(process));
    EXPECT_EQ(ErrorOf([&] { return CloseHandle(process); }), ERROR_INVALID_HANDLE);
    DWORD code = 0;
    EXPECT_EQ(ErrorOf([&] { return GetExitCodeProcess(process, &code); }), ERROR_INVALID_HANDLE);
    EXPECT_EQ(ErrorOf([&] { return TerminateProcess(process, 0); }), ERROR_INVALID_HANDLE);
}

TEST(CloseHandle, LeavesTheProcessRunning)
{
    const RunningChild child{kEndless};
    {
        const OpenedProcess process{PROCESS_TERMINATE, child.Id()};
    }
    EXPECT_EQ(child.ExitCode(), DWORD{STILL_ACTIVE});
}

TEST(TerminateProcess, EndsAProcessWithAnExitCode)
{
    const RunningChild child{kEndless};
    EXPECT_TRUE(IsListed(child.Id()));
    {
        const OpenedProcess process{PROCESS_TERMINATE, child.Id()};
        EXPECT_TRUE(TerminateProcess(process.Get(), 0xFFFFFFFF));
    }
    EXPECT_EQ(WaitFor(child), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(child.ExitCode(), 0xFFFFFFFFu);
    EXPECT_FALSE(IsListed(child.Id()));
}

TEST(TerminateProcess, FailsForAProcessThatHasEnded)
{
    const RunningChild child{kSeven};
    EXPECT_EQ(WaitFor(child), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(child.ExitCode(), 7u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine says that it has ended it";
    EXPECT_EQ(ErrorOf([&] { return TerminateProcess(child.Get(), 1); }), ERROR_ACCESS_DENIED);
    EXPECT_EQ(child.ExitCode(), 7u);
}

TEST(OpenProcess, GivesTheRightsAskedForAlone)
{
    const RunningChild child{kEndless};
    FirstModule(child.Get());
    const OpenedProcess queried{PROCESS_QUERY_INFORMATION, child.Id()};
    constexpr LSTATUS kDenied = ERROR_ACCESS_DENIED;
    EXPECT_EQ(ErrorOf([&] { return TerminateProcess(queried.Get(), 0); }), kDenied);
    EXPECT_EQ(ErrorOf([&] { return WaitForSingleObject(queried.Get(), 0) != WAIT_FAILED; }), kDenied);
    HMODULE module = nullptr;
    DWORD value = 0;
    EXPECT_EQ(ErrorOf([&] { return EnumProcessModules(queried.Get(), &module, sizeof module, &value); }), kDenied);

    const OpenedProcess terminated{PROCESS_TERMINATE, child.Id()};
    EXPECT_EQ(ErrorOf([&] { return GetExitCodeProcess(terminated.Get(), &value); }), kDenied);
}

TEST(OpenProcess, FailsForAnIdentifierOfNoProcess)
{
    for (const DWORD id : {DWORD{0}, DWORD{0x7FFFFFF0}})
        EXPECT_EQ(OpenedProcess(PROCESS_QUERY_INFORMATION, id).Error(), ERROR_INVALID_PARAMETER) << id;
}

TEST(OpenProcess, FailsForTheSystemsOwnProcess)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine has no such process";
    constexpr DWORD kSystem = 4;
    EXPECT_EQ(OpenedProcess(PROCESS_TERMINATE, kSystem).Error(), ERROR_ACCESS_DENIED);
}

TEST(EnumProcesses, ListsTheProcessItselfAndItsChildren)
{
    EXPECT_TRUE(IsListed(GetCurrentProcessId()));
    const RunningChild child{kEndless};
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
    const RunningChild child{kEndless};
    const OpenedProcess process{PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, child.Id()};
    const HMODULE module = FirstModule(process.Get());
    ASSERT_TRUE(module != nullptr);
    char name[MAX_PATH] = {};
    EXPECT_EQ(GetModuleBaseNameA(process.Get(), module, name, MAX_PATH), 11u);
    EXPECT_STREQ(name, "endless.exe");
}

TEST(EnumProcessModules, TellsTheSizeOfTheWholeListWhateverFits)
{
    const RunningChild child{kEndless};
    FirstModule(child.Get());
    HMODULE module = nullptr;
    DWORD needed = 0;
    EXPECT_TRUE(EnumProcessModules(child.Get(), &module, 0, &needed));
    EXPECT_GE(needed, sizeof module);
    EXPECT_TRUE(module == nullptr);
}

// ---- Identifiers ----

// A process that has ended, and to which there is a handle.
class EndedChild : public Child
{
public:
    EndedChild() : Child(kSeven) { EXPECT_EQ(WaitForSingleObject(Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0)); }
};

TEST(ProcessIds, AreMultiplesOfFour)
{
    const Child child{kEndless};
    EXPECT_EQ(child.Id() % 4, 0u);
    EXPECT_EQ(child.ThreadId() % 4, 0u);
    EXPECT_NE(child.ThreadId(), child.Id());
}

TEST(ProcessIds, AreNotUsedAgainWhileThereIsAHandle)
{
    const EndedChild first;
    const Child second{kEndless};
    EXPECT_NE(second.Id(), first.Id());
    EXPECT_NE(second.Id(), first.ThreadId());
    EXPECT_EQ(first.ExitCode(), 7u);
    EXPECT_EQ(second.ExitCode(), static_cast<DWORD>(STILL_ACTIVE));
    EXPECT_EQ(WaitForSingleObject(first.Get(), 0), static_cast<DWORD>(WAIT_OBJECT_0));
}

TEST(ProcessIds, StandForAnEndedProcessAsLongAsThereIsAHandle)
{
    DWORD id = 0;
    {
        const EndedChild child;
        id = child.Id();
        const OpenedProcess again{PROCESS_QUERY_INFORMATION | SYNCHRONIZE, id};
        ASSERT_EQ(again.Error(), 0u);
        EXPECT_EQ(WaitForSingleObject(again.Get(), 0), static_cast<DWORD>(WAIT_OBJECT_0));
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeProcess(again.Get(), &code));
        EXPECT_EQ(code, 7u);
    }
    if (IsOnWine())
        GTEST_SKIP() << "Wine closes its own handle to the process some time later";
    EXPECT_EQ(OpenedProcess(PROCESS_QUERY_INFORMATION, id).Error(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(WaitForSingleObject, WaitsForAThreadToo)
{
    const Child child{kSlow};
    EXPECT_EQ(WaitForSingleObject(child.Thread(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(WaitForSingleObject(child.Thread(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(WaitForSingleObject(child.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
}

TEST(OpenProcess, MapsGenericRights)
{
    const Child child{kEndless};
    const OpenedProcess reading{GENERIC_READ, child.Id()};
    ASSERT_EQ(reading.Error(), 0u);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(reading.Get(), &code));
    EXPECT_FALSE(TerminateProcess(reading.Get(), 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    const OpenedProcess limited{PROCESS_QUERY_LIMITED_INFORMATION, child.Id()};
    EXPECT_TRUE(GetExitCodeProcess(limited.Get(), &code));
    const OpenedProcess most{MAXIMUM_ALLOWED, child.Id()};
    EXPECT_TRUE(TerminateProcess(most.Get(), 3));
    EXPECT_EQ(WaitForSingleObject(most.Get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_TRUE(GetExitCodeProcess(most.Get(), &code));
    EXPECT_EQ(code, 3u);
}

TEST(CreateProcessW, FaultsWithoutAProgram)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    EXPECT_TRUE(Faults(
        [&] { CreateProcessW(nullptr, nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process); }));
}

} // namespace
