// What is known of a program and Windows does not know.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// Handed in by whoever runs the program. Without them nothing is secret, and each text is another one.
struct ProgramRules
{
    // The passwords in a text that an install session holds for the program (UTF-8): they are looked for in the memory
    // that the program frees.
    std::vector<std::string> (*secretsIn)(std::string_view text) = [](std::string_view) {
        return std::vector<std::string>();
    };
    // A text as recorded calls show it: without its passwords.
    std::string (*withoutSecrets)(std::string_view text) = [](std::string_view text) { return std::string(text); };
    // What the program writes to a file at a time, without the time that is in it: calls that write the same but for
    // the time are repeats.
    std::string (*withoutTime)(const std::string& text) = [](const std::string& text) { return text; };
};

} // namespace winsim
