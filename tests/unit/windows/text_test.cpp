// Proves the conversions between the code page and UTF-16.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
        if (call.name == conversion)
            conversions.push_back(call.in["cbMultiByte"].dump() + " " + call.in["cchWideChar"].dump() + " " +
                                  call.result.dump());
    }
    return conversions;
}

TEST(ToNarrow, IsTheTextInTheCodePage)
{
    EXPECT_EQ(Narrow(""), "");
    EXPECT_EQ(Narrow("x"), "x");
    EXPECT_EQ(Narrow("plain"), "plain");
    EXPECT_EQ(Narrow("caf\u00E9 \u20AC"), "caf\xE9 \x80");
    EXPECT_EQ(Narrow("\u65E5\u672C", R"({"windows": {"codePage": 932}})"), "\x93\xFA\x96\x7B");
    EXPECT_EQ(Narrow("caf\u00E9", R"({"windows": {"codePage": 65001}})"), "caf\u00E9");
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
    EXPECT_EQ(Narrow("\u20AC", R"({"windows": {"codePage": 932}})"), "?");
}

TEST(ToNarrow, AConversionThatFailsIsEmpty)
{
    for (const char* fault : {"WideCharToMultiByte=87", "WideCharToMultiByte#1=87", "WideCharToMultiByte#2=87"})
        EXPECT_EQ(Narrow("text", "{}", {.faults = {fault}}), "") << fault;
}

TEST(ToWide, IsTheTextOfTheCodePage)
{
    EXPECT_EQ(Wide(""), "");
    EXPECT_EQ(Wide("x"), "x");
    EXPECT_EQ(Wide("plain"), "plain");
    EXPECT_EQ(Wide("caf\xE9 \x80"), "caf\u00E9 \u20AC");
    EXPECT_EQ(Wide("\x93\xFA\x96\x7B", R"({"windows": {"codePage": 932}})"), "\u65E5\u672C");
}

// Japanese takes two bytes a character in its code page.
TEST(ToNarrow, AsksForTheSizeAndConvertsTheTextAndNoMore)
{
    EXPECT_THAT(Conversions(CallFunction(MachineOf(R"({"windows": {"codePage": 932}})"), "ToNarrow", {"\u65E5\u672C"}),
                            "WideCharToMultiByte"),
                ElementsAre("0 2 4", "4 2 4"));
}

TEST(ToWide, AsksForTheSizeAndConvertsTheTextAndNoMore)
{
    EXPECT_THAT(
        Conversions(CallFunction(MachineOf(R"({"windows": {"codePage": 932}})"), "ToWide", {"\x93\xFA\x96\x7B"}),
                    "MultiByteToWideChar"),
        ElementsAre("4 0 2", "4 2 2"));
}

TEST(ToWide, AConversionThatFailsIsEmpty)
{
    // The logs convert two texts for all of them, and each conversion takes two calls.
    for (const char* fault : {"MultiByteToWideChar=87", "MultiByteToWideChar#5=87", "MultiByteToWideChar#6=87"})
        EXPECT_EQ(Wide("text", "{}", {.faults = {fault}}), "") << fault;
}

} // namespace
