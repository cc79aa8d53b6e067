// kelo-bench: measures the cost of the program and the simulated machine, each against a floor measured in the same
// run. Writes a line for each ratio, with tabs between its parts: the measured thing, the floor, the median time of
// each in nanoseconds, and the limit of their ratio or "-".
#include "explain/find_cause.h"
#include "winsim/toolkit/program_image.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>

namespace
{

constexpr int kLinesPerRun = 1000;

winsim::RunOptions WithoutRecording()
{
    winsim::RunOptions options;
    options.recordCalls = false;
    return options;
}

// ---- What is measured ----------------------------------------------------------------------------------------------

// kLinesPerRun lines written inside one simulated process, which measures the time itself.
void MeasureLines(benchmark::State& state, const char* call)
{
    const winsim::Program image = winsim::ImageBeside("KeloBench.so");
    const winsim::Machine machine = winsim::Machine::FromJson(winsim::Json::object());
    for (auto _ : state)
    {
        std::string nanoseconds;
        image.Call(machine, WithoutRecording(), call, {std::to_string(kLinesPerRun)}, nanoseconds);
        state.SetIterationTime(std::stod(nanoseconds) * 1e-9);
    }
}

void MeasureEmptyProcess(benchmark::State& state)
{
    const winsim::Program image = winsim::ImageBeside("KeloBench.so");
    const winsim::Machine machine = winsim::Machine::FromJson(winsim::Json::object());
    for (auto _ : state)
    {
        std::string result;
        benchmark::DoNotOptimize(image.Call(machine, WithoutRecording(), "Nothing", {}, result));
    }
}

// A rehearsal, from the loaded machine to the result.
void MeasureRehearsal(benchmark::State& state, const winsim::Json& description,
                      const std::vector<std::string>& arguments)
{
    const winsim::Program image = winsim::ImageBeside("KeloCustomAction.so");
    const winsim::Machine machine = winsim::Machine::FromJson(description);
    winsim::RunOptions run = WithoutRecording();
    run.arguments = arguments;
    for (auto _ : state)
        benchmark::DoNotOptimize(image.Run(machine, run));
}

// A rehearsal that begins with the text of its description, as when many machines are rehearsed.
void MeasureOneOfMany(benchmark::State& state, const std::string& text)
{
    const winsim::Program image = winsim::ImageBeside("KeloCustomAction.so");
    winsim::RunOptions run = WithoutRecording();
    run.arguments = {"/Setup"};
    for (auto _ : state)
        benchmark::DoNotOptimize(image.Run(winsim::Machine::FromJson(winsim::Json::parse(text)), run));
}

// ---- What grows ----------------------------------------------------------------------------------------------------

constexpr int kFew = 100;
constexpr int kMany = 1000;

// A part of a machine, or of the command line, that can occur many times.
struct Growing
{
    const char* name;
    winsim::Json (*describe)(int count);
    int arguments; // options for each element
};

winsim::Json Described(const char* area, const char* prefix, int count, const winsim::Json& one)
{
    winsim::Json members = winsim::Json::object();
    for (int i = 0; i < count; ++i)
        members[fmt::format("{}{}", prefix, i)] = one;
    return {{area, members}};
}

winsim::Json Services(int count)
{
    return Described("services", "Service", count, {{"binaryPath", "C:\\Windows\\service.exe"}});
}

winsim::Json Processes(int count)
{
    return {{"processes", winsim::Json::array({{{"name", "program.exe"}, {"count", count}}})}};
}

winsim::Json Keys(int count)
{
    return Described("registry", "HKLM\\SOFTWARE\\Key", count, {{"values", {{"Number", 1}}}});
}

winsim::Json Nothing(int)
{
    return winsim::Json::object();
}

constexpr Growing kGrowing[] = {
    {"services", &Services, 0},
    {"processes", &Processes, 0},
    {"registry keys", &Keys, 0},
    {"arguments", &Nothing, 1},
};

std::string GrowthName(const Growing& growing, int count)
{
    return fmt::format("{} {}", count, growing.name);
}

std::vector<std::string> SetupWithArguments(int count)
{
    std::vector<std::string> arguments{"/Setup"};
    arguments.insert(arguments.end(), static_cast<std::size_t>(count), "/TSS_VENDOR=KELO");
    return arguments;
}

// ---- The table -----------------------------------------------------------------------------------------------------

// The median of each benchmark's repetitions, in nanoseconds of processor time.
class Medians : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            const bool tellsItsTime = run.run_name.time_type == "manual_time";
            const double whole = tellsItsTime ? run.real_accumulated_time : run.cpu_accumulated_time;
            m_times[run.run_name.function_name].push_back(whole / static_cast<double>(run.iterations) * 1e9);
        }
    }

    double Of(const std::string& name) const
    {
        std::vector<double> times = m_times.at(name);
        const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
        std::nth_element(times.begin(), middle, times.end());
        return *middle;
    }

