// Proves that calls say so when they are asked for something that the simulated machine does not simulate.
#include "winsim/process/simulation.h"

#include <gmock/gmock.h>

#include <aclapi.h>
#include <functional>
#include <ostream>
#include <string>
#include <windows.h>
#include <winsvc.h>

namespace
{

struct NotSimulatedCase
{
    const char* sentence;
    std::function<void()> call;
};

std::ostream& operator<<(std::ostream& stream, const NotSimulatedCase& c)
{
    return stream << c.sentence;
}

void OpenFileNamed(const char16_t* name, DWORD flags = 0)
{
    CreateFileW(name, GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, flags, nullptr);
}

void Format(DWORD flags, const char* message)
{
    DWORD_PTR inserts[] = {1};
    char text[16];
    FormatMessageA(flags | FORMAT_MESSAGE_ARGUMENT_ARRAY, message, 0, 0, text, sizeof text,
                   reinterpret_cast<va_list*>(inserts));
}

void OpenKey(HKEY key, REGSAM access)
{
    RegOpenKeyExA(key, "Software", 0, access, &key);
}

void Widen(UINT page, DWORD flags)
{
    char16_t text[8];
    MultiByteToWideChar(page, flags, "a", 1, text, 8);
}

const NotSimulatedCase kCases[] = {
    {"winsim does not simulate the device nul.txt", [] { OpenFileNamed(u"C:\\Windows\\nul.txt"); }},
    {"winsim does not simulate the device COM1", [] { OpenFileNamed(u"COM1"); }},
    {"winsim does not simulate the streams of files", [] { OpenFileNamed(u"C:\\Windows\\file:stream"); }},
    {"winsim does not simulate devices other than drives", [] { OpenFileNamed(u"\\\\.\\pipe\\kelo"); }},
    {"CreateFileW does not simulate these flags, templates, or the security of a new file",
     [] { OpenFileNamed(u"C:\\file", FILE_FLAG_DELETE_ON_CLOSE); }},
    {"MoveFileExW does not simulate a move that makes a link or has to be tracked",
     [] { MoveFileExW(u"C:\\a", u"C:\\b", MOVEFILE_CREATE_HARDLINK); }},
    {"RegOpenKeyExA does not simulate HKEY_CLASSES_ROOT and HKEY_USERS", [] { OpenKey(HKEY_CLASSES_ROOT, KEY_READ); }},
    {"RegOpenKeyExA does not simulate the registry's other view (KEY_WOW64_...)",
     [] { OpenKey(HKEY_LOCAL_MACHINE, KEY_READ | 0x200); }},
    {"FormatMessageA does not simulate the messages of Windows and of libraries",
     [] { Format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr); }},
    {"FormatMessageA does not simulate lines of a limited width",
     [] { Format(FORMAT_MESSAGE_FROM_STRING | 40, "text"); }},
    {"FormatMessageA does not simulate the insert's format \"*d\"",
     [] { Format(FORMAT_MESSAGE_FROM_STRING, "%1!*d!"); }},
    {"MultiByteToWideChar does not simulate this code page", [] { Widen(CP_OEMCP, 0); }},
    {"MultiByteToWideChar does not simulate this code page", [] { Widen(850, 0); }},
    {"MultiByteToWideChar does not simulate composing and decomposing characters", [] { Widen(1252, MB_COMPOSITE); }},
    {"OpenSCManagerW does not simulate the services of other machines",
     [] { OpenSCManagerW(u"\\\\other", nullptr, SC_MANAGER_CONNECT); }},
    {"GetNamedSecurityInfoW does not simulate HKEY_CLASSES_ROOT and HKEY_USERS",
     [] {
         PSECURITY_DESCRIPTOR descriptor = nullptr;
         GetNamedSecurityInfoW(u"USERS\\x", SE_REGISTRY_KEY, 0, nullptr, nullptr, nullptr, nullptr, &descriptor);
     }},
};

class EachCallBeyondTheSimulation : public testing::TestWithParam<NotSimulatedCase>
{};

INSTANTIATE_TEST_SUITE_P(Calls, EachCallBeyondTheSimulation, testing::ValuesIn(kCases));

TEST_P(EachCallBeyondTheSimulation, SaysSoOnce)
{
    winsim::Simulation simulation{winsim::Machine::FromJson(winsim::Json::object())};
    GetParam().call();
    EXPECT_NE(simulation.lastError + simulation.gate.records.back().error, 0u);
    GetParam().call();
    EXPECT_THAT(simulation.notSimulated, testing::ElementsAre(GetParam().sentence));
}

TEST(CallBeyondTheSimulation, LeavesTheRegistryOfTheOtherViewToAProcessThatHasIt)
{
    winsim::Simulation simulation{winsim::Machine::FromJson({{"windows", {{"wow64", true}}}})};
    OpenKey(HKEY_LOCAL_MACHINE, KEY_READ | 0x200);
    EXPECT_THAT(simulation.notSimulated, testing::IsEmpty());
}

} // namespace
