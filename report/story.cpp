// Derives the story of a run from its lines.
#include "report/story.h"

#include "catalogue/numbers.h"
#include "report/wrapped_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

namespace report
{

namespace
{

using catalogue::Action;
using catalogue::Kind;
using catalogue::Meaning;
using catalogue::Step;
using catalogue::Text;

// A wait with more status changes than this has nothing more to tell.
constexpr std::size_t kMostPolls = 1000;

constexpr char kWaitingFor[] = "waiting for";

constexpr char kExport[] = "SRK_Auth_Change";

const catalogue::Matcher& TheMatcher()
{
    static const catalogue::Matcher matcher;
    return matcher;
}

bool IsError(Meaning meaning)
{
    return meaning == Meaning::Win32 || meaning == Meaning::NtStatus || meaning == Meaning::SCard;
}

std::optional<std::uint32_t> NumberAt(const StoryLine& line, std::size_t value)
{
    if (line.text == nullptr || value >= line.values.size() || value >= line.text->values.size())
        return std::nullopt;
    return catalogue::NumberIn(line.values[value], catalogue::IsHex(*line.text, value));
}

// The kind of a line. An expected error turns a warning into noise, and another program's exit code for a failure turns
// progress into a warning.
Kind KindOf(const StoryLine& line)
{
    const Text& text = *line.text;
    for (std::size_t i = 0; i < line.values.size(); ++i)
    {
        const auto number = NumberAt(line, i);
        if (text.kind == Kind::Noise && line.values[i] == "OK")
            return Kind::Progress;
        if (!number || i >= text.values.size())
            continue;
        const auto& noise = text.noiseOn;
        if (IsError(text.values[i].meaning) && std::find(noise.begin(), noise.end(), *number) != noise.end())
            return Kind::Noise;
        if (text.kind == Kind::Progress && text.values[i].meaning == Meaning::ExitCode && *number != 0)
            return Kind::Warning;
    }
    return text.kind;
}

std::string DescribeNumber(const catalogue::Value& value, const std::string& shown, std::uint32_t number)
{
    const catalogue::Number known = catalogue::Explain(number, value.meaning);
    std::string text = fmt::format(
        "{} {}", value.name, number >= 0x80000000 && IsError(value.meaning) ? fmt::format("0x{:08X}", number) : shown);
    if (!known.name.empty())
        text += " " + known.name;
    if (!known.meaning.empty())
        text += ": " + known.meaning;
    return text;
}

bool Begins(const std::string& message, const std::vector<const char*>& beginnings)
{
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](const char* beginning) { return message.starts_with(beginning); });
}

// Turns the lines of one run into its story.
class Teller
{
public:
    // `known` is null for a run that nobody observed.
    explicit Teller(const KnownEnd* known) : m_known(known) {}

    Story Tell(std::vector<LogLine> lines)
    {
        Fold(std::move(lines));
        FindAction();
        for (std::size_t i = 0; i < m_story.lines.size(); ++i)
            Place(i);
        ReadFacts();
        InferResult();
        Soften();
        for (std::size_t i = 0; i < m_story.lines.size(); ++i)
            NoteProblem(i);
        FindMissing();
        SetLevels();
        SetHeadline();
        ChooseFirst();
        return std::move(m_story);
    }

private:
    const StoryLine* Find(const char* format) const
    {
        for (const StoryLine& line : m_story.lines)
        {
            if (line.text != nullptr && std::string_view(line.text->format) == format)
                return &line;
        }
        return nullptr;
    }

    bool HasStep(const char* name) const
    {
        return std::any_of(m_story.lines.begin(), m_story.lines.end(), [&](const StoryLine& line) {
            return line.text != nullptr && std::string_view(line.text->step) == name;
        });
    }

    const Step* StepNamed(const char* name) const
    {
        if (!m_story.action)
            return nullptr;
        for (const Step& step : catalogue::StepsOf(*m_story.action))
        {
            if (std::string_view(step.name) == name)
                return &step;
        }
        return nullptr;
    }

