// Proves how changes of a machine are shown: registry values by their types, files by their changes, rights and
// trustees by name.
#include "report/access.h"
#include "report/changes_view.h"

#include <gtest/gtest.h>

namespace
{

using report::NameOfRights;
using report::Secured;
using winsim::Change;
using winsim::Json;

const report::Style kPlain{};

Change Added(const char* area, const char* item, const char* after)
{
    return {area, "added", item, nullptr, Json::parse(after)};
}

Change Removed(const char* area, const char* item, const char* before)
{
    return {area, "removed", item, Json::parse(before), nullptr};
}

Change Changed(const char* area, const char* item, const char* before, const char* after)
{
    return {area, "changed", item, Json::parse(before), Json::parse(after)};
}

TEST(ChangesView, TellsRegistryValuesByTheirTypes)
{
    const std::vector<Change> changes = {
        Added("registry", R"(HKLM\A)", "{}"),
        Added("registry", R"(HKLM\A [(default)])", R"("a text")"),
        Added("registry", R"(HKLM\A [few bytes])", R"({"type": "REG_BINARY", "hex": "00ff10"})"),
        Added("registry", R"(HKLM\A [no bytes])", R"({"type": "REG_BINARY", "hex": ""})"),
        Added("registry", R"(HKLM\A [many bytes])",
              R"({"type": "REG_BINARY", "hex": "000102030405060708090a0b0c0d0e0f1011"})"),
        Added("registry", R"(HKLM\A [list])", R"({"type": "REG_MULTI_SZ", "text": "one\u0000two\u0000"})"),
        Added("registry", R"(HKLM\A [path])", R"({"type": "REG_EXPAND_SZ", "text": "%windir%"})"),
        Added("registry", R"(HKLM\A [big])", R"({"type": "REG_QWORD", "number": 4294967296})"),
        Added("registry", R"(HKLM\A [odd])", R"({"type": 17, "hex": "01"})"),
        Added("registry", R"(HKLM\A [later])", R"([1, 2])"),
        Changed("registry", R"(HKLM\B [number])", "9", "10"),
        Removed("registry", R"(HKLM\B [gone])", "1"),
        Removed("registry", R"(HKLM\B [gone too])", R"("text")"),
        Removed("registry", R"(HKLM\C)", "{}"),
    };
    EXPECT_EQ("14: 14 in the registry", report::CountChanges(changes));
    EXPECT_EQ(R"(Changes on the machine
  Registry
    HKLM\A  (new key)
      added       (default) = "a text"
      added       few bytes = 3 bytes: 00 ff 10 (REG_BINARY)
      added       no bytes = 0 bytes (REG_BINARY)
      added       many bytes = 18 bytes: 00 01 02 03 04 05 06 07 08 09 0a 0b 0c
                  0d 0e 0f ... (REG_BINARY)
      added       list = "one", "two" (REG_MULTI_SZ)
      added       path = "%windir%" (REG_EXPAND_SZ)
      added       big = 4294967296 (0x100000000) (REG_QWORD)
      added       odd = 1 byte: 01 (type 17)
      added       later = [1,2]
    HKLM\B
      changed     number: 9 -> 10 (0xa)
      removed     gone, gone too
    HKLM\C  (key removed)
)",
              ShowChanges(kPlain, changes, false));
    const std::string whole = ShowChanges(kPlain, changes, true);
    EXPECT_NE(std::string::npos, whole.find("0d 0e 0f 10 11 (REG_BINARY)\n")) << whole;
    EXPECT_NE(std::string::npos, whole.find("      removed     gone too (was \"text\")\n")) << whole;
}

