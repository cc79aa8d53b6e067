// Runs the conformance tests of the simulated machine on this Windows.
#include "describe/windows_text.h"
#include "proof/leftovers.h"
#include "proof/run_program.h"
#include "proof/steps.h"
#include "src/windows/unique_handle.h"

#include <windows.h>

#include <shlobj.h>

#include <set>
#include <sstream>
#include <utility>

namespace proof
{

namespace
{

constexpr DWORD kSetUpLimitMs = 5 * 60 * 1000;
constexpr DWORD kTestsLimitMs = 10 * 60 * 1000;
constexpr std::size_t kMostStarts = 20;

// What conformance/machine.txt and the tests make, besides a folder below ProgramData.
const std::wstring kPrograms = L"C:\\Standins";
const std::wstring kLinks = L"C:\\Linked";
const std::wstring kTestKey = L"SOFTWARE\\KeloConformance";
const std::wstring kProtectedKey = L"SOFTWARE\\KeloProtected";

// Where the tests lie, so that no user's name is in their own path.
const std::wstring kTests = kPrograms + L"\\Tests\\winsim_conformance.exe";
const std::wstring kRecords = kPrograms + L"\\Tests\\records.txt";

// A group of tests that this machine cannot carry out, by a pattern of the test framework.
struct LeftOut
{
    const char* pattern;
    const char* reason;
    bool (*applies)();
};

bool IsInAnotherZone()
{
    constexpr LONG kEasternTime = 300; // minutes; machine.json has this zone
    TIME_ZONE_INFORMATION zone{};
    const bool hasDaylightTime = GetTimeZoneInformation(&zone) != TIME_ZONE_ID_UNKNOWN;
    return zone.Bias != kEasternTime || !hasDaylightTime;
}

bool HasNoLinks()
{
    return GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateSymbolicLinkW") == nullptr;
}

bool IsOnWine()
{
    return !WineVersion().empty();
}

constexpr LeftOut kLeftOut[] = {
    {"GetTimeZoneInformation.DescribesAZoneWithDaylightSavingTime", "this machine is in another time zone",
     &IsInAnotherZone},
    {"Links.*", "this Windows has no symbolic links", &HasNoLinks},
    {"Links.*", "Wine makes no symbolic links for a program", &IsOnWine},
};

// The moves that Windows makes when it starts. The tests ask for some of their own files.
class PendingMoves
{
public:
    PendingMoves() : m_value(Read()) {}
    PendingMoves(const PendingMoves&) = delete;
    PendingMoves& operator=(const PendingMoves&) = delete;
    ~PendingMoves()
    {
        const UniqueRegistryKey key = Open(KEY_SET_VALUE);
        if (m_value.empty())
            RegDeleteValueW(key.Get(), kValue);
        else
            RegSetValueExW(key.Get(), kValue, 0, REG_MULTI_SZ, m_value.data(), static_cast<DWORD>(m_value.size()));
    }

private:
    static constexpr wchar_t kValue[] = L"PendingFileRenameOperations";

    static UniqueRegistryKey Open(REGSAM access)
    {
        UniqueRegistryKey key;
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", 0, access, key.Put());
        return key;
    }

    static std::vector<BYTE> Read()
    {
        const UniqueRegistryKey key = Open(KEY_QUERY_VALUE);
        DWORD size = 0;
        RegQueryValueExW(key.Get(), kValue, nullptr, nullptr, nullptr, &size);
        std::vector<BYTE> value(size);
        RegQueryValueExW(key.Get(), kValue, nullptr, nullptr, value.data(), &size);
        return value;
    }