    void Fold(std::vector<LogLine> lines)
    {
        std::string_view step;
        std::size_t polls = 0; // rows of the same wait
        for (LogLine& line : lines)
        {
            if (!m_story.lines.empty() && IsRepeated(m_story.lines.back(), line))
            {
                CountIn(m_story.lines.back(), line);
                continue;
            }
            StoryLine told = Read(std::move(line), step);
            polls = IsSameWait(told) ? polls + 1 : 0;
            if (polls > kMostPolls)
                CountIn(m_story.lines.back(), told);
            else
                m_story.lines.push_back(std::move(told));
        }
    }

    static bool IsRepeated(const LogLine& line, const LogLine& next)
    {
        return line.message == next.message && line.isDamaged == next.isDamaged;
    }

    static void CountIn(StoryLine& line, const LogLine& next)
    {
        ++line.count;
        line.last = next.ms;
    }

    static StoryLine Read(LogLine line, std::string_view& step)
    {
        StoryLine told;
        static_cast<LogLine&>(told) = std::move(line);
        auto match = TheMatcher().Find(told.message, step, told.mayBeCut);
        if (!match)
            return told;
        told.text = match->text;
        told.values = std::move(match->values);
        told.kind = KindOf(told);
        if (*told.text->step != '\0')
            step = told.text->step;
        return told;
    }

    // Whether a line is another poll of the same wait as the line before.
    bool IsSameWait(const StoryLine& line) const
    {
        return !m_story.lines.empty() && line.text != nullptr && *line.text->waitsFor != '\0' &&
               m_story.lines.back().text == line.text;
    }

    // Finds the action by the command line or, without it, by the steps that left lines.
    void FindAction()
    {
        for (const StoryLine& line : m_story.lines)
        {
            if (line.text == nullptr || std::string_view(line.text->format) != "command line argv[%d]: %s" ||
                line.values.size() < 2)
                continue;
            if (line.values[0] == "1")
                m_story.actionSwitch = line.values[1];
            else if (line.values[0] != "0")
                m_story.options.push_back(line.values[1]);
        }
        if (m_story.actionSwitch.empty() && m_known != nullptr)
            m_story.actionSwitch = m_known->actionSwitch;
        m_story.action = catalogue::ActionOf(m_story.actionSwitch);
        if (m_story.actionSwitch == kExport)
            m_story.action = Action::Export;
        if (m_story.action || !m_story.actionSwitch.empty())
            return;
        if (HasStep("SRK authorization"))
        {
            m_story.action = Action::Export;
            m_story.actionSwitch = kExport;
        }
        else if (HasStep("stack removal") || Find("Unregister the %S\n") != nullptr ||
                 Find("UnInstallTkService - Enter") != nullptr || Find("UnInstallTkService - completed") != nullptr)
            m_story.action = Action::Removal;
        else if (HasStep("stack set-up") || HasStep("platform detection") || HasStep("library copy") ||
                 HasStep("probe library") || HasStep("command unblocking") || HasStep("stack set-up's end") ||
                 Find("Register the %S\n") != nullptr)
            m_story.action = Action::Setup;
    }

    // The step that a line belongs to for certain; null if it may belong to any step. The line about an operation that
    // was broken off names the operation.
    const Step* StepOf(const StoryLine& line) const
    {
        if (line.text == nullptr || !m_story.action)
            return nullptr;
        if (*line.text->step != '\0')
            return StepNamed(line.text->step);
        if (std::string_view(line.text->format) != "%s - Unknown exception caught return %d" || line.values.empty())
            return nullptr;
        const std::vector<Step>& steps = catalogue::StepsOf(*m_story.action);
        const auto step = std::find_if(steps.begin(), steps.end(),
                                       [&](const Step& one) { return Begins(line.values[0], one.operations); });
        return step != steps.end() ? &*step : nullptr;
    }

