// Tests of the handles that a simulated process holds: their names, and the reports about misuse.
#include "winsim/process/simulation.h"

#include "aclapi.h"
#include "fileapi.h"
#include "winbase.h"
#include "winreg.h"
#include "winsvc.h"

#include <gmock/gmock.h>

using winsim::HandleTable;
using winsim::Json;

namespace
{

struct Door
{
    static constexpr char kKind[] = "door";

    std::string leadsTo = {};
};

struct Window
{
    static constexpr char kKind[] = "window";
};

winsim::Machine PlainMachine()
{
    return winsim::Machine::FromJson(Json::object());
}

// An object that no call can have returned.
template <typename Handle>
Handle NoHandle()
{
    static int something = 0;
    return reinterpret_cast<Handle>(&something);
}

TEST(HandleTable, EachKindHasNumbersOfItsOwn)
{
    HandleTable handles;
    EXPECT_EQ(handles.NameOf(handles.Open(Door{})), "door#1");
    EXPECT_EQ(handles.NameOf(handles.Open(Window{})), "window#1");
    EXPECT_EQ(handles.NameOf(handles.Open(Door{})), "door#2");
    EXPECT_EQ(handles.NameOf(handles.Allocate<Window>(8)), "window#2");
}

TEST(HandleTable, TheLowestNumberThatWasGivenBackIsTakenFirst)
{
    HandleTable handles;
    void* const first = handles.Open(Door{});
    void* const second = handles.Open(Door{});
    void* const third = handles.Open(Door{});
    EXPECT_TRUE(handles.Close<Door>(third, "Close"));
    EXPECT_TRUE(handles.Close<Door>(first, "Close"));
    EXPECT_EQ(handles.NameOf(handles.Open(Door{})), "door#1");
    EXPECT_EQ(handles.NameOf(second), "door#2");
    EXPECT_EQ(handles.NameOf(handles.Open(Door{})), "door#3");
    EXPECT_EQ(handles.NameOf(handles.Open(Door{})), "door#4");
}

TEST(HandleTable, AHandleIsUsedAsWhatItStandsFor)
{
    HandleTable handles;
    void* const door = handles.Open(Door{"the garden"});
    EXPECT_EQ(handles.Find<Door>(door, "Look")->leadsTo, "the garden");
    EXPECT_EQ(handles.Find<Window>(door, "Look"), nullptr);
    EXPECT_FALSE((handles.CloseAnyOf<Window>(door, "piece of glass", "Break")));
    EXPECT_TRUE((handles.CloseAnyOf<Window, Door>(door, "opening", "Shut")));
    EXPECT_FALSE(handles.Close<Door>(door, "Shut"));
    EXPECT_FALSE(handles.Close<Door>(nullptr, "Shut"));
    EXPECT_THAT(handles.Violations(), testing::ElementsAre("Look: door#1 is not an open window",
                                                           "Break: door#1 is not an open piece of glass",
                                                           "Shut: door#1 (closed) is not an open door",
                                                           "Shut: a null handle is not an open door"));
}

TEST(HandleTable, WhatIsStillOpenIsTold)
{
    HandleTable handles;
    handles.Open(Door{});
    handles.MayKeep(handles.Open(Door{}));
    EXPECT_THAT(handles.Violations(), testing::ElementsAre("door#1 was never given back"));
    EXPECT_THAT(handles.Misuses(), testing::IsEmpty());
}

// Functions that share code report a misuse under their own names.
TEST(HandleTable, AMisuseIsToldUnderTheNameOfTheCall)
{
    const winsim::Simulation simulation{PlainMachine()};
    HKEY key = nullptr;
    RegOpenKeyExA(NoHandle<HKEY>(), "x", 0, KEY_READ, &key);
    RegOpenKeyExW(NoHandle<HKEY>(), u"x", 0, KEY_READ, &key);
    RegDeleteValueA(NoHandle<HKEY>(), "x");
    RegDeleteValueW(NoHandle<HKEY>(), u"x");
    StartServiceA(NoHandle<SC_HANDLE>(), 0, nullptr);
    StartServiceW(NoHandle<SC_HANDLE>(), 0, nullptr);
    EXPECT_THAT(simulation.handles.Misuses(),
                testing::ElementsAre(
                    "RegOpenKeyExA: unknown is not an open key", "RegOpenKeyExW: unknown is not an open key",
                    "RegDeleteValueA: unknown is not an open key", "RegDeleteValueW: unknown is not an open key",
                    "StartServiceA: unknown is not an open service", "StartServiceW: unknown is not an open service"));
}

TEST(HandleTable, AnOwnerThatIsNoSidIsToldUnderTheNameOfTheCall)
{
    const winsim::Simulation simulation{PlainMachine()};
    WCHAR windows[] = uR"(C:\Windows)";
    SetNamedSecurityInfoW(windows, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, NoHandle<PSID>(), nullptr, nullptr,
                          nullptr);
    const HANDLE file =
        CreateFileW(windows, WRITE_OWNER, 0, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    SetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, NoHandle<PSID>(), nullptr, nullptr, nullptr);
    CloseHandle(file);
    EXPECT_THAT(simulation.handles.Violations(),
                testing::ElementsAre("SetNamedSecurityInfoW: a SID that was never made or was freed",
                                     "SetSecurityInfo: a SID that was never made or was freed"));
}

} // namespace
