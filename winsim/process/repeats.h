// Finds sequences of calls that a process repeats, so that they are recorded once: a wait that never ends would
// otherwise fill the memory.
#pragma once

#include "winsim/base/json.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace winsim
{

struct CallRecord;

// A part of a recording that stands for many: the `length` calls from index `first` were made `times` times in a row,
// every `everyMs` milliseconds. Only the clock differed: it shows in a call's clockMs, in the results of GetTickCount
// and GetSystemTime, and in the header of a log line.
struct Repeat
{
    std::size_t first = 0;
    std::size_t length = 0;
    std::uint64_t times = 0;
    std::uint64_t everyMs = 0;

    bool operator==(const Repeat&) const = default;
};

// Watches a recording as it grows. A sequence of calls becomes a repeat when it has been made kLeastTimes times in a
// row: the recording then keeps the first time only. Waits that end make fewer, and are recorded in full.
class RepeatFinder
{
public:
    static constexpr std::uint64_t kLeastTimes = 1000;
    static constexpr std::size_t kLongest = 64; // calls

    // Removes the time from a line that a program writes.
    using WithoutTime = std::string (*)(const std::string& line);
    explicit RepeatFinder(WithoutTime withoutTime) : m_withoutTime(withoutTime) {}

    // Call this after each call that was added to the recording. Removes the call again if it belongs to a repeat.
    void Added(std::vector<CallRecord>& records);

    // The repeats in the order of the recording. The calls after the last repeat may be an incomplete repetition of it.
    const std::vector<Repeat>& Repeats() const { return m_repeats; }

private:
    // For one length: how many of the latest calls equal the call `length` calls earlier.
    struct Run
    {
        std::uint64_t count = 0; // of equal calls
        std::uint64_t everyMs = 0;
    };

    bool Continues(std::vector<CallRecord>& records);
    void Look(std::vector<CallRecord>& records);
    Json TimelessIn(const CallRecord& record) const;
    bool IsSameButForTheClock(const CallRecord& one, const CallRecord& other) const;
    std::uint64_t HashOf(const CallRecord& record) const;

    WithoutTime m_withoutTime;
    std::vector<Repeat> m_repeats;
    bool m_isGoingOn = false;            // whether the last repeat may continue
    std::vector<std::uint64_t> m_hashes; // of the calls after the last repeat
    std::array<Run, kLongest + 1> m_runs{};
};

} // namespace winsim
