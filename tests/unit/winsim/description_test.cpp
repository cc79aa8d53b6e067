// Proves the meaning of machine descriptions: what may be left out, that a saved machine is the same when loaded again,
// how an error names its place, and how two machines are compared.
#include "tests/support/own_folder.h"
#include "tests/support/simulated_run.h"
#include "winsim/base/description_text.h"
#include "winsim/machine/machine.h"
#include "winsim/machine/plain_windows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using winsim::Compare;
using winsim::Json;
using winsim::Machine;

// The error that reading a description ends with; what it gives if there is none.
template <typename Read>
std::string ErrorIn(Read read)
{
    try
    {
        return read();
    }
    catch (const winsim::DescriptionError& error)
    {
        return error.what();
    }
}

// The error in a description.
std::string ErrorOf(const std::string& description)
{
    return ErrorIn([&] {
        Machine::FromJson(Json::parse(description));
        return "nothing";
    });
}

std::string ErrorOfFile(const std::string& path)
{
    return ErrorIn([&] {
        Machine::FromFile(path);
        return "nothing";
    });
}

std::vector<std::string> ChangesBetween(const Machine& before, const Machine& after)
{
    std::vector<std::string> texts;
    for (const winsim::Change& change : Compare(before, after))
        texts.push_back(ToJson(change).dump());
    return texts;
}

// A machine whose description mentions every area.
Machine RichMachine()
{
    return MachineOf(R"({
        "title": "A rich machine",
        "notes": ["the policies were not read", "a second note"],
        "windows": {"version": "6.1", "build": 7601, "servicePack": 1, "platform": 2, "wow64": true, "redirectionTrust": false, "codePage": 932,
                    "uiLanguage": 1041, "userLanguage": 1031},
        "clock": {"utc": "2012-02-29T23:59:59.999Z", "tickCount": 4294967295, "yieldMs": 0, "lateMs": 15, "zoneBias": -540,
                  "daylightBias": 0, "daylight": false},
        "process": {"path": "D:\\Kelo\\KeloCustomAction.exe", "currentDirectory": "D:\\Kelo", "processId": 1, "threadId": 2,
                    "errorMode": 1},
        "folders": {"commonAppData": "D:\\Daten \u00e4\u4e00", "windows": null},
        "environment": {"windir": null, "EMPTY": ""},
        "registry": {
            "HKCU": null,
            "HKLM\\SOFTWARE\\Kelo": {
                "owner": "S-1-5-32-544",
                "access": [{"trustee": "S-1-1-0", "mask": 131097, "inheritance": 2, "type": "deny", "inherited": true}],
                "protected": true,
                "deniedAccess": ["KEY_SET_VALUE", "KEY_CREATE_SUB_KEY"],
                "values": {
                    "": "the default value",
                    "Text": "\u00e4\u4e00\ud83d\ude00",
                    "Number": 4294967295,
                    "Path": {"type": "REG_EXPAND_SZ", "text": "%windir%"},
                    "Unterminated": {"type": "REG_SZ", "hex": "61006200"},
                    "HalfAPair": {"type": "REG_SZ", "hex": "3dd80000"},
                    "Several": {"type": "REG_MULTI_SZ", "hex": "6100000062000000" },
                    "Bytes": {"type": "REG_BINARY", "hex": "00ff"},
                    "Odd": {"type": "REG_DWORD", "hex": "0102"},
                    "Large": {"type": "REG_QWORD", "number": 5000000000},
                    "Nothing": {"type": "REG_NONE"},
                    "Unheard": {"type": 200, "hex": "01"},
                    "Changing": ["first", 2, {"type": "REG_BINARY", "hex": "03"}]
                }
            }
        },
        "files": {
            "C:\\ProgramData": null,
            "D:\\Kelo\\log.txt": {"text": "eine Zeile \u00e4\r\n"},
            "D:\\Kelo\\image.bin": {"bytes": "\u0000\u00ff"},
            "D:\\Kelo\\tcsd.exe": {"size": 5000000000, "version": "1.2.1.25", "attributes": 1, "inUse": true},
            "D:\\Links\\folder": {"directory": true, "link": "D:\\Kelo", "linkMadeBy": "S-1-5-32-545"},
            "D:\\Links\\file": {"link": "D:\\nowhere"},
            "D:\\Links\\name": {"hardLinkTo": "D:\\Kelo\\log.txt"},
            "D:\\Secret": {"directory": true, "denied": true, "access": []}
        },
        "libraries": {
            "D:\\Kelo\\probe.dll": {"exports": {
                "Detect": -1, "Fail": {"throws": "access violation"},
                "Change": {"result": 5, "effects": {"services": {"TBS": null, "New": {}}}}}},
            "D:\\Kelo\\texts.dll": {"strings": {"101": "one", "102": "two"}},
            "C:\\Windows\\system32\\bcrypt.dll": {"missing": ["BCryptRegisterProvider"]},
            "D:\\Kelo\\broken.dll": {"loadError": 193}
        },
        "pendingMoves": [{"from": "D:\\Kelo\\old.dll"}, {"from": "D:\\a", "to": "D:\\b"}],
        "token": {"user": "S-1-5-18", "groups": [], "privileges": ["SeDebugPrivilege"], "enabled": []},
        "services": {
            "RPCSS": null,
            "tcsd_x86": {
                "displayName": "TSS", "description": "text", "type": 32, "start": "disabled", "errorControl": 0,
                "binaryPath": "D:\\Kelo\\tcsd.exe -x", "loadOrderGroup": "TDI", "dependencies": ["RPCSS"],
                "account": "LocalService", "processId": 8, "deniedAccess": 1, "grantsEveryRight": true,
                "markedForDeletion": true, "state": "paused", "controlsAccepted": 3, "exitCode": 1,
                "serviceExitCode": 2, "checkPoint": 3, "waitHint": 4,
                "states": [{"afterMs": 10, "state": "continuePending", "waitHint": 5}, {"afterMs": 20, "state": 4}],
                "onStart": {"error": 5}, "onStop": {"states": [{"state": "stopPending"}]}
            }
        },
        "processes": [{"id": 4}, {"name": "tcsd.exe", "deniedAccess": 1, "terminateError": 5, "count": 3}],
        "programs": {"D:\\Kelo\\setup.exe": {"runs": [
            {"arguments": "/i", "exitCode": 3, "runMs": 100, "effects": {"services": {"TBS": null}}},
            {"startError": 740}, {"neverEnds": true}]}},
        "smartCards": {"manager": "SCARD_E_SERVICE_STOPPED", "readers": ["Reader 0"], "readersThen": [],
                       "zerosMissing": 1},
        "cng": {
            "providers": {
                "Microsoft Platform Crypto Provider": null,
                "Kelo": {"aliases": ["K"], "kernelMode": {"image": "kelo.sys", "interfaces": [
                    {"interface": 1, "flags": 2, "functions": ["RNG"]}]}}
            },
            "contextFunctions": []
        },
        "wmi": {
            "autoProvisioning": false,
            "namespaces": {"root\\CIMV2\\Security\\MicrosoftTpm": {"classes": {"Win32_TPM": {"methods": {
                "DisableAutoProvisioning": {"returnValue": 5, "effects": {"wmi": null}}, "New": {}}}}}},
            "failures": {"CoCreateInstance": "REGDB_E_CLASSNOTREG", "CoSetProxyBlanket": 2147500037}
        },
        "installer": {"properties": {"CustomActionData": "text", "Changing": ["a", {"error": 234, "size": 9}]}},
        "events": [
            {"source": "Kelo", "type": 1, "category": 2, "id": 3221225473, "strings": ["one", "two"]}, {}
        ],
        "faults": ["OpenServiceW#2=ERROR_ACCESS_DENIED", "stkprobe.dll!DetectTSS=fault"]
    })");
}

