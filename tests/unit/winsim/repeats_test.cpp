// Proves which calls a recording folds: only repetitions that differ in nothing but the clock.
#include "winsim/process/gate.h"
#include "winsim/process/repeats.h"
#include "winsim/toolkit/install_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using winsim::CallRecord;
using winsim::Repeat;
using winsim::RepeatFinder;

constexpr std::uint64_t kLeast = RepeatFinder::kLeastTimes;

// A recording together with its finder of repeats.
class Recording
{
public:
    void Add(CallRecord record)
    {
        records.push_back(std::move(record));
        finder.Added(records);
        most = std::max(most, records.size());
    }

    // Queries a service, reads the clock and writes a log line.
    void Poll(std::uint64_t clockMs, int state = 4)
    {
        Add({.name = "QueryServiceStatus", .in = {}, .result = 1, .out = {{"state", state}}, .clockMs = clockMs});
        Add({.name = "GetTickCount", .in = {}, .result = 600000 + clockMs, .clockMs = clockMs});
        Add({.name = "fputs",
             .in = {{"str", "2013/05/07 14:03:" + std::to_string(clockMs) + " TZ-4 [3120] waiting\n"}},
             .result = 0,
             .clockMs = clockMs});
    }

    std::vector<CallRecord> records;
    RepeatFinder finder{&winsim::MessageOf};
    std::size_t most = 0; // most records kept at a time
};

TEST(Repeats, SameCallsButForTheClockAreRecordedOnce)
{
    Recording recording;
    recording.Add({.name = "OpenServiceW", .result = "service#1"});
    constexpr std::uint64_t kTimes = 10000;
    for (std::uint64_t i = 0; i < kTimes; ++i)
        recording.Poll(i * 250);
    recording.Add({.name = "CloseServiceHandle", .result = 1, .clockMs = kTimes * 250});
    EXPECT_THAT(recording.finder.Repeats(), ElementsAre(Repeat{1, 3, kTimes, 250}));
    ASSERT_EQ(recording.records.size(), 5u);
    EXPECT_EQ(recording.records[4].name, "CloseServiceHandle");
    EXPECT_LE(recording.most, 1 + 3 * kLeast);
}

TEST(Repeats, FewerTimesStayAsTheyAre)
{
    Recording recording;
    for (std::uint64_t i = 0; i < kLeast - 1; ++i)
        recording.Poll(i * 250);
    EXPECT_THAT(recording.finder.Repeats(), IsEmpty());
    EXPECT_EQ(recording.records.size(), 3 * (kLeast - 1));
}

TEST(Repeats, AnotherStateEndsARepeatAndBeginsTheNext)
{
    Recording recording;
    for (std::uint64_t i = 0; i < 2 * kLeast; ++i)
        recording.Poll(i * 250, i < kLeast + 5 ? 3 : 4);
    for (std::uint64_t i = 2 * kLeast; i < 4 * kLeast; ++i)
        recording.Poll(i * 250);
    EXPECT_THAT(recording.finder.Repeats(),
                ElementsAre(Repeat{0, 3, kLeast + 5, 250}, Repeat{3, 3, 3 * kLeast - 5, 250}));
}

TEST(Repeats, AnotherPaceIsAnotherRepeat)
{
    Recording recording;
    std::uint64_t clockMs = 0;
    for (std::uint64_t i = 0; i < 2 * kLeast; ++i)
        recording.Poll(clockMs += i < kLeast ? 250 : 100);
    ASSERT_EQ(recording.finder.Repeats().size(), 2u);
    EXPECT_EQ(recording.finder.Repeats()[0], (Repeat{0, 3, kLeast, 250}));
    EXPECT_EQ(recording.finder.Repeats()[1].everyMs, 100u);
}

// Calls that differ in anything but the clock are never folded: all inputs and outputs count.
TEST(Repeats, CallsThatDifferAreAllKept)
{
    const auto add = [](Recording& recording, std::uint64_t i, const char* what) {
        CallRecord record{.name = "QueryServiceStatus", .in = {{"a", 1}}, .result = 1, .out = {{"b", 1}}};
        const std::string difference = what;
        if (difference == "in")
            record.in["a"] = i;
        else if (difference == "result")
            record.result = i;
        else if (difference == "out")
            record.out["b"] = i;
        else
            record.error = static_cast<std::uint32_t>(i);
        recording.Add(record);
    };
    for (const char* what : {"in", "result", "out", "error"})
    {
        Recording recording;
        for (std::uint64_t i = 0; i < 3 * kLeast; ++i)
            add(recording, i, what);
        EXPECT_EQ(recording.records.size(), 3 * kLeast) << what;
        EXPECT_THAT(recording.finder.Repeats(), IsEmpty()) << what;
    }
}

} // namespace