    // Finds the step of a line. A line that begins a step starts a new part of it; any other line continues the latest
    // part of its step.
    void Place(std::size_t index)
    {
        StoryLine& line = m_story.lines[index];
        const Step* step = StepOf(line);
        if (m_story.steps.empty())
            m_story.steps.push_back({step});
        else if (step != nullptr && m_story.steps[m_current].step != step)
            Enter(step, line.kind == Kind::Begin);
        if (m_story.steps[m_current].step == nullptr && step != nullptr)
            m_story.steps[m_current].step = step;
        line.step = m_current;
        StoryStep& told = m_story.steps[m_current];
        told.lines.push_back(index);
        if (line.text != nullptr && std::string_view(line.text->format) == "DetectTPMPlatform(%s,%s)" &&
            line.values.size() > 1)
            m_subject = line.values[1];
        if (IsOfDetection(told))
            told.subject = m_subject;
    }

    static bool IsOfDetection(const StoryStep& step)
    {
        return step.Name() == "platform detection" || step.Name() == "probe library";
    }

    void Enter(const Step* step, bool isBegin)
    {
        for (std::size_t i = m_story.steps.size(); i > 0 && !isBegin; --i)
        {
            if (m_story.steps[i - 1].step != step)
                continue;
            m_current = i - 1;
            return;
        }
        m_story.steps.push_back({step});
        m_current = m_story.steps.size() - 1;
    }

    void ReadFacts()
    {
        for (const StoryLine& line : m_story.lines)
        {
            if (line.ms)
            {
                m_story.thread = line.thread;
                m_story.beginMs = std::min(m_story.beginMs.value_or(*line.ms), *line.ms);
            }
            if (line.last)
                m_story.endMs = std::max(m_story.endMs.value_or(*line.last), *line.last);
            m_story.hasBegin |= line.message.starts_with(catalogue::kBeginLine);
            m_story.hasEnd |= line.message.starts_with(catalogue::kEndLine);
        }
        if (m_story.action == Action::Export)
            m_story.hasBegin = m_story.hasEnd = true;
    }

    void InferResult()
    {
        for (std::size_t i = 0; i < m_story.lines.size(); ++i)
        {
            const StoryLine& line = m_story.lines[i];
            if (line.text == nullptr)
                continue;
            const std::string_view format = line.text->format;
            if (line.text->exitCode)
                m_story.deciding = i;
            if (format == "TPM is activated")
                m_story.stack = m_story.steps[line.step].subject;
            if (format == "Set to default TPM Platform: %s" && !line.values.empty())
                m_story.stack = line.values[0];
            if (format == "command line argc: %d" && line.values == std::vector<std::string>{"1"})
            {
                m_isWithoutAction = true;
                m_story.exitCode = -1;
            }
        }
        const bool isRefused = Find("invalid command line arg provided") != nullptr;
        if (isRefused || m_isWithoutAction)
            m_story.hasEnd = true;
        if (m_story.deciding && m_story.hasEnd)
            m_story.exitCode = m_story.lines[*m_story.deciding].text->exitCode;
        if (m_story.action == Action::Export)
            m_story.exitCode = 0;
        if (m_known != nullptr)
            m_story.exitCode = m_known->exitCode;
        if (m_story.exitCode != 0 && m_story.action == Action::Setup)
            m_story.stack.clear();
    }

    // An unusable stack is no failure: it does not matter to a set-up that found a usable one, and is a warning for a
    // set-up that goes on without any.
    void Soften()
    {
        if (m_story.action != Action::Setup || m_story.exitCode != 0 || !m_story.deciding)
            return;
        const bool isUsable = m_story.lines[*m_story.deciding].text->step == std::string_view("probe library");
        for (std::size_t i = 0; i < *m_story.deciding; ++i)
        {
            StoryLine& line = m_story.lines[i];
            if (line.kind == Kind::Failure && IsOfDetection(m_story.steps[line.step]))
                line.kind = isUsable ? Kind::Noise : Kind::Warning;
        }
    }

