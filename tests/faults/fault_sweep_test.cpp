// Runs every case repeatedly, each time with another failure, and with pairs of failures.
#include "tests/faults/extent.h"
#include "tests/faults/isolated.h"
#include "tests/faults/oracle.h"
#include "winsim/machine/fault_table.h"

#include "winsim_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string_view>

namespace
{

using winsim::Fault;

constexpr unsigned kMostRepeats = 24; // of one call in one step
constexpr unsigned kSeed = 20130507;

// Which calls of a case fail.
enum class Places
{
    Every,
    New,      // those at places that no earlier machine's run with the same arguments has
    NewInStep // those that no earlier case made in the same step after the same call
};

// What is tried in each case.
struct Reach
{
    Places places;
    bool everyWay;             // in which a call can fail; otherwise one of them
    std::size_t pairs;         // of failures at any two places
    unsigned memoryStride = 1; // from one request for memory that is refused to the next
    bool pairsWithinSteps = false;
};

Reach ReachOf(Extent extent)
{
    switch (extent)
    {
    case Extent::Watched:
        return {.places = Places::NewInStep, .everyWay = true, .pairs = 4, .memoryStride = 40};
    case Extent::Brief:
        return {.places = Places::Every, .everyWay = false, .pairs = 20};
    case Extent::Deep:
        return {.places = Places::Every, .everyWay = true, .pairs = 6000, .pairsWithinSteps = true};
    default:
        return {.places = Places::New, .everyWay = true, .pairs = 200};
    }
}

// For each place of a run: its call, by name and occurrence, with every failure that the call can have.
std::vector<std::vector<Fault>> FailuresAtEachPlace(const winsim::Outcome& outcome)
{
    std::map<std::string, unsigned> occurrences;
    std::vector<std::vector<Fault>> failures;
    for (const winsim::CallRecord& record : outcome.calls)
        failures.push_back(winsim::FailuresOf(record.name, ++occurrences[record.name]));
    return failures;
}

// The places of a run: each call with the two before and the two after it, with arguments and results. That is where a
// run is, as far as the program can tell. Each place is a hash, which takes less time and memory than the text.
std::vector<std::size_t> PlacesIn(const winsim::Outcome& outcome)
{
    constexpr std::size_t kNeighbours = 2;
    constexpr std::size_t kSpread = 0x9E3779B97F4A7C15; // 2^64 divided by the golden ratio, so that sums differ
    std::vector<std::size_t> calls;
    for (const winsim::CallRecord& record : outcome.calls)
        calls.push_back((std::hash<std::string>{}(record.name) * kSpread + std::hash<winsim::Json>{}(record.in)) *
                            kSpread +
                        std::hash<winsim::Json>{}(record.result));
    std::vector<std::size_t> places(calls.size());
    for (std::size_t i = 0; i < calls.size(); ++i)
    {
        for (std::size_t k = i - std::min(i, kNeighbours); k < std::min(i + kNeighbours + 1, calls.size()); ++k)
            places[i] = places[i] * kSpread + calls[k];
    }
    return places;
}

// The places of a case without failures, found once.
const std::vector<std::size_t>& PlacesIn(const SweepCase& sweepCase)
{
    static std::map<std::string, std::vector<std::size_t>> known;
    const auto [found, isNew] = known.try_emplace(sweepCase.name);
    if (isNew)
        found->second = PlacesIn(Run(sweepCase, MachineOf(sweepCase), {}));
    return found->second;
}

// The calls of each case, by its name, that no earlier case made in the same step after the same call.
std::map<std::string, std::vector<std::size_t>> FindNewInStep()
{
    std::map<std::string, std::vector<std::size_t>> places;
    std::set<std::string> known;
    for (const SweepCase& sweepCase : AllCases())
    {
        const winsim::Outcome outcome = Run(sweepCase, MachineOf(sweepCase), {});
        const auto steps = StepsBegunIn(sweepCase, outcome);
        std::vector<std::size_t>& own = places[sweepCase.name];
        std::string before;
        for (std::size_t i = 0; i < outcome.calls.size(); ++i)
        {
            const std::string& name = outcome.calls[i].name;
            if (known.insert(StepAt(steps, i) + ": " + before + ", " + name).second)
                own.push_back(i);
            before = name;
        }
    }
    return places;
}

// The calls of a case that fail.
std::vector<std::size_t> PlacesOf(const SweepCase& sweepCase, Places choice)
{
    if (choice == Places::NewInStep)
    {
        static const auto newInStep = FindNewInStep();
        return newInStep.at(sweepCase.name);
    }
    std::set<std::size_t> earlier;
    for (const SweepCase& other : AllCases())
    {
        if (choice == Places::Every || other.name == sweepCase.name)
            break;
        if (other.arguments == sweepCase.arguments)
            earlier.insert(PlacesIn(other).begin(), PlacesIn(other).end());
    }
    const std::vector<std::size_t>& own = PlacesIn(sweepCase);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < own.size(); ++i)
    {
        if (!earlier.contains(own[i]))
            places.push_back(i);
    }
    return places;
}