TEST(Description, OfNothingIsThePlainMachineAndSavesAsItself)
{
    const Machine plain = MachineOf("{}");
    EXPECT_EQ(plain, MachineOf(winsim::kPlainWindowsJson));
    EXPECT_EQ(Machine::FromJson(plain.ToJson()), plain);
    EXPECT_EQ(plain.title, "A plain Windows 10 machine");
}

TEST(Description, SavesAsItself)
{
    const Machine machine = RichMachine();
    const Json saved = machine.ToJson();
    EXPECT_EQ(Machine::FromJson(saved), machine);
    EXPECT_EQ(Machine::FromJson(Json::parse(saved.dump())).ToJson(), saved);
}

TEST(Description, SavesWhatThePlainMachineHasAndThisOneLacksAsNull)
{
    const Json saved = RichMachine().ToJson();
    EXPECT_TRUE(saved["registry"]["HKCU"].is_null());
    EXPECT_TRUE(saved["folders"]["windows"].is_null());
    EXPECT_TRUE(saved["environment"]["windir"].is_null());
    EXPECT_TRUE(saved["files"]["C:\\ProgramData"].is_null());
}

TEST(Description, KeepsWhatEffectsWillTakeAway)
{
    const Json saved = RichMachine().ToJson();
    EXPECT_TRUE(saved["libraries"]["D:\\Kelo\\probe.dll"]["exports"]["Change"]["effects"]["services"]["TBS"].is_null());
    EXPECT_TRUE(saved["programs"]["D:\\Kelo\\setup.exe"]["runs"][0]["effects"]["services"]["TBS"].is_null());
}

