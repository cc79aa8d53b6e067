// Proves that the story of a log names what happened: for logs of rehearsals with a failure, of several programs at
// once, damaged ones, and of every size.
#include "explain/decode.h"
#include "report/lanes.h"
#include "report/page.h"
#include "report/story.h"
#include "report/story_view.h"
#include "tests/explain/rehearsed_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>

namespace
{

using catalogue::Text;
using report::Problem;
using report::Story;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// "FAILED options: the line", for each problem.
std::vector<std::string> ProblemsOf(const Story& story)
{
    std::vector<std::string> problems;
    for (const Problem& problem : story.problems)
        problems.push_back(NameOf(problem.level) + " " + problem.step + ": " + problem.what);
    return problems;
}

std::vector<std::string> StepsOf(const Story& story)
{
    std::vector<std::string> steps;
    for (const report::StoryStep& step : story.steps)
        steps.push_back(NameOf(step.level) + " " + step.Name() + (step.subject.empty() ? "" : " " + step.subject));
    return steps;
}

std::string FirstOf(const Story& story)
{
    return story.FirstProblem() == nullptr ? "" : story.FirstProblem()->what;
}

std::vector<std::string> LinesOf(const std::string& log)
{
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < log.size();)
    {
        const std::size_t end = log.find('\n', start);
        lines.push_back(log.substr(start, end - start + 1));
        start = end + 1;
    }
    return lines;
}

std::string Replaced(std::string text, const std::string& what, const std::string& with)
{
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
    return text;
}

// ---- Single failures

TEST(Story, OfARunThatWorkedHasNoProblems)
{
    const Story story = StoryOf(Rehearse("windows-7-toolkit.json", {"/Setup", "/TSS_VENDOR=KELO"}).log);
    EXPECT_EQ("SUCCEEDED", story.headline);
    EXPECT_EQ("KELO", story.stack);
    EXPECT_EQ("/Setup", story.actionSwitch);
    EXPECT_THAT(story.options, ElementsAre("/TSS_VENDOR=KELO"));
    EXPECT_EQ(0, story.exitCode);
    EXPECT_EQ(2400, story.DurationMs());
    EXPECT_THAT(ProblemsOf(story), IsEmpty());
    EXPECT_THAT(StepsOf(story),
                ElementsAre("done options", "done key storage providers", "done auto-enrollment tasks",
                            "done automatic provisioning", "done stack set-up", "done (noise) command unblocking",
                            "done policy access", "done (noise) platform detection KELO",
                            "done (noise) processes left behind", "done (noise) restart of the stack",
                            "done (noise) probe library KELO", "done library copy", "done (noise) toolkit service",
                            "done stack set-up's end", "done end"));
}

TEST(Story, NamesAServiceThatDidNotStartThoughTheRunEndedWithZero)
{
    const Rehearsed rehearsed = Rehearse("windows-7-toolkit.json", {"/Setup"}, {"StartServiceW#1=1068"});
    const Story story = StoryOf(rehearsed.log);
    EXPECT_EQ(0, rehearsed.exitCode);
    EXPECT_EQ("ENDED WITH 0, BUT NOT ALL IS DONE: 1 failure", story.headline);
    EXPECT_EQ(R"(  ENDED WITH 0, BUT NOT ALL IS DONE: 1 failure

  First failure  line 91, step "toolkit service"
                 InstallTkService failed to start the KlPCR Service 1068
  Meaning        KlPCR is registered and was not started. The set-up still ends
                 with 0.
                 error 1068 ERROR_SERVICE_DEPENDENCY_FAIL: a service that it
                 depends on did not start
  Usual causes   The stack's service, on which KlPCR depends, is missing or does
                 not start (1068, 1075), or KlPCR did not report in time (1053).
  What to do     Start the stack's service, then KlPCR ("sc start KlPCR"), and
                 read the System event log.
)",
              ShowVerdict(report::Style{}, story, 4));
}

