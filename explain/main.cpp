// kelo-explain: explains an install log from the field.
#include "catalogue/reference.h"
#include "explain/decode.h"
#include "explain/describe.h"
#include "explain/explanation.h"
#include "explain/find_cause.h"
#include "explain/options.h"
#include "report/page.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <system_error>

namespace
{

constexpr int kUsageError = 2;

std::string ReadAll(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string ReadLog(const std::string& path)
{
    if (path == "-")
        return ReadAll(std::cin);
    std::ifstream file(path, std::ios::binary);
    std::string bytes = ReadAll(file);
    if (!file)
        throw std::runtime_error(path + ": " + std::system_category().message(errno));
    return bytes;
}

// Adds the causes of the chosen run to the output.
void FindCause(const ExplainOptions& options, const std::vector<report::Story>& stories, winsim::Json& json,
               std::string& shown)
{
    const report::Story& story = stories.at(ChosenRun(options, stories));
    if (story.actionSwitch.empty())
        throw std::runtime_error("the log does not show the run's command line, so it cannot be rehearsed");
    std::vector<std::string> arguments;
    if (story.action != catalogue::Action::Export)
    {
        arguments = story.options;
        arguments.insert(arguments.begin(), story.actionSwitch);
    }
    const CauseFinder finder{winsim::Machine::FromFile(options.machinePath), arguments};
    const CauseSearch search = finder.Find(story);
    if (options.isJson)
        json["causes"] = JsonOf(search);
    else
        shown += "\n" + ShowCauses(report::Style::OfStandardOutput(), search, options.machinePath, arguments);
}

std::string DraftFor(const ExplainOptions& options, const std::vector<report::Story>& stories)
{
    const report::Story& story = stories.at(ChosenRun(options, stories));
    const std::string title = "Drafted from an install log; what the log does not show is as on a plain machine";
    return DraftDescription(story, title).dump(2, ' ', false, winsim::Json::error_handler_t::replace) + "\n";
}

void Explain(const ExplainOptions& options)
{
    const std::string text = Decode(ReadLog(options.logPath), options.codePage);
    const std::vector<report::Story> stories = report::TellAll(report::ReadLogLines(text));
    if (!options.htmlPath.empty())
        report::WriteText(options.htmlPath, ExplainInPage(options, stories));
    if (!options.draftPath.empty())
        report::WriteText(options.draftPath, DraftFor(options, stories));
    winsim::Json json = options.isJson ? ExplainInJson(stories) : winsim::Json();
    std::string shown =
        options.isJson ? std::string() : ExplainInText(options, report::Style::OfStandardOutput(), stories);
    if (options.isCauseWanted)
        FindCause(options, stories, json, shown);
    if (options.isJson)
        shown = json.dump(2, ' ', false, winsim::Json::error_handler_t::replace) + "\n";
    std::cout << shown;
}

} // namespace

int main(int argc, char** argv)
{
    const ParsedExplainOptions parsed = ParseExplainOptions(argc, argv);
    if (!parsed.options)
        return parsed.exitStatus;
    try
    {
        if (parsed.options->isReference)
            std::cout << catalogue::Reference();
        else
            Explain(*parsed.options);
        return 0;
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-explain: " << error.what() << "\n";
        return kUsageError;
    }
}
