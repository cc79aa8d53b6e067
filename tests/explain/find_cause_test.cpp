// Proves that rehearsing failures finds the failure that caused a log.
#include "explain/find_cause.h"
#include "tests/explain/rehearsed_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::vector<std::string> kRemoval{"/Uninstall"};

CauseFinder Finder()
{
    return {winsim::Machine::FromFile(KELO_ROOT "/machines/windows-7-installed.json"), kRemoval};
}

std::string RemovalLog(const std::vector<std::string>& faults)
{
    return Rehearse("windows-7-installed.json", kRemoval, faults).log;
}

std::vector<std::string> FailuresIn(const CauseSearch& search)
{
    std::vector<std::string> failures;
    for (const Cause& cause : search.causes)
        failures.insert(failures.end(), cause.failures.begin(), cause.failures.end());
    return failures;
}

TEST(FindCause, NamesTheOneFailureThatGivesTheLog)
{
    const CauseSearch search = Finder().Find(StoryOf(RemovalLog({"DeleteService#1=1072"})));
    EXPECT_THAT(FailuresIn(search), ElementsAre("DeleteService#1=1072"));
    EXPECT_FALSE(search.isWithoutFailure);
}

TEST(FindCause, TakesTimesAndNumbersOfProcessesForNothing)
{
    std::string log = RemovalLog({"OpenServiceW#1=5"});
    for (std::size_t at = log.find("2013/05/07 14"); at != std::string::npos; at = log.find("2013/05/07 14", at))
        log.replace(at, 13, "2024/02/29 23");
    EXPECT_THAT(FailuresIn(Finder().Find(StoryOf(log))), ElementsAre("OpenServiceW#1=5"));
}

TEST(FindCause, OfALogThatIsCutOffFindsWhatBeginsSo)
{
    std::string log = RemovalLog({"DeleteService#1=1072"});
    log.resize(log.find("UnInstallTkService - completed"));
    log.resize(log.rfind('\n') + 1);
    EXPECT_THAT(FailuresIn(Finder().Find(StoryOf(log))), Contains("DeleteService#1=1072"));
}

TEST(FindCause, SaysThatALogIsThatOfARunWithoutFailure)
{
    const CauseSearch search = Finder().Find(StoryOf(RemovalLog({})));
    EXPECT_TRUE(search.isWithoutFailure);
    EXPECT_THAT(ShowCauses({}, search, "M.json", kRemoval), HasSubstr("no call fails"));
}

TEST(FindCause, FindsNothingForALogOfAnotherMachine)
{
    const CauseSearch search = Finder().Find(StoryOf(Rehearse("windows-xp-ntru.json", kRemoval).log));
    EXPECT_THAT(search.causes, IsEmpty());
    EXPECT_THAT(ShowCauses({}, search, "M.json", kRemoval),
                HasSubstr("No failure of one call, or of every call of one name"));
}

TEST(FindCause, FindsAFailureOfEveryCallWhereOneCallDoesNotExplainTheLog)
{
    const std::string log = RemovalLog({"DeleteFileA=32"});
    ASSERT_NE(log, RemovalLog({"DeleteFileA#1=32"}));
    const CauseSearch search = Finder().Find(StoryOf(log));
    EXPECT_THAT(FailuresIn(search), ElementsAre("DeleteFileA=32"));
    EXPECT_EQ(search.causes.at(0).occurrence, 0u);
    EXPECT_THAT(ShowCauses(report::Style{80, false}, search, "M.json", kRemoval),
                AllOf(HasSubstr("every DeleteFileA fails with 32 ERROR_SHARING_VIOLATION"),
                      HasSubstr("./run --machine M.json --fault 'DeleteFileA=32' /Uninstall")));
}

TEST(FindCause, ShowsTheErrorByNameAndTheCommandThatRehearsesIt)
{
    const CauseSearch search{.tried = 3,
                             .isWithoutFailure = false,
                             .causes = {{"OpenServiceW", 2, {"OpenServiceW#2=5", "OpenServiceW#2=123"}}}};
    EXPECT_EQ(R"(Causes (3 failures rehearsed on M.json)
    1  OpenServiceW (call 2 of that name) fails with 5 ERROR_ACCESS_DENIED or
       123 ERROR_INVALID_NAME
       ./run --machine M.json --fault 'OpenServiceW#2=5' /Uninstall
)",
              ShowCauses({}, search, "M.json", kRemoval));
}

// The median of the possible causes, over all failures that leave a trace, is at most three calls.
TEST(FindCause, HasFewCausesForMostFailures)
{
    const CauseFigures figures = Finder().Measure();
    EXPECT_GT(figures.traced, 200u);
    EXPECT_LE(figures.medianCauses, 3u);
}

} // namespace