TEST(Description, SavesRegistryValuesInTheirShortestForm)
{
    const Json values = RichMachine().ToJson()["registry"]["HKLM\\SOFTWARE\\Kelo"]["values"];
    EXPECT_EQ(values[""], "the default value");
    EXPECT_EQ(values["Number"], 4294967295);
    EXPECT_EQ(values["Path"], (Json{{"type", "REG_EXPAND_SZ"}, {"text", "%windir%"}}));
    EXPECT_EQ(values["Unterminated"], (Json{{"type", "REG_SZ"}, {"hex", "61006200"}}));
    EXPECT_EQ(values["HalfAPair"], (Json{{"type", "REG_SZ"}, {"hex", "3dd80000"}}));
    EXPECT_EQ(values["Odd"], (Json{{"type", "REG_DWORD"}, {"hex", "0102"}}));
    EXPECT_EQ(values["Large"], (Json{{"type", "REG_QWORD"}, {"hex", "00f2052a01000000"}}));
    EXPECT_EQ(values["Unheard"], (Json{{"type", 200}, {"hex", "01"}}));
}

TEST(Description, LeavesAloneWhatItDoesNotMention)
{
    const Machine machine = MachineOf(R"({"windows": {"version": "6.1"}})");
    EXPECT_THAT(ChangesBetween(MachineOf("{}"), machine),
                ElementsAre(R"({"area":"windows","kind":"changed","item":"version","before":"10.0","after":"6.1"})"));
}

TEST(Description, FindsNamesInEitherCase)
{
    const Machine machine = MachineOf(R"({
        "environment": {"KELO": "x"},
        "registry": {"HKLM\\SOFTWARE\\Kelo": {"values": {"Name": 1}}},
        "files": {"C:\\Kelo\\File.txt": {}}})");
    EXPECT_NE(machine.environment.Find("kelo"), nullptr);
    EXPECT_NE(machine.registry.FindValue("hklm\\Software\\KELO", "NAME"), nullptr);
    EXPECT_NE(machine.files.Find("c:/kelo//FILE.TXT"), nullptr);
}

TEST(Description, AProgramIsAFileThatTheFilesNeedNotMention)
{
    constexpr char kProgram[] = R"(C:\New\a.exe)";
    const winsim::Machine machine = winsim::Machine::FromJson({{"programs", {{kProgram, winsim::Json::object()}}}});
    ASSERT_NE(machine.files.Find(R"(c:\new\A.exe)"), nullptr);
    EXPECT_TRUE(machine.files.IsDirectory(R"(C:\New)"));
    const winsim::Json saved = machine.ToJson();
    EXPECT_FALSE(saved["files"].contains(kProgram));
    EXPECT_EQ(winsim::Machine::FromJson(saved), machine);
    EXPECT_EQ(machine.With({{"programs", {{kProgram, nullptr}}}}).files.Find(kProgram), nullptr);
}

TEST(Description, MakesTheKeysAndDirectoriesOnTheWay)
{
    const Machine machine = MachineOf(R"({"registry": {"HKLM\\A\\B\\C": {}}, "files": {"D:\\a\\b\\c.txt": {}}})");
    EXPECT_NE(machine.registry.Find("HKLM\\A\\B"), nullptr);
    EXPECT_TRUE(machine.files.IsDirectory("D:\\a\\b"));
    EXPECT_FALSE(machine.files.IsDirectory("D:\\a\\b\\c.txt"));
}

struct WrongDescription
{
    const char* description;
    const char* error;
};

// Names the test after its description.
void PrintTo(const WrongDescription& wrong, std::ostream* stream)
{
    *stream << wrong.description;
}

class DescriptionErrors : public testing::TestWithParam<WrongDescription>
{};

TEST_P(DescriptionErrors, NameThePathOfTheValue)
{
    EXPECT_EQ(ErrorOf(GetParam().description), GetParam().error);
}

constexpr WrongDescription kWrongTypes[] = {
    {R"(5)", "description: not an object"},
    {R"([])", "description: not an object"},
    {R"({"title": 5})", "title: not a text"},
    {R"({"notes": "one"})", "notes: not a list"},
    {R"({"notes": ["one", 2]})", "notes[1]: not a text"},
    {R"({"windows": []})", "windows: not an object"},
    {R"({"windows": {"version": 10}})", "windows.version: not a text"},
    {R"({"windows": {"build": "19045"}})", "windows.build: not a number"},
    {R"({"windows": {"build": 1.5}})", "windows.build: not a number"},
    {R"({"windows": {"wow64": 1}})", "windows.wow64: not true or false"},
    {R"({"clock": {"daylight": "yes"}})", "clock.daylight: not true or false"},
    {R"({"process": {"path": null}})", "process.path: cannot be removed"},
    {R"({"process": null})", "process: cannot be removed"},
    {R"({"folders": {"windows": 5}})", "folders.windows: not a text"},
    {R"({"environment": ["x"]})", "environment: not an object"},
    {R"({"registry": "HKLM"})", "registry: not an object"},
    {R"({"registry": {"HKLM\\A": 5}})", "registry.HKLM\\A: not an object"},
    {R"({"registry": {"HKLM\\A": {"values": []}}})", "registry.HKLM\\A.values: not an object"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": true}}}})", "registry.HKLM\\A.values.V: not an object"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": {"type": true}}}}})", "registry.HKLM\\A.values.V.type: not a text"},
    {R"({"files": {"C:\\a": "text"}})", "files.C:\\a: not an object"},
    {R"({"files": {"C:\\a": {"text": 5}}})", "files.C:\\a.text: not a text"},
    {R"({"events": {}})", "events: not a list"},
    {R"({"events": [{}, 5]})", "events[1]: not an object"},
    {R"({"events": [{"strings": ["a", 5]}]})", "events[0].strings[1]: not a text"},
};