// Each call of a run that needs memory, refused it: operator new, and Windows' calls that allocate for the program or
// for themselves.
std::vector<Fault> ShortagesIn(const winsim::Outcome& outcome)
{
    std::vector<Fault> shortages;
    for (const auto& [name, count] : outcome.callCounts)
    {
        for (unsigned occurrence = 1; occurrence <= count; ++occurrence)
        {
            if (const std::optional<Fault> shortage = winsim::ShortageOfMemory(name, occurrence))
                shortages.push_back(*shortage);
        }
    }
    return shortages;
}

class Sweep
{
public:
    Sweep(const SweepCase& sweepCase, Progress& progress)
        : m_case(sweepCase), m_progress(progress), m_baseline(MakeBaseline(sweepCase))
    {}

    // Makes one run. Returns nothing if an exception left the program.
    std::optional<winsim::Outcome> Try(const std::vector<Fault>& faults)
    {
        const std::string command = CommandFor(m_case, faults);
        m_progress.Begin(command);
        ++m_runs;
        try
        {
            winsim::Outcome outcome = Run(m_case, m_baseline.machine, faults);
            for (const std::string& complaint : Complaints(m_case, m_baseline, faults, outcome))
                m_progress.Complain(complaint + "\n    " + command);
            return outcome;
        }
        catch (const std::exception& error)
        {
            m_progress.Complain(std::string("an exception came out of the program: ") + error.what() + "\n    " +
                                command);
        }
        catch (...)
        {
            m_progress.Complain("something was thrown out of the program\n    " + command);
        }
        return std::nullopt;
    }

    // Each call at these places fails once in each of its ways, or in one of them: the ways of failing alternate.
    void Singles(const std::vector<std::size_t>& places, bool everyWay)
    {
        const auto failures = FailuresAtEachPlace(m_baseline.outcome);
        std::size_t turn = 0;
        for (const std::size_t place : places)
        {
            const std::vector<Fault>& ways = failures[place];
            for (std::size_t k = 0; k < (everyWay ? ways.size() : std::min<std::size_t>(ways.size(), 1)); ++k)
                Try({ways[turn++ % ways.size()]});
        }
    }

    // Each stride-th call that needs memory is refused it once.
    void Memory(unsigned stride)
    {
        const std::vector<Fault> shortages = ShortagesIn(m_baseline.outcome);
        for (std::size_t i = FirstTried(m_case, stride); i < shortages.size(); i += stride)
            Try({shortages[i]});
    }

    // Two calls of the same step fail: each pair of calls, for each way in which the first can fail. A call of the log
    // is paired with another one of the same line, any other call with calls that are not the log's. A wait repeats the
    // same calls, so its first ones stand for the rest.
    void PairsWithinSteps(std::mt19937& random)
    {
        for (const auto& failures : FailuresAtEachPlace(m_baseline.outcome))
        {
            for (const Fault& first : failures)
                PairsWith(first, random);
        }
    }

    // A number of pairs at any two places.
    void SampledPairs(std::mt19937& random, std::size_t count)
    {
        auto failures = FailuresAtEachPlace(m_baseline.outcome);
        std::erase_if(failures, [](const auto& atOnePlace) { return atOnePlace.empty(); });
        const auto any = [&](const auto& choices) -> const auto&
        {
            return choices[random() % choices.size()];
        };
        for (std::size_t i = 0; i < count; ++i)
            Try({any(any(failures)), any(any(failures))});
    }

    std::size_t Runs() const { return m_runs; }

private:
    void PairsWith(const Fault& first, std::mt19937& random)
    {
        const auto once = Run(m_case, m_baseline.machine, {first});
        const auto place = PlaceOf(once, first);
        if (!place)
            return;
        const std::size_t end = EndOfStep(StepsBegunIn(m_case, once), once, *place);
        const bool isLogs = IsLogCall(once, *place);
        const auto failures = FailuresAtEachPlace(once);
        std::map<std::string, unsigned> repeats;
        for (std::size_t i = *place + 1; i < end; ++i)
        {
            if (isLogs && !IsLogCall(once, i))
                return;
            if (failures[i].empty() || IsLogCall(once, i) != isLogs)
                continue;
            if (++repeats[once.calls[i].name] <= kMostRepeats)
                Try({first, failures[i][random() % failures[i].size()]});
        }
    }

