// Looks options up in the command line.
#include "entry/options.h"

#include "windows/result_or.h"
#include "windows/text.h"

namespace
{

// Options follow the program's name and the action switch.
constexpr int kFirstOption = 2;

bool FindOption(const char* prefix, std::string& value, int argc, const wchar_t* const* argv)
{
    const std::string wanted = prefix;
    for (int i = kFirstOption; i < argc; ++i)
    {
        const std::string argument = ToNarrow(argv[i]);
        if (argument.find(wanted) == std::string::npos)
            continue;
        // Required: the first argument that contains the prefix decides, and its value is counted from the argument's
        // start even if the prefix is further inside.
        if (argument.size() == wanted.size())
            return false;
        value = argument.substr(wanted.size());
        return true;
    }
    return false;
}

} // namespace

bool GetOptionValue(const char* prefix, std::string& value, int argc, const wchar_t* const* argv)
{
    return ResultOr(false, [&] { return FindOption(prefix, value, argc, argv); });
}
