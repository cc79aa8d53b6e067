// The entry module's functions, for tests.
#include "entry/install_folder.h"
#include "entry/options.h"
#include "entry/run_custom_action.h"
#include "entry/setup_options.h"
#include "tests/unit/calls/modules.h"

namespace
{

// The program's arguments, from argument 0 on.
class ProgramArguments
{
public:
    ProgramArguments(const CallArguments& arguments, std::size_t first)
    {
        for (std::size_t i = first; i < arguments.Count(); ++i)
            m_words.push_back(arguments.Wide(i));
        for (const std::wstring& word : m_words)
            m_argv.push_back(word.c_str());
    }

    int Count() const { return static_cast<int>(m_argv.size()); }
    const wchar_t* const* Values() const { return m_argv.data(); }

private:
    std::vector<std::wstring> m_words;
    std::vector<const wchar_t*> m_argv;
};

// Arguments: the prefix, then the program's arguments. Returns the value, or "(none)".
std::string OptionValue(const CallArguments& arguments)
{
    const ProgramArguments program{arguments, 1};
    std::string value = "(untouched)";
    const bool found = GetOptionValue(arguments.Text(0).c_str(), value, program.Count(), program.Values());
    return found ? value : "(none) " + value;
}

// The vendor in brackets, and the names of the requested options.
std::string SetupOptionsText(const CallArguments& arguments)
{
    const ProgramArguments program{arguments, 0};
    const SetupOptions options = ReadSetupOptions(program.Count(), program.Values());
    std::string text = "[" + options.tssVendor + "]";
    if (options.installVsc)
        text += " installVsc";
    if (options.disableAutoProvisioning)
        text += " disableAutoProvisioning";
    return text;
}

std::string RunWith(const CallArguments& arguments)
{
    const ProgramArguments program{arguments, 0};
    return ResultText(RunCustomAction(program.Count(), program.Values()));
}

constexpr TestCall kCalls[] = {
    {"GetOptionValue", &OptionValue},
    {"ReadSetupOptions", &SetupOptionsText},
    {"RunCustomAction", &RunWith},
    {"InstallFolderOf", [](const CallArguments& a) { return InstallFolderOf(a.Wide(0).c_str()); }},
};

} // namespace

std::span<const TestCall> EntryCalls()
{
    return kCalls;
}