TEST(Story, NamesTheLibraryThatKeptTheSetupFromSucceeding)
{
    const Story story =
        StoryOf(Rehearse("windows-7-toolkit.json", {"/Setup"}, {"LoadLibraryA#6=126", "LoadLibraryA#7=193"}).log);
    EXPECT_EQ("FAILED: no stack is usable and none was asked for: the set-up fails", story.headline);
    EXPECT_EQ(-1, story.exitCode);
    EXPECT_EQ("", story.stack);
    EXPECT_EQ("Failed to Load Library: C:\\Program Files\\Kelo Systems Corp\\Toolkit\\KELO\\stkprobe.dll Err: 126",
              FirstOf(story));
    EXPECT_THAT(story.FirstProblem()->numbers,
                ElementsAre("error 126 ERROR_MOD_NOT_FOUND: the library, or one that it needs, was not found"));
}

TEST(Story, NamesTheDeviceInstallerThatCannotBeStarted)
{
    const Story story =
        StoryOf(Rehearse("windows-7-toolkit.json", {"/Setup", "/TPM_VSC=1"}, {"CreateProcessW#1=740"}).log);
    EXPECT_EQ("Kelo Toolkit Installation -> Failed to launch DriverStager rc: 740", FirstOf(story));
    EXPECT_THAT(story.FirstProblem()->numbers,
                ElementsAre("error 740 ERROR_ELEVATION_REQUIRED: administrator rights are needed"));
}

TEST(Story, NamesTheProviderThatWasNotRegistered)
{
    const Story story =
        StoryOf(Rehearse("windows-7-toolkit.json", {"/Setup"}, {"BCryptRegisterProvider#1=0xC0000022"}).log);
    EXPECT_EQ("BCryptRegisterProvider failed with error code 0xc0000022", FirstOf(story));
    EXPECT_THAT(story.FirstProblem()->numbers, ElementsAre("status 0xC0000022 STATUS_ACCESS_DENIED: access denied"));
}

TEST(Story, TakesAProviderThatIsThereAlreadyForNoise)
{
    const Story story =
        StoryOf(Rehearse("windows-7-toolkit.json", {"/Setup"}, {"BCryptRegisterProvider#1=0xC0000035"}).log);
    EXPECT_THAT(ProblemsOf(story), IsEmpty());
    EXPECT_EQ("done (noise) key storage providers", StepsOf(story)[1]);
}

TEST(Story, NamesTheServiceThatARemovalCouldNotDelete)
{
    const Story story = StoryOf(Rehearse("windows-7-installed.json", {"/Uninstall"}, {"DeleteService=1072"}).log);
    EXPECT_EQ("ENDED WITH 0, BUT NOT ALL IS DONE: 1 failure", story.headline);
    EXPECT_EQ("UnInstallTkService - failed to delete the service 1072", FirstOf(story));
}

