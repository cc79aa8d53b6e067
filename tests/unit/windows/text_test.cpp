// Proves the conversions between the code page and UTF-16.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

namespace
{

std::string Narrow(const std::string& text, const char* machine = "{}", const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineOf(machine), "ToNarrow", {text}, options).result;
}

std::string Wide(const std::string& bytes, const char* machine = "{}", const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineOf(machine), "ToWide", {bytes}, options).result;
}

using testing::ElementsAre;

// The function's own conversions: each with the lengths of text and buffer, and the result.
std::vector<std::string> Conversions(const SimulatedRun& run, const char* conversion)
{
    std::vector<std::string> conversions;
    for (std::size_t i = run.outcome.bodyBegin; i < run.outcome.bodyEnd; ++i)
    {
        const winsim::CallRecord& call = run.outcome.calls[i];
        if (call.name != conversion)
            continue;
        EXPECT_EQ(call.in["dwFlags"], 0);
        conversions.push_back(call.in["cbMultiByte"].dump() + " " + call.in["cchWideChar"].dump() + " " +
                              call.result.dump());
    }
    return conversions;
}

constexpr char kJapanese[] = R"({"windows": {"codePage": 932}})";

// A text, its bytes in the code page, and the machine.
constexpr std::tuple<const char*, const char*, const char*> kTexts[] = {
    {"", "", "{}"},
    {"x", "x", "{}"},
    {"plain", "plain", "{}"},
    {"caf\u00E9 \u20AC", "caf\xE9 \x80", "{}"},
    {"\u65E5\u672C", "\x93\xFA\x96\x7B", kJapanese},
    {"caf\u00E9", "caf\u00E9", R"({"windows": {"codePage": 65001}})"},
};

TEST(ToNarrow, IsTheTextInTheCodePage)
{
    for (const auto& [text, bytes, machine] : kTexts)
        EXPECT_EQ(Narrow(text, machine), bytes);
}

TEST(ToNarrow, ALongTextIsWhole)
{
    EXPECT_EQ(Narrow(std::string(40000, 'x')), std::string(40000, 'x'));
}

TEST(ToNarrow, WhatTheCodePageLacksBecomesAQuestionMark)
{
    EXPECT_EQ(Narrow("a\u4E2D"
                     "b"),
              "a?b");
    EXPECT_EQ(Narrow("\u20AC", kJapanese), "?");
}

TEST(ToNarrow, AConversionThatFailsIsEmpty)
{
    for (const char* fault : {"WideCharToMultiByte=87", "WideCharToMultiByte#1=87", "WideCharToMultiByte#2=87"})
        EXPECT_EQ(Narrow("text", "{}", {.faults = {fault}}), "") << fault;
}

TEST(ToWide, IsTheTextOfTheCodePage)
{
    for (const auto& [text, bytes, machine] : kTexts)
        EXPECT_EQ(Wide(bytes, machine), text);
}

// Japanese takes two bytes a character in its code page.
TEST(ToNarrow, AsksForTheSizeAndConvertsTheTextAndNoMore)
{
    EXPECT_THAT(Conversions(CallFunction(MachineOf(kJapanese), "ToNarrow", {"\u65E5\u672C"}), "WideCharToMultiByte"),
                ElementsAre("0 2 4", "4 2 4"));
}

TEST(ToWide, AsksForTheSizeAndConvertsTheTextAndNoMore)
{
    EXPECT_THAT(Conversions(CallFunction(MachineOf(kJapanese), "ToWide", {"\x93\xFA\x96\x7B"}), "MultiByteToWideChar"),
                ElementsAre("4 0 2", "4 2 2"));
}

TEST(ToWide, AConversionThatFailsIsEmpty)
{
    // The logs convert two texts for all of them, and each conversion takes two calls.
    for (const char* fault : {"MultiByteToWideChar=87", "MultiByteToWideChar#5=87", "MultiByteToWideChar#6=87"})
        EXPECT_EQ(Wide("text", "{}", {.faults = {fault}}), "") << fault;
}

// A buffer has room for the zero that ends every string.
TEST(Conversions, TakeNoMoreMemoryThanTheTextNeeds)
{
    const std::string text(1000, 'x');
    EXPECT_EQ(Wide(text, R"({"process": {"largestBlock": 2002}})"), text);
    // A character takes three bytes.
    std::string euros;
    for (int i = 0; i < 1000; ++i)
        euros += "\u20AC";
    EXPECT_EQ(Narrow(euros, R"({"windows": {"codePage": 65001}, "process": {"largestBlock": 3001}})"), euros);
}

} // namespace