    void NoteProblem(std::size_t index)
    {
        const StoryLine& line = m_story.lines[index];
        const Level level = LevelOf(line);
        if (line.text == nullptr || level < Level::Warning)
            return;
        const StoryStep& step = m_story.steps[line.step];
        m_story.problems.push_back({level, index, step.Name(), line.message, line.text->meaning, NumbersOf(line),
                                    line.text->causes, line.text->toDo});
    }

    void Miss(const std::string& step, const std::string& what, const std::string& meaning)
    {
        m_story.problems.push_back({.level = Level::Missing,
                                    .line = std::nullopt,
                                    .step = step,
                                    .what = what,
                                    .meaning = meaning,
                                    .toDo = "Compare with a rehearsal of the same action on a like machine (./run)."});
    }

    // Finds what is missing from a run that reached its end.
    void FindMissing()
    {
        if (!m_story.action || !m_story.hasEnd || !m_story.hasBegin || m_story.action == Action::Export)
            return;
        for (const Step& step : catalogue::StepsOf(*m_story.action))
        {
            const auto told = std::find_if(m_story.steps.begin(), m_story.steps.end(),
                                           [&](const StoryStep& candidate) { return candidate.step == &step; });
            if (told != m_story.steps.end())
            {
                CheckBegin(step);
                CheckEnd(step);
            }
            else if (step.call != nullptr)
                m_story.steps.push_back(
                    {&step, *step.untold == '\0' ? Level::Done : Level::Untold, {}, step.untold, {}});
            else if (!step.isOptional || IsDue(step))
            {
                m_story.steps.push_back({&step, Level::Missing, {}, "no line of it, which there should be", {}});
                Miss(step.name, "no line of this step", step.doing);
            }
        }
        SortSteps();
    }

    bool IsDue(const Step& step) const
    {
        return m_story.exitCode == 0 &&
               std::any_of(m_story.lines.begin(), m_story.lines.end(),
                           [&](const StoryLine& line) { return Begins(line.message, step.dueAfter); });
    }

    // Whether a step with lines has one of the lines that it always begins with; a log with a gap may lack it. In a
    // damaged log, that line may be unreadable.
    void CheckBegin(const Step& step)
    {
        if (std::any_of(m_story.lines.begin(), m_story.lines.end(),
                        [](const StoryLine& line) { return line.isDamaged || line.text == nullptr; }))
            return;
        const bool hasBegin = std::any_of(m_story.lines.begin(), m_story.lines.end(), [&](const StoryLine& line) {
            return m_story.steps[line.step].step == &step && Begins(line.message, step.lines);
        });
        if (!hasBegin && !step.lines.empty() && step.call == nullptr)
            Miss(step.name, fmt::format("no line \"{}\"", step.lines.front()),
                 "The step always begins with it: lines of the log are lost.");
    }

    // Whether the lines exist that end a successful step, unless another line explains their absence.
    void CheckEnd(const Step& step)
    {
        bool isExcused = false;
        std::vector<const char*> missing = step.ends;
        for (const StoryLine& line : m_story.lines)
        {
            if (m_story.steps[line.step].step != &step)
                continue;
            isExcused |= line.kind == Kind::Decision || (line.text != nullptr && line.text->kind == Kind::Failure);
            std::erase_if(missing, [&](const char* end) { return line.message.starts_with(end); });
        }
        for (const char* end : missing)
        {
            if (isExcused)
                return;
            Miss(step.name, fmt::format("no line \"{}\"", end), "The step did not do its work, and says nothing.");
        }
    }