    std::vector<BYTE> m_value;
};

std::wstring TestFolder()
{
    return StandardFolder(CSIDL_COMMON_APPDATA) + L"\\KeloConformance";
}

void TakeAway()
{
    RemoveServicesBelow(kPrograms + L"\\");
    for (const std::wstring& path : {kPrograms, kLinks, TestFolder()})
        RemoveTree(path);
    RemoveTrees(StandardFolder(CSIDL_COMMON_APPDATA) + L"-*-made"); // where tests that move a folder leave it
    RemoveStandInKeys();
    RemoveKey(kTestKey);
    RemoveKey(kProtectedKey);
}

void SetUp()
{
    const std::wstring folder = InKit(L"conformance");
    const std::wstring tool = Quoted(folder + L"\\machine_tool.exe");
    const auto exitCode = RunProgram(tool + L" script machine.txt", folder, kSetUpLimitMs);
    if (exitCode != DWORD{0})
        throw StepError("the machine of the tests cannot be set up: " +
                        (exitCode ? "error " + std::to_string(*exitCode) : std::string("it takes too long")));
    SetEnvironmentVariableW(L"KELO_CONFORMANCE", L"seven ch");
}

// The tests' own record: a line for each event, such as "failed", the test's name and its messages, with tabs between
// them (tests/winsim/windows/main.cpp).
struct Record
{
    std::string event;
    std::string test;
    std::string text;
};

std::vector<Record> Records()
{
    std::vector<Record> records;
    std::istringstream lines(ReadBytes(kRecords));
    for (std::string line; std::getline(lines, line);)
    {
        if (line.ends_with('\r'))
            line.pop_back();
        Record record;
        std::istringstream words(line);
        std::getline(words, record.event, '\t');
        std::getline(words, record.test, '\t');
        std::getline(words, record.text, '\t');
        records.push_back(std::move(record));
    }
    return records;
}

// The tests' results, and the tests that began.
struct Results
{
    Json list = Json::array();
    std::set<std::string> begun;
};

// Adds what the tests recorded. Returns whether they came to their end.
bool Collect(Results& results, const std::string& howItEnded)
{
    std::string running;
    for (const Record& record : Records())
    {
        if (record.event == "end")
            return true;
        if (record.event == "begin")
        {
            running = record.test;
            results.begun.insert(running);
            continue;
        }
        running.clear();
        Json result = {{"test", record.test}, {"result", record.event}};
        if (!record.text.empty())
            result["text"] = Reported(FromAnsi(record.text));
        results.list.push_back(std::move(result));
    }
    if (!running.empty())
        results.list.push_back({{"test", running}, {"result", "failed"}, {"text", howItEnded}});
    return false;
}

std::string Filter(const std::set<std::string>& begun, const std::vector<const LeftOut*>& leftOut)
{
    std::string filter = "-";
    for (const LeftOut* tests : leftOut)
        filter += std::string(tests->pattern) + ":";
    for (const std::string& test : begun)
        filter += test + ":";
    return filter;
}

// Starts the tests, and starts the rest again when one of them ends the program.
Json RunEach(const std::vector<const LeftOut*>& leftOut)
{
    Results results;
    std::size_t before = 0;
    for (std::size_t starts = 0; starts < kMostStarts; ++starts)
    {
        DeleteFileW(kRecords.c_str());
        SetEnvironmentVariableA("GTEST_FILTER", Filter(results.begun, leftOut).c_str());
        const auto exitCode =
            RunProgram(Quoted(kTests) + L" --gtest_brief=1 --records " + Quoted(kRecords), L"C:\\", kTestsLimitMs);
        const std::string howItEnded =
            exitCode ? "the program ended with " + std::to_string(*exitCode) : std::string("it does not end");
        if (Collect(results, howItEnded))
            return results.list;
        if (results.begun.size() == before)
            throw StepError("the tests cannot be run: " + howItEnded);
        before = results.begun.size();
    }
    return results.list;
}

} // namespace

Json RunTests(const Words&)
{
    TakeAway(); // what an earlier run left that was cut off
    const PendingMoves moves;
    Json record;
    try
    {
        SetUp();
        std::vector<const LeftOut*> leftOut;
        Json told = Json::array();
        for (const LeftOut& tests : kLeftOut)
        {
            if (!tests.applies())
                continue;
            leftOut.push_back(&tests);
            told.push_back({{"tests", tests.pattern}, {"reason", tests.reason}});
        }
        record = {{"results", RunEach(leftOut)}, {"leftOut", told}};
    }
    catch (const StepError&)
    {
        TakeAway();
        throw;
    }
    TakeAway();
    return record;
}

} // namespace proof