constexpr WrongDescription kUnknownKeys[] = {
    {R"({"machine": {}})", "machine: unknown key"},
    {R"({"windows": {"Version": "6.1"}})", "windows.Version: unknown key"},
    {R"({"clock": {"time": ""}})", "clock.time: unknown key"},
    {R"({"process": {"pid": 1}})", "process.pid: unknown key"},
    {R"({"registry": {"HKLM\\A": {"Values": {}}}})", "registry.HKLM\\A.Values: unknown key"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": {"type": "REG_SZ", "string": ""}}}}})",
     "registry.HKLM\\A.values.V.string: unknown key"},
    {R"({"files": {"C:\\a": {"content": ""}}})", "files.C:\\a.content: unknown key"},
    {R"({"events": [{"message": ""}]})", "events[0].message: unknown key"},
};

constexpr WrongDescription kWrongValues[] = {
    {R"({"windows": {"build": -1}})", "windows.build: not a number from 0 to 4294967295"},
    {R"({"windows": {"build": 4294967296}})", "windows.build: not a number from 0 to 4294967295"},
    {R"({"clock": {"zoneBias": 2147483648}})", "clock.zoneBias: not a number from -2147483648 to 2147483647"},
    {R"({"clock": {"zoneBias": -2147483649}})", "clock.zoneBias: not a number from -2147483648 to 2147483647"},
    {R"({"files": {"C:\\a": {"size": 18446744073709551615}}})",
     "files.C:\\a.size: not a number from 0 to 9223372036854775807"},
    {R"({"windows": {"codePage": 12345}})", "windows.codePage: code page 12345 is not known"},
    {R"({"windows": {"version": "10"}})", "windows.version: not a version such as 6.1"},
    {R"({"windows": {"version": "10.0.19045"}})", "windows.version: not a version such as 6.1"},
    {R"({"windows": {"version": " 06.1"}})", "windows.version: not a version such as 6.1"},
    {R"({"windows": {"version": ""}})", "windows.version: not a version such as 6.1"},
    {R"({"clock": {"utc": "2013-05-07 14:03:09"}})", "clock.utc: not a time such as 2013-05-07T14:03:09.042Z"},
    {R"({"clock": {"utc": "2013-02-29T14:03:09.042Z"}})", "clock.utc: not a time such as 2013-05-07T14:03:09.042Z"},
    {R"({"clock": {"utc": "2013-05-07T24:03:09.042Z"}})", "clock.utc: not a time such as 2013-05-07T14:03:09.042Z"},
    {R"({"clock": {"utc": "2013-5-7T14:03:09.42Z"}})", "clock.utc: not a time such as 2013-05-07T14:03:09.042Z"},
    {R"({"clock": {"utc": ""}})", "clock.utc: not a time such as 2013-05-07T14:03:09.042Z"},
    {R"({"registry": {"HKEY_LOCAL_MACHINE\\A": {}}})",
     "registry.HKEY_LOCAL_MACHINE\\A: a key begins with HKLM, HKCU, HKCR or HKU"},
    {R"({"registry": {"HKLM\\A\\": {}}})", "registry.HKLM\\A\\: a key's name is empty"},
    {R"({"registry": {"HKLM\\\\A": {}}})", "registry.HKLM\\\\A: a key's name is empty"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": {}}}}})", "registry.HKLM\\A.values.V: no type"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": -1}}}})",
     "registry.HKLM\\A.values.V: not a number from 0 to 4294967295"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": {"type": "REG_STRING"}}}}})",
     "registry.HKLM\\A.values.V.type: not a registry type"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": {"type": "REG_BINARY", "hex": "abc"}}}}})",
     "registry.HKLM\\A.values.V.hex: not pairs of hexadecimal digits"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": {"type": "REG_BINARY", "hex": "0x"}}}}})",
     "registry.HKLM\\A.values.V.hex: not pairs of hexadecimal digits"},
    {R"({"registry": {"HKLM\\A": {"access": [{"trustee": "S-1-1-0", "inheritance": 16}]}}})",
     "registry.HKLM\\A.access[0].inheritance: not inheritance flags, a number from 0 to 15"},
    {R"({"files": {"ProgramData": {}}})", "files.ProgramData: a path begins with a drive, such as C:\\"},
    {R"({"files": {"\\\\server\\share": {}}})", "files.\\\\server\\share: a path begins with a drive, such as C:\\"},
    {R"({"files": {"C:\\Windows": {}}})", "files.C:\\Windows: both a file and a directory"},
    {R"({"libraries": {"C:\\Windows": {}}})", "libraries.C:\\Windows: both a library and a directory"},
    {R"({"programs": {"C:\\Windows": {}}})", "programs.C:\\Windows: both a program and a directory"},
    {R"({"programs": {"a.exe": {}}})", "programs.a.exe: a path begins with a drive, such as C:\\"},
    {R"({"files": {"C:\\a": {"link": "C:\\b", "linkMadeBy": "me"}}})",
     "files.C:\\a.linkMadeBy: neither a SID such as S-1-5-32-544 nor an account such as Administrators"},
    {R"({"files": {"C:\\a": {"link": "a"}}})", "files.C:\\a.link: a path begins with a drive, such as C:\\"},
    {R"({"files": {"C:\\a": {"directory": true, "link": "D:\\a"}, "C:\\a\\b": {}}})",
     "files.C:\\a: a link with files in it"},
    {R"({"files": {"C:\\a": {"hardLinkTo": "C:\\b", "text": ""}}})", "files.C:\\a.text: unknown key"},
    {R"({"files": {"C:\\a": {"hardLinkTo": "b"}}})", "files.C:\\a: a path begins with a drive, such as C:\\"},
    {R"({"files": {"C:\\a": {"hardLinkTo": "C:\\Windows"}}})", "files.C:\\a: a hard link to a directory"},
    {R"({"files": {"C:\\Windows": {"hardLinkTo": "C:\\b"}}})", "files.C:\\Windows: both a hard link and a file"},
    {R"({"files": {"C:\\a": {"hardLinkTo": "C:\\b"}, "C:\\b": {"hardLinkTo": "C:\\c"}}})",
     "files.C:\\a: a hard link to another hard link"},
    {R"({"files": {"C:\\a": {"bytes": "\u0100"}}})", "files.C:\\a.bytes: a character that is not one byte"},
};