    // Moves steps without lines to their places: after the last step with lines that precedes them in the table.
    void SortSteps()
    {
        const std::vector<Step>& order = catalogue::StepsOf(*m_story.action);
        const auto isAfter = [&](const StoryStep& step, const StoryStep& other) {
            return step.step != nullptr && other.step != nullptr &&
                   step.step - order.data() < other.step - order.data();
        };
        std::vector<StoryStep> sorted;
        std::vector<std::size_t> places(m_story.steps.size());
        for (std::size_t i = 0; i < m_story.steps.size(); ++i)
        {
            if (m_story.steps[i].lines.empty())
                continue;
            places[i] = sorted.size();
            sorted.push_back(m_story.steps[i]);
        }
        for (const StoryStep& step : m_story.steps)
        {
            if (!step.lines.empty())
                continue;
            const auto next = std::find_if(sorted.begin(), sorted.end(),
                                           [&](const StoryStep& other) { return isAfter(step, other); });
            const auto at = static_cast<std::size_t>(next - sorted.begin());
            sorted.insert(next, step);
            for (std::size_t& place : places)
                place += place >= at ? 1 : 0;
        }
        for (StoryLine& line : m_story.lines)
            line.step = places[line.step];
        m_story.steps = std::move(sorted);
    }

    // The end of an observed run shows the outcome of its deciding step.
    void SetDecidingStep()
    {
        for (StoryStep& step : m_story.steps)
        {
            if (m_known != nullptr && m_known->exitCode && step.step != nullptr && step.step->decides)
                step.level = *m_known->exitCode == 0 ? Level::Done : Level::Failed;
        }
    }

    void SetLevels()
    {
        SetDecidingStep();
        if (m_isWithoutAction && !m_story.steps.empty())
            m_story.steps.front().level = Level::Failed;
        for (const StoryLine& line : m_story.lines)
        {
            Level& level = m_story.steps[line.step].level;
            level = std::max(level, LevelOf(line));
        }
        for (const Problem& problem : m_story.problems)
        {
            for (StoryStep& step : m_story.steps)
            {
                if (!problem.line && step.Name() == problem.step)
                    step.level = std::max(step.level, problem.level);
            }
        }
    }

    std::string CountOf(Level level, const char* one, const char* many) const
    {
        const auto count = std::count_if(m_story.problems.begin(), m_story.problems.end(),
                                         [&](const Problem& problem) { return problem.level == level; });
        return count == 0 ? "" : fmt::format("{} {}", count, count == 1 ? one : many);
    }

    void Set(Level level, const std::string& headline, const std::string& from)
    {
        m_story.level = level;
        m_story.headline = headline;
        m_story.inferredFrom = from;
    }

    void SetHeadline()
    {
        if (m_known != nullptr && !m_known->exitCode)
            SetWithoutResult();
        else if (m_known != nullptr && !m_story.hasEnd && !m_story.lines.empty())
            SetBrokenOff();
        else if (m_known != nullptr && *m_known->exitCode != DecidedCode().value_or(*m_known->exitCode))
            Set(Level::Failed, fmt::format("ENDED WITH {}, unlike its log", *m_known->exitCode), DecidingLine());
        else if (m_known != nullptr && *m_known->exitCode != 0 && !m_story.deciding && !m_isWithoutAction)
            Set(Level::Failed, fmt::format("FAILED: it ended with {}", *m_known->exitCode), "");
        else if (m_isWithoutAction)
            Set(Level::Failed, "FAILED: the command line names no action", "the number of words of the command line");
        else if (!m_story.hasEnd && m_known == nullptr)
            SetUnended();
        else if (m_story.action == Action::Export)
            SetExport();
        else if (m_story.exitCode == -1)
            Set(Level::Failed, "FAILED: " + Lower(m_story.lines[*m_story.deciding].text->meaning), DecidingLine());
        else if (!m_story.exitCode)
            SetUndecided();
        else
            SetSuccess(DecidingLine());
    }