private:
    std::map<std::string, std::vector<double>> m_times;
};

struct Row
{
    std::string name;
    std::string floorName;
    double time;
    double floor;
    std::optional<double> limit;
};

std::vector<Row> Rows(const Medians& runs)
{
    const double setup = runs.Of("Setup");
    std::vector<Row> rows{
        {"a log line, natively", "snprintf, fputs and fflush of it", runs.Of("LogLine") / kLinesPerRun,
         runs.Of("BareLine") / kLinesPerRun, 1.3},
        {"/Commit rehearsed", "a process that does nothing", runs.Of("Commit"), runs.Of("EmptyProcess"), std::nullopt},
        {"/Setup rehearsed", "a process that does nothing", setup, runs.Of("EmptyProcess"), std::nullopt},
        {"/Setup on one machine of many", "the same machine, already read", runs.Of("OneOfMany"), setup, std::nullopt},
    };
    for (const Growing& growing : kGrowing)
    {
        const double few = runs.Of(GrowthName(growing, kFew));
        const double many = runs.Of(GrowthName(growing, kMany));
        rows.push_back({fmt::format("/Setup with {} {}", kMany, growing.name), "/Setup", many, setup, std::nullopt});
        // Ten times as many elements cost ten times as much.
        rows.push_back({fmt::format("{} more {}", kMany - kFew, growing.name), fmt::format("the first {}", kFew),
                        many - few, few - setup, std::nullopt});
    }
    return rows;
}

void Print(const std::vector<Row>& rows)
{
    for (const Row& row : rows)
    {
        fmt::print("{}\t{}\t{:.1f}\t{:.1f}\t{}\n", row.name, row.floorName, row.time, row.floor,
                   row.limit ? fmt::format("{:.2f}", *row.limit) : "-");
    }
}

// ---- Causes of logs ------------------------------------------------------------------------------------------------

// For all single failures on every described machine: the number of calls that could have failed to give the same log.
CauseFigures MeasureCauses()
{
    const std::vector<std::vector<std::string>> commandLines = {
        {"/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1"}, {"/Commit"}, {"/Uninstall"}, {}};
    std::vector<std::size_t> causes;
    std::size_t tried = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KELO_ROOT "/machines"))
    {
        if (entry.path().extension() != ".json" || entry.path().stem().extension() == ".schema")
            continue;
        for (const std::vector<std::string>& arguments : commandLines)
            tried += CauseFinder{winsim::Machine::FromFile(entry.path().string()), arguments}.CountCauses(causes);
    }
    return FiguresOf(tried, std::move(causes));
}

void Print(const CauseFigures& figures)
{
    fmt::print("calls that could have caused the same log, of {} single failures\tone\t{}\t1\t-\n", figures.traced,
               figures.medianCauses);
}

} // namespace

int main(int argc, char** argv)
{
    // Many short repetitions, with all benchmarks in turn. Further options may follow.
    std::vector<std::string> words{argv[0], "--benchmark_repetitions=31", "--benchmark_min_time=0.005",
                                   "--benchmark_enable_random_interleaving=true"};
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());

    benchmark::RegisterBenchmark("LogLine", MeasureLines, "LogLines")->UseManualTime();
    benchmark::RegisterBenchmark("BareLine", MeasureLines, "BareLines")->UseManualTime();
    benchmark::RegisterBenchmark("EmptyProcess", MeasureEmptyProcess);
    const winsim::Json plain = winsim::Json::object();
    benchmark::RegisterBenchmark("Commit", MeasureRehearsal, plain, std::vector<std::string>{"/Commit"});
    benchmark::RegisterBenchmark("Setup", MeasureRehearsal, plain, SetupWithArguments(0));
    benchmark::RegisterBenchmark("OneOfMany", MeasureOneOfMany, plain.dump());
    for (const Growing& growing : kGrowing)
    {
        for (const int number : {kFew, kMany})
            benchmark::RegisterBenchmark(GrowthName(growing, number).c_str(), MeasureRehearsal,
                                         growing.describe(number), SetupWithArguments(number * growing.arguments));
    }

    Medians runs;
    benchmark::RunSpecifiedBenchmarks(&runs);

    Print(Rows(runs));
    Print(MeasureCauses());
}
