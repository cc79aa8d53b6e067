// Finds calls that a process makes again and again, so that they are recorded once: a wait that never ends would fill
// the memory otherwise.
#pragma once

#include "winsim/base/json.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace winsim
{

struct CallRecord;

// A stretch of a recording that stands for many: the calls from `first` on, `length` of them, were made `times` times
// in a row, each time `everyMs` milliseconds later. All but the clock was the same each time: the clock shows in a
// call's clockMs, in what GetTickCount and GetSystemTime tell, and in the header of a log line.
struct Repeat
{
    std::size_t first = 0;
    std::size_t length = 0;
    std::uint64_t times = 0;
    std::uint64_t everyMs = 0;

    bool operator==(const Repeat&) const = default;
};

// Watches a recording as it grows. Calls that were made kLeastTimes times are a repeat from then on: the recording
// keeps the first time of them. Waits with an end make fewer, and stay as they are.
class RepeatFinder
{
public:
    static constexpr std::uint64_t kLeastTimes = 1000;
    static constexpr std::size_t kLongest = 64; // calls

    // `withoutTime` takes the time out of a line that a program writes.
    using WithoutTime = std::string (*)(const std::string& line);
    explicit RepeatFinder(WithoutTime withoutTime) : m_withoutTime(withoutTime) {}

    // To be told of each call that was added to the recording: takes it off again when it is part of a repeat.
    void Added(std::vector<CallRecord>& records);

    // In the order of the recording. What follows the last of them may be the beginning of one time more.
    const std::vector<Repeat>& Repeats() const { return m_repeats; }

private:
    // How far the calls so far are the same as those `length` calls earlier, for one length.
    struct Run
    {
        std::uint64_t count = 0; // of calls
        std::uint64_t everyMs = 0;
    };

    bool Continues(std::vector<CallRecord>& records);
    void Look(std::vector<CallRecord>& records);
    Json TimelessIn(const CallRecord& record) const;
    bool IsSameButForTheClock(const CallRecord& one, const CallRecord& other) const;
    std::uint64_t HashOf(const CallRecord& record) const;

    WithoutTime m_withoutTime;
    std::vector<Repeat> m_repeats;
    bool m_isGoingOn = false;            // the last of them
    std::vector<std::uint64_t> m_hashes; // of the calls since then
    std::array<Run, kLongest + 1> m_runs{};
};

} // namespace winsim