TEST(Story, NamesTheServiceThatIsWaitedForWithoutAnEnd)
{
    const Rehearsed rehearsed = Rehearse("windows-7-toolkit.json", {"/Setup"}, {"ControlService#1=nothing"});
    const std::vector<std::string> lines = LinesOf(rehearsed.log);
    std::string hang;
    for (const std::string& line : lines)
    {
        hang += line;
        if (line.find("  current status: 4") != std::string::npos && hang.size() > 100'000)
            break;
    }
    const Story story = StoryOf(hang);
    EXPECT_EQ("DID NOT END: it was waiting for the service to change its state", story.headline);
    EXPECT_GT(story.lines.back().count, 1000u);
    EXPECT_THAT(story.FirstProblem()->numbers, ElementsAre("state 4 SERVICE_RUNNING: running"));
}

TEST(Story, PutsAnOperationThatWasBrokenOffIntoItsStep)
{
    const Story story = StoryOf(Rehearse("windows-7-busy.json", {"/Setup"}).log);
    EXPECT_EQ("FAILED auto-enrollment tasks: InstallAutoEnrollmentTasks - Unknown exception caught return -1",
              ProblemsOf(story).at(0));
}

TEST(Story, TellsThatAnotherStackWasUsable)
{
    const Story story = StoryOf(Rehearse("windows-xp-ntru.json", {"/Setup"}).log);
    EXPECT_EQ("SUCCEEDED", story.headline);
    EXPECT_EQ("NTRU12", story.stack);
}

TEST(Story, OfAnExportTellsWhetherTheAuthorizationWasChanged)
{
    const std::string due = "2013/05/07 14:03:10.542 TZ-4 [7] SRK Auth and TPM Owner Auth must be upgraded\n";
    EXPECT_EQ("SUCCEEDED: the SRK authorization was changed",
              StoryOf(due + "2013/05/07 14:03:30.542 TZ-4 [7] SRK and TPM Owner Auth is now OK\n").headline);
    EXPECT_EQ("ENDED IN BETWEEN: the change of the SRK authorization has no result", StoryOf(due).headline);
    EXPECT_EQ("User Cancelled", FirstOf(StoryOf(Rehearse("srk-upgrade.json", {}).log)));
    const Story story = StoryOf(Rehearse("srk-upgrade.json", {}, {"CreateProcessW#1=2"}).log);
    EXPECT_EQ("NOT DONE: the SRK authorization was not checked or changed (the call returns 0 all the same)",
              story.headline);
    EXPECT_EQ("Unable to launch process!", FirstOf(story));
}

TEST(Story, OfACommitSaysThatTheResultIsNotInTheLog)
{
    const Story story = StoryOf(Rehearse("windows-7-toolkit.json", {"/Commit"}).log);
    EXPECT_EQ("REACHED ITS END; whether it succeeded is not in the log", story.headline);
    EXPECT_THAT(StepsOf(story), ElementsAre("done options", "not told provider defaults", "done end"));
}

TEST(Story, OfACommandLineWithoutAnActionIsAFailure)
{
    EXPECT_EQ("FAILED: the action is not one of /Setup, /Commit, /Rollback and /Uninstall; names are case-sensitive",
              StoryOf(Rehearse("windows-7-toolkit.json", {"/setup"}).log).headline);
}

// ---- The whole view

TEST(StoryView, ShowsFactsAndSteps)
{
    const Story story = StoryOf(Rehearse("windows-7-installed.json", {"/Uninstall"}, {"DeleteService=1072"}).log);
    EXPECT_EQ(R"(  Began          2013-05-07 14:03:09.042 UTC, took 0.020 s, thread 3120
  Result         exit code 0, inferred from line 16: <-- UninstallTCGDLL()
  Not in the log auto-enrollment tasks: A removal that works has no line, and
                 the task library's own result is not looked at.
  Expected noise 4 lines sound like failures and are none
)",
              ShowFacts(report::Style{}, story));
    EXPECT_EQ(R"(Steps
  done         options                        0.000 s       5 lines
  done (noise) stack removal                  0.000 s      11 lines
  done         key storage providers          0.000 s       4 lines
  FAILED       toolkit service                0.020 s       5 lines
               UnInstallTkService - failed to delete the service 1072
  done         automatic provisioning         0.000 s       1 line
  not told     auto-enrollment tasks
               nothing is logged
  done         virtual smart card             0.000 s       3 lines
  done         end                            0.000 s       1 line
)",
              ShowSteps(report::Style{}, story));
}

TEST(StoryView, FoldsPollsWithCountAndTime)
{
    std::string log;
    for (int i = 0; i < 4; ++i)
        log += "2013/05/07 14:03:0" + std::to_string(i) + ".250 TZ-4 [7] TBS  current status: 3, 0\n";
    EXPECT_EQ(R"(Log
  -- (lines before any step)
      +0.000  TBS  current status: 3, 0
              4 times in 3.000 s
)",
              ShowLines(report::Style{}, StoryOf(log), false));
}