constexpr WrongDescription kWrongNames[] = {
    {R"({"registry": {"HKLM\\A": {"deniedAccess": "SERVICE_STOP"}}})",
     "registry.HKLM\\A.deniedAccess: not a right such as WRITE_DAC"},
    {R"({"files": {"C:\\a": {"access": [{"trustee": "Users", "mask": ["DELETE", 2]}]}}})",
     "files.C:\\a.access[0].mask[1]: not a text"},
    {R"({"files": {"C:\\a": {"access": [{"trustee": "users"}]}}})",
     "files.C:\\a.access[0].trustee: neither a SID such as S-1-5-32-544 nor an account such as Administrators"},
    {R"({"files": {"C:\\a": {"access": [{"trustee": "Users", "inheritance": "INHERITED_ACE"}]}}})",
     "files.C:\\a.access[0].inheritance: not a flag such as CONTAINER_INHERIT_ACE"},
    {R"({"files": {"C:\\a": {"attributes": "READONLY"}}})",
     "files.C:\\a.attributes: not an attribute such as FILE_ATTRIBUTE_READONLY"},
    {R"({"services": {"S": {"deniedAccess": ["SERVICE_START", "KEY_READ"]}}})",
     "services.S.deniedAccess[1]: not a right such as SERVICE_START"},
    {R"({"services": {"S": {"controlsAccepted": "stop"}}})",
     "services.S.controlsAccepted: not a control such as SERVICE_ACCEPT_STOP"},
    {R"({"services": {"S": {"onStart": {"error": "E_FAIL"}}}})",
     "services.S.onStart.error: not an error such as ERROR_ACCESS_DENIED"},
    {R"({"processes": [{"count": 65537}]})", "processes[0]: count is more than 65536"},
    {R"({"processes": [{"deniedAccess": "SERVICE_STOP"}]})",
     "processes[0].deniedAccess: not a right such as PROCESS_TERMINATE"},
};

constexpr WrongDescription kWrongFaults[] = {
    {R"({"faults": "OpenServiceW=5"})", "faults: not a list"},
    {R"({"faults": ["OpenServiceW=5", "OpenServiceW"]})",
     "faults[1]: fault \"OpenServiceW\": no error given; write CALL[#N]=ERROR"},
    {R"({"faults": ["OpenService=5"]})",
     "faults[0]: fault \"OpenService=5\": the simulated machine has no call OpenService; there is OpenServiceW"},
    {R"({"programs": {"C:\\a.exe": {"runs": [{"effects": {"faults": []}}]}}})",
     "programs.C:\\a.exe.runs[0].effects: faults: failures are planned before a run, and are no effect"},
};

constexpr WrongDescription kVainNulls[] = {
    {R"({"files": {"C:\\none": null}})", "files.C:\\none: null, but there is nothing to remove"},
    {R"({"services": {"tbs": null}})", "services.tbs: null, but there is nothing to remove"},
    {R"({"registry": {"HKLM\\A": {"values": {"V": null}}}})",
     "registry.HKLM\\A.values.V: null, but there is nothing to remove"},
    {R"({"windos": null})", "windos: null, but there is nothing to remove"},
};

