// Lists the allowances, each with its reason.
#include "tests/faults/allowances.h"

#include "winsim/core/text.h"

#include <algorithm>
#include <set>

namespace
{

using winsim::CallRecord;
using winsim::Change;
using winsim::Json;

// ---- Changes

struct DocumentedChange
{
    const char* area;
    std::vector<const char*> items; // in any letter case; one that ends in "*" stands for all that begin so
};

const std::vector<DocumentedChange> kChanges = {
    {"registry",
     {
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)", // its access list, and its values:
         R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List [*)",
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
         R"(C:\Windows\system32\TSP1_x64.dll)",
         R"(C:\Windows\system32\Tspi_x64.dll)",
         R"(C:\Windows\system32\Tsp1.bak)",
         R"(C:\Windows\system32\Tspi.bak)",
         R"(C:\Windows\system32\stkprobe.dll)",
         R"(C:\Windows\system32\stkprobe.bk1)",
         R"(C:\Windows\system32\KeloVReaderBody.dll)",
         R"(C:\Windows\system32\KeloMiniDriverBody64.dll)",
         R"(C:\Windows\SysWOW64\KeloMiniDriverBody.dll)",
         // A system folder that nobody can name, for another reason than E_FAIL, counts as named: these are then
         // looked for at the drive's root.
         R"(C:\TSP1_x64.dll)",
         R"(C:\TSPI_x64.dll)",
     }},
    {"libraries", {R"(C:\Windows\system32\stkprobe.dll)", R"(C:\Windows\system32\stkprobe.bk1)"}},
    {"services", {"KlPCR", "TBS", "tcsd_x86", "tcsd_win32.exe", "IFXTCS", "CertPropSvc", "SCardSvr"}},
    {"cng", {"providers", "contextFunctions"}},
    {"smartCards", {"readers"}}, // by the device installer
    {"wmi", {"autoProvisioning"}},
    {"token", {"enabled"}}, // gone with the process
    {"events", {"*"}},
};

// What may be moved or deleted when Windows starts the next time.
constexpr const char* kLaterMoved[] = {
    R"(C:\Windows\system32\KeloVReaderBody.dll)",
    R"(C:\Windows\system32\KeloMiniDriverBody64.dll)",
    R"(C:\Windows\SysWOW64\KeloMiniDriverBody.dll)",
    R"(C:\Program Files\Kelo Systems Corp\Toolkit\TPM_VSCard\*)",
};

// Processes that an earlier installation can have left behind.
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
    if (change.kind != "added")
        return false;
    const std::string to = change.after.value("to", "");
    return FitsAny(change.after["from"].get<std::string>(), kLaterMoved) && (to.empty() || FitsAny(to, kLaterMoved));
}

// ---- Silence

struct Silence
{
    const char* reason;
    std::vector<const char*> calls;
    std::vector<const char*> steps = {}; // any, when none is given
    const char* argument = nullptr;      // in the call's parameters; any
    bool isOfNothing = false;            // of a call that succeeds with nothing alone
};