TEST(StoryView, ShowsTheMeaningOfEveryText)
{
    report::Style wide;
    wide.width = 10'000;
    for (const Text& text : catalogue::Texts())
    {
        const std::string line = *text.holds == '\0'
                                     ? catalogue::Fill(text, std::vector<std::string>(text.values.size(), "5"))
                                     : std::string("\"C:") + text.holds + "remove";
        const Story story = StoryOf("2013/05/07 14:03:09.042 TZ-4 [3120] " + line + "\n");
        EXPECT_THAT(ShowLines(wide, story, true), HasSubstr(std::string("= ") + text.meaning)) << line;
        const bool isProblem = text.kind == catalogue::Kind::Failure || text.kind == catalogue::Kind::Warning;
        EXPECT_THAT(isProblem ? ShowVerdict(wide, story, 9) : text.meaning, HasSubstr(text.meaning)) << line;
    }
}

TEST(StoryView, HasNoLineThatIsWiderThanTheTerminal)
{
    const Story story = StoryOf(Rehearse("windows-8-denied.json", {"/Setup", "/TPM_VSC=1"}).log);
    for (const std::string& line : LinesOf(ShowVerdict(report::Style{}, story, 99) + ShowFacts(report::Style{}, story) +
                                           ShowSteps(report::Style{}, story)))
        EXPECT_LE(report::LengthOf(line), 81u) << line;
}

// ---- The timeline and the page

std::vector<std::string> SpansOf(const Story& story)
{
    std::vector<std::string> spans;
    for (const report::Lane& lane : LanesOf(story))
    {
        for (const report::Span& span : lane.spans)
        {
            if (lane.name != "log lines")
                spans.push_back(lane.name + ": " + span.name + " " + std::to_string(span.fromMs) + "-" +
                                std::to_string(span.toMs));
        }
    }
    return spans;
}

TEST(Lanes, ShowStepsServicesProgramsAndWaits)
{
    EXPECT_THAT(SpansOf(StoryOf("2013/05/07 14:03:01.000 TZ-4 [7] Vista OS\n"
                                "2013/05/07 14:03:01.000 TZ-4 [7]  TBS current status: 4, 1\n"
                                "2013/05/07 14:03:02.000 TZ-4 [7] TBS  current status: 3, 0\n"
                                "2013/05/07 14:03:03.000 TZ-4 [7] TBS service stopped\n"
                                "2013/05/07 14:03:03.000 TZ-4 [7] KlTKService - now properly install/register the "
                                "service\n"
                                "2013/05/07 14:03:03.500 TZ-4 [7] KlTKService - service installed/registered\n")),
                ElementsAre("steps: command unblocking 0-2000", "steps: toolkit service 2000-2500",
                            "TBS: running 0-1000", "TBS: stopping 1000-2000", "TBS: stopped 2000-2500",
                            "other programs: KlPCR.exe 2000-2500", "waits: wait 0-1000", "waits: wait 1000-2000",
                            "waits: wait 2000-2500"));
}

TEST(Page, NeedsNothingFromOutside)
{
    const Story story = StoryOf(Rehearse("windows-7-toolkit.json", {"/Setup"}).log);
    const std::string page = report::Page("a log", {{.story = &story, .command = "/Setup"}}, 0);
    EXPECT_THAT(page, Not(HasSubstr("http:")));
    EXPECT_THAT(page, Not(HasSubstr("https:")));
    EXPECT_THAT(page, Not(HasSubstr(" src=")));
    EXPECT_THAT(page, Not(HasSubstr("@DATA@")));
}

TEST(Page, ThatCannotBeWrittenIsNamed)
{
    EXPECT_THROW(report::WriteText("/nowhere/page.html", ""), std::runtime_error);
}

// ---- Several programs