constexpr WrongDescription kWrongPrivileges[] = {
    {R"({"token": {"privileges": ["SeDebugPrivilege", "SeDebug"]}})",
     "token.privileges[1]: not a privilege such as SeTakeOwnershipPrivilege"},
    {R"({"token": {"privileges": ["SeDebugPrivilege"], "enabled": ["SeBackupPrivilege"]}})",
     "token.enabled[0]: not one of the token's privileges"},
    {R"({"token": {"enabled": ["SeDebugPrivilege", "SeTcbPrivilege"]}})",
     "token.enabled[1]: not one of the token's privileges"},
};

constexpr WrongDescription kWrongEffects[] = {
    {R"({"programs": {"C:\\a.exe": {"runs": [{}, {"effects": {"windows": {"build": "x"}}}]}}})",
     "programs.C:\\a.exe.runs[1].effects: windows.build: not a number"},
    {R"({"libraries": {"C:\\a.dll": {"exports": {"F": {"effects": {"programs":
         {"C:\\a.exe": {"runs": [{"effects": {"servces": {}}}]}}}}}}}})",
     "libraries.C:\\a.dll.exports.F.effects: programs.C:\\a.exe.runs[0].effects: servces: unknown key"},
};

INSTANTIATE_TEST_SUITE_P(WrongNames, DescriptionErrors, testing::ValuesIn(kWrongNames));
INSTANTIATE_TEST_SUITE_P(WrongFaults, DescriptionErrors, testing::ValuesIn(kWrongFaults));
INSTANTIATE_TEST_SUITE_P(VainNulls, DescriptionErrors, testing::ValuesIn(kVainNulls));
INSTANTIATE_TEST_SUITE_P(WrongPrivileges, DescriptionErrors, testing::ValuesIn(kWrongPrivileges));
INSTANTIATE_TEST_SUITE_P(WrongEffects, DescriptionErrors, testing::ValuesIn(kWrongEffects));
INSTANTIATE_TEST_SUITE_P(WrongTypes, DescriptionErrors, testing::ValuesIn(kWrongTypes));
INSTANTIATE_TEST_SUITE_P(UnknownKeys, DescriptionErrors, testing::ValuesIn(kUnknownKeys));
INSTANTIATE_TEST_SUITE_P(WrongValues, DescriptionErrors, testing::ValuesIn(kWrongValues));

// Without a list of enabled privileges, those are enabled that are enabled on a plain machine and present on this one.
TEST(Description, PrivilegesThatAreTakenAwayAreNotEnabled)
{
    const Machine machine = MachineOf(R"({"token": {"privileges": ["SeChangeNotifyPrivilege", "SeDebugPrivilege"]}})");
    EXPECT_THAT(machine.token.enabled, ElementsAre("SeChangeNotifyPrivilege"));
}

// Windows' names stand for their numbers, alone or in a list.
TEST(Description, NamesMeanTheirNumbers)
{
    EXPECT_EQ(MachineOf(R"({
        "registry": {"HKLM\\A": {"owner": "TrustedInstaller", "deniedAccess": "KEY_SET_VALUE", "access": [
            {"trustee": "Administrators", "mask": ["KEY_READ", "WRITE_OWNER"], "inheritance": "CONTAINER_INHERIT_ACE"}]}},
        "files": {"C:\\a": {"attributes": ["FILE_ATTRIBUTE_READONLY", "FILE_ATTRIBUTE_HIDDEN"], "access": [
            {"trustee": "Users", "mask": "FILE_GENERIC_READ", "inheritance": ["OBJECT_INHERIT_ACE", "INHERIT_ONLY_ACE"]}]}},
        "libraries": {"C:\\b.dll": {"loadError": "ERROR_MOD_NOT_FOUND"}},
        "token": {"user": "LocalSystem", "groups": ["Administrators", "Everyone"]},
        "services": {"S": {"deniedAccess": ["SERVICE_STOP", "DELETE"], "state": "running", "controlsAccepted": [],
                           "exitCode": "ERROR_SERVICE_SPECIFIC_ERROR", "onStart": {"error": "ERROR_SERVICE_DISABLED"}}},
        "processes": [{"deniedAccess": "PROCESS_TERMINATE", "terminateError": "ERROR_ACCESS_DENIED"}],
        "programs": {"C:\\c.exe": {"runs": [{"startError": "ERROR_ELEVATION_REQUIRED"}]}},
        "installer": {"properties": {"P": {"error": "ERROR_MORE_DATA"}}},
        "faults": ["OpenServiceW=ERROR_ACCESS_DENIED"]
    })"),
              MachineOf(R"({
        "registry": {"HKLM\\A": {"owner": "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",
            "deniedAccess": 2, "access": [{"trustee": "S-1-5-32-544", "mask": 655385, "inheritance": 2}]}},
        "files": {"C:\\a": {"attributes": 3, "access": [
            {"trustee": "S-1-5-32-545", "mask": 1179785, "inheritance": 9}]}},
        "libraries": {"C:\\b.dll": {"loadError": 126}},
        "token": {"user": "S-1-5-18", "groups": ["S-1-5-32-544", "S-1-1-0"]},
        "services": {"S": {"deniedAccess": 65568, "state": "running", "controlsAccepted": 0, "exitCode": 1066,
                           "onStart": {"error": 1058}}},
        "processes": [{"deniedAccess": 1, "terminateError": 5}],
        "programs": {"C:\\c.exe": {"runs": [{"startError": 740}]}},
        "installer": {"properties": {"P": {"error": 234}}},
        "faults": ["OpenServiceW=5"]
    })"));
}

