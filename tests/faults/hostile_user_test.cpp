// Runs every case on a machine whose ordinary user is hostile: each place of the program below the common application
// data is misused in every way, before the run and between every two calls of the steps that use it.
#include "tests/faults/extent.h"
#include "tests/faults/hostile_oracle.h"
#include "tests/faults/hostile_user.h"
#include "tests/faults/isolated.h"
#include "tests/faults/steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string_view>

namespace
{

using winsim::Outcome;

constexpr std::size_t kFewestRuns = 5000;
constexpr std::size_t kFewestBriefRuns = 3000;
constexpr std::size_t kBriefStride = 16;  // from one attacked place to the next
constexpr std::size_t kWatchedStride = 4; // from one attack before the run to the next

// The first call of a run uses nothing that a user can change.
constexpr std::size_t kBeforeTheRun = 1;

bool IsDeep()
{
    return AskedExtent() == Extent::Deep;
}

// The calls of a run, counted from 1, after which the places may be misused: those that open the logs, and those of the
// step that opens the policies and the configuration file to others.
std::vector<std::size_t> PlacesToStrike(const SweepCase& sweepCase, const Outcome& outcome)
{
    const auto isFirstLine = [](const winsim::CallRecord& record) { return record.name == "fputs"; };
    const auto firstLine = std::find_if(outcome.calls.begin(), outcome.calls.end(), isFirstLine);
    std::vector<std::size_t> places;
    const auto add = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < std::min(end, outcome.calls.size());
             i += IsBrief(AskedExtent()) ? kBriefStride : 1)
            places.push_back(i + 1);
    };
    add(0, static_cast<std::size_t>(firstLine - outcome.calls.begin()) + 1);
    const auto steps = StepsBegunIn(sweepCase, outcome);
    for (const BegunStep& step : steps)
    {
        if (std::string_view(step.step->name) == "policy access")
            add(step.record, EndOfStep(steps, outcome, step.record));
    }
    return places;
}

// The log is opened in the same way for every command line, so one case for each kind of image stands for all cases of
// a machine: between calls, and for everything where every run takes several times as long.
bool StrikesBetweenCalls(const SweepCase& sweepCase)
{
    return sweepCase.IsExport() || sweepCase.arguments == std::vector<std::string>{"/Setup"} || IsDeep();
}

// All plans for a case: each attack before the run, and between any two calls one attack on each place, in turn. Where
// every run takes several times as long, the machines share the attacks before the run among them.
std::vector<std::vector<winsim::Meanwhile>> PlansFor(const SweepCase& sweepCase, const Outcome& undisturbed)
{
    std::vector<std::vector<winsim::Meanwhile>> plans;
    if (AskedExtent() == Extent::Watched && !StrikesBetweenCalls(sweepCase))
        return plans;
    const std::size_t stride = AskedExtent() == Extent::Watched ? kWatchedStride : 1;
    for (std::size_t i = FirstTried(sweepCase, stride); i < AllAttacks().size(); i += stride)
        plans.push_back(After(kBeforeTheRun, AllAttacks()[i]));
    if (!StrikesBetweenCalls(sweepCase))
        return plans;

    std::map<std::string, std::vector<const Attack*>> byPlace;
    for (const Attack& attack : AllAttacks())
        byPlace[attack.place].push_back(&attack);
    std::size_t turn = 0;
    for (const std::size_t ordinal : PlacesToStrike(sweepCase, undisturbed))
    {
        for (const auto& [place, attacks] : byPlace)
        {
            if (!IsDeep())
                plans.push_back(After(ordinal, *attacks[turn % attacks.size()]));
            else
                for (const Attack* attack : attacks)
                    plans.push_back(After(ordinal, *attack));
        }
        ++turn;
    }
    return plans;
}

class HostileUserSweep : public testing::TestWithParam<SweepCase>
{};