const std::vector<Silence> kSilences = {
    {"nothing is left to be done about it",
     {"CloseHandle", "CloseServiceHandle", "RegCloseKey", "FreeLibrary", "LocalFree", "SCardReleaseContext",
      "SetDllDirectoryW", "printf"}},
    {"a text that cannot be converted is empty", {"WideCharToMultiByte", "MultiByteToWideChar"}},
    {"a version that cannot be asked for is an older one", {"VerifyVersionInfoW", "GetVersionExA"}},
    {"a process that cannot be looked at is not the one that is looked for",
     {"EnumProcesses", "OpenProcess", "EnumProcessModules", "GetModuleBaseNameA"}},
    {"without a COM apartment the steps are tried all the same", {"CoInitializeEx"}},

    // What the registry does not tell is taken to be absent.
    {"a common key that cannot be opened is passed over",
     {"RegOpenKeyExA"},
     {"options"},
     "Kelo Systems Corp\\\\Common"},
    {"a value that cannot be read leaves the line of one that is not there",
     {"RegQueryValueExA"},
     {"options"},
     "KlVSC Installed"},
    {"the line is the one of a value that is not there",
     {"RegOpenKeyExA"},
     {"auto-enrollment tasks"},
     "Kelo Systems Corp\\\\Common"},

    {"an existing registration is passed over", {"BCryptRegisterProvider"}, {"key storage providers"}},
    {"a provider without a context function leaves the same line",
     {"BCryptRemoveContextFunctionProvider"},
     {"key storage providers"}},

    {"the switch of automatic provisioning is a service to the user and speaks of nothing",
     {"SysAllocString", "CoCreateInstance", "IWbemLocator::ConnectServer", "CoSetProxyBlanket",
      "IWbemServices::GetObject", "IWbemClassObject::GetMethod", "IWbemClassObject::SpawnInstance",
      "IWbemClassObject::Put", "IWbemServices::ExecMethod"},
     {"automatic provisioning"}},

    {"the CryptoAPI defaults are set without a word",
     {"RegOpenKeyExA", "RegCreateKeyExA", "RegSetValueExA"},
     {"provider defaults"}},

    {"the result message has no log",
     {"LoadLibraryA", "GetProcAddress", "GetLocaleInfoA", "LoadStringA", "FormatMessageA", "RegCreateKeyExA",
      "RegSetValueExA"},
     {"stack set-up's end"}},

    {"a file without attributes is handled as one that cannot be deleted", {"GetFileAttributesA"}},
    {"the lines speak of a file that is not there, or of one that cannot be deleted, as it is",
     {"DeleteFileA", "MoveFileA", "CopyFileA"}},
    {"the line is the same for every TSP library that is not there",
     {"GetFileAttributesW"},
     {"probe library"},
     "NTRU TCG Software Stack"},
    {"a TSP1 shim that stays is not looked at again", {"DeleteFileW"}, {"probe library"}},
    {"without the variable Windows is asked for its folder", {"GetEnvironmentVariableA"}, {"library copy"}},

    {"commands that are not blocked are passed over", {"RegOpenKeyExW", "RegDeleteValueW"}, {"stack set-up"}},
    {"a path that is not there yet is made", {"GetNamedSecurityInfoW"}, {"policy access"}, "Kelo Systems Corp"},
    {"the lines are the same after the ownership was taken",
     {"SetNamedSecurityInfoW"},
     {"stack set-up"},
     "BlockedCommands"},

    {"the line of a service that is not found has no reason in it",
     {"OpenServiceW", "OpenSCManagerW"},
     {"stack set-up", "restart of the stack", "probe library"}},
    {"the look-up of a service's program is a question whose failure the asker names",
     {"QueryServiceConfigW", "LocalAlloc"}},
    {"the line of a service that cannot be stopped has no reason in it",
     {"ControlService"},
     {"stack set-up", "restart of the stack"}},
    {"the state that follows decides, not the control", {"ControlService"}, {"toolkit service"}},
    {"the description is a nicety", {"ChangeServiceConfig2W"}, {"toolkit service"}},
    {"the service's own program is not looked after", {"CreateProcessW", "WaitForSingleObject"}, {"toolkit service"}},

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
    {"the lines before say that the file stays for now", {"MoveFileExW"}, {"virtual smart card"}},
    {"a file that is not there needs no deletion", {"DeleteFileW"}, {"virtual smart card"}},

    // The entry point.
    {"the result tells the installer", {"MsiGetPropertyW"}, {""}},
    {"a program that cannot be started is one that is not there", {"CreateProcessW", "SHGetFolderPathW"}, {""}},
    {"the value for the next log-on is a service to the user", {"RegSetValueExA"}, {""}, "ChangeTPMAuth"},
};

bool Fits(const Silence& silence, const CallRecord& failed, const std::string& step)
{
    const auto names = [](const std::vector<const char*>& texts, const std::string& text) {
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    };
    return names(silence.calls, failed.name) && (silence.steps.empty() || names(silence.steps, step)) &&
           (silence.argument == nullptr || failed.in.dump().find(silence.argument) != std::string::npos) &&
           (!silence.isOfNothing || failed.error == 0);
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

bool PassesInSilence(const CallRecord& failed, const std::string& step)
{
    return std::any_of(kSilences.begin(), kSilences.end(),
                       [&](const Silence& silence) { return Fits(silence, failed, step); });
}

// The stop by name waits without a limit for a service that took the control and goes on running.
bool MayWaitForEver(const std::vector<winsim::Fault>& faults)
{
    return std::any_of(faults.begin(), faults.end(),
                       [](const winsim::Fault& fault) { return fault.call == "ControlService" && fault.givesNothing; });
}
