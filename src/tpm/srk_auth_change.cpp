// Has the SRK tool check and change the SRK authorization.
#include "tpm/srk_auth_change.h"

#include "log/module_logs.h"
#include "tpm/custom_action_data.h"
#include "tpm/run_and_wait.h"
#include "tpm/unquoted_path.h"
#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <shlobj.h>

#include <span>
#include <string>

namespace
{

constexpr wchar_t kToolFolder[] = L"\\Kelo Systems Corp\\Common\\";
constexpr wchar_t kTool[] = L"TpmKeyFixer.exe";

constexpr char kRunKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr char kRunValue[] = "ChangeTPMAuth"; // its name and its text alike

// The installer's options for the change. Any value may hold the password, because a value ends only at " /".
struct ChangeOptions
{
    CSecretText caption;
    CSecretText info;
    CSecretText password;
    CSecretText vendor;
    bool silent;
    bool verify;
};

// The meaning of an exit code of the tool.
struct ToolOutcome
{
    int code;
    LogFormat<> text;
    bool goOn;
};

// Of the check: whether to change the authorization.
constexpr ToolOutcome kVerifyOutcomes[] = {
    {-7, "TPM Not Enabled", false},
    {-6, "TPM Not Activated", false},
    {-5, "SRK Auth and TPM Owner Auth must be upgraded", true},
    {-4, "Unable to load Resource file", false},
    {0, "SRK and TPM Owner Auth is OK", false},
    {1, "Unable to get Process Exit code assume must change SRK Auth.", true},
    {kProgramNotStarted, "Unable to launch process!", false},
};

// Of the change: whether it is still to be done.
constexpr ToolOutcome kChangeOutcomes[] = {
    {-8, "User Cancelled", true},
    {-7, "TPM Not Enabled", true},
    {-6, "TPM Not Activated", true},
    {-4, "Unable to load Resource file", true},
    {0, "SRK and TPM Owner Auth is now OK", false},
    {1, "Unable to get Process Exit code assume must change SRK Auth.", true},
    {kProgramNotStarted, "Unable to launch process!", true},
};

ChangeOptions ParseOptions(std::wstring_view data)
{
    return {
        .caption = CSecretText{GetCustomActionValue(L"/CAPTION=", data, L"")},
        .info = CSecretText{GetCustomActionValue(L"/INFO=", data, L"")},
        .password = CSecretText{GetCustomActionValue(L"/PASSWORD=", data, L"")},
        .vendor = CSecretText{GetCustomActionValue(L"/TSS_VENDOR=", data, L"NTRU")},
        .silent = HasCustomActionFlag(L"/SILENT", data),
        .verify = HasCustomActionFlag(L"/VERIFY", data),
    };
}

// Wipes and frees the data itself before the tool is run for the first time.
std::optional<ChangeOptions> ReadOptions(MSIHANDLE install)
{
    const auto data = ReadCustomActionData(install);
    if (!data)
        return std::nullopt;
    return ResultOr({}, [&data] { return std::optional(ParseOptions(data->View())); });
}

// Required: the path stands in the command line without quotation marks, even with blanks.
std::wstring ToolPath()
{
    wchar_t programFiles[MAX_PATH] = {};
    static_cast<void>(SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES, nullptr, SHGFP_TYPE_CURRENT, programFiles));
    return std::wstring(programFiles) + kToolFolder + kTool;
}

CSecretText VerifyCommandLine(const std::wstring& toolPath)
{
    CSecretText commandLine{toolPath};
    commandLine.Append(L" /V");
    return commandLine;
}

// Appends an option for the tool, unless its value is empty.
// Required: nothing in the value is escaped.
void AppendText(CSecretText& commandLine, std::wstring_view option, const CSecretText& value)
{
    if (value.IsEmpty())
        return;
    commandLine.Append(option);
    commandLine.Append(L"\"");
    commandLine.Append(value.View());
    commandLine.Append(L"\"");
}

CSecretText ChangeCommandLine(const std::wstring& toolPath, const ChangeOptions& options)
{
    CSecretText commandLine{toolPath};
    AppendText(commandLine, L" /C:", options.caption);
    AppendText(commandLine, L" /I:", options.info);
    AppendText(commandLine, L" /P:", options.password);
    AppendText(commandLine, L" /T:", options.vendor);
    if (options.silent)
        commandLine.Append(L" /S");
    if (options.verify)
        commandLine.Append(L" /V");
    commandLine.Append(L" /Y");
    return commandLine;
}

// If another program would start in place of the tool, the tool counts as one that cannot be started.
int RunTool(const std::wstring& toolPath, const CSecretText& commandLine)
{
    return StartsAnotherProgram(toolPath) ? kProgramNotStarted : RunAndWait(commandLine);
}

// Logs the meaning of an exit code. Returns whether to go on: `unknown` for a code that has no meaning.
bool GoOnAfter(int code, std::span<const ToolOutcome> outcomes, bool unknown)
{
    for (const ToolOutcome& outcome : outcomes)
    {
        if (outcome.code != code)
            continue;
        WriteLog(g_tpmLog, outcome.text);
        return outcome.goOn;
    }
    WriteLog(g_tpmLog, "Something other error");
    return unknown;
}

void RunToolAtNextLogon()
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kRunKey, 0, KEY_READ | KEY_WRITE, key.Put()) != ERROR_SUCCESS)
    {
        WriteLog(g_tpmLog, "Couldn't create Machine Run Key for TpmKeyFixer");
        return;
    }
    RegSetValueExA(key.Get(), kRunValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(kRunValue), sizeof kRunValue);
}

} // namespace

UINT ChangeSrkAuthorization(MSIHANDLE install)
{
    const auto options = ReadOptions(install);
    if (!options)
        return kNoCustomActionData;

    // When memory runs out, the tool counts as not started, which ends the action before the change.
    const std::wstring toolPath = ResultOr({}, &ToolPath);
    const auto verify = [&] {
        return toolPath.empty() ? kProgramNotStarted : RunTool(toolPath, VerifyCommandLine(toolPath));
    };
    if (!GoOnAfter(ResultOr(kProgramNotStarted, verify), kVerifyOutcomes, false))
        return ERROR_SUCCESS;
    const auto change = [&] { return RunTool(toolPath, ChangeCommandLine(toolPath, *options)); };
    if (GoOnAfter(ResultOr(kProgramNotStarted, change), kChangeOutcomes, true))
        RunToolAtNextLogon();
    return ERROR_SUCCESS;
}