TEST(Story, TellsTwoProgramsApartByTheirThreads)
{
    const std::string setup = Rehearse("windows-7-toolkit.json", {"/Setup"}, {"StartServiceW#1=1053"}).log;
    const std::string removal =
        Replaced(Rehearse("windows-7-installed.json", {"/Uninstall"}, {"DeleteService=5"}).log, "[3120]", "[4711]");
    const std::vector<std::string> first = LinesOf(setup);
    const std::vector<std::string> second = LinesOf(removal);
    std::string mixed;
    for (std::size_t i = 0; i < std::max(first.size(), second.size()); ++i)
        mixed += (i < first.size() ? first[i] : "") + (i < second.size() ? second[i] : "");
    const std::vector<Story> stories = report::TellAll(report::ReadLogLines(mixed));
    ASSERT_EQ(2u, stories.size());
    EXPECT_THAT(ProblemsOf(stories[0]),
                ElementsAre("FAILED toolkit service: InstallTkService failed to start the KlPCR Service 1053"));
    EXPECT_THAT(ProblemsOf(stories[1]),
                ElementsAre("FAILED toolkit service: UnInstallTkService - failed to delete the service 5"));
}

TEST(Story, TellsRunsOfTheSameThreadApart)
{
    const std::string commit = Rehearse("windows-7-toolkit.json", {"/Commit"}).log;
    EXPECT_EQ(3u, report::TellAll(report::ReadLogLines(commit + commit + commit)).size());
}

// ---- Damaged logs

TEST(Story, OfADamagedLogStillNamesTheFailure)
{
    std::string log = Rehearse("windows-7-toolkit.json", {"/Setup"}, {"StartServiceW#1=1068"}).log;
    log.erase(0, 200);                                                  // cut in the middle of a line
    log.replace(log.find("Vista OS"), 8, std::string(8, '\0'));         // never written
    log.replace(log.find("Found service"), 13, "\x01\x1B[31m\xFF\xFE"); // overwritten
    log.resize(log.size() - 30);                                        // and cut at its end
    const Story story = StoryOf(Decode(log, 1252));
    EXPECT_FALSE(story.hasBegin);
    EXPECT_FALSE(story.hasEnd);
    EXPECT_THAT(ProblemsOf(story),
                testing::Contains("FAILED toolkit service: InstallTkService failed to start the KlPCR Service 1068"));
    EXPECT_THAT(ShowLines(report::Style{}, story, true), Not(HasSubstr("\x1B")));
}

// A log that was quoted or indented in a mail.
TEST(Story, OfAQuotedLogIsTheSame)
{
    const std::string log = Rehearse("windows-7-toolkit.json", {"/Setup"}, {"StartServiceW#1=1068"}).log;
    for (const char* const mark : {"> ", ">> ", "    ", "\t"})
    {
        std::string quoted;
        for (const std::string& line : LinesOf(log))
            quoted += mark + line;
        const Story story = StoryOf(quoted);
        EXPECT_EQ(ShowVerdict(report::Style{}, StoryOf(log), 9), ShowVerdict(report::Style{}, story, 9));
        EXPECT_EQ(ShowLines(report::Style{}, StoryOf(log), true), ShowLines(report::Style{}, story, true));
    }
}

// A mail program wraps a line at its last blank before a width, and may quote each part.
std::string Wrapped(const std::string& log, std::size_t width, const std::string& mark)
{
    std::string wrapped;
    for (std::string line : LinesOf(log))
    {
        for (std::size_t blank = 0; line.size() > width; line.erase(0, blank + 1))
        {
            blank = line.rfind(' ', width);
            if (blank == std::string::npos)
                break;
            wrapped += mark + line.substr(0, blank) + "\n";
        }
        wrapped += mark + line;
    }
    return wrapped;
}

