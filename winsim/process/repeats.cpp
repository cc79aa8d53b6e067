// Finds repeated sequences of calls in a recording.
#include "winsim/process/repeats.h"

#include "winsim/process/gate.h"

#include <functional>
#include <string>

namespace winsim
{

namespace
{

// GetTickCount returns the time; GetSystemTime stores it in its output.
bool HasTimelessResult(const CallRecord& record)
{
    return record.name != "GetTickCount";
}

bool HasTimelessOut(const CallRecord& record)
{
    return record.name != "GetSystemTime";
}

} // namespace

// A call's input parameters, without the time in a line that it writes.
Json RepeatFinder::TimelessIn(const CallRecord& record) const
{
    Json in = record.in;
    if (record.name == "fputs" && in.contains("str") && in["str"].is_string())
        in["str"] = m_withoutTime(in["str"].get<std::string>());
    return in;
}

bool RepeatFinder::IsSameButForTheClock(const CallRecord& one, const CallRecord& other) const
{
    return one.name == other.name && one.error == other.error && one.isFault == other.isFault &&
           (one.in == other.in || TimelessIn(one) == TimelessIn(other)) &&
           (!HasTimelessResult(one) || one.result == other.result) && (!HasTimelessOut(one) || one.out == other.out);
}

// Covers everything that IsSameButForTheClock compares.
std::uint64_t RepeatFinder::HashOf(const CallRecord& record) const
{
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15; // 2^64 divided by the golden ratio, so that sums differ
    std::uint64_t hash = std::hash<std::string>{}(record.name);
    const auto add = [&hash](std::uint64_t part) { hash = hash * kSpread + part; };
    add(std::hash<Json>{}(TimelessIn(record)));
    if (HasTimelessResult(record))
        add(std::hash<Json>{}(record.result));
    if (HasTimelessOut(record))
        add(std::hash<Json>{}(record.out));
    add(record.error);
    add(record.isFault ? 1 : 0);
    return hash;
}

void RepeatFinder::Added(std::vector<CallRecord>& records)
{
    if (m_isGoingOn && Continues(records))
        return;
    m_isGoingOn = false;
    Look(records);
}

// Whether the newest call continues the repeat. Once a repetition is complete, its calls are removed.
bool RepeatFinder::Continues(std::vector<CallRecord>& records)
{
    Repeat& repeat = m_repeats.back();
    const std::size_t begin = repeat.first + repeat.length;
    const CallRecord& model = records[repeat.first + (records.size() - 1 - begin)];
    const CallRecord& call = records.back();
    if (call.clockMs != model.clockMs + repeat.times * repeat.everyMs || !IsSameButForTheClock(call, model))
        return false;
    if (records.size() == begin + repeat.length)
    {
        records.resize(begin);
        ++repeat.times;
    }
    return true;
}

void RepeatFinder::Look(std::vector<CallRecord>& records)
{
    const std::size_t begin = m_repeats.empty() ? 0 : m_repeats.back().first + m_repeats.back().length;
    while (m_hashes.size() < records.size() - begin)
        m_hashes.push_back(HashOf(records[begin + m_hashes.size()]));

    const std::size_t newest = m_hashes.size() - 1;
    for (std::size_t length = 1; length <= std::min(newest, kLongest); ++length)
    {
        Run& run = m_runs[length];
        const std::uint64_t everyMs = records.back().clockMs - records[records.size() - 1 - length].clockMs;
        if (m_hashes[newest] != m_hashes[newest - length])
        {
            run = {};
            continue;
        }
        run.count = run.everyMs == everyMs ? run.count + 1 : 1;
        run.everyMs = everyMs;
        if (run.count < length * (kLeastTimes - 1))
            continue;
        const std::size_t first = records.size() - length * kLeastTimes;
        m_repeats.push_back({first, length, kLeastTimes, everyMs});
        records.resize(first + length);
        m_isGoingOn = true;
        m_hashes.clear();
        m_runs = {};
        return;
    }
}

} // namespace winsim
