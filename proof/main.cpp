// KeloProof: carries out the steps of prove.cmd, and writes the report. Each call is one step:
//   KeloProof begin STEPS              begins a report with so many steps, if the machine is fit for it
//   KeloProof tests                    runs the conformance tests
//   KeloProof capture MOMENT           has KeloDescribe read the machine
//   KeloProof installer TITLE SWITCH PACKAGE [PROPERTY=value...]
//                                      has Windows Installer work on a package of the kit
//   KeloProof clean PACKAGE            removes what is left
//   KeloProof end                      ends the report
// Exit status: 0 done; 1 not done, and the report says so; 2 not begun. That of "end" is 0 if all steps were carried
// out.
#include "describe/windows_text.h"
#include "proof/report.h"
#include "proof/steps.h"

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <exception>

namespace
{

using namespace proof;

constexpr int kDone = 0;
constexpr int kNotDone = 1;
constexpr int kNotBegun = 2;
constexpr DWORD kWaitForReaderMs = 10 * 60 * 1000;

struct Step
{
    const wchar_t* verb;
    const wchar_t* title;
    Json (*run)(const Words& arguments);
    std::size_t leastArguments;
};

constexpr Step kSteps[] = {
    {L"tests", L"running the conformance tests", &RunTests, 0},
    {L"capture", L"describing the machine", &Capture, 1},
    {L"installer", L"", &RunInstaller, 2}, // its first argument is its title
    {L"clean", L"cleaning up", &CleanUp, 1},
};

std::string Now()
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    char text[32] = {};
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond);
    return text;
}

// A window that belongs to prove.cmd alone would close before its text can be read.
void LetReaderRead()
{
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(input, &mode))
        return;
    Say(L"Press a key to close this; otherwise it closes by itself in ten minutes.");
    FlushConsoleInputBuffer(input);
    const DWORD begin = GetTickCount();
    for (DWORD passed = 0; passed < kWaitForReaderMs; passed = GetTickCount() - begin)
    {
        INPUT_RECORD record{};
        DWORD count = 0;
        if (WaitForSingleObject(input, kWaitForReaderMs - passed) != WAIT_OBJECT_0 ||
            !ReadConsoleInputW(input, &record, 1, &count) ||
            (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown))
            return;
    }
}

int Begin(const Report& report, const std::wstring& steps)
{
    if (const std::wstring why = WhyNotHere(); !why.empty())
    {
        Say(why);
        Say(L"Nothing was changed.");
        LetReaderRead();
        return kNotBegun;
    }
    Json line = {{"step", "begin"}, {"time", Now()}, {"steps", std::stoi(steps)}};
    line.update(DescribeKitAndWindows());
    report.Begin(line);
    Say(L"This proves on this Windows what the toolkit's installer program is predicted to do. It takes some minutes,");
    Say(L"asks nothing, and downloads nothing.");
    return kDone;
}

// What came of a step, for its user; empty if there is nothing to say.
std::wstring Outcome(const Json& line)
{
    if (line.contains("error"))
        return L"This step could not be carried out: " + describe::ToWide(line["error"].get<std::string>());
    if (line.contains("exitCode"))
        return L"msiexec ended with " + std::to_wstring(line["exitCode"].get<unsigned long>());
    if (!line.contains("results"))
        return {};
    std::wstring counts;
    for (const char* result : {"passed", "failed", "skipped"})
    {
        const auto count = std::count_if(line["results"].begin(), line["results"].end(),
                                         [&](const Json& test) { return test["result"] == result; });
        counts += (counts.empty() ? L"" : L", ") + std::to_wstring(count) + L" " + describe::ToWide(result);
    }
    return counts;
}

// Carries out a step, and notes it whatever comes of it.
int Do(const Report& report, const Step& step, Words arguments)
{
    std::wstring title = step.title;
    if (title.empty())
    {
        title = arguments.at(0);
        arguments.erase(arguments.begin());
    }
    const std::vector<Json> lines = report.Lines();
    if (lines.empty())
    {
        Say(L"Start prove.cmd: it begins the report.");
        return kNotBegun;
    }
    const std::size_t number = lines.size();
    Say(std::to_wstring(number) + L" of " + std::to_wstring(lines.front().value("steps", 0)) + L": " + title + L" ...");
    Json line = {{"step", describe::FromWide(step.verb)}, {"time", Now()}};
    try
    {
        line.update(step.run(arguments));
    }
    catch (const std::exception& error)
    {
        line["error"] = error.what();
    }
    if (const std::wstring outcome = Outcome(line); !outcome.empty())
        Say(L"    " + outcome);
    report.Append(line);
    return line.contains("error") ? kNotDone : kDone;
}

int End(const Report& report)
{
    const std::vector<Json> lines = report.Lines();
    if (lines.empty())
        return kNotBegun;
    int undone = lines.front().value("steps", 0) - static_cast<int>(lines.size() - 1);
    for (const Json& line : lines)
        undone += line.contains("error") ? 1 : 0;
    report.Append({{"step", "end"}, {"time", Now()}, {"lines", lines.size() + 1}});
    Say(L"");
    Say(undone == 0 ? L"Done. The report is"
                    : L"Done, but " + std::to_wstring(undone) + L" steps could not be carried out. The report is");
    Say(L"    " + report.Path());
    Say(L"Carry it to where the toolkit is built, and read it there with: ./run proof-report FILE");
    Say(L"Then take this virtual machine back to its earlier state: docs/what_stays.md lists what the removed sample");
    Say(L"package leaves on it.");
    LetReaderRead();
    return undone == 0 ? kDone : kNotDone;
}

int Run(const Words& words)
{
    const Report report{InKit(L"kelo_proof_report.txt")};
    const std::wstring verb = words.empty() ? L"" : words.front();
    const Words arguments(words.begin() + (words.empty() ? 0 : 1), words.end());
    if (verb == L"begin" && arguments.size() == 1)
        return Begin(report, arguments.front());
    if (verb == L"end")
        return End(report);
    for (const Step& step : kSteps)
    {
        if (verb == step.verb && arguments.size() >= step.leastArguments)
            return Do(report, step, arguments);
    }
    Say(L"Start prove.cmd: it carries out all steps.");
    return kNotBegun;
}

} // namespace

int main()
{
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    const Words given(words + 1, words + count);
    LocalFree(words);
    try
    {
        return Run(given);
    }
    catch (const std::exception& error)
    {
        Say(describe::ToWide(error.what()));
        LetReaderRead();
        return kNotBegun;
    }
}
