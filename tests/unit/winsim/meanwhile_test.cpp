// Proves how actions of another process during a run are requested, and that the process does no more than Windows
// permits.
#include "winsim/process/meanwhile.h"

#include "fileapi.h"
#include "tests/support/simulated_run.h"
#include "winbase.h"
#include "winnt.h"
#include "winsim/process/simulation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

using testing::ElementsAre;
using winsim::FileAct;
using winsim::Meanwhile;
using winsim::ParseMeanwhile;

TEST(ParseMeanwhile, ReadsCallOccurrenceAndActs)
{
    const Meanwhile meanwhile = ParseMeanwhile(R"(fputs#3=move C:\a b -> C:\c; link C:\a b -> C:\Windows)");
    EXPECT_EQ(meanwhile.call, "fputs");
    EXPECT_EQ(meanwhile.occurrence, 3);
    EXPECT_THAT(meanwhile.acts, ElementsAre(FileAct{FileAct::Kind::Move, "C:\\a b", "C:\\c"},
                                            FileAct{FileAct::Kind::Link, "C:\\a b", "C:\\Windows"}));
    EXPECT_EQ(ParseMeanwhile("fputs=delete C:\\a").occurrence, 1);
}

TEST(ParseMeanwhile, RefusesWhatIsNoAct)
{
    for (const char* text :
         {"", "fputs", "=delete C:\\a", "fputs=", "fputs=remove C:\\a", "fputs=delete", "fputs=delete a",
          "fputs=delete C:\\a -> C:\\b", "fputs=move C:\\a", "fputs#0=delete C:\\a", "fputs#x=delete C:\\a",
          "fputs#1x=delete C:\\a", "fputs=delete C:\\a; "})
        EXPECT_THROW(ParseMeanwhile(text), std::invalid_argument) << text;
}

TEST(ParseMeanwhile, ReadsItsOwnText)
{
    for (const char* text :
         {R"(*#9=delete C:\a)", R"(fputs#1=write C:\a -> two words)", R"(fputs#2=directory C:\a; turn C:\a -> D:\b)",
          R"(fputs#1=filelink C:\a -> C:\b; hardlink C:\c -> C:\d)"})
        EXPECT_EQ(TextOf(ParseMeanwhile(text)), text);
}

// A machine with C:\top\folder\file in it, a process on it, and the other process's acts after the next call.
class AnotherProcess : public testing::Test
{
protected:
    AnotherProcess() : m_simulation(MachineOf(R"({"files": {"C:\\top\\folder\\file": {"text": "text"}}})")) {}

    std::uint32_t LastError() const { return m_simulation.lastError; }
    winsim::Files& Files() { return m_simulation.machine.files; }