    // The problem to look at first: the first of those that decide a result of -1, or the first one that kept the run
    // from its end, or the first of the worst.
    void ChooseFirst()
    {
        const auto choose = [&](auto isWanted) {
            for (std::size_t i = 0; i < m_story.problems.size() && !m_story.first; ++i)
            {
                if (isWanted(m_story.problems[i]))
                    m_story.first = i;
            }
        };
        if (m_story.exitCode == -1 && DecidedCode() == -1)
            choose([&](const Problem& problem) {
                return problem.level == Level::Failed && problem.line &&
                       IsOfDetection(m_story.steps[m_story.lines[*problem.line].step]);
            });
        if (!m_story.hasEnd && !m_story.exitCode && !m_story.problems.empty())
            m_story.first = m_story.problems.size() - 1;
        choose([](const Problem& problem) { return problem.level >= Level::Missing; });
        choose([](const Problem&) { return true; });
    }

    // The result that the log shows.
    std::optional<int> DecidedCode() const
    {
        return m_story.deciding ? m_story.lines[*m_story.deciding].text->exitCode : std::nullopt;
    }

    std::string DecidingLine() const
    {
        return m_story.deciding ? fmt::format("line {}: {}", m_story.lines[*m_story.deciding].number,
                                              m_story.lines[*m_story.deciding].message)
                                : std::string();
    }