TEST(Story, OfAWrappedLogNamesTheFailure)
{
    const std::string log = Rehearse("windows-7-toolkit.json", {"/Setup"}, {"StartServiceW#1=1068"}).log;
    for (const char* const mark : {"", "> "})
    {
        for (const std::size_t width : {60u, 72u, 76u})
        {
            const Story story = StoryOf(Wrapped(log, width, mark));
            EXPECT_EQ(StoryOf(log).headline, story.headline);
            EXPECT_EQ(ProblemsOf(StoryOf(log)), ProblemsOf(story));
        }
    }
}

TEST(Story, OfALogWithAHoleTellsWhichStepLostItsBeginning)
{
    std::string log = Rehearse("windows-7-toolkit.json", {"/Setup"}).log;
    const std::size_t begin = log.find("\n", log.find("Try to kill Kelo services")) + 1;
    log.erase(begin, log.find("\n", log.find("Load C:")) + 1 - begin);
    EXPECT_THAT(ProblemsOf(StoryOf(log)), ElementsAre("MISSING probe library: no line \"Load \""));
}

// The text of the mail around a log does not count as a run.
TEST(Story, OfALogInAMailIsOneRun)
{
    const std::string log = Rehearse("windows-7-installed.json", {"/Uninstall"}).log;
    const Story story = StoryOf("Hello,\nhere is the log:\n\n" + log + "--\nBob\n");
    EXPECT_EQ("SUCCEEDED", story.headline);
    EXPECT_THAT(ShowFacts(report::Style{}, story),
                HasSubstr("4 lines are not the program's, or damaged; the first is line 1\n"));
}

TEST(Story, SaysHowManyLinesAreDamaged)
{
    std::string log = Rehearse("windows-7-installed.json", {"/Uninstall"}).log;
    log.replace(log.find("UninstallTCGDLL() -->"), 9, "\x01\x1B[31m\xFF\xFE");
    const std::string facts = ShowFacts(report::Style{}, StoryOf(Decode(log, 1252)));
    EXPECT_THAT(facts, HasSubstr("  Damaged        1 line is not the program's, or damaged; the first is line 6\n"));
}

// If the last lines of a run cannot be read, the log does not show whether the run ended.
TEST(Story, DoesNotSayThatALogStopsWhoseLastLinesAreDamaged)
{
    std::string log = Rehearse("windows-7-installed.json", {"/Uninstall"}).log;
    log.replace(log.find("<-End ="), 7, "\x01\x1B[31m\xFF\xFE");
    const Story story = StoryOf(Decode(log, 1252));
    EXPECT_EQ("END NOT READABLE: the log is damaged after line 29, in the step \"virtual smart card\"", story.headline);
    EXPECT_EQ("What follows in the log of this run is not the program's, or damaged: 1 line.",
              story.FirstProblem()->meaning);
    EXPECT_THAT(ShowFacts(report::Style{}, story),
                HasSubstr("  Result         exit code not known; the last line that can be read is 29\n"));
}

TEST(Story, SurvivesALogThatIsCutAnywhere)
{
    const std::string log = Rehearse("windows-7-toolkit.json", {"/Commit"}).log;
    for (std::size_t i = 0; i <= log.size(); ++i)
    {
        for (const std::string& part : {log.substr(0, i), log.substr(i)})
        {
            for (const Story& story : report::TellAll(report::ReadLogLines(Decode(part, 1252))))
                EXPECT_NE("", ShowVerdict(report::Style{}, story, 9) + ShowSteps(report::Style{}, story) +
                                  ShowLines(report::Style{}, story, true));
        }
    }
}

TEST(Story, SurvivesBytesOfAnyKind)
{
    std::mt19937 random{20130507};
    const std::string log = Rehearse("windows-7-toolkit.json", {"/Setup", "/TPM_VSC=1"}).log;
    for (int round = 0; round < 200; ++round)
    {
        std::string damaged = log;
        for (int i = 0; i < 400; ++i)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        for (const Story& story : report::TellAll(report::ReadLogLines(Decode(damaged, 1252))))
            EXPECT_NE("", ShowVerdict(report::Style{}, story, 9) + ShowFacts(report::Style{}, story) +
                              ShowSteps(report::Style{}, story));
    }
}

