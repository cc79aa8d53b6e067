// Merges changes that a reader sees as one.
#include "report/merged_changes.h"

#include <algorithm>
#include <utility>

namespace report
{

namespace
{

using winsim::Change;

bool IsOfFile(const Change& change)
{
    return change.area == "files" || change.area == "libraries" || change.area == "programs";
}

// The same changes without the elements of lists that only have a new index.
std::vector<Change> WithoutShifts(const std::vector<Change>& changes)
{
    std::vector<Change> kept;
    for (const Change& change : changes)
    {
        if (!change.item.starts_with('#') || change.kind != "changed")
        {
            kept.push_back(change);
            continue;
        }
        kept.push_back({change.area, "removed", change.item, change.before, nullptr});
        kept.push_back({change.area, "added", change.item, nullptr, change.after});
    }
    const auto isPair = [](const Change& gone, const Change& come) {
        return gone.item.starts_with('#') && come.item.starts_with('#') && gone.kind == "removed" &&
               come.kind == "added" && gone.area == come.area && gone.before == come.after;
    };
    for (std::size_t i = 0; i < kept.size(); ++i)
    {
        const auto again =
            std::find_if(kept.begin(), kept.end(), [&](const Change& other) { return isPair(kept[i], other); });
        if (again == kept.end())
            continue;
        // Neither counts as a change any more.
        again->kind.clear();
        kept[i].kind.clear();
    }
    std::erase_if(kept, [](const Change& change) { return change.kind.empty(); });
    return kept;
}

} // namespace

std::vector<winsim::Change> MergeChanges(const std::vector<winsim::Change>& changes)
{
    std::vector<winsim::Change> merged;
    for (const winsim::Change& change : WithoutShifts(changes))
    {
        const auto file = std::find_if(merged.begin(), merged.end(), [&](const winsim::Change& other) {
            return other.area == "files" && IsOfFile(change) && other.item == change.item;
        });
        if (file == merged.end())
        {
            const auto isOfArea = [&](const winsim::Change& other) {
                return IsOfFile(change) && other.area == "files";
            };
            const auto last = std::find_if(merged.rbegin(), merged.rend(), isOfArea);
            const auto added = merged.insert(last != merged.rend() ? last.base() : merged.end(), change);
            if (IsOfFile(change))
                added->area = "files";
            continue;
        }
        for (const auto& [whole, part] : {std::pair(&file->before, &change.before), {&file->after, &change.after}})
        {
            if (!part->is_null() && whole->is_object())
                (*whole)[change.area == "libraries" ? "library" : "program"] = *part;
        }
    }
    return merged;
}

} // namespace report
