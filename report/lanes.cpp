// Finds the spans of each lane.
#include "report/lanes.h"

#include "catalogue/numbers.h"

#include <algorithm>
#include <utility>

namespace report
{

namespace
{

using catalogue::Meaning;

// A shorter pause between two lines counts as work.
constexpr std::int64_t kShortestWaitMs = 50;

// Lays out the lines of one run.
class Layout
{
public:
    explicit Layout(const Story& story) : m_story(story)
    {
        std::int64_t time = 0;
        for (const StoryLine& line : story.lines)
        {
            // A line without a time, or with an earlier time than the line before, is placed at the time of the line
            // before.
            if (line.ms && story.beginMs)
                time = std::max(time, *line.ms - *story.beginMs);
            m_begins.push_back(time);
            if (line.last && story.beginMs)
                time = std::max(time, *line.last - *story.beginMs);
            m_ends.push_back(time);
        }
    }

    std::vector<Lane> Lanes() const
    {
        std::vector<Lane> lanes{Steps()};
        for (Lane& lane : Services())
            lanes.push_back(std::move(lane));
        for (Lane lane : {Programs(), Lines(), Waits()})
        {
            if (!lane.spans.empty())
                lanes.push_back(std::move(lane));
        }
        return lanes;
    }

private:
    std::size_t Count() const { return m_story.lines.size(); }

    // The end of a line's action: the beginning of the next line.
    std::int64_t EndOf(std::size_t index) const { return index + 1 < Count() ? m_begins[index + 1] : m_ends[index]; }

    Lane Steps() const
    {
        Lane lane{"steps", {}};
        for (std::size_t i = 0; i < Count(); ++i)
        {
            const std::size_t step = m_story.lines[i].step;
            if (i > 0 && m_story.lines[i - 1].step == step)
            {
                lane.spans.back().toMs = EndOf(i);
                continue;
            }
            const StoryStep& told = m_story.steps[step];
            lane.spans.push_back({m_begins[i], EndOf(i), told.Name(), told.level, false, i});
        }
        return lane;
    }

    // A service stays in the state that a line reports until another line reports a different one.
    std::vector<Lane> Services() const
    {
        std::vector<Lane> lanes;
        for (std::size_t i = 0; i < Count(); ++i)
        {
            const StoryLine& line = m_story.lines[i];
            if (const std::uint32_t state = StateIn(line); state != 0)
                AddState(lanes, line.values[0],
                         {m_begins[i], EndOf(Count() - 1), catalogue::Explain(state, Meaning::ServiceState).meaning,
                          Level::Done, false, i});
        }
        return lanes;
    }

    // The state of a service that a line reports; the service's name is the line's first value. 0 if it reports none.
    static std::uint32_t StateIn(const StoryLine& line)
    {
        struct StateLine
        {
            std::string_view format;
            std::uint32_t state;
        };
        constexpr StateLine kStateLines[] = {{"%s service stopped", 1},
                                             {"%s has been sucessfully started", 4},
                                             {"%s has been sucessfully restarted", 4}};
        if (line.text == nullptr || line.values.empty())
            return 0;
        for (const StateLine& stateLine : kStateLines)
        {
            if (stateLine.format == line.text->format)
                return stateLine.state;
        }
        if (line.values.size() < 2 || line.text->values[1].meaning != Meaning::ServiceState)
            return 0;
        return catalogue::NumberIn(line.values[1], false).value_or(0);
    }

    static void AddState(std::vector<Lane>& lanes, const std::string& service, Span span)
    {
        auto lane = std::find_if(lanes.begin(), lanes.end(), [&](const Lane& one) { return one.name == service; });
        if (lane == lanes.end())
            lane = lanes.insert(lanes.end(), {service, {}});
        if (!lane->spans.empty())
        {
            if (lane->spans.back().name == span.name)
                return;
            lane->spans.back().toMs = span.fromMs;
        }
        lane->spans.push_back(std::move(span));
    }

    // Another program runs until the line after the one that reports its start.
    Lane Programs() const
    {
        Lane lane{"other programs", {}};
        for (std::size_t i = 0; i < Count(); ++i)
        {
            const StoryLine& line = m_story.lines[i];
            const std::string waited = line.text != nullptr ? line.text->waitsFor : "";
            const std::size_t name = waited.find(".exe");
            if (name != std::string::npos)
                lane.spans.push_back({m_begins[i], EndOf(i), waited.substr(0, name + 4), LevelOf(line), false, i});
        }
        return lane;
    }

    Lane Lines() const
    {
        Lane lane{"log lines", {}};
        for (std::size_t i = 0; i < Count(); ++i)
            lane.spans.push_back({m_begins[i], m_ends[i], "", LevelOf(m_story.lines[i]), false, i});
        return lane;
    }

    Lane Waits() const
    {
        Lane lane{"waits", {}};
        for (std::size_t i = 0; i < Count(); ++i)
        {
            if (EndOf(i) - m_begins[i] >= kShortestWaitMs)
                lane.spans.push_back({m_begins[i], EndOf(i), "wait", Level::Done, true, i});
        }
        return lane;
    }

    const Story& m_story;
    std::vector<std::int64_t> m_begins; // of each line, after the run's beginning
    std::vector<std::int64_t> m_ends;
};

} // namespace

std::vector<Lane> LanesOf(const Story& story)
{
    return Layout{story}.Lanes();
}

} // namespace report