    const SweepCase& m_case;
    Progress& m_progress;
    Baseline m_baseline;
    std::size_t m_runs = 0;
};

// For readers of a whole log of the tests.
void Tell(const Sweep& sweep, const char* what)
{
    std::printf("%zu runs %s\n", sweep.Runs(), what);
    std::fflush(stdout);
}

class FaultSweep : public testing::TestWithParam<SweepCase>
{};

// A call that is new to the program must be added to the table of failures.
TEST_P(FaultSweep, EveryCallIsKnown)
{
    const Baseline baseline = MakeBaseline(GetParam());
    for (const auto& [name, count] : baseline.outcome.callCounts)
    {
        const std::size_t failures = winsim::FailuresOf(name, 1).size();
        EXPECT_EQ(winsim::CannotFail(name) ? 0 : std::max<std::size_t>(failures, 2), failures) << name;
    }
}

// The machines make the program reach every call that can fail, with two exceptions: a call that only follows another
// one's failure, and the call that takes a directory from a user.
TEST(FaultSweepAsAWhole, ReachesEveryCallThatCanFail)
{
    std::set<std::string> calls{"GetWindowsDirectoryA", "SetSecurityInfo"};
    for (const SweepCase& sweepCase : AllCases())
    {
        for (const auto& [name, count] : MakeBaseline(sweepCase).outcome.callCounts)
            calls.insert(name);
    }
    for (const std::string& call : winsim::FallibleCalls())
        EXPECT_TRUE(calls.contains(call)) << call;
}

// The promised number of runs.
TEST(FaultSweepAsAWhole, TriesAtLeast20000SingleFailures)
{
    std::size_t singles = 0;
    for (const SweepCase& sweepCase : AllCases())
    {
        const auto failures = FailuresAtEachPlace(MakeBaseline(sweepCase).outcome);
        for (const std::size_t place : PlacesOf(sweepCase, ReachOf(Extent::Usual).places))
            singles += failures[place].size();
    }
    std::printf("%zu single failures\n", singles);
    EXPECT_GE(singles, 20000u);
}

// The figures of memory, a line for each call that needs it.
TEST(FaultSweepAsAWhole, RefusesMemoryToEveryCallThatNeedsIt)
{
    std::map<std::string, std::size_t> refused;
    std::size_t all = 0;
    for (const SweepCase& sweepCase : AllCases())
    {
        for (const Fault& shortage : ShortagesIn(MakeBaseline(sweepCase).outcome))
        {
            ++refused[shortage.call];
            ++all;
        }
    }
    std::printf("%zu requests for memory refused\n", all);
    for (const auto& [call, count] : refused)
        std::printf("  %7zu of %s\n", count, call.c_str());
    for (const char* call : {winsim::kAllocation, "LocalAlloc", "SysAllocString", "_fsopen"})
        EXPECT_TRUE(refused.contains(call)) << call;
}

TEST_P(FaultSweep, EveryCallFailsOnce)
{
    const Reach reach = ReachOf(AskedExtent());
    const auto places = PlacesOf(GetParam(), reach.places);
    ExpectNoComplaints([&](Progress& progress) {
        Sweep sweep{GetParam(), progress};
        sweep.Singles(places, reach.everyWay);
        Tell(sweep, "with one failure");
    });
}

TEST_P(FaultSweep, MemoryRunsOutOnce)
{
    ExpectNoComplaints([&](Progress& progress) {
        Sweep sweep{GetParam(), progress};
        sweep.Memory(ReachOf(AskedExtent()).memoryStride);
        Tell(sweep, "with memory refused");
    });
}

TEST_P(FaultSweep, TwoCallsFail)
{
    const Reach reach = ReachOf(AskedExtent());
    ExpectNoComplaints([&](Progress& progress) {
        Sweep sweep{GetParam(), progress};
        std::mt19937 random{kSeed};
        if (reach.pairsWithinSteps)
            sweep.PairsWithinSteps(random);
        sweep.SampledPairs(random, reach.pairs);
        Tell(sweep, "with two failures");
    });
}

INSTANTIATE_TEST_SUITE_P(Machines, FaultSweep, testing::ValuesIn(AllCases()),
                         [](const auto& tested) { return tested.param.name; });

} // namespace
