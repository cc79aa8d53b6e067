// Scripts of calls and messages, for tests that compare them as a whole.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// Calls with arguments and result and, with "log: " in front, the messages between them.
using Script = std::vector<std::string>;

inline Script Joined(std::initializer_list<Script> parts)
{
    Script whole;
    for (const Script& part : parts)
        whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

// The messages of a script.
inline Script LogOf(const Script& script)
{
    constexpr std::string_view kMark = "log: ";
    Script log;
    for (const std::string& line : script)
    {
        if (line.starts_with(kMark))
            log.push_back(line.substr(kMark.size()));
    }
    return log;
}
