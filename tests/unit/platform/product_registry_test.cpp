// Proves that a number is read from the registry only if a complete number is stored.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::IsEmpty;

std::string Read(const std::string& name, const std::string& values, const SimulatedRunOptions& options = {})
{
    const SimulatedRun run = CallFunction(
        MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": )" + values + "}}}"),
        "ReadDword", {name}, options);
    EXPECT_THAT(run.log, IsEmpty());
    return run.result;
}

TEST(ReadDword, AWholeDwordIsItsNumber)
{
    EXPECT_EQ(Read("Number", R"({"Number": 0})"), "0");
    EXPECT_EQ(Read("Number", R"({"Number": 1})"), "1");
    EXPECT_EQ(Read("Number", R"({"Number": 4294967295})"), "4294967295");
    EXPECT_EQ(Read("NUMBER", R"({"Number": 7})"), "7");
}

TEST(ReadDword, AnotherTypeIsNothing)
{
    EXPECT_EQ(Read("Number", R"({"Number": "7"})"), "nothing");
    EXPECT_EQ(Read("Number", R"({"Number": {"type": "REG_BINARY", "hex": "07000000"}})"), "nothing");
    EXPECT_EQ(Read("Number", R"({"Number": {"type": "REG_NONE", "hex": "07000000"}})"), "nothing");
}

TEST(ReadDword, AnotherSizeIsNothing)
{
    EXPECT_EQ(Read("Number", R"({"Number": {"type": "REG_DWORD", "hex": ""}})"), "nothing");
    EXPECT_EQ(Read("Number", R"({"Number": {"type": "REG_DWORD", "hex": "070000"}})"), "nothing");
    EXPECT_EQ(Read("Number", R"({"Number": {"type": "REG_DWORD", "hex": "0700000000"}})"), "nothing");
}

TEST(ReadDword, WhatCannotBeReadIsNothing)
{
    EXPECT_EQ(Read("Other", R"({"Number": 7})"), "nothing");
    EXPECT_EQ(Read("Number", R"({"Number": 7})", {.faults = {"RegQueryValueExA=5"}}), "nothing");
}

} // namespace