TEST(ChangesView, TellsFilesByWhatHappenedToThem)
{
    const std::vector<Change> changes = {
        Removed("files", R"(C:\old.dll)", R"({"text": "shim"})"),
        Added("files", R"(C:\backup.dll)", R"({"text": "shim"})"),
        Removed("files", R"(C:\gone.txt)", R"({"text": "12345"})"),
        Changed("files", R"(C:\changed.txt)", R"({"text": "one", "attributes": 32})",
                R"({"text": "two", "attributes": 33})"),
        Added("files", R"(C:\folder)", R"({"directory": true, "owner": "S-1-5-18"})"),
        Added("files", R"(C:\link)", R"({"link": "C:\\folder"})"),
        Added("files", R"(C:\sized)", R"({"size": 1})"),
        Added("files", R"(C:\probe.dll)", "{}"),
        Added("libraries", R"(C:\probe.dll)", R"({"exports": {}})"),
        Changed("files", R"(C:\copied.dll)", R"({"size": 1})", R"({"size": 2})"),
        Added("libraries", R"(C:\copied.dll)", R"({"exports": {"DetectTSS": 0}})"),
        Added("pendingMoves", "#1", R"({"from": "C:\\a"})"),
        Added("pendingMoves", "#2", R"({"from": "C:\\b", "to": "C:\\c"})"),
        Removed("pendingMoves", "#3", R"({"from": "C:\\d"})"),
        Removed("programs", R"(C:\tool.exe)", R"({"runs": []})"),
    };
    EXPECT_EQ("13: 10 files and folders, 3 at the next start", report::CountChanges(changes));
    EXPECT_EQ(R"(Changes on the machine
  Files and folders
    moved       C:\old.dll -> C:\backup.dll
    new folder  C:\folder
    new file    C:\link  (a link to C:\folder)
    new file    C:\sized  (1 byte)
    new file    C:\probe.dll  (a library)
    changed     C:\changed.txt
                text: one -> two
                attributes: 32 -> 33
    changed     C:\copied.dll
                now another library
                size: 1 -> 2
    deleted     C:\gone.txt  (5 bytes)
    deleted     C:\tool.exe
  At the next start of Windows
    delete      C:\a
    move        C:\b -> C:\c
    given up    delete C:\d
)",
              ShowChanges(kPlain, changes, false));
}

TEST(ChangesView, TellsAccessListsAsTables)
{
    const std::vector<Change> changes = {
        Changed("registry", R"(HKLM\Key)",
                R"({"owner": "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",
                    "access": [{"trustee": "S-1-1-0", "mask": 983103, "inheritance": 2}]})",
                R"({"owner": "S-1-5-32-544", "access": []})"),
        Changed("files", R"(C:\folder)", R"({"directory": true})",
                R"({"directory": true, "protected": true, "access": [
                    {"trustee": "S-1-5-32-545", "mask": 1179785, "inheritance": 3, "type": "deny"},
                    {"trustee": "S-1-5-11", "mask": 65536, "inheritance": 9, "inherited": true},
                    {"trustee": "S-1-2-3", "mask": 0, "inheritance": 2},
                    {"trustee": "S-1-5-19", "mask": 0, "inheritance": 0, "inherited": true}]})"),
        Changed("files", R"(C:\file)", R"({"access": []})", "{}"),
    };
    EXPECT_EQ(R"(Changes on the machine
  Registry
    HKLM\Key
      owner       Administrators (was TrustedInstaller)
      access was  allow  Everyone  KEY_ALL_ACCESS  and its subkeys
      access now  empty: nobody has any right
  Files and folders
    changed     C:\folder
      access      deny   Users                FILE_GENERIC_READ  and its
                                              contents
                  allow  Authenticated Users  DELETE             only its files,
                                              inherited
                  allow  S-1-2-3              0x0                and its
                                              subfolders
                  allow  LocalService         0x0                inherited
                  inherits nothing
    changed     C:\file
      access was  empty: nobody has any right
      access now  no list of its own
)",
              ShowChanges(kPlain, changes, false));
}

TEST(ChangesView, TellsServicesWithoutWhatOnlyRehearsalsKnow)
{
    const std::vector<Change> changes = {
        Added("services", "A", R"({"start": "auto", "state": "running", "onStart": {"states": []},
                                   "dependencies": ["B", "C"], "account": "LocalService"})"),
        Added("services", "A2", R"({"start": "disabled"})"),
        Changed("services", "B", R"({"start": "demand", "state": "stopped", "onStop": {}})",
                R"({"start": "auto", "state": "running"})"),
        Changed("services", "C", R"({"states": []})", "{}"),
        Removed("services", "D", R"({"state": "running"})"),
    };
    EXPECT_EQ(R"(Changes on the machine
  Services
    new         A: starts automatically, is running
                depends on: B, C
                account: LocalService
    new         A2: starts "disabled", is stopped
    changed     B, start: demand -> auto
                state: stopped -> running
    changed     C, what it does later
    removed     D (it was running)
)",
              ShowChanges(kPlain, changes, false));
    const std::string whole = ShowChanges(kPlain, changes, true);
    EXPECT_NE(std::string::npos, whole.find("                onStart: {\"states\":[]}\n")) << whole;
}

