// Lists the allowances, each with its reason.
#include "tests/faults/allowances.h"

#include "winsim/base/text.h"

#include "winsim_types.h"

#include <algorithm>
#include <set>

namespace
{

using winsim::CallRecord;
using winsim::Change;

// ---- Changes

struct DocumentedChange
{
    const char* area;
    std::vector<const char*> items; // in any letter case; a final "*" stands for any ending
};

const std::vector<DocumentedChange> kChanges = {
    {"registry",
     {
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)", // its access list, and its values:
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [13])",
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [16])",
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [20])",
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [22])",
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [62])",
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [125])",
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [200])",
         R"(HKLM\SOFTWARE\Kelo Systems Corp\Common [KlVSC Installed])",
         R"(HKLM\SOFTWARE\Kelo Systems Corp.)",
         R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer)",
         R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer [(default)])",
         R"(HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent)",
         R"(HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI)",
         R"(HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI [PassthroughCSP])",
         R"(HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run [ChangeTPMAuth])",
     }},
    {"files",
     {
         R"(C:\ProgramData\Kelo Systems Corp)",
         R"(C:\ProgramData\Kelo Systems Corp\InstallLogs)",
         R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit)",
         R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\kelo_install_log.txt)",
         R"(C:\ProgramData\Kelo Systems Corp\Common)",
         R"(C:\ProgramData\Kelo Systems Corp\Common\policies)",
         R"(C:\ProgramData\Kelo Systems Corp\Common\Kelo_Config.ini)",
         // Without the application data folder, the paths below it begin at the root of the current drive.
         R"(C:\Kelo Systems Corp)",
         R"(C:\Kelo Systems Corp\Common)",
         R"(C:\Kelo Systems Corp\Common\policies)",
         R"(C:\Kelo Systems Corp\Common\Kelo_Config.ini)",
         R"(C:\Windows\system32\TSP1_x64.dll)",
         R"(C:\Windows\system32\Tspi_x64.dll)",
         R"(C:\Windows\system32\Tsp1.bak)",
         R"(C:\Windows\system32\Tspi.bak)",
         R"(C:\Windows\system32\stkprobe.dll)",
         R"(C:\Windows\system32\stkprobe.bk1)",
         R"(C:\Windows\system32\KeloVReaderBody.dll)",
         R"(C:\Windows\system32\KeloMiniDriverBody64.dll)",
         R"(C:\Windows\SysWOW64\KeloMiniDriverBody.dll)",
         // If finding the system folder fails with another error than E_FAIL, the program goes on as if it had
         // succeeded, and looks for these at the drive's root.
         R"(C:\TSP1_x64.dll)",
         R"(C:\TSPI_x64.dll)",
     }},
    {"libraries", {R"(C:\Windows\system32\stkprobe.dll)", R"(C:\Windows\system32\stkprobe.bk1)"}},
    {"services", {"KlPCR", "TBS", "tcsd_x86", "tcsd_win32.exe", "IFXTCS", "CertPropSvc", "SCardSvr"}},
    {"cng", {"providers", "contextFunctions"}},
    {"smartCards", {"readers"}}, // by the device installer
    {"wmi", {"autoProvisioning"}},
    {"token", {"enabled"}}, // disappears with the process
    {"events", {"*"}},
};

// The files that may be moved at the next start of Windows, and their destinations; without a destination the file is
// deleted.
struct DocumentedMove
{
    const char* from;
    const char* to;
};

constexpr DocumentedMove kMoves[] = {
    {R"(C:\Program Files\Kelo Systems Corp\Toolkit\TPM_VSCard\KeloVReaderBody.dll)",
     R"(C:\Windows\system32\KeloVReaderBody.dll)"},
    {R"(C:\Windows\system32\KeloVReaderBody.dll)", ""},
    {R"(C:\Windows\system32\KeloMiniDriverBody64.dll)", ""},
};

// Processes that an earlier installation may have left running.
constexpr const char* kEndedProcesses[] = {"PatchAgent.exe", "VaultCourier.exe"};

