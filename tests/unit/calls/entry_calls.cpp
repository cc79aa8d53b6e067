// The entry module's functions, for tests.
#include "entry/install_folder.h"
#include "entry/options.h"
#include "tests/unit/calls/modules.h"

namespace
{

// Arguments: the prefix, then the program's arguments from argument 0 on. The value, or "(none)".
std::string OptionValue(const CallArguments& arguments)
{
    std::vector<std::wstring> words;
    for (std::size_t i = 1; i < arguments.Count(); ++i)
        words.push_back(arguments.Wide(i));
    std::vector<const wchar_t*> argv;
    for (const std::wstring& word : words)
        argv.push_back(word.c_str());
    std::string value = "(untouched)";
    const bool found = GetOptionValue(arguments.Text(0).c_str(), value, static_cast<int>(argv.size()), argv.data());
    return found ? value : "(none) " + value;
}

constexpr TestCall kCalls[] = {
    {"GetOptionValue", &OptionValue},
    {"InstallFolderOf", [](const CallArguments& a) { return InstallFolderOf(a.Wide(0).c_str()); }},
};

} // namespace

std::span<const TestCall> EntryCalls()
{
    return kCalls;
}
