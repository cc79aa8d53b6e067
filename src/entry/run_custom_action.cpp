// Runs the steps of each installer phase in order. One step's result decides the exit code; any other step logs its own
// failures, and the sequence goes on.
#include "entry/run_custom_action.h"

#include "enroll/auto_enrollment.h"
#include "entry/install_folder.h"
#include "entry/setup_options.h"
#include "log/module_logs.h"
#include "messages/result_message.h"
#include "providers/ksp_registration.h"
#include "providers/passthrough_csp.h"
#include "service/toolkit_service.h"
#include "smartcard/tpm_smart_card.h"
#include "tpm/auto_provisioning.h"
#include "tss/setup_tcg_dll.h"
#include "windows/com_initializer.h"
#include "windows/text.h"

#include <cstdio>
#include <cwchar>

namespace
{

struct CommandLine
{
    int argc;
    const wchar_t* const* argv;
};

// Required: the minidriver comes before the reader in the installation and in the removal.
void InstallVirtualSmartCard(const std::string& installFolder)
{
    WriteLog(g_entryLog, "Install TPM Virtual Smartcard.... ");
    const std::wstring location = ToWide(installFolder);
    const CTPMSmartCard smartCard;
    smartCard.InstallMiniDrv(location.c_str());
    smartCard.Install(location.c_str());
}

void UninstallVirtualSmartCard(const std::string& installFolder)
{
    const std::wstring location = ToWide(installFolder);
    const CTPMSmartCard smartCard;
    smartCard.UninstallMiniDrv(location.c_str());
    smartCard.Uninstall(location.c_str());
}

int Setup(const CommandLine& commandLine)
{
    const std::string installFolder = InstallFolderOf(commandLine.argv[0]);
    const SetupOptions options = ReadSetupOptions(commandLine.argc, commandLine.argv);
    CKspRegistration().RegisterKsps();
    InstallAutoEnrollmentTasks();
    const CComInitializer com;
    Win8Install(options.disableAutoProvisioning);
    if (options.installVsc)
        InstallVirtualSmartCard(installFolder);
    WriteLog(g_entryLog, "call SetupTCGDLL(%s, %s)", installFolder.c_str(), options.tssVendor.c_str());
    const char* vendor = options.tssVendor.empty() ? nullptr : options.tssVendor.c_str();
    const DWORD result = SetupTCGDLL(installFolder.c_str(), vendor);
    PublishResultMessage(result, 0);
    return static_cast<int>(result);
}

int Commit(const CommandLine&)
{
    const DWORD result = SetPassthroughCsp(0);
    PublishResultMessage(result, 0);
    return static_cast<int>(result);
}

// "/Rollback" and "/Uninstall" are the same.
int Remove(const CommandLine& commandLine)
{
    const std::string installFolder = InstallFolderOf(commandLine.argv[0]);
    const int result = UninstallTCGDLL();
    CKspRegistration().UnregisterKsps();
    UnInstallTkService();
    const CComInitializer com;
    Win8Uninstall();
    RemoveAutoEnrollmentTasks();
    UninstallVirtualSmartCard(installFolder);
    // Required: a removal leaves no message, even if it failed.
    PublishResultMessage(0, 0);
    return result;
}

struct Action
{
    const wchar_t* actionSwitch;
    int (*run)(const CommandLine&);
};

constexpr Action kActions[] = {
    {L"/Setup", &Setup},
    {L"/Commit", &Commit},
    {L"/Rollback", &Remove},
    {L"/Uninstall", &Remove},
};

const Action* FindAction(const wchar_t* actionSwitch)
{
    for (const Action& action : kActions)
    {
        if (std::wcscmp(actionSwitch, action.actionSwitch) == 0)
            return &action;
    }
    return nullptr;
}

} // namespace

int RunCustomAction(int argc, const wchar_t* const* argv)
{
    WriteLog(g_entryLog, "============= Begin-> Kelo CSP (x64) Custom Action ===================");
    WriteLog(g_entryLog, "command line argc: %d", argc);
    if (argc < 2)
        return -1;
    for (int i = 0; i < argc; ++i)
        WriteLog(g_entryLog, "command line argv[%d]: %s", i, ToNarrow(argv[i]).c_str());

    const Action* action = FindAction(argv[1]);
    if (action == nullptr)
    {
        WriteLog(g_entryLog, "invalid command line arg provided");
        return -1;
    }
    const int result = action->run({argc, argv});

    WriteLog(g_entryLog, "============= Kelo CSP Custom Action <-End ===================");
    std::printf("Done!");
    return result == 0 ? 0 : -1;
}