bool Fits(const std::string& text, const std::string& pattern)
{
    const std::string folded = winsim::FoldCase(text);
    const std::string foldedPattern = winsim::FoldCase(pattern);
    if (!pattern.ends_with('*'))
        return folded == foldedPattern;
    return folded.starts_with(foldedPattern.substr(0, foldedPattern.size() - 1));
}

template <typename Patterns>
bool FitsAny(const std::string& text, const Patterns& patterns)
{
    return std::any_of(std::begin(patterns), std::end(patterns),
                       [&](const char* pattern) { return Fits(text, pattern); });
}

bool IsDocumentedMove(const Change& change)
{
    return change.kind == "added" && std::any_of(std::begin(kMoves), std::end(kMoves), [&](const DocumentedMove& move) {
               return Fits(change.after["from"].get<std::string>(), move.from) &&
                      Fits(change.after.value("to", ""), move.to);
           });
}

// ---- Silence

// A failing call that adds no line to the log. Members that are left out match anything.
struct Silence
{
    const char* reason;
    std::vector<const char*> calls;
    std::vector<const char*> steps = {};
    const char* argument = nullptr; // in the call's parameters
    bool isOfNothing = false;       // only for a call that succeeds and returns nothing
    std::vector<std::uint32_t> errors = {};
    std::vector<const char*> lines = {}; // beginnings: such a line follows the call, also when it does not fail
};