TEST(ChangesView, TellsOfEveryOtherArea)
{
    const std::vector<Change> changes = {
        Changed("windows", "build", "1", "2"),
        Changed("processes", "#1", R"({"id": 1, "name": "a.exe"})", R"({"id": 2, "name": "b.exe"})"),
        Changed("processes", "#2", R"({"id": 2, "name": "b.exe"})", R"({"id": 3, "name": "c.exe"})"),
        Removed("processes", "#3", R"({"id": 3})"),
        Added("processes", "#d.exe 0", R"({"name": "d.exe"})"),
        Changed("smartCards", "readers", R"(["a", "b"])", R"(["b", "c"])"),
        Changed("smartCards", "order", R"(["a", "b"])", R"(["b", "a"])"),
        Changed("cng", "contextFunctions",
                R"([{"function": "F", "context": "D", "providers": ["a"]},
                    {"function": "G", "context": "D", "providers": ["a"]}])",
                R"([{"function": "F", "context": "D", "providers": ["a", "b"]},
                    {"function": "G", "context": "D", "providers": ["a"]},
                    {"function": "H", "context": "D", "providers": ["c"]}])"),
        Changed("cng", "providers", R"({"a": {}, "b": {"userMode": {"image": "b.dll"}}})",
                R"({"a": {"aliases": ["x"]}, "c": {"userMode": {"image": "c.dll"}}})"),
        Changed("wmi", "autoProvisioning", "true", "false"),
        Changed("wmi", "namespaces", R"({"a": {"b": 1, "c": 1}})", R"({"a": {"b": 2, "c": 1}})"),
        Added("events", "#1", R"({"source": "S", "type": 2, "id": 7, "strings": ["text"]})"),
        Added("events", "#2", R"({"source": "S", "type": 4, "id": 8})"),
        Added("token", "x", "{}"),
    };
    EXPECT_EQ("14: 1 elsewhere, 4 processes, 2 of the smart cards, 2 of the cryptography, 2 in WMI, 2 events, 1 of the "
              "token",
              report::CountChanges(changes));
    EXPECT_EQ(R"(Changes on the machine
  windows
    changed     build: 1 -> 2
  Processes
    ended       a.exe (1)
    started     c.exe (3)
    removed     #3: {"id":3}
    started     d.exe
  Smart cards
    changed     readers: -a, +c
    changed     order: ["a","b"] -> ["b","a"]
  Cryptography (CNG)
    providers   F in the context "D": +b
    providers   H in the context "D": +c
    changed     a  {} -> {"aliases":["x"]}
    registered  c  (c.dll)
    removed     b  (b.dll)
  Automatic provisioning and WMI
    changed     autoProvisioning: true -> false
    changed     namespaces: a.b: 1 -> 2
  Event log
    warning     event 7 of "S": text
    entry       event 8 of "S"
  Token
    added       x
)",
              ShowChanges(kPlain, changes, false));
    EXPECT_EQ("none", report::CountChanges({}));
    EXPECT_EQ("Changes on the machine: none\n", ShowChanges(kPlain, {}, false));
}

TEST(Rights, AreNamedByTheWidestNamesThatFit)
{
    EXPECT_EQ("GENERIC_ALL", NameOfRights(0x10000000, Secured::File));
    EXPECT_EQ("GENERIC_READ | GENERIC_WRITE", NameOfRights(0xC0000000, Secured::Key));
    EXPECT_EQ("KEY_ALL_ACCESS", NameOfRights(0xF003F, Secured::Key));
    EXPECT_EQ("KEY_READ | KEY_SET_VALUE", NameOfRights(0x2001B, Secured::Key));
    EXPECT_EQ("KEY_READ | WRITE_OWNER", NameOfRights(0xA0019, Secured::Key));
    EXPECT_EQ("FILE_ALL_ACCESS", NameOfRights(0x1F01FF, Secured::Folder));
    EXPECT_EQ("FILE_GENERIC_READ | FILE_GENERIC_EXECUTE", NameOfRights(0x1200A9, Secured::File));
    EXPECT_EQ("FILE_READ_DATA | DELETE | 0x200", NameOfRights(0x10201, Secured::File));
    EXPECT_EQ("0x0", NameOfRights(0, Secured::Key));
}

} // namespace
