// Tests in a table: each row is a test with a name of its own, which makes one run and compares the whole of it.
//
//     const auto kStops =
//         RunTests("StopServiceByName", &Stop)
//             .Run("UnknownServiceIsLogged", MachineOf("{}"), "false", {kOpenManager, kNotOpened})
//             .Run("DeniedAccessIsNot", kMachine, {.faults = {"OpenServiceW=5"}}, "false", kOpenManager);
//
// A row has the test's name, what the run is made on or with, the run's options if any, the result and the script. A
// function at the end of a row checks what else the run did. Tables are built before main(): they may use what their
// file defines before them.
#pragma once

#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

#include <source_location>
#include <type_traits>

template <typename Given>
class RunTests
{
public:
    using MakeRun = SimulatedRun (*)(Given, const SimulatedRunOptions& options);
    using Check = void (*)(const SimulatedRun& run);
    using Where = std::source_location;

    // `makeRun` makes the run of each row.
    RunTests(const char* suite, MakeRun makeRun) : m_suite(suite), m_makeRun(makeRun) {}

    // Rows that compare the whole run, as ExpectRun does.
    RunTests& Run(const char* name, Given given, const char* result, const Script& script, Check check = nullptr,
                  const Where& where = Where::current())
    {
        return Run(name, given, {}, result, script, check, where);
    }
    RunTests& Run(const char* name, Given given, const SimulatedRunOptions& options, const char* result,
                  const Script& script, Check check = nullptr, const Where& where = Where::current())
    {
        return Register(name, {m_makeRun, given, options, result, script, &ExpectRun, check, where});
    }

    // Rows that compare the result and the log, as ExpectLog does.
    RunTests& Log(const char* name, Given given, const char* result, const Script& script, Check check = nullptr,
                  const Where& where = Where::current())
    {
        return Log(name, given, {}, result, script, check, where);
    }
    RunTests& Log(const char* name, Given given, const SimulatedRunOptions& options, const char* result,
                  const Script& script, Check check = nullptr, const Where& where = Where::current())
    {
        return Register(name, {m_makeRun, given, options, result, script, &ExpectLog, check, where});
    }

    // Rows that compare the result alone.
    RunTests& Result(const char* name, Given given, const char* result, Check check = nullptr,
                     const Where& where = Where::current())
    {
        return Result(name, given, {}, result, check, where);
    }
    RunTests& Result(const char* name, Given given, const SimulatedRunOptions& options, const char* result,
                     Check check = nullptr, const Where& where = Where::current())
    {
        return Register(name, {m_makeRun, given, options, result, {}, &ExpectResult, check, where});
    }

private:
    static void ExpectResult(const SimulatedRun& run, const std::string& result, const Script&)
    {
        EXPECT_EQ(run.result, result);
    }

    struct Row
    {
        MakeRun makeRun;
        std::decay_t<Given> given;
        SimulatedRunOptions options;
        std::string result;
        Script script;
        void (*expect)(const SimulatedRun& run, const std::string& result, const Script& script);
        Check check; // null for none
        Where where;

        int Line() const { return static_cast<int>(where.line()); }
    };

    class RowTest : public testing::Test
    {
    public:
        explicit RowTest(const Row& row) : m_row(row) {}

        void TestBody() override
        {
            const testing::ScopedTrace trace(m_row.where.file_name(), m_row.Line(), "the row of the table");
            const SimulatedRun run = m_row.makeRun(m_row.given, m_row.options);
            m_row.expect(run, m_row.result, m_row.script);
            if (m_row.check != nullptr)
                m_row.check(run);
        }

    private:
        Row m_row;
    };

    RunTests& Register(const char* name, const Row& row)
    {
        // All tests of a suite are of one class, whether they are rows or not.
        testing::RegisterTest(m_suite, name, nullptr, nullptr, row.where.file_name(), row.Line(),
                              [row]() -> testing::Test* { return new RowTest(row); });
        return *this;
    }

    const char* m_suite;
    MakeRun m_makeRun;
};
