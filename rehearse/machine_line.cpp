// Makes the line of one machine of many.
#include "rehearse/machine_line.h"

#include "rehearse/rehearsal.h"
#include "rehearse/report.h"
#include "report/calls.h"
#include "report/merged_changes.h"
#include "winsim/base/description.h"
#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/secrets.h"

#include <fmt/format.h>

#include <cstdint>
#include <new>

namespace
{

using report::Level;
using report::Story;
using winsim::Json;
using winsim::Machine;
using winsim::Outcome;

constexpr std::size_t kLongestText = 500; // bytes of a title or result

// A text of a description or a log, which may be of any length. A cut character is replaced when the line is printed.
std::string Shortened(const std::string& text)
{
    return text.size() <= kLongestText ? text : text.substr(0, kLongestText) + "...";
}

Json ArgumentsOf(const Options& options)
{
    Json arguments = Json::array();
    for (const std::string& argument : options.arguments)
        arguments.push_back(winsim::HideSecrets(argument));
    return arguments;
}

Json EmptyLine(const Options& options, const Input& input)
{
    return {{"file", input.file},
            {"line", input.line ? Json(*input.line) : Json()},
            {"title", nullptr},
            {"arguments", ArgumentsOf(options)},
            {"export", options.exportName.empty() ? Json() : Json(options.exportName)},
            {"exitCode", nullptr},
            {"status", nullptr},
            {"stack", nullptr},
            {"lastStep", nullptr},
            {"firstFailedCall", nullptr},
            {"result", nullptr},
            {"changes", nullptr},
            {"digest", nullptr}};
}

Machine ReadMachine(const Input& input)
{
    if (!input.line)
        return Machine::FromFile(input.file);
    try
    {
        return Machine::FromText(input.text, ".");
    }
    catch (const winsim::DescriptionError& error)
    {
        throw winsim::DescriptionError(fmt::format("-:{}: {}", *input.line, error.what()));
    }
}

const char* StatusOf(const Outcome& outcome, const Story& story)
{
    if (outcome.death)
        return "died";
    if (outcome.isEndless)
        return "endless";
    if (outcome.exitCode != 0)
        return "failed";
    if (story.level >= Level::Missing)
        return "incomplete";
    return story.level == Level::Warning ? "warnings" : "succeeded";
}

// A digest of the changes (FNV-1a), without the install log, whose lines have times: machines that changed alike have
// the same.
std::string DigestOf(const std::vector<winsim::Change>& changes)
{
    Json value = Json::array();
    for (const winsim::Change& change : changes)
    {
        if (change.area != "files" || !winsim::IsInstallLog(change.item))
            value.push_back(winsim::HideAllSecrets(ToJson(change)));
    }
    constexpr std::uint64_t kBasis = 0xCBF29CE484222325;
    constexpr std::uint64_t kPrime = 0x100000001B3;
    std::uint64_t digest = kBasis;
    for (const char c : value.dump(-1, ' ', false, Json::error_handler_t::replace))
        digest = (digest ^ static_cast<unsigned char>(c)) * kPrime;
    return fmt::format("{:016x}", digest);
}

Json NullIfEmpty(const std::string& text)
{
    return text.empty() ? Json() : Json(text);
}

// The step of the first failure; empty if nothing failed.
std::string FailedStepOf(const Story& story)
{
    if (const report::Problem* const problem = story.FirstProblem())
        return problem->step;
    const std::optional<std::size_t> step = DecidingStep(story);
    return step && story.level == Level::Failed ? story.steps[*step].Name() : "";
}

MachineLine LineOf(const Options& options, const Input& input, const Machine& before, const Outcome& outcome)
{
    const Story story = StoryOf(options, before, outcome);
    const std::vector<winsim::Change> changes = Compare(before, outcome.machine);
    MachineLine made{.line = EmptyLine(options, input)};
    Json& line = made.line;
    line["title"] = Shortened(winsim::HideSecrets(before.title));
    if (story.exitCode)
        line["exitCode"] = *story.exitCode;
    line["status"] = StatusOf(outcome, story);
    line["stack"] = NullIfEmpty(Shortened(story.stack));
    if (const auto step = LastStep(outcome, story))
        line["lastStep"] = story.steps[*step].Name();
    if (const auto failed = FirstFailedCall(outcome, story))
        line["firstFailedCall"] = {{"call", failed->record->name},
                                   {"error", failed->record->error},
                                   {"step", story.steps.empty() ? Json() : Json(story.steps[failed->step].Name())}};
    line["result"] = Shortened(story.headline);
    line["changes"] = report::MergeChanges(changes).size();
    line["digest"] = DigestOf(changes);
    made.failedStep = FailedStepOf(story);
    made.steps = HeatOf(story);
    made.hasDamagedItsProcess = outcome.death || outcome.isEndless;
    return made;
}

} // namespace

MachineLine RehearseLine(const Options& options, const Input& input)
{
    try
    {
        const Machine machine = ReadMachine(input);
        return LineOf(options, input, machine, Rehearse(options, machine));
    }
    catch (const std::bad_alloc&)
    {
        MachineLine made = LineWithout(options, input, kUnreadable, "it takes more memory than one machine may have");
        made.hasDamagedItsProcess = true;
        return made;
    }
    catch (const winsim::DescriptionError& error)
    {
        return LineWithout(options, input, kUnreadable, error.what());
    }
    catch (const std::exception& error)
    {
        return LineWithout(options, input, kCrashed, error.what());
    }
}

MachineLine LineWithout(const Options& options, const Input& input, const std::string& status,
                        const std::string& reason)
{
    MachineLine made{.line = EmptyLine(options, input)};
    made.line["status"] = status;
    made.line["result"] = Shortened(winsim::HideSecrets(reason));
    return made;
}