TEST(Story, OfADayOfPollsIsToldInSeconds)
{
    std::string log = "2013/05/07 14:03:09.042 TZ-4 [7] Stopping service\n";
    for (int i = 0; i < 345'600; ++i)
        log += "2013/05/07 14:03:09.042 TZ-4 [7] TBS  current status: 3, 0\n";
    const auto begin = std::chrono::steady_clock::now();
    const Story story = StoryOf(Decode(log, 1252));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    EXPECT_EQ(345'600u, story.lines.back().count);
}

TEST(Story, FoldsAWaitWhoseStateChangesAgainAndAgain)
{
    std::string log = "2013/05/07 14:03:09.042 TZ-4 [7] Stopping service\n";
    for (int i = 0; i < 50'000; ++i)
        log += "2013/05/07 14:03:09.042 TZ-4 [7] TBS  current status: " + std::to_string(3 + i % 2) + ", 0\n";
    const Story story = StoryOf(log);
    EXPECT_LT(story.lines.size(), 1100u);
    std::size_t lines = 0;
    for (const report::StoryLine& line : story.lines)
        lines += line.count;
    EXPECT_EQ(50'001u, lines);
}

// ---- Encodings and passwords

TEST(Decode, KnowsTheEncodingsThatEditorsSaveIn)
{
    const std::string text = "Target: C:\\Gr\xC3\xBC\xC3\x9F\x65\n";
    std::string wide = "\xFF\xFE";
    std::string swapped;
    for (const char16_t unit : std::u16string(u"Target: C:\\Gr\u00FC\u00DFe\n"))
    {
        wide += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
        swapped += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    }
    EXPECT_EQ(text, Decode(text, 1252));
    EXPECT_EQ(text, Decode("\xEF\xBB\xBF" + text, 1252));
    EXPECT_EQ(text, Decode(wide, 1252));
    EXPECT_EQ(text, Decode(wide.substr(2), 1252));
    EXPECT_EQ(text, Decode("\xFE\xFF" + swapped, 1252));
    EXPECT_EQ(text, Decode(swapped, 1252));
    EXPECT_EQ(text, Decode("Target: C:\\Gr\xFC\xDF\x65\n", 1252));
    EXPECT_EQ("\xE6\x97\xA5\n", Decode("\x93\xFA\n", 932));
    EXPECT_THROW(Decode("", 99999), std::invalid_argument);
}

TEST(Story, ShowsPasswordsAsStars)
{
    const Story story = StoryOf("2013/05/07 14:03:09.042 TZ-4 [7] command line argv[2]: /PASSWORD=secret /SILENT\n");
    EXPECT_THAT(ShowLines(report::Style{}, story, true), HasSubstr("/PASSWORD=*** /SILENT"));
    EXPECT_THAT(story.options, ElementsAre("/PASSWORD=*** /SILENT"));
}

// ---- What is inferred

// The inferred exit code is the real one, on every machine with every action.
TEST(Story, InfersTheExitCode)
{
    for (const char* const machine :
         {"windows-10-toolkit.json", "windows-7-busy.json", "windows-7-installed.json", "windows-7-ntru.json",
          "windows-7-toolkit.json", "windows-8-denied.json", "windows-xp-ntru.json", "srk-upgrade.json"})
    {
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"/Setup"},
                                                   {"/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1"},
                                                   {"/Setup", "/TSS_VENDOR=NONE"},
                                                   {"/Rollback"},
                                                   {"/Uninstall"}})
        {
            const Rehearsed rehearsed = Rehearse(machine, arguments);
            EXPECT_EQ(rehearsed.exitCode, StoryOf(rehearsed.log).exitCode) << machine << arguments.back();
        }
    }
}

} // namespace
