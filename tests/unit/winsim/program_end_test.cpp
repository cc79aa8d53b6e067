// Proves that a process ends as on Windows, whichever way it ends: at that point, without the code that would have
// followed, and with Windows' exit code.
#include "winsim/toolkit/program_image.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace
{

using winsim::Machine;
using winsim::Outcome;

const winsim::Program& EndingProgram()
{
    static const winsim::Program program = winsim::ImageBeside("ending_program.so");
    return program;
}

Outcome EndBy(const std::string& way, const std::string& moment)
{
    const Machine machine = Machine::FromJson(
        {{"clock", {{"yieldMs", 0}}}, {"environment", {{"KELO_END_WAY", way}, {"KELO_END_MOMENT", moment}}}});
    winsim::RunOptions options;
    options.recordCalls = false;
    return EndingProgram().Run(machine, options);
}

struct EndCase
{
    const char* way;
    int exitCode;
    const char* death; // null for none
    bool isEndless = false;
    const char* output = "";
};

std::ostream& operator<<(std::ostream& stream, const EndCase& c)
{
    return stream << c.way;
}

constexpr char kAfterExit[] = "destroyed: last\ndestroyed: first\n";
constexpr int kAccessViolation = static_cast<int>(0xC0000005);
constexpr int kDivisionByZero = static_cast<int>(0xC0000094);

constexpr EndCase kEnds[] = {
    {"exception", 3, "uncaught exception std::runtime_error: nobody catches this"},
    {"number", 3, "uncaught exception int"},
    {"no memory", 3, "uncaught exception std::bad_alloc"},
    {"noexcept", 3, "uncaught exception std::runtime_error: out of noexcept"},
    {"while another is handled", 3, "uncaught exception std::logic_error: not caught"},
    {"terminate", 3, "std::terminate"},
    {"abort", 3, "abort"},
    {"write nowhere", kAccessViolation, "access violation"},
    {"divide by zero", kDivisionByZero, "division by zero"},
    {"too deep", kAccessViolation, "access violation"},
    {"exit", 5, nullptr, false, kAfterExit},
    {"_Exit", 6, nullptr},
    {"ExitProcess", static_cast<int>(0x80000001), nullptr},
    {"TerminateProcess", 7, nullptr},
    {"TerminateProcess of the pseudo handle", 7, nullptr},
    {"wait", -1, nullptr, true},
    {"ask the time", -1, nullptr, true},
};

class EachProcessEnd : public testing::TestWithParam<EndCase>
{};

INSTANTIATE_TEST_SUITE_P(Ways, EachProcessEnd, testing::ValuesIn(kEnds));

TEST(ProcessEnd, OfAProgramThatReturnsIsAfterAllDestructors)
{
    const Outcome outcome = EndBy("return", "body");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.standardOutput, "it goes on\ndestroyed: local\ndestroyed: last\ndestroyed: first\n");
    EXPECT_FALSE(outcome.death);
    EXPECT_FALSE(outcome.isEndless);
}

TEST_P(EachProcessEnd, IsWhereTheProcessIsAndTakesNothingAlong)
{
    const EndCase& c = GetParam();
    for (const char* moment : {"start", "body", "end", "body"})
    {
        SCOPED_TRACE(moment);
        const Outcome outcome = EndBy(c.way, moment);
        EXPECT_EQ(outcome.exitCode, c.exitCode);
        EXPECT_EQ(outcome.death.value_or("(none)"), c.death != nullptr ? c.death : "(none)");
        EXPECT_EQ(outcome.isEndless, c.isEndless);
        EXPECT_TRUE(outcome.violations.empty());
    }
    EXPECT_EQ(EndBy(c.way, "body").standardOutput, c.output);
}

} // namespace
