// The tables of texts, one for each folder of src/ that logs.
#pragma once

#include "catalogue/catalogue.h"

namespace catalogue
{

struct StepTexts
{
    const char* step; // empty: whichever step logs them
    std::vector<Text> texts;
};

std::vector<StepTexts> EntryTexts();
std::vector<StepTexts> PlatformTexts();
std::vector<StepTexts> TssTexts();
std::vector<StepTexts> ServiceTexts();
std::vector<StepTexts> SmartCardTexts();
std::vector<StepTexts> ProvidersTexts();
std::vector<StepTexts> TpmTexts();
std::vector<StepTexts> EnrollTexts();

} // namespace catalogue