    // The first clause of a sentence, in a form that can continue another one.
    static std::string Lower(std::string sentence)
    {
        if (sentence.size() > 1 && sentence[1] >= 'a' && sentence[1] <= 'z')
            sentence[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(sentence[0])));
        if (const std::size_t end = sentence.find(". "); end != std::string::npos)
            sentence.erase(end);
        while (sentence.ends_with('.'))
            sentence.pop_back();
        return sentence;
    }

    void SetSuccess(const std::string& from)
    {
        const std::string failures = CountOf(Level::Failed, "failure", "failures");
        const std::string missing = CountOf(Level::Missing, "thing missing", "things missing");
        const std::string warnings = CountOf(Level::Warning, "warning", "warnings");
        if (!failures.empty() || !missing.empty())
        {
            const std::string both = failures + (failures.empty() || missing.empty() ? "" : " and ") + missing;
            Set(Level::Failed, "ENDED WITH 0, BUT NOT ALL IS DONE: " + both, from);
        }
        else if (!warnings.empty())
            Set(Level::Warning, "SUCCEEDED, with " + warnings, from);
        else
            Set(Level::Done, "SUCCEEDED", from);
    }

    // No line contains a commit's result, or the result of a set-up whose deciding lines are lost.
    void SetUndecided()
    {
        const bool isFailed = std::any_of(m_story.problems.begin(), m_story.problems.end(),
                                          [](const Problem& problem) { return problem.level >= Level::Missing; });
        if (isFailed)
            Set(Level::Failed, "REACHED ITS END, but not all is done; the result itself is not in the log", "");
        else
            Set(Level::Untold, "REACHED ITS END; whether it succeeded is not in the log", "");
    }

    void SetExport()
    {
        std::string from;
        if (!m_story.lines.empty())
            from = fmt::format("line {}: {}", m_story.lines.back().number, m_story.lines.back().message);
        if (Find("SRK and TPM Owner Auth is now OK") != nullptr)
            Set(Level::Done, "SUCCEEDED: the SRK authorization was changed", from);
        else if (Find("SRK and TPM Owner Auth is OK") != nullptr)
            Set(Level::Done, "SUCCEEDED: the SRK authorization needs no change", from);
        else if (!m_story.problems.empty())
            Set(Level::Failed,
                "NOT DONE: the SRK authorization was not checked or changed (the call returns 0 all the same)", from);
        else
            Set(Level::Untold, "ENDED IN BETWEEN: the change of the SRK authorization has no result", from);
        if (m_story.level == Level::Untold && m_known == nullptr)
            m_story.exitCode.reset();
    }

    // A run with a result but without a last line.
    void SetBrokenOff()
    {
        StoryStep& step = m_story.steps[m_story.lines.back().step];
        step.level = Level::Failed;
        const char* const result = *m_known->exitCode == 0 ? "ENDED WITH" : "FAILED: it ended with";
        Set(Level::Failed,
            fmt::format("{} {}, and its log stops in the step \"{}\"", result, *m_known->exitCode, step.Name()), "");
    }

    void SetWithoutResult()
    {
        std::string where;
        if (!m_story.hasEnd)
            SetUnended();
        if (!m_story.hasEnd && !m_story.problems.empty())
        {
            const std::size_t waited = m_story.headline.find(kWaitingFor);
            where = waited != std::string::npos ? ", " + m_story.headline.substr(waited)
                                                : fmt::format(", in the step \"{}\"", m_story.problems.back().step);
        }
        Set(Level::Failed, "NO RESULT: " + m_known->noResult + where, m_story.inferredFrom);
    }

    void SetUnended()
    {
        const StoryLine* last = nullptr;
        for (const StoryLine& line : m_story.lines)
            last = line.text != nullptr ? &line : last;
        if (last == nullptr)
            return Set(Level::Untold, "NOT A RUN: no line of the program", "");
        Problem problem{.level = Level::Failed,
                        .line = static_cast<std::size_t>(last - m_story.lines.data()),
                        .step = m_story.steps[last->step].Name(),
                        .what = last->message,
                        .meaning = "The log of this run stops here.",
                        .toDo = last->text->toDo};
        if (const std::size_t count = CountDamagedAfter(*problem.line); count != 0)
            SetUnreadable(*last, count, problem);
        else if (*last->text->waitsFor != '\0')
            SetWaiting(*last, problem);
        else
            SetStopped(*last, problem);
        if (last->count > 1)
            problem.meaning += fmt::format(" The line stands there {} times.", last->count);
        m_story.problems.push_back(problem);
        m_story.steps[last->step].level = Level::Failed;
    }

    // A line at the very end of the file is cut off rather than damaged.
    std::size_t CountDamagedAfter(std::size_t index) const
    {
        std::size_t count = 0;
        for (std::size_t i = index + 1; i < m_story.lines.size(); ++i)
            count += m_story.lines[i].isLastOfFile ? 0 : m_story.lines[i].count;
        return count;
    }

    void SetUnreadable(const StoryLine& last, std::size_t count, Problem& problem)
    {
        problem.meaning = fmt::format("What follows in the log of this run is not the program's, or damaged: {} {}.",
                                      count, count == 1 ? "line" : "lines");
        problem.causes = "The disk or the file system is damaged, or the log was changed on its way.";
        problem.toDo = "Ask for a copy of the log that is packed before it is sent.";
        Set(Level::Failed,
            fmt::format("END NOT READABLE: the log is damaged after line {}, in the step \"{}\"", last.number,
                        problem.step),
            fmt::format("the last line that can be read is {}", last.number));
    }

    void SetWaiting(const StoryLine& last, Problem& problem)
    {
        problem.meaning += std::string(" The program was waiting for ") + last.text->waitsFor + ".";
        problem.numbers = NumbersOf(last);
        problem.causes = last.text->causes;
        Set(Level::Failed, fmt::format("DID NOT END: it was {} {}", kWaitingFor, last.text->waitsFor),
            fmt::format("its last line is {}", last.number));
    }

    void SetStopped(const StoryLine& last, Problem& problem)
    {
        problem.causes = "The program was ended or crashed, Windows was shut down, or the log was copied while the "
                         "program ran, or is cut off.";
        problem.toDo = "Look at the Application event log for a crash of KeloCustomAction.exe.";
        Set(Level::Failed, fmt::format("DID NOT END: its log stops in the step \"{}\"", problem.step),
            fmt::format("its last line is {}", last.number));
    }

    Story m_story;
    std::size_t m_current = 0;
    std::string m_subject;
    const KnownEnd* m_known;
    bool m_isWithoutAction = false;
};

