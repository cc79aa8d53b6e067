// Joins the tables of texts.
#include "catalogue/texts.h"

#include <utility>

namespace catalogue
{

namespace
{

struct Module
{
    const char* name;
    std::vector<StepTexts> (*texts)();
};

constexpr Module kModules[] = {
    {"entry", &EntryTexts},         {"platform", &PlatformTexts},   {"tss", &TssTexts}, {"service", &ServiceTexts},
    {"smartcard", &SmartCardTexts}, {"providers", &ProvidersTexts}, {"tpm", &TpmTexts}, {"enroll", &EnrollTexts},
};

std::vector<Text> AllTexts()
{
    std::vector<Text> all;
    for (const Module& module : kModules)
    {
        for (const StepTexts& step : module.texts())
        {
            for (Text text : step.texts)
            {
                text.step = step.step;
                text.module = module.name;
                all.push_back(std::move(text));
            }
        }
    }
    return all;
}

} // namespace

const std::vector<Text>& Texts()
{
    static const std::vector<Text> texts = AllTexts();
    return texts;
}

std::string_view NameOf(Kind kind)
{
    switch (kind)
    {
    case Kind::Begin:
        return "begins";
    case Kind::Progress:
        return "progress";
    case Kind::Decision:
        return "decision";
    case Kind::Noise:
        return "expected noise";
    case Kind::Warning:
        return "warning";
    default:
        return "failure";
    }
}

} // namespace catalogue