const std::vector<Silence> kSilences = {
    {"nothing is left to be done about it",
     {"CloseHandle", "CloseServiceHandle", "RegCloseKey", "FreeLibrary", "LocalFree", "SCardReleaseContext",
      "DeregisterEventSource", "SetDllDirectoryW", "printf"}},
    {"without a protection that Windows lacks the process goes on",
     {"LoadLibraryA", "GetProcAddress", "SetProcessMitigationPolicy"},
     {""}},
    {"a path that Windows cannot tell is no link", {"GetFinalPathNameByHandleW"}},
    {.reason = "nor is one that it has no function to tell", .calls = {"LoadLibraryA"}, .argument = "kernel32.dll"},
    {.reason = "the same", .calls = {"GetProcAddress"}, .argument = "GetFinalPathNameByHandleW"},
    {"a part of a path that cannot be opened or looked at is tried again before it is used",
     {"CreateFileW", "GetFileInformationByHandle"},
     {"policy access"}},
    {"a directory that is missing is left to the copy to find out", {"CreateFileW"}, {"library copy"}},
    {"a program that cannot be seen is not there", {"GetFileAttributesW"}, {"SRK authorization"}},
    {"a text that cannot be converted is empty", {"WideCharToMultiByte", "MultiByteToWideChar"}},
    {"a version that is asked for twice", {"GetVersionExA"}},
    {.reason = "a version that cannot be asked for is an older one",
     .calls = {"VerifyVersionInfoW"},
     .lines = {"Kelo KSPs will not be installed", "Target system is not Win8+", "This is a XP system!"}},
    {"an older version has other dependencies, and messages of other kinds",
     {"VerifyVersionInfoW"},
     {"toolkit service", "stack set-up's end"}},
    {"a process that cannot be looked at is not the one that is looked for",
     {"EnumProcesses", "OpenProcess", "EnumProcessModules", "GetModuleBaseNameA"}},
    {"without a COM apartment the steps are tried all the same", {"CoInitializeEx"}},

    // A value that cannot be read from the registry counts as absent.
    {"a common key that cannot be opened is passed over",
     {"RegOpenKeyExA"},
     {"options"},
     "Kelo Systems Corp\\\\Common"},

    {.reason = "a value that cannot be read is not there",
     .calls = {"RegQueryValueExA"},
     .steps = {"options"},
     .argument = "KlVSC Installed",
     .lines = {"VSC was not previously fully installed"}},
    {.reason = "a key that cannot be opened is not there",
     .calls = {"RegOpenKeyExA"},
     .steps = {"auto-enrollment tasks"},
     .argument = "Kelo Systems Corp\\\\Common",
     .lines = {"*** InstallAutoEnrollmentTasks(): Failed"}},

    {"the switch of automatic provisioning is a service to the user and speaks of nothing",
     {"SysAllocString", "CoCreateInstance", "IWbemLocator::ConnectServer", "CoSetProxyBlanket",
      "IWbemServices::GetObject", "IWbemClassObject::GetMethod", "IWbemClassObject::SpawnInstance",
      "IWbemClassObject::Put", "IWbemServices::ExecMethod"},
     {"automatic provisioning"}},

    {"the CryptoAPI defaults are set without a word",
     {"RegOpenKeyExA", "RegCreateKeyExA", "RegSetValueExA"},
     {"provider defaults"}},

    {"the result message has no log",
     {"LoadLibraryA", "GetProcAddress", "GetModuleFileNameA", "GetSystemDirectoryA", "GetLocaleInfoA", "LoadStringA",
      "FormatMessageA", "RegCreateKeyExA", "RegSetValueExA"},
     {"stack set-up's end"}},

    {"a file without attributes is handled as one that cannot be deleted", {"GetFileAttributesA"}},
    {.reason = "a file that is not there need not be deleted",
     .calls = {"DeleteFileA"},
     .argument = ".bak",
     .errors = {ERROR_FILE_NOT_FOUND}},
    {"the first of two places for the library", {"GetFileAttributesW"}, {"default stack"}, "bin\\\\TSP1_x64.dll"},
    {"a version that cannot be read is not the updated one", {"GetFileVersionInfoW"}, {"default stack"}},
    {"a shim that cannot be seen is not there", {"GetFileAttributesW"}, {"default stack"}, "system32\\\\TSP1_x64.dll"},
    {.reason = "when a folder cannot be found, only E_FAIL counts as a failure",
     .calls = {"SHGetFolderPathW"},
     .steps = {"default stack"},
     .argument = "\"csidl\":37",
     .lines = {"CopyTSP1FileImp - Exit - return 0"}},
    {.reason = "the log has the state that the event was to report",
     .calls = {"RegisterEventSourceW", "ReportEventW"},
     .lines = {"<-- SetupTCGDLL()"}},
    {"a TSP1 shim that stays is not looked at again", {"DeleteFileW"}, {"default stack"}},
    {"without the variable Windows is asked for its folder", {"GetEnvironmentVariableA"}, {"library copy"}},

    {"commands that are not blocked are passed over", {"RegOpenKeyExW", "RegDeleteValueW"}, {"command unblocking"}},

    {.reason = "a path that is not there yet is made",
     .calls = {"GetNamedSecurityInfoW"},
     .steps = {"policy access"},
     .argument = "Kelo Systems Corp",
     .errors = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND}},
    {.reason = "what is denied is tried again by the owner",
     .calls = {"SetNamedSecurityInfoW"},
     .steps = {"command unblocking"},
     .argument = "BlockedCommands",
     .errors = {ERROR_ACCESS_DENIED}},

    {"whether a service runs is only a question",
     {"OpenServiceW"},
     {"command unblocking", "probe library"},
     "\"dwDesiredAccess\":4}"},
    {"which stacks there are is only a question", {"OpenServiceW"}, {"probe library"}, "\"dwDesiredAccess\":21}"},
    {"where a service's program lies is only a question",
     {"OpenServiceW"},
     {"default stack"},
     "\"dwDesiredAccess\":1}"},
    {"and so is what comes of it", {"QueryServiceConfigW", "LocalAlloc"}, {"default stack"}},
    {"the service manager is opened without a line only for these questions",
     {"OpenSCManagerW"},
     {"probe library", "default stack"}},
    {.reason = "a service that cannot be opened is logged like one that is not there",
     .calls = {"OpenServiceW"},
     .argument = "\"dwDesiredAccess\":52",
     .lines = {"Cannot open service: ", "Service "}},
    {"the start of a stack that was stopped before",
     {"OpenServiceW"},
     {"command unblocking", "restart of the stack"},
     R"("tcsd_win32.exe","dwDesiredAccess":52)"},
    {.reason = "the line of a service that cannot be stopped has no reason in it",
     .calls = {"ControlService"},
     .steps = {"command unblocking", "restart of the stack"},
     .lines = {"Cannot stop "}},
    {"the state that follows decides, not the control", {"ControlService"}, {"toolkit service"}},
    {"the description is a nicety", {"ChangeServiceConfig2W"}, {"toolkit service"}},
    {"whether the service's own program started is not checked",
     {"CreateProcessW", "WaitForSingleObject"},
     {"toolkit service"}},

    {"the two card services are put right without a word",
     {"OpenSCManagerW", "OpenServiceW", "QueryServiceConfigW", "QueryServiceStatusEx"},
     {"virtual smart card"}},
    {"a list without readers holds none", {"SCardListReadersW"}, {"virtual smart card"}, nullptr, true},
    {"the line of the ended program shows a code of its own",
     {"GetExitCodeProcess", "WaitForSingleObject"},
     {"virtual smart card"}},

    {"the note for the next set-up is written without a word",
     {"RegOpenKeyExA", "RegSetValueExA", "RegDeleteValueA"},
     {"virtual smart card"}},
    {.reason = "a file that is not there need not be deleted",
     .calls = {"DeleteFileW"},
     .steps = {"virtual smart card"},
     .errors = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND}},
    {.reason = "a file that is in use as ever",
     .calls = {"DeleteFileW"},
     .steps = {"virtual smart card"},
     .argument = "KeloVReaderBody.dll",
     .lines = {"Remove SmartCard - couldn't directly delete"}},
    {"the line before says that the file will be deleted later",
     {"MoveFileExW"},
     {"virtual smart card"},
     R"("lpNewFileName":null)"},
    {.reason = "a file that cannot be moved as ever",
     .calls = {"MoveFileExW"},
     .steps = {"virtual smart card"},
     .lines = {"Install SmartCard - Kelo TPM Virtual smart card not installed!!"}},

    // The entry point.
    {"the result tells the installer", {"MsiGetPropertyW"}, {"SRK authorization"}},
    {.reason = "a program that cannot be started is one that is not there",
     .calls = {"CreateProcessW", "SHGetFolderPathW"},
     .steps = {"SRK authorization"},
     .lines = {"Unable to launch process!"}},
    {"the value for the next log-on is a service to the user",
     {"RegSetValueExA"},
     {"SRK authorization"},
     "ChangeTPMAuth"},
};

