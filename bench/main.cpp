// kelo-bench: measures what the program and the simulated machine cost, each against a floor measured in the same run.
#include "explain/find_cause.h"
#include "winsim/core/program.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

namespace
{

constexpr int kLinesPerRun = 1000;

winsim::Program Image(const char* name)
{
    return winsim::Program{(std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string()};
}

winsim::RunOptions WithoutRecording()
{
    winsim::RunOptions options;
    options.recordCalls = false;
    return options;
}

// ---- What is measured ----------------------------------------------------------------------------------------------

// kLinesPerRun lines written inside one simulated process, which takes the time itself.
void MeasureLines(benchmark::State& state, const char* call)
{
    const winsim::Program image = Image("KeloBench.so");
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
    const winsim::Program image = Image("KeloBench.so");
    const winsim::Machine machine = winsim::Machine::FromJson(winsim::Json::object());
    for (auto _ : state)
    {
        std::string result;
        benchmark::DoNotOptimize(image.Call(machine, WithoutRecording(), "Nothing", {}, result));
    }
}

// A rehearsal, from the loaded machine to the result.
void MeasureCommit(benchmark::State& state, int options)
{
    const winsim::Program image = Image("KeloCustomAction.so");
    const winsim::Machine machine = winsim::Machine::FromJson(winsim::Json::object());
    winsim::RunOptions run = WithoutRecording();
    run.arguments = {"/Commit"};
    for (int i = 0; i < options; ++i)
        run.arguments.push_back("/TSS_VENDOR=KELO");
    for (auto _ : state)
        benchmark::DoNotOptimize(image.Run(machine, run));
}

// ---- The table -----------------------------------------------------------------------------------------------------

// The fastest repetition of each benchmark, in nanoseconds of the processor: the one that other programs disturbed
// least.
class FastestRuns : public benchmark::BenchmarkReporter
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
            const double time = whole / static_cast<double>(run.iterations) * 1e9;
            const auto [best, isFirst] = m_times.try_emplace(run.run_name.function_name, time);
            best->second = isFirst ? time : std::min(best->second, time);
        }
    }

    double Of(const std::string& name) const { return m_times.at(name); }

private:
    std::map<std::string, double> m_times;
};

struct Row
{
    const char* name;
    const char* floorName;
    double time;
    double floor;
    std::optional<double> limit;

    double Ratio() const { return time / floor; }
    bool IsAboveLimit() const { return limit && Ratio() > *limit; }
};

std::vector<Row> Rows(const FastestRuns& runs)
{
    const double logLine = runs.Of("LogLine") / kLinesPerRun;
    const double bareLine = runs.Of("BareLine") / kLinesPerRun;
    const double commit = runs.Of("Commit");
    const double perOptionOf10 = (runs.Of("Commit10") - commit) / 10;
    const double perOptionOf100 = (runs.Of("Commit100") - commit) / 100;
    return {
        {"a log line", "snprintf, fputs and fflush of it", logLine, bareLine, 1.3},
        {"/Commit rehearsed", "a process that does nothing", commit, runs.Of("EmptyProcess"), std::nullopt},
        {"an option of 10 to /Commit", "a log line", perOptionOf10, logLine, std::nullopt},
        {"an option of 100 to /Commit", "a log line", perOptionOf100, logLine, std::nullopt},
        {"an option of 100 to /Commit", "an option of 10", perOptionOf100, perOptionOf10, 1.5},
    };
}

void Print(const std::vector<Row>& rows)
{
    fmt::print("{:<30} {:>11}   {:<34} {:>11} {:>7} {:>7}\n", "name", "time", "floor", "time", "ratio", "limit");
    for (const Row& row : rows)
    {
        fmt::print("{:<30} {:>8.2f} us   {:<34} {:>8.2f} us {:>7.2f} {:>7}{}\n", row.name, row.time / 1000,
                   row.floorName, row.floor / 1000, row.Ratio(), row.limit ? fmt::format("{:.2f}", *row.limit) : "-",
                   row.IsAboveLimit() ? "  ABOVE THE LIMIT" : "");
    }
}

// ---- Causes of logs ------------------------------------------------------------------------------------------------

// How many calls could have failed as a log is, over the single failures of every described machine.
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
    fmt::print("\nfinding a log's cause: of {} single failures {} leave a trace in the log; the median number of calls "
               "that could "
               "have failed so is {}\n",
               figures.tried, figures.traced, figures.medianCauses);
}

} // namespace

// Exit status: 0 when each ratio is within its limit, 1 otherwise.
int main(int argc, char** argv)
{
    // Many short repetitions of all benchmarks in turn, so that each finds a quiet moment; more options may follow.
    std::vector<std::string> words{argv[0], "--benchmark_repetitions=60", "--benchmark_min_time=0.005",
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
    benchmark::RegisterBenchmark("Commit", MeasureCommit, 0);
    benchmark::RegisterBenchmark("Commit10", MeasureCommit, 10);
    benchmark::RegisterBenchmark("Commit100", MeasureCommit, 100);

    FastestRuns runs;
    benchmark::RunSpecifiedBenchmarks(&runs);
    const std::vector<Row> rows = Rows(runs);
    Print(rows);
    Print(MeasureCauses());
    return std::any_of(rows.begin(), rows.end(), [](const Row& row) { return row.IsAboveLimit(); }) ? 1 : 0;
}