// The error in a text.
std::string ErrorOfText(const std::string& text)
{
    return ErrorIn([&] { return winsim::ParseDescription(text).dump(); });
}

TEST(DescriptionText, MayHaveComments)
{
    EXPECT_EQ(ErrorOfText("// one\n{ /* two\n lines */ \"a\": \"// text /*\" // three\n}\n// four"),
              R"({"a":"// text /*"})");
}

TEST(DescriptionText, ThatIsNotJsonIsRefusedByLineAndColumn)
{
    EXPECT_THAT(ErrorOfText("// one\n{ /* two\n lines */ \"a\": tru\n}"),
                testing::StartsWith("not JSON: line 3, column 18: syntax error while parsing value - invalid literal"));
    EXPECT_THAT(ErrorOfText("{\n  \"a\": 1,\n}"), testing::StartsWith("not JSON: line 3, column 1: "));
    EXPECT_THAT(ErrorOfText("[1,\n 2,\n  3\n\n"), testing::StartsWith("not JSON: line 3, column 3: "));
    EXPECT_THAT(ErrorOfText("[\"missing closing '*/'"), testing::StartsWith("not JSON: line 1, column 22: "));
    EXPECT_THAT(ErrorOfText(""), testing::StartsWith("not JSON: line 1, column 1: "));
    EXPECT_EQ(ErrorOfText("{\n  \"a\": 1, /* two\n lines\n}\n"),
              "not JSON: line 2, column 11: a comment without an end");
}

TEST(DescriptionText, WithANumberThatIsTooLargeIsRefused)
{
    EXPECT_EQ(ErrorOfText(R"({"title": 1e444})"), "a number is too large: '1e444'");
    EXPECT_EQ(ErrorOfText("-1e444m"), "a number is too large: '-1e444'");
}

// A text in which objects have duplicate keys.
TEST(DescriptionText, WithAKeyTwiceIsRefusedByPath)
{
    struct Case
    {
        const char* text;
        const char* error;
    };
    for (const Case& c :
         {Case{R"({"title": "a", "title": "a"})", "title: this key is there twice"},
          Case{R"({"files": {"C:\\a": {}, "C:\\b": {}, "C:\\a": {}}})", "files.C:\\a: this key is there twice"},
          Case{R"({"events": [{}, {"strings": ["a", ["b"]], "id": 1, "id": 1}]})",
               "events[1].id: this key is there twice"},
          Case{R"([[1], {}, {"a": {"b": [], "c": {"d": 1}, "b": 2}}])", "[2].a.b: this key is there twice"}})
        EXPECT_EQ(ErrorOfText(c.text), c.error);
    EXPECT_EQ(winsim::ParseDescription(R"({"a": [{"b": 1}, {"b": 2}], "b": {"a": 3}})"),
              Json::parse(R"({"a": [{"b": 1}, {"b": 2}], "b": {"a": 3}})"));
}

TEST(Comparison, OfEqualMachinesFindsNothing)
{
    EXPECT_THAT(ChangesBetween(RichMachine(), RichMachine()), IsEmpty());
}

TEST(Comparison, LeavesClockAndTitleOut)
{
    Machine after = MachineOf("{}");
    after.clock.Advance(1000);
    after.title = "another";
    EXPECT_THAT(ChangesBetween(MachineOf("{}"), after), IsEmpty());
}

TEST(Comparison, NamesRegistryKeysAndValues)
{
    const Machine before =
        MachineOf(R"({"registry": {"HKLM\\A": {"values": {"": "d", "Old": 1, "Kept": 2, "V": 3}}}})");
    const Machine after = MachineOf(R"({"registry": {"HKLM\\A": {"values": {"": "e", "Kept": 2, "V": "3"}},
                                                     "HKLM\\A\\B": {"values": {"New": 4}}}})");
    EXPECT_THAT(
        ChangesBetween(before, after),
        ElementsAre(R"({"area":"registry","kind":"changed","item":"HKLM\\A [(default)]","before":"d","after":"e"})",
                    R"({"area":"registry","kind":"removed","item":"HKLM\\A [Old]","before":1,"after":null})",
                    R"({"area":"registry","kind":"changed","item":"HKLM\\A [V]","before":3,"after":"3"})",
                    R"({"area":"registry","kind":"added","item":"HKLM\\A\\B","before":null,"after":{}})",
                    R"({"area":"registry","kind":"added","item":"HKLM\\A\\B [New]","before":null,"after":4})"));
}

