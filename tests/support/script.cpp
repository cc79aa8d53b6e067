// Makes and reads the lines of scripts.
#include "tests/support/script.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

std::string Call(const std::string& name, std::initializer_list<winsim::Json> in, const winsim::Json& result,
                 const winsim::Json& out)
{
    return CallLine(name, std::vector<winsim::Json>(in), result, out);
}

std::string CallLine(const std::string& name, const std::vector<winsim::Json>& in, const winsim::Json& result,
                     const winsim::Json& out)
{
    std::string line = name + "(";
    const char* separator = "";
    for (const winsim::Json& value : in)
    {
        line += separator + value.dump();
        separator = ", ";
    }
    line += ")";
    if (!result.is_null())
        line += " = " + result.dump();
    for (const auto& [outName, value] : out.items())
        line += " " + outName + ":" + value.dump();
    return line;
}

std::string Failing(const std::string& call, const winsim::Json& result)
{
    return call.substr(0, call.rfind(") = ") + 1) + (result.is_null() ? "" : " = " + result.dump());
}

Script Times(std::size_t count, const Script& lines)
{
    Script all;
    for (; count > 0; --count)
        all.Append({lines});
    return all;
}

Script Replaced(const Script& script, const std::string& line, const Script& lines)
{
    const auto found = std::ranges::find(script, line);
    if (found == script.end() || std::ranges::count(script, line) != 1)
        throw std::logic_error("not one line of the script: " + line);
    return {Script(script.begin(), found), lines, Script(found + 1, script.end())};
}

Script Before(const Script& script, const std::string& line)
{
    return {script.begin(), std::ranges::find(script, line)};
}

Script CallsOf(const std::string& name, const Script& script)
{
    Script calls;
    std::ranges::copy_if(script, std::back_inserter(calls),
                         [&](const std::string& line) { return line.starts_with(name + "("); });
    return calls;
}

std::size_t CountOf(const std::string& name, const Script& script)
{
    return CallsOf(name, script).size();
}

Script LogOf(const Script& script)
{
    constexpr std::string_view kMark = "log: ";
    Script messages;
    for (const std::string& line : script)
    {
        if (line.starts_with(kMark))
            messages.push_back(line.substr(kMark.size()));
    }
    return messages;
}
