// Proves the report to the Windows event log.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kMessage[] = "The TPM is in an incorrect state. The TPM must be reset to support use by Kelo Software";

const std::string kRegister = Call("RegisterEventSourceW", {nullptr, "Kelo Platform Security"}, "eventSource#1");
const std::string kReport =
    Call("ReportEventW", {"eventSource#1", 1, 2, 1018, nullptr, winsim::Json::array({kMessage}), 0, nullptr}, 1);
const std::string kDeregister = Call("DeregisterEventSource", {"eventSource#1"}, 1);

SimulatedRun Report(const SimulatedRunOptions& options = {})
{
    return CallFunction("ReportPlatformEvent", {kMessage, "1018", "1"}, options);
}

TEST(ReportPlatformEvent, AddsOneEntryAndReturnsZero)
{
    const SimulatedRun run = Report();
    ExpectRun(run, "0", {kRegister, kReport, kDeregister});
    const winsim::Event entry{"Kelo Platform Security", 1, 2, 1018, {kMessage}};
    EXPECT_THAT(run.After().events.entries, ElementsAre(entry));
}

TEST(ReportPlatformEvent, TypeIdentifierAndTextAreTheCallers)
{
    const SimulatedRun run = CallFunction("ReportPlatformEvent", {"100% \u4E2D %s", "0xC0001234", "4"});
    const winsim::Event entry{"Kelo Platform Security", 4, 2, 0xC0001234, {"100% \u4E2D %s"}};
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(run.After().events.entries, ElementsAre(entry));
}

TEST(ReportPlatformEvent, AddsAfterWhatIsThere)
{
    const SimulatedRun run = CallFunction(MachineOf(R"({"events": [
        {"source": "Other", "type": 4, "category": 0, "id": 7, "strings": []}]})"),
                                          "ReportPlatformEvent", {"text", "1018", "1"});
    const winsim::Event old{"Other", 4, 0, 7, {}};
    const winsim::Event entry{"Kelo Platform Security", 1, 2, 1018, {"text"}};
    EXPECT_THAT(run.After().events.entries, ElementsAre(old, entry));
}

TEST(ReportPlatformEvent, WithoutASourceItsErrorIsTheResult)
{
    for (const char* error : {"5", "1722", "1717"})
    {
        const SimulatedRun run = Report({.faults = {std::string("RegisterEventSourceW=") + error}});
        ExpectRun(run, error, Failing(kRegister));
        EXPECT_THAT(run.After().events.entries, IsEmpty());
    }
}

TEST(ReportPlatformEvent, AReportThatFailsIsTheResultAndTheSourceIsGivenBack)
{
    for (const char* error : {"87", "1500", "1502"})
    {
        const SimulatedRun run = Report({.faults = {std::string("ReportEventW=") + error}});
        ExpectRun(run, error, {kRegister, Failing(kReport, 0), kDeregister});
        EXPECT_THAT(run.After().events.entries, IsEmpty());
    }
}

TEST(ReportPlatformEvent, ASourceThatIsNotTakenBackDoesNotChangeTheResult)
{
    const SimulatedRun reported = Report({.faults = {"DeregisterEventSource=6"}});
    EXPECT_EQ(reported.result, "0");
    EXPECT_EQ(reported.After().events.entries.size(), 1u);
    EXPECT_EQ(Report({.faults = {"ReportEventW=1502", "DeregisterEventSource=6"}}).result, "1502");
}

} // namespace
