// Rules for a program's texts, which winsim cannot know by itself.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// Whoever runs the program passes them in. By default nothing is secret, and a text contains no time.
struct ProgramRules
{
    // The passwords in a text of the install session (UTF-8). The memory that the program frees is searched for them.
    std::vector<std::string> (*secretsIn)(std::string_view text) = [](std::string_view) {
        return std::vector<std::string>();
    };
    // The text without its passwords, as recorded calls show it.
    std::string (*withoutSecrets)(std::string_view text) = [](std::string_view text) { return std::string(text); };
    // A text that the program writes to a file, without the time in it: calls whose texts differ only in the time are
    // repeats.
    std::string (*withoutTime)(const std::string& text) = [](const std::string& text) { return text; };
};

} // namespace winsim
