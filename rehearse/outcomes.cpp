// Counts outcomes and prints their table.
#include "rehearse/outcomes.h"

#include "report/terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace
{

constexpr std::size_t kStatusWidth = 11;
constexpr std::size_t kStepWidth = 22;
constexpr std::size_t kCountWidth = 9;

template <typename Pairs>
auto MostFirst(const Pairs& pairs, std::size_t (*countOf)(const typename Pairs::mapped_type&))
{
    std::vector<typename Pairs::const_pointer> sorted;
    for (const auto& pair : pairs)
        sorted.push_back(&pair);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](auto* one, auto* other) { return countOf(one->second) > countOf(other->second); });
    return sorted;
}

} // namespace

void Outcomes::Add(const MachineLine& machine)
{
    ++m_count;
    Outcome& outcome = m_outcomes[{machine.line["status"].get<std::string>(), machine.failedStep}];
    if (++outcome.count > 1)
        return;
    outcome.example = PlaceOf(machine.line);
    outcome.result = machine.line["result"].get<std::string>();
}

std::string Outcomes::Summary() const
{
    std::map<std::string, std::size_t> counts;
    for (const auto& [key, outcome] : m_outcomes)
        counts[key.first] += outcome.count;
    std::string summary;
    for (const auto* status : MostFirst(counts, [](const std::size_t& count) { return count; }))
        summary += fmt::format("{}{} {}", summary.empty() ? "" : ", ", status->second, status->first);
    return summary;
}

std::string Outcomes::Table() const
{
    if (m_count == 0)
        return {};
    const std::string indent(kCountWidth + 2 + kStatusWidth + 2 + kStepWidth + 2, ' ');
    std::string table = fmt::format("{:>{}}  {:<{}}  {:<{}}  {}\n", "machines", kCountWidth, "status", kStatusWidth,
                                    "first failure in", kStepWidth, "example");
    for (const auto* row : MostFirst(m_outcomes, [](const Outcome& outcome) { return outcome.count; }))
    {
        const auto& [status, step] = row->first;
        table += fmt::format("{:>{}}  {:<{}}  {:<{}}  {}\n{}{}\n", row->second.count, kCountWidth, status, kStatusWidth,
                             step.empty() ? "-" : step, kStepWidth, row->second.example, indent, row->second.result);
    }
    return table;
}

std::string PlaceOf(const winsim::Json& line)
{
    const std::string file = line["file"].get<std::string>();
    return line["line"].is_null() ? file : fmt::format("{}:{}", file, line["line"].get<std::size_t>());
}