TEST_P(HostileUserSweep, ChangesNothingButTheTwoObjectsAndTheLog)
{
    ExpectNoComplaints([&](Progress& progress) {
        const winsim::Machine machine = MachineWithVictims(MachineOf(GetParam()));
        const Outcome undisturbed = ::Run(GetParam(), machine, {});
        std::size_t runs = 0;
        for (const auto& plan : PlansFor(GetParam(), undisturbed))
        {
            const std::string command = CommandFor(GetParam(), {}, plan);
            progress.Begin(command);
            ++runs;
            const Outcome outcome = ::Run(GetParam(), machine, {}, plan);
            for (const std::string& complaint : HostileComplaints(undisturbed, outcome))
                progress.Complain(complaint + "\n    " + command);
        }
        std::printf("%zu runs with a hostile user\n", runs);
        std::fflush(stdout);
    });
}

// A user who does nothing changes nothing.
TEST_P(HostileUserSweep, AnHonestMachineIsAsEver)
{
    const winsim::Machine honest = MachineOf(GetParam());
    const Outcome before = ::Run(GetParam(), honest, {});
    const Outcome after = ::Run(GetParam(), MachineWithVictims(honest), {});
    EXPECT_EQ(after.exitCode, before.exitCode);
    EXPECT_EQ(after.images, before.images);
    EXPECT_EQ(after.callCounts, before.callCounts);
    const std::vector<winsim::Change> changes = Compare(before.machine, after.machine);
    for (const winsim::Change& change : changes)
        EXPECT_TRUE(change.area == "files" && change.kind == "added") << change.area << ": " << change.item;
}

TEST_P(HostileUserSweep, NothingThatTheUserPlantedIsLoadedOrStarted)
{
    const Outcome outcome = ::Run(GetParam(), MachineWithPlantedFiles(MachineOf(GetParam())), {});
    for (const std::string& image : outcome.images)
        EXPECT_FALSE(IsPlanted(image)) << image;
}

TEST_P(HostileUserSweep, AnotherWindowsFolderTakesNoFile)
{
    for (const winsim::Machine& machine : MachinesWithAnotherWindowsFolder(MachineOf(GetParam())))
    {
        const Outcome outcome = ::Run(GetParam(), machine, {});
        for (const winsim::Change& change : Compare(machine, outcome.machine))
            EXPECT_FALSE(IsPlanted(change.item) || change.item.starts_with("C:\\Victim"))
                << change.area << ": " << change.item;
    }
}

// The remaining weakness: SetNamedSecurityInfoW takes a name, and no handle keeps an empty folder from becoming a link.
// On a machine with redirection trust the link is not followed. On an older one the link's target gets the access list
// of the policies; there is no other effect.
TEST_P(HostileUserSweep, AnEmptyFolderThatBecomesALinkGivesAwayOneAccessListAtMost)
{
    const winsim::Machine machine = MachineWithVictims(MachineOf(GetParam()));
    const Outcome undisturbed = ::Run(GetParam(), machine, {});
    for (const std::size_t ordinal : PlacesToStrike(GetParam(), undisturbed))
    {
        const Outcome outcome = ::Run(GetParam(), machine, {}, After(ordinal, TurningOfPolicies()));
        for (const std::string& complaint : HostileComplaints(undisturbed, outcome))
        {
            EXPECT_EQ(complaint, "it changed files: " + kTurnedTo) << ordinal;
            EXPECT_FALSE(machine.windows.major >= 10 && machine.windows.hasRedirectionTrust) << ordinal;
        }
        winsim::Machine exceptForTheList = outcome.machine;
        exceptForTheList.files.Find(kTurnedTo)->security = undisturbed.machine.files.Find(kTurnedTo)->security;
        EXPECT_EQ(*exceptForTheList.files.Find(kTurnedTo), *undisturbed.machine.files.Find(kTurnedTo)) << ordinal;
    }
}

// The promised number of runs.
TEST(HostileUserSweepAsAWhole, TriesThousandsOfRuns)
{
    std::size_t runs = 0;
    for (const SweepCase& sweepCase : AllCases())
        runs += PlansFor(sweepCase, ::Run(sweepCase, MachineOf(sweepCase), {})).size();
    EXPECT_GE(runs, IsBrief(AskedExtent()) ? kFewestBriefRuns : kFewestRuns);
    std::printf("%zu runs with a hostile user in all\n", runs);
}

INSTANTIATE_TEST_SUITE_P(Machines, HostileUserSweep, testing::ValuesIn(AllCases()),
                         [](const auto& tested) { return tested.param.name; });

} // namespace
