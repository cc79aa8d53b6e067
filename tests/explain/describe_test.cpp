// Proves that a machine drafted from a log behaves like the machine that wrote the log.
#include "explain/describe.h"
#include "explain/find_cause.h"
#include "tests/explain/rehearsed_log.h"

#include <gtest/gtest.h>

namespace
{

using report::Story;
using winsim::Json;

const std::vector<std::string> kSetup{"/Setup", "/TSS_VENDOR=KELO"};

Json DraftOf(const std::string& machineFile)
{
    return DraftDescription(StoryOf(Rehearse(machineFile, kSetup).log), "drafted");
}

TEST(Describe, DraftsWhatTheLogShows)
{
    EXPECT_EQ(Json::parse(R"({
        "title": "drafted",
        "windows": {"version": "5.2"},
        "process": {"path": "C:\\Kelo\\KeloCustomAction.exe"},
        "registry": {
            "HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {"Installation Path": "C:\\Kelo\\"}},
            "HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common": {"values": {"Installation Path": "C:\\Kelo\\"}}
        },
        "services": {"tcsd_x86": {"state": 4}, "tcsd_win32.exe": {}},
        "libraries": {
            "C:\\Kelo\\KELO\\stkprobe.dll": {"exports": {
                "DetectTSS": 3, "isEnabled": 1, "isActivated": 1, "isOwned": 0, "ValidSRKAuth": 0}},
            "C:\\Kelo\\NTRU12\\stkprobe.dll": {"loadError": 193}
        }
    })"),
              DraftDescription(
                  StoryOf("2013/05/07 14:03:09.042 TZ-4 [7] command line argv[0]: C:\\Kelo\\KeloCustomAction.exe\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] command line argv[1]: /Setup\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] Not Vista+ OS\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7]  tcsd_x86 current status: 4, 1\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7]  tcsd_x86 current status: 1, 0\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] Load C:\\Kelo\\KELO\\stkprobe.dll\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] Failed to Detect TSS rc='3'\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] Load C:\\Kelo\\NTRU12\\stkprobe.dll\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] Failed to Load Library: C:\\Kelo\\NTRU12\\stkprobe.dll "
                          "Err: 193\n"
                          "2013/05/07 14:03:09.042 TZ-4 [7] Found NTRU TSS\n"),
                  "drafted"));
}

// A set-up on the draft chooses the same stack, takes the same branches and ends with the same result.
TEST(Describe, DraftsAMachineWhoseSetupTakesTheSameWay)
{
    for (const char* const machine : {"windows-10-toolkit.json", "windows-7-ntru.json", "windows-7-toolkit.json",
                                      "windows-xp-ntru.json", "srk-upgrade.json"})
    {
        const Story real = StoryOf(Rehearse(machine, kSetup).log);
        const Json draft = DraftOf(machine);
        const Story drafted = StoryOf(CauseFinder(winsim::Machine::FromJson(draft), kSetup).LogWithoutFailure());
        EXPECT_EQ(real.stack, drafted.stack) << machine;
        EXPECT_EQ(real.exitCode, drafted.exitCode) << machine;
        EXPECT_EQ(draft["windows"], DraftDescription(drafted, "drafted")["windows"]) << machine;
        EXPECT_EQ(draft.value("libraries", Json()), DraftDescription(drafted, "drafted").value("libraries", Json()))
            << machine;
    }
}

std::vector<std::string> MessagesOf(const Story& story)
{
    std::vector<std::string> messages;
    for (const report::StoryLine& line : story.lines)
        messages.push_back(line.message);
    return messages;
}

// A removal on the draft finds the same service, providers and tasks, so a failure in it can be searched for.
TEST(Describe, DraftsAMachineWhoseRemovalHasTheSameLog)
{
    const std::vector<std::string> removal{"/Uninstall"};
    const std::string file = "windows-7-installed.json";
    const Story real = StoryOf(Rehearse(file, removal).log);
    const CauseFinder finder{winsim::Machine::FromJson(DraftDescription(real, "drafted")), removal};
    EXPECT_EQ(MessagesOf(real), MessagesOf(StoryOf(finder.LogWithoutFailure())));
    const Story failed = StoryOf(Rehearse(file, removal, {"DeleteService#1=1072"}).log);
    EXPECT_EQ(DraftDescription(real, "drafted"), DraftDescription(failed, "drafted"));
}

// Whatever a log contains, its draft is a valid description.
TEST(Describe, DraftsADescriptionFromAnyLog)
{
    const std::string log = Rehearse("windows-7-toolkit.json", kSetup).log;
    for (std::size_t at = 0; at < log.size(); at += 997)
    {
        for (const Story& story : report::TellAll(report::ReadLogLines(log.substr(at))))
            EXPECT_NO_THROW(winsim::Machine::FromJson(DraftDescription(story, "drafted")));
    }
}

} // namespace
