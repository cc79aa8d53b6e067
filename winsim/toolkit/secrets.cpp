// Finds passwords in texts.
#include "winsim/toolkit/secrets.h"

#include <algorithm>

namespace winsim
{

namespace
{

constexpr std::string_view kStars = "***";

// Where a password is in a text: after `introduction`, up to `end` or to the end of the text.
struct Place
{
    std::string_view introduction;
    std::string_view end;
};

constexpr Place kInInstallerData{"/PASSWORD=", " /"};
// No value contains " /", so this is the closing quotation mark even if the password contains quotation marks.
constexpr Place kInCommandLine{"/P:\"", "\" /"};
// The command line comes first, because a password in it may contain "/PASSWORD=".
constexpr Place kPlaces[] = {kInCommandLine, kInInstallerData};

// The key of a value in installer data, and the option with that value in the tool's command line.
struct Value
{
    std::string_view key;
    std::string_view option;
};

// The program looks for keys everywhere in the data: after a key in the password, the rest of the password is its
// value.
constexpr Value kOtherValues[] = {{"/CAPTION=", "/C:\""}, {"/INFO=", "/I:\""}, {"/TSS_VENDOR=", "/T:\""}};

// Calls use(begin, length) for each password in a text; `use` returns the position at which the search continues.
template <typename Use>
void ForEachSecret(const std::string& text, const Place& place, Use use)
{
    for (std::size_t found = text.find(place.introduction); found != std::string::npos;)
    {
        const std::size_t begin = found + place.introduction.size();
        const std::size_t end = std::min(text.find(place.end, begin), text.size());
        found = text.find(place.introduction, use(begin, end - begin));
    }
}

void ReplaceAll(std::string& text, const std::string& part, const std::string& replacement)
{
    for (std::size_t found = text.find(part); found != std::string::npos;
         found = text.find(part, found + replacement.size()))
        text.replace(found, part.size(), replacement);
}

// Hides the values in a command line that repeat the end of its password.
std::string HideEndsOfPasswords(const std::string& commandLine)
{
    std::string hidden = commandLine;
    ForEachSecret(commandLine, kInCommandLine, [&](std::size_t begin, std::size_t length) {
        const std::string password = commandLine.substr(begin, length);
        for (const Value& value : kOtherValues)
        {
            const std::size_t found = password.find(value.key);
            if (found != std::string::npos && found + value.key.size() < password.size())
                ReplaceAll(hidden, std::string(value.option) + password.substr(found + value.key.size()) + "\"",
                           std::string(value.option).append(kStars) + "\"");
        }
        return begin + length;
    });
    return hidden;
}

} // namespace

std::string HideSecrets(std::string_view text)
{
    std::string hidden = HideEndsOfPasswords(std::string(text));
    for (const Place& place : kPlaces)
    {
        ForEachSecret(hidden, place, [&](std::size_t begin, std::size_t length) {
            if (length == 0)
                return begin;
            hidden.replace(begin, length, kStars);
            return begin + kStars.size();
        });
    }
    return hidden;
}

Json HideAllSecrets(const Json& value)
{
    if (value.is_string())
        return HideSecrets(value.get_ref<const std::string&>());
    Json hidden = value;
    for (Json& element : hidden)
    {
        if (element.is_structured() || element.is_string())
            element = HideAllSecrets(element);
    }
    return hidden;
}

std::vector<std::string> SecretsOf(std::string_view installerData)
{
    std::vector<std::string> secrets;
    const std::string text(installerData);
    ForEachSecret(text, kInInstallerData, [&](std::size_t begin, std::size_t length) {
        secrets.push_back(text.substr(begin, length));
        return begin + length;
    });
    return secrets;
}

} // namespace winsim