bool Fits(const Silence& silence, const CallRecord& failed, const std::string& step,
          const std::vector<std::string>& linesAfter)
{
    const auto isAmong = [](const auto& all, const auto& one) {
        return all.empty() || std::find(all.begin(), all.end(), one) != all.end();
    };
    const auto isLogged = [&](const char* beginning) {
        return std::any_of(linesAfter.begin(), linesAfter.end(),
                           [&](const std::string& line) { return line.starts_with(beginning); });
    };
    return isAmong(silence.calls, failed.name) && isAmong(silence.steps, step) &&
           (silence.argument == nullptr || failed.in.dump().find(silence.argument) != std::string::npos) &&
           (!silence.isOfNothing || failed.error == 0) && isAmong(silence.errors, failed.error) &&
           (silence.lines.empty() || std::any_of(silence.lines.begin(), silence.lines.end(), isLogged));
}

} // namespace

bool IsDocumented(const Change& change)
{
    if (change.area == "pendingMoves")
        return IsDocumentedMove(change);
    return std::any_of(kChanges.begin(), kChanges.end(), [&](const DocumentedChange& documented) {
        return change.area == documented.area && FitsAny(change.item, documented.items);
    });
}

bool AreOnlyLeftOversEnded(const winsim::Machine& before, const winsim::Machine& after)
{
    std::set<std::uint32_t> alive;
    for (const winsim::RunningProcess& process : after.processes.All())
        alive.insert(process.id);
    return std::all_of(before.processes.All().begin(), before.processes.All().end(),
                       [&](const winsim::RunningProcess& process) {
                           return alive.contains(process.id) || FitsAny(process.name, kEndedProcesses);
                       });
}

bool PassesInSilence(const CallRecord& failed, const std::string& step, const std::vector<std::string>& linesAfter)
{
    return std::any_of(kSilences.begin(), kSilences.end(),
                       [&](const Silence& silence) { return Fits(silence, failed, step, linesAfter); });
}

// The stop by name waits without a limit for a service that accepted the control and keeps running.
bool MayWaitForEver(const CallRecord& failed, const std::string& step)
{
    return failed.name == "ControlService" && failed.result != 0 && step != "toolkit service";
}