    HANDLE Open(const char16_t* path, DWORD access, DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE)
    {
        const HANDLE handle =
            CreateFileW(path, access, share, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
        EXPECT_NE(handle, INVALID_HANDLE_VALUE);
        return handle;
    }

    // The errors of the acts.
    std::vector<std::uint32_t> Do(const std::string& acts)
    {
        winsim::Gate& gate = m_simulation.gate;
        gate.meanwhile = {ParseMeanwhile("*#" + std::to_string(gate.count + 1) + "=" + acts)};
        gate.triedActs.clear();
        GetTickCount();
        std::vector<std::uint32_t> errors;
        for (const winsim::TriedAct& tried : gate.triedActs)
            errors.push_back(tried.error);
        return errors;
    }

private:
    winsim::Simulation m_simulation;
};

TEST_F(AnotherProcess, ReplacesADirectoryByALink)
{
    EXPECT_THAT(Do(R"(move C:\top\folder -> C:\top\old; link C:\top\folder -> C:\Windows)"), ElementsAre(0, 0));
    EXPECT_EQ(Files().Find("C:\\top\\folder")->link, "C:\\Windows");
    EXPECT_EQ(Files().Find("C:\\top\\folder")->security.Owner(), "S-1-5-21-1004336348-1177238915-682003330-1002");
    EXPECT_EQ(Files().Find("C:\\top\\old\\file")->content, "text");
    EXPECT_EQ(Files().Resolve("C:\\top\\folder\\x", winsim::LastLink::Follow).path, "C:\\Windows\\x");
}

TEST_F(AnotherProcess, WritesDeletesAndLinksFiles)
{
    EXPECT_THAT(Do(R"(write C:\top\folder\file -> other; hardlink C:\top\name -> C:\top\folder\file)"),
                ElementsAre(0, 0));
    EXPECT_EQ(Files().Find("C:\\top\\name")->content, "other");
    EXPECT_EQ(Files().CountNames(*Files().Find("C:\\top\\name")), 2);
    EXPECT_THAT(Do(R"(delete C:\top\folder\file; delete C:\top\folder; filelink C:\top\folder -> C:\top\name)"),
                ElementsAre(0, 0, 0));
    EXPECT_EQ(Files().Find("C:\\top\\name")->content, "other");
    EXPECT_EQ(Files().CountNames(*Files().Find("C:\\top\\name")), 1);
    EXPECT_THAT(Do(R"(directory C:\top\new; turn C:\top\new -> C:\Windows)"), ElementsAre(0, 0));
    EXPECT_TRUE(Files().Find("C:\\top\\new")->IsLink());
}

TEST_F(AnotherProcess, EndsWithTheFirstActThatCannotBeDone)
{
    EXPECT_THAT(Do(R"(delete C:\top\none; delete C:\top\folder\file)"), ElementsAre(2));
    EXPECT_THAT(Do(R"(delete C:\top\folder)"), ElementsAre(145));
    EXPECT_THAT(Do(R"(turn C:\top\folder -> C:\Windows)"), ElementsAre(145));
    EXPECT_THAT(Do(R"(turn C:\top\folder\file -> C:\Windows)"), ElementsAre(267));
    EXPECT_THAT(Do(R"(turn C:\top\none -> C:\Windows)"), ElementsAre(2));
    EXPECT_THAT(Do(R"(move C:\top\none -> C:\top\x)"), ElementsAre(2));
    EXPECT_THAT(Do(R"(move C:\top\folder -> C:\Windows)"), ElementsAre(183));
    EXPECT_THAT(Do(R"(move C:\top\folder -> C:\none\x)"), ElementsAre(3));
    EXPECT_THAT(Do(R"(write C:\top\folder -> x)"), ElementsAre(5));
    EXPECT_THAT(Do(R"(write C:\none\file -> x)"), ElementsAre(3));
    EXPECT_THAT(Do(R"(link C:\top\folder -> C:\Windows)"), ElementsAre(183));
    EXPECT_THAT(Do(R"(hardlink C:\top\folder -> C:\top\folder\file)"), ElementsAre(183));
    EXPECT_THAT(Do(R"(hardlink C:\top\x -> C:\top\none)"), ElementsAre(2));
    EXPECT_THAT(Do(R"(hardlink C:\top\x -> C:\top\folder)"), ElementsAre(5));
    EXPECT_THAT(Do(R"(hardlink C:\none\x -> C:\top\folder\file)"), ElementsAre(3));
}

TEST_F(AnotherProcess, LeavesInPlaceWhatIsHeldOpen)
{
    const HANDLE folder = Open(u"C:\\top\\folder", FILE_LIST_DIRECTORY | FILE_TRAVERSE);
    EXPECT_THAT(Do(R"(move C:\top\folder -> C:\top\old)"), ElementsAre(32));
    EXPECT_THAT(Do(R"(move C:\top -> C:\old)"), ElementsAre(5));
    EXPECT_THAT(Do(R"(delete C:\top\folder\file)"), ElementsAre(0));
    EXPECT_THAT(Do(R"(delete C:\top\folder)"), ElementsAre(32));
    EXPECT_TRUE(CloseHandle(folder));
    EXPECT_THAT(Do(R"(delete C:\top\folder)"), ElementsAre(0));
}

TEST_F(AnotherProcess, IsNotKeptFromDeletingByAHandleThatSharesItOrReadsAttributes)
{
    const HANDLE attributes = Open(u"C:\\top\\folder\\file", FILE_READ_ATTRIBUTES | READ_CONTROL);
    const HANDLE sharing = Open(u"C:\\top\\folder\\file", GENERIC_READ, FILE_SHARE_DELETE);
    EXPECT_THAT(Do(R"(delete C:\top\folder\file)"), ElementsAre(0));
    BY_HANDLE_FILE_INFORMATION information{};
    EXPECT_TRUE(GetFileInformationByHandle(attributes, &information));
    EXPECT_EQ(GetFileAttributesW(u"C:\\top\\folder\\file"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(LastError(), 5);
    EXPECT_TRUE(CloseHandle(attributes) && CloseHandle(sharing));
    EXPECT_EQ(Files().Find("C:\\top\\folder\\file"), nullptr);
}

TEST_F(AnotherProcess, MayTurnAnEmptyDirectoryIntoALinkThatIsHeldOpen)
{
    EXPECT_THAT(Do(R"(delete C:\top\folder\file)"), ElementsAre(0));
    const HANDLE folder = Open(u"C:\\top\\folder", FILE_LIST_DIRECTORY);
    EXPECT_THAT(Do(R"(turn C:\top\folder -> C:\Windows)"), ElementsAre(0));
    EXPECT_TRUE(CloseHandle(folder));
}

// ---- Redirection trust ----
TEST_F(AnotherProcess, MakesLinksThatAnEnforcingProcessDoesNotFollow)
{
    EXPECT_THAT(Do(R"(link C:\top\link -> C:\top\folder)"), ElementsAre(0));
    EXPECT_NE(GetFileAttributesW(u"C:\\top\\link\\file"), INVALID_FILE_ATTRIBUTES);
    DWORD enforced = 1;
    EXPECT_TRUE(SetProcessMitigationPolicy(ProcessRedirectionTrustPolicy, &enforced, sizeof enforced));
    EXPECT_EQ(GetFileAttributesW(u"C:\\top\\link\\file"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(LastError(), 448);
    EXPECT_NE(GetFileAttributesW(u"C:\\top\\link"), INVALID_FILE_ATTRIBUTES);
    Files().Find("C:\\top\\link")->security.owner = "S-1-5-32-544";
    EXPECT_EQ(GetFileAttributesW(u"C:\\top\\link\\file"), INVALID_FILE_ATTRIBUTES);
    Files().Find("C:\\top\\link")->linkMaker.reset();
    EXPECT_NE(GetFileAttributesW(u"C:\\top\\link\\file"), INVALID_FILE_ATTRIBUTES);
    DWORD no = 0;
    EXPECT_FALSE(SetProcessMitigationPolicy(ProcessRedirectionTrustPolicy, &no, sizeof no));
    EXPECT_EQ(LastError(), 5);
    EXPECT_FALSE(SetProcessMitigationPolicy(ProcessRedirectionTrustPolicy, &enforced, sizeof enforced + 1));
    EXPECT_EQ(LastError(), 87);
}

} // namespace
