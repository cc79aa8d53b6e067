// Rehearses on many machines: reads descriptions, has workers rehearse, and writes the lines in order.
#include "rehearse/many.h"

#include "rehearse/exit_status.h"
#include "rehearse/inputs.h"
#include "rehearse/machine_line.h"
#include "rehearse/outcomes.h"
#include "rehearse/progress_line.h"
#include "rehearse/report.h"
#include "rehearse/workers.h"
#include "report/heat_map.h"
#include "report/page.h"
#include "report/terminal.h"

#include <fmt/format.h>

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <iostream>
#include <optional>

namespace
{

using winsim::Json;

// The address space of a worker: the libraries and the machines of ordinary descriptions take far less.
constexpr std::size_t kMemory = std::size_t{1} << 29;

// A machine that takes long holds back the lines after it, at most so many for each worker.
constexpr std::size_t kMostHeldBack = 256;

std::size_t Processors()
{
    cpu_set_t usable;
    if (sched_getaffinity(0, sizeof usable, &usable) != 0)
        return 1;
    return static_cast<std::size_t>(std::max(CPU_COUNT(&usable), 1));
}

std::string TextOf(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// ---- What a worker receives and returns ----------------------------------------------------------------------------

std::string Packed(const Input& input)
{
    return fmt::format("{}{}{}{}{}", input.file, '\0', input.line.value_or(0), '\0', input.text);
}

Input UnpackedInput(const std::string& text)
{
    const std::size_t line = text.find('\0') + 1;
    const std::size_t rest = text.find('\0', line) + 1;
    Input input{.file = text.substr(0, line - 1), .text = text.substr(rest)};
    if (const std::size_t number = std::stoull(text.substr(line, rest - line - 1)); number != 0)
        input.line = number;
    return input;
}

std::string Packed(const MachineLine& made)
{
    Json steps = Json::array();
    for (const report::Heat& heat : made.steps)
        steps.push_back({heat.step, static_cast<int>(heat.level)});
    return TextOf({{"line", made.line}, {"failedStep", made.failedStep}, {"steps", steps}});
}

MachineLine UnpackedLine(const std::string& text)
{
    const Json json = Json::parse(text);
    MachineLine made{.line = json["line"], .failedStep = json["failedStep"].get<std::string>()};
    for (const Json& heat : json["steps"])
        made.steps.push_back({heat[0].get<std::string>(), static_cast<report::Level>(heat[1].get<int>())});
    return made;
}

// ---- The rehearsals ------------------------------------------------------------------------------------------------

class Rehearsals
{
public:
    explicit Rehearsals(const Options& options)
        : m_options(options),
          m_inputs(options.machinePaths, options.firstLine),
          m_workers(options.jobs != 0 ? options.jobs : Processors(), std::chrono::seconds(options.limitSeconds),
                    kMemory, [&options](const std::string& request) {
                        const MachineLine made = RehearseLine(options, UnpackedInput(request));
                        return Worked{Packed(made), made.hasDamagedItsProcess};
                    })
    {}

    void Run()
    {
        while (true)
        {
            const Inputs::State state = GiveWork();
            if (state == Inputs::State::AtEnd && m_workers.Busy() == 0)
                break;
            m_progress.Show(m_outcomes);
            std::vector<Answer> answers;
            if (m_workers.Wait(state == Inputs::State::Waiting ? STDIN_FILENO : -1, answers))
                m_inputs.Fill();
            for (const Answer& answer : answers)
                Keep(answer);
            WriteReady();
        }
        m_progress.Clear();
    }

    const Outcomes& Results() const { return m_outcomes; }
    const report::HeatMap& Map() const { return m_map; }

private:
    // A machine whose line is not written yet.
    struct Pending
    {
        Input input; // without the text
        std::optional<MachineLine> made;
    };

    // Gives work to each free worker. Returns the state of the descriptions: Ready if there is more work than workers.
    Inputs::State GiveWork()
    {
        const std::size_t most = kMostHeldBack * (m_options.jobs != 0 ? m_options.jobs : Processors());
        while (m_workers.HasFree() && m_pending.size() < most)
        {
            const Inputs::State state = m_inputs.Look();
            if (state != Inputs::State::Ready)
                return state;
            Input input = m_inputs.Take();
            const std::size_t number = m_written + m_pending.size();
            if (input.error.empty())
            {
                m_workers.Give(number, Packed(input));
                input.text.clear();
                m_pending.push_back({std::move(input), std::nullopt});
                continue;
            }
            MachineLine made = LineWithout(m_options, input, kUnreadable, input.error);
            m_pending.push_back({std::move(input), std::move(made)});
            WriteReady();
        }
        return Inputs::State::Ready;
    }

    void Keep(const Answer& answer)
    {
        Pending& pending = m_pending[answer.number - m_written];
        switch (answer.end)
        {
        case Answer::End::Done:
            pending.made = UnpackedLine(answer.text);
            break;
        case Answer::End::Died:
            pending.made = LineWithout(m_options, pending.input, kCrashed,
                                       fmt::format("the rehearsal ended twice by {}", answer.text));
            break;
        case Answer::End::TooLong:
            pending.made = LineWithout(m_options, pending.input, kTimeout,
                                       fmt::format("the rehearsal took longer than {} s", m_options.limitSeconds));
            break;
        }
    }

    // Writes the lines whose turn it is.
    void WriteReady()
    {
        std::string text;
        while (!m_pending.empty() && m_pending.front().made)
        {
            const MachineLine& made = *m_pending.front().made;
            text += TextOf(made.line) + "\n";
            m_outcomes.Add(made);
            if (!m_options.htmlPath.empty())
                m_map.Add(PlaceOf(made.line), made.line["title"].is_null() ? "" : made.line["title"],
                          made.line["status"], made.line["result"], made.steps);
            m_pending.pop_front();
            ++m_written;
        }
        if (text.empty())
            return;
        m_progress.MakeWay();
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
            throw std::runtime_error("standard output cannot be written");
    }

    const Options& m_options;
    Inputs m_inputs;
    Workers m_workers;
    std::deque<Pending> m_pending; // in the order of the descriptions
    std::size_t m_written = 0;
    Outcomes m_outcomes;
    report::HeatMap m_map;
    ProgressLine m_progress;
};

void WritePage(const Options& options, const Rehearsals& rehearsals)
{
    std::string command = options.exportName;
    for (const std::string& argument : options.arguments)
        command += (command.empty() ? "" : " ") + argument;
    const std::string machines = report::Counted(rehearsals.Results().Count(), "machine", "machines");
    report::WriteText(options.htmlPath, rehearsals.Map().Page(fmt::format("{} on {}", command, machines),
                                                              rehearsals.Results().Summary(), SwitchOf(options)));
}

} // namespace

int RehearseMany(const Options& options)
{
    // A page that cannot be written is noticed before all the work.
    if (!options.htmlPath.empty())
        report::WriteText(options.htmlPath, "");
    Rehearsals rehearsals{options};
    rehearsals.Run();
    const Outcomes& outcomes = rehearsals.Results();
    std::cerr << outcomes.Table() << report::Counted(outcomes.Count(), "machine", "machines")
              << (outcomes.Count() == 0 ? "" : ": ") << outcomes.Summary() << "\n";
    if (!options.htmlPath.empty())
        WritePage(options, rehearsals);
    return exit_status::kSuccess;
}
