// Runs the program for the fuzz targets and judges the runs.
#include "tests/fuzz/fuzz.h"

#include "winsim/base/text.h"
#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/program_image.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace
{

constexpr char kEntryPoint[] = "SRK_Auth_Change";
// libFuzzer reads these in addition to the counters of the objects linked with it.
constexpr std::size_t kMostCounters = std::size_t{1} << 16;
[[gnu::section("__libfuzzer_extra_counters")]] std::uint8_t g_counters[kMostCounters];

const winsim::Program& FuzzedImage()
{
    static const winsim::Program program = winsim::ImageBeside("KeloCustomActionFuzz.so");
    return program;
}

[[noreturn]] void Fail(const std::string& text)
{
    std::fprintf(stderr, "%s\n", text.c_str());
    std::abort();
}

// Characters that cannot be printed are shown by their numbers.
std::string Printed(std::string_view text)
{
    std::string printed;
    for (const char c : text)
    {
        char number[8];
        std::snprintf(number, sizeof number, "\\x%02x", static_cast<unsigned char>(c));
        printed += c >= ' ' && c <= '~' ? std::string(1, c) : number;
    }
    return printed;
}

winsim::RunOptions Options(winsim::RunOptions options, std::set<std::string, std::less<>> calls)
{
    calls.insert("fputs");
    options.parametersOf = std::move(calls);
    return options;
}

void JudgeLine(const winsim::Machine& machine, const std::string& line)
{
    const auto& codePage = winsim::CodePage::Get(machine.windows.codePage);
    if (!winsim::BeginsWithHeader(line) || !line.ends_with('\n'))
        Fail("a malformed line: " + Printed(line));
    if (codePage.FromUtf16(winsim::Utf16(line)).size() > kLongestLine)
        Fail("a line that is too long: " + Printed(line));
}

FuzzedRun Judge(const winsim::Machine& machine, winsim::Outcome outcome)
{
    for (const std::string& violation : outcome.violations)
        Fail("handles and memory: " + violation);
    if (outcome.death)
        Fail("it died: " + *outcome.death);
    if (outcome.isEndless)
        Fail("it waits for ever");
    FuzzedRun run;
    run.outcome = std::move(outcome);
    for (const winsim::CallRecord& record : run.CallsOf("fputs"))
    {
        run.lines.push_back(record.in["str"].get<std::string>());
        JudgeLine(machine, run.lines.back());
    }
    return run;
}

} // namespace

extern "C" void TakeCounters(const std::uint8_t* begin, const std::uint8_t* end)
{
    if (end - begin > static_cast<std::ptrdiff_t>(kMostCounters))
        Fail("kMostCounters is too small");
    std::copy(begin, end, g_counters);
}

std::string TextOf(const std::uint8_t* data, std::size_t size)
{
    std::string bytes(data, data + size);
    std::erase(bytes, '\0');
    return winsim::Utf8(winsim::Utf16(bytes));
}

std::vector<std::string> LinesOf(const std::uint8_t* data, std::size_t size)
{
    std::istringstream text(TextOf(data, size));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

void ExpectSame(std::string_view what, std::string_view expected, std::string_view actual)
{
    if (expected != actual)
        Fail(std::string(what) + "\n  expected: " + Printed(expected) + "\n  actual:   " + Printed(actual));
}

void ExpectSame(std::string_view what, const std::vector<std::string>& expected, const std::vector<std::string>& actual)
{
    for (std::size_t i = 0; i < std::min(expected.size(), actual.size()); ++i)
        ExpectSame(std::string(what) + " " + std::to_string(i), expected[i], actual[i]);
    ExpectSame(std::string("how many of: ") + std::string(what), std::to_string(expected.size()),
               std::to_string(actual.size()));
}

std::vector<std::string> FuzzedRun::Messages() const
{
    std::vector<std::string> messages;
    for (const std::string& line : lines)
        messages.push_back(winsim::MessageOf(line.substr(0, line.size() - 1)));
    return messages;
}

std::vector<winsim::CallRecord> FuzzedRun::CallsOf(std::string_view name) const
{
    std::vector<winsim::CallRecord> records;
    for (const winsim::CallRecord& record : outcome.calls)
    {
        if (record.name == name)
            records.push_back(record);
    }
    return records;
}

FuzzedRun CallFunction(const winsim::Machine& machine, const std::string& name,
                       const std::vector<std::string>& arguments, const std::set<std::string, std::less<>>& calls)
{
    std::string result;
    FuzzedRun run = Judge(machine, FuzzedImage().Call(machine, Options({}, calls), name, arguments, result));
    run.result = result;
    return run;
}

FuzzedRun RunProgram(const winsim::Machine& machine, winsim::RunOptions options,
                     const std::set<std::string, std::less<>>& calls)
{
    FuzzedRun run = Judge(machine, FuzzedImage().Run(machine, Options(std::move(options), calls)));
    if (run.outcome.exitCode != 0 && run.outcome.exitCode != -1)
        Fail("the exit code is " + std::to_string(run.outcome.exitCode));
    return run;
}

FuzzedRun RunEntryPoint(const winsim::Machine& machine, const std::set<std::string, std::less<>>& calls)
{
    return Judge(machine, FuzzedImage().RunExport(machine, Options({}, calls), kEntryPoint));
}

std::string LogLine(const std::string& header, const std::string& message)
{
    std::string line = header + message;
    const bool fits = line.size() <= kLongestLine - 1 || (line.size() == kLongestLine && line.ends_with('\n'));
    if (!fits)
        line.resize(kLongestLine - 1);
    return line.ends_with('\n') ? line : line + '\n';
}