// Collects the lines of each run.
class Splitter
{
public:
    std::vector<Story> Split(std::vector<LogLine> lines)
    {
        // Lines before the first readable line belong to that line's run.
        const auto readable =
            std::find_if(lines.begin(), lines.end(), [](const LogLine& line) { return !line.isDamaged; });
        m_lastThread = readable != lines.end() ? readable->thread : 0;
        for (LogLine& line : lines)
            Add(std::move(line));
        std::vector<Story> stories;
        for (std::vector<LogLine>& run : m_runs)
            stories.push_back(report::Tell(std::move(run)));
        return stories;
    }

private:
    void Add(LogLine line)
    {
        const unsigned long thread = line.isDamaged ? m_lastThread : line.thread;
        const bool isBegin = line.message.starts_with(catalogue::kBeginLine);
        const bool isEnd = line.message.starts_with(catalogue::kEndLine);
        auto open = m_open.find(thread);
        if (line.isDamaged && open == m_open.end() && !m_runs.empty())
        {
            m_runs[m_lastRun].push_back(std::move(line));
            return;
        }
        if (open == m_open.end() || (isBegin && !IsUnreadable(m_runs[open->second])))
        {
            m_runs.emplace_back();
            open = m_open.insert_or_assign(thread, m_runs.size() - 1).first;
        }
        m_lastRun = open->second;
        m_runs[m_lastRun].push_back(std::move(line));
        m_lastThread = thread;
        if (isEnd)
            m_open.erase(open);
    }

    static bool IsUnreadable(const std::vector<LogLine>& run)
    {
        return std::all_of(run.begin(), run.end(), [](const LogLine& line) { return line.isDamaged; });
    }

    std::vector<std::vector<LogLine>> m_runs;
    std::size_t m_lastRun = 0;
    std::map<unsigned long, std::size_t> m_open; // for each thread, its current run
    unsigned long m_lastThread = 0;
};

} // namespace

std::string NameOf(Level level)
{
    switch (level)
    {
    case Level::Done:
        return "done";
    case Level::Untold:
        return "not told";
    case Level::Noise:
        return "done (noise)";
    case Level::Warning:
        return "WARNING";
    case Level::Missing:
        return "MISSING";
    default:
        return "FAILED";
    }
}

Level LevelOf(const StoryLine& line)
{
    switch (line.kind)
    {
    case Kind::Noise:
        return Level::Noise;
    case Kind::Warning:
        return Level::Warning;
    case Kind::Failure:
        return Level::Failed;
    default:
        return Level::Done;
    }
}

std::vector<std::string> NumbersOf(const StoryLine& line)
{
    std::vector<std::string> numbers;
    for (std::size_t i = 0; i < line.values.size() && line.text != nullptr && i < line.text->values.size(); ++i)
    {
        const catalogue::Value& value = line.text->values[i];
        const auto number = NumberAt(line, i);
        const bool isTold = value.meaning != Meaning::Plain && value.meaning != Meaning::Controls;
        if (number && isTold && (IsError(value.meaning) || !catalogue::Explain(*number, value.meaning).meaning.empty()))
            numbers.push_back(DescribeNumber(value, line.values[i], *number));
    }
    return numbers;
}

const Problem* Story::FirstProblem() const
{
    return first ? &problems[*first] : nullptr;
}

bool IsBrokenOff(const Story& story)
{
    return story.exitCode && !story.hasEnd && !story.lines.empty();
}

std::optional<std::size_t> DecidingStep(const Story& story)
{
    if (IsBrokenOff(story))
        return story.lines.back().step;
    for (std::size_t i = 0; i < story.steps.size(); ++i)
    {
        const catalogue::Step* const step = story.steps[i].step;
        if (step != nullptr && (story.deciding ? story.lines[*story.deciding].step == i : step->decides))
            return i;
    }
    return std::nullopt;
}

Story Tell(std::vector<LogLine> lines)
{
    return Teller{nullptr}.Tell(std::move(lines));
}

Story Tell(std::vector<LogLine> lines, const KnownEnd& end)
{
    return Teller{&end}.Tell(std::move(lines));
}

std::vector<Story> TellAll(std::vector<LogLine> lines)
{
    return Splitter{}.Split(JoinWrapped(std::move(lines)));
}

} // namespace report
