// Writes the reference of the install log.
#include "catalogue/reference.h"

#include "catalogue/catalogue.h"

#include <algorithm>

namespace catalogue
{

namespace
{

constexpr char kHead[] = R"(# The texts of the install log

Generated from `catalogue/` by `build/native/kelo-explain --reference > docs/log.md`; a test compares the two.

Search this page for a part of a log line that has no names or numbers in it. `./run explain LOG` does that for a whole
log. In a text, `%s` stands for a name or a path, `%d`, `%u` and `%x` for a number.

A line of the log is `2013/05/07 14:03:09.042 TZ-4 [3120] text`: date and time in UTC, the zone in hours, the thread.
No line tells the result of a run. **Expected noise** sounds like a failure and is none.
)";

struct NamedAction
{
    Action action;
    const char* title;
};

constexpr NamedAction kActions[] = {
    {Action::Setup, "/Setup"},
    {Action::Commit, "/Commit"},
    {Action::Removal, "/Rollback and /Uninstall"},
    {Action::Export, "SRK_Auth_Change, the exported entry point"},
};

// A text as code; no text contains a backquote.
std::string Code(std::string text)
{
    std::replace(text.begin(), text.end(), '\t', ' ');
    while (text.ends_with('\n'))
        text.pop_back();
    return "`" + text + "`";
}

std::string Describe(const Step& step)
{
    std::string line =
        std::string("- **") + step.name + "**" + (step.isOptional ? " (not always)" : "") + ": " + step.doing;
    if (!step.lines.empty())
        line += std::string(step.call != nullptr ? " Logs " : " Begins with ") + Code(step.lines.front()) + ".";
    else
        line += " No line tells that it begins.";
    if (!step.ends.empty())
        line += " Has done its work with " + Code(step.ends.back()) + ".";
    if (*step.untold != '\0')
        line += std::string(" *Not in the log:* ") + step.untold;
    return line + "\n";
}

std::string Describe(const Text& text)
{
    std::string entry = "- " + Code(text.format) + "  \n  **" + std::string(NameOf(text.kind)) + "**: " + text.meaning;
    const char* separator = " Shows: ";
    for (const Value& value : text.values)
    {
        entry += std::string(separator) + value.name;
        separator = ", ";
    }
    if (!text.values.empty())
        entry += ".";
    if (*text.causes != '\0')
        entry += std::string("  \n  *Causes:* ") + text.causes;
    if (*text.toDo != '\0')
        entry += std::string("  \n  *Do:* ") + text.toDo;
    return entry + "\n";
}

// The steps that texts belong to, in the order of the tables.
std::vector<std::string> StepsWithTexts()
{
    std::vector<std::string> names;
    for (const Text& text : Texts())
    {
        if (std::find(names.begin(), names.end(), text.step) == names.end())
            names.emplace_back(text.step);
    }
    return names;
}

} // namespace

std::string Reference()
{
    std::string page = kHead;
    page += "\n## The steps\n";
    for (const NamedAction& action : kActions)
    {
        page += std::string("\n### ") + action.title + "\n\n";
        for (const Step& step : StepsOf(action.action))
            page += Describe(step);
    }
    page += "\n## The texts\n";
    for (const std::string& step : StepsWithTexts())
    {
        page += "\n### " + (step.empty() ? std::string("any step") : step) + "\n\n";
        for (const Text& text : Texts())
        {
            if (text.step == step)
                page += Describe(text);
        }
    }
    return page;
}

} // namespace catalogue
