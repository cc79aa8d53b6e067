// Describes values in a few words.
#include "report/change_values.h"

#include "report/terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace report
{

namespace
{

using winsim::Json;

constexpr std::size_t kMostOfText = 120; // characters of a value
constexpr std::size_t kMostBytes = 16;

std::string Cut(const std::string& text, bool isWhole)
{
    if (isWhole || LengthOf(text) <= kMostOfText)
        return text;
    return Fit(text, kMostOfText) + fmt::format(" ({} characters)", LengthOf(text));
}

std::string DescribeBytes(const std::string& hex, bool isWhole)
{
    const std::size_t count = hex.size() / 2;
    std::string text = Counted(count, "byte", "bytes") + (count != 0 ? ":" : "");
    for (std::size_t i = 0; i < count && (isWhole || i < kMostBytes); ++i)
        text += " " + hex.substr(2 * i, 2);
    return !isWhole && count > kMostBytes ? text + " ..." : text;
}

std::string DescribeNumber(const winsim::Json& number)
{
    const auto value = number.get<std::int64_t>();
    return value > 9 ? fmt::format("{} ({:#x})", value, value) : std::to_string(value);
}

// A text of a registry value. Zeros separate the parts of a multiple text.
std::string DescribeText(std::string text, bool isWhole)
{
    while (text.ends_with('\0'))
        text.pop_back();
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '\0' ? std::string("\", \"") : std::string(1, c);
    return Cut(quoted + "\"", isWhole);
}

// Whether two lists contain only texts.
bool AreTextLists(const winsim::Json& one, const winsim::Json& other)
{
    const auto isTextList = [](const Json& list) {
        return list.is_array() && std::all_of(list.begin(), list.end(), [](const Json& e) { return e.is_string(); });
    };
    return isTextList(one) && isTextList(other);
}

// The elements of a list that are missing from the other list, with a sign before each.
std::string Lacking(const winsim::Json& list, const winsim::Json& other, const char* sign)
{
    std::string texts;
    for (const Json& element : list)
    {
        if (std::find(other.begin(), other.end(), element) == other.end())
            texts += (texts.empty() ? "" : ", ") + (sign + element.get<std::string>());
    }
    return texts;
}

} // namespace

std::string DescribeValue(const winsim::Json& value, bool isWhole)
{
    if (value.is_number())
        return DescribeNumber(value);
    if (value.is_string())
        return DescribeText(value.get<std::string>(), isWhole);
    if (!value.is_object() || !value.contains("type"))
        return Cut(value.dump(), isWhole);
    const winsim::Json& type = value["type"];
    const std::string name = type.is_string() ? type.get<std::string>() : fmt::format("type {}", type.dump());
    if (value.contains("text"))
        return DescribeText(value["text"].get<std::string>(), isWhole) + " (" + name + ")";
    if (value.contains("number"))
        return DescribeNumber(value["number"]) + " (" + name + ")";
    return DescribeBytes(value.value("hex", ""), isWhole) + " (" + name + ")";
}

std::string Brief(const winsim::Json& value, bool isWhole)
{
    if (value.is_null())
        return "none";
    return Cut(value.is_string() ? value.get<std::string>() : value.dump(), isWhole);
}

std::string DescribeDifference(const winsim::Json& before, const winsim::Json& after, bool isWhole)
{
    if (!AreTextLists(before, after))
        return Brief(before, isWhole) + " -> " + Brief(after, isWhole);
    const std::string less = Lacking(before, after, "-");
    const std::string more = Lacking(after, before, "+");
    if (less.empty() && more.empty())
        return Brief(before, isWhole) + " -> " + Brief(after, isWhole);
    return less + (less.empty() || more.empty() ? "" : ", ") + more;
}

std::vector<std::string> Differences(const winsim::Json& before, const winsim::Json& after, bool isWhole,
                                     const std::string& path)
{
    if (!before.is_object() || !after.is_object())
        return {(path.empty() ? "" : path + ": ") + DescribeDifference(before, after, isWhole)};
    std::vector<std::string> lines;
    Json all = before;
    all.update(after);
    for (const auto& [name, value] : all.items())
    {
        const Json old = before.value(name, Json());
        const Json now = after.value(name, Json());
        if (old == now)
            continue;
        for (std::string& line : Differences(old, now, isWhole, path.empty() ? name : path + "." + name))
            lines.push_back(std::move(line));
    }
    return lines;
}

} // namespace report