class DescriptionFiles : public OwnFolder
{};

TEST_F(DescriptionFiles, AreReadAsWritten)
{
    EXPECT_EQ(Machine::FromFile(Write("rich.json", RichMachine().ToJson().dump(2))), RichMachine());
}

TEST_F(DescriptionFiles, ThatAreMissingOrNoJsonAreNamed)
{
    for (const std::string& path : {Write("half.json", "{"), Path("missing.json")})
        EXPECT_THAT(ErrorOfFile(path), testing::StartsWith(path + ": "));
}

TEST_F(DescriptionFiles, MachineLikeAnotherDiffersFromThatOneOnly)
{
    Write("plain.json", R"({"title": "first", "windows": {"version": "6.1", "build": 7601},
                            "registry": {"HKLM\\A": {"values": {"V": 1}}}, "folders": {"programFiles": null}})");
    Write("middle.json", R"({"like": "plain.json", "windows": {"build": 7600}, "registry": {"HKLM\\A": null}})");
    const Machine machine = Machine::FromFile(Write("last.json", R"({"like": "middle.json", "title": "last"})"));
    EXPECT_EQ(machine, MachineOf(R"({"title": "last", "windows": {"version": "6.1", "build": 7600},
                                     "folders": {"programFiles": null}})"));
}

TEST_F(DescriptionFiles, TextIsLikeAFileOfTheFolder)
{
    const std::string model = Write("model.json", R"({"windows": {"version": "6.1"}})");
    const std::string folder = model.substr(0, model.rfind('/'));
    EXPECT_EQ(Machine::FromText(R"({"like": "model.json", "title": "last"})", folder),
              MachineOf(R"({"title": "last", "windows": {"version": "6.1"}})"));
    EXPECT_THROW(Machine::FromText(R"({"like": "model.json"})", folder + "/none"), winsim::DescriptionError);
    EXPECT_THROW(Machine::FromText("nonsense", folder), winsim::DescriptionError);
}

TEST_F(DescriptionFiles, LikeMustNameFilesThatLeadToAnEnd)
{
    const std::string number = Write("number.json", R"({"like": 1})");
    EXPECT_EQ(ErrorOfFile(number), number + ": like: not a text");
    const std::string circle = Write("circle.json", R"({"like": "circle.json"})");
    EXPECT_EQ(ErrorOfFile(circle), circle + ": like: too many files that are like each other");
    const std::string alone = Write("alone.json", R"({"like": "missing.json"})");
    EXPECT_EQ(ErrorOfFile(alone), alone + ": like: missing.json cannot be read");
}

TEST_F(DescriptionFiles, ErrorsNameTheFileThatTheyStandIn)
{
    const std::string model = Write("model.json", R"({"windows": {"build": "x"}})");
    EXPECT_EQ(ErrorOfFile(Write("last.json", R"({"like": "model.json"})")), model + ": windows.build: not a number");
    Write("model.json", R"({"windows": {"build": 1}})");
    const std::string last = Write("last.json", R"({"like": "model.json", "folders": {"home": null}})");
    EXPECT_EQ(ErrorOfFile(last), last + ": folders.home: null, but there is nothing to remove");
    EXPECT_EQ(ErrorOfFile(Write("empty.json", "")).find(last.substr(0, last.rfind('/')) + "/empty.json: not JSON: "),
              0u);
    const std::string folder = last.substr(0, last.rfind('/'));
    EXPECT_EQ(ErrorOfFile(folder), folder + ": cannot be read");
}

TEST(Comparison, NamesFilesAndEvents)
{
    const Machine before = MachineOf(R"({"files": {"C:\\a": {"text": "1"}, "C:\\b": {}}})");
    const Machine after = MachineOf(R"({"files": {"C:\\a": {"text": "12"}, "C:\\c": {"directory": true}},
                                        "events": [{"source": "Kelo", "id": 7}]})");
    EXPECT_THAT(
        ChangesBetween(before, after),
        ElementsAre(R"({"area":"files","kind":"changed","item":"C:\\a","before":{"text":"1"},"after":{"text":"12"}})",
                    R"({"area":"files","kind":"removed","item":"C:\\b","before":{},"after":null})",
                    R"({"area":"files","kind":"added","item":"C:\\c","before":null,"after":{"directory":true}})",
                    R"({"area":"events","kind":"added","item":"#1","before":null,"after":)"
                    R"({"source":"Kelo","type":0,"category":0,"id":7,"strings":[]}})"));
}

} // namespace
