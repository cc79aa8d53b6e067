// The table of the failures of the calls that the program makes.
#include "winsim/machine/fault_table.h"

#include "winsim/base/error_names.h"
#include "winsim/base/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>

namespace winsim
{

namespace
{

constexpr std::size_t kMostErrors = 6;

struct FaultRow
{
    std::string_view call;
    std::array<std::uint32_t, kMostErrors> errors; // unused elements are 0
    std::size_t count;
};

template <typename... Errors>
constexpr FaultRow Row(std::string_view call, Errors... errors)
{
    return {call, {static_cast<std::uint32_t>(errors)...}, sizeof...(Errors)};
}

// Win32 errors: 2 file not found, 3 path not found, 5 access denied, 6 invalid handle, 8 not enough memory, 14 out of
// memory, 32 sharing violation, 50 not supported, 87 invalid parameter, 112 disk full, 122 buffer too small, 126 module
// not found, 127 procedure not found, 183 already exists, 193 bad image, 234 more data, 740 elevation required, 998
// invalid access to memory, 1018 key marked for deletion, 1300 not all privileges, 1314 privilege not held, 1450 no
// system resources, 1601 to 1610 the installer's, 1717 the remote procedure call's; those from 1051 to 1075 are the
// service manager's.
constexpr FaultRow kRows[] = {
    Row("AdjustTokenPrivileges", 5, 6, 87),
    Row("AllocateAndInitializeSid", 8, 14, 87),
    Row("BCryptAddContextFunctionProvider", 0xC000000D, 0xC0000022, 0xC0000225, 0xC0000017),
    Row("BCryptRegisterProvider", 0xC000000D, 0xC0000022, 0xC0000035, 0xC0000017),
    Row("BCryptRemoveContextFunctionProvider", 0xC000000D, 0xC0000022, 0xC0000225),
    Row("BCryptUnregisterProvider", 0xC000000D, 0xC0000022, 0xC0000225),
    Row("ChangeServiceConfig2W", 5, 6, 87, 1072),
    Row("ChangeServiceConfigW", 5, 6, 1059, 1072),
    Row("CloseHandle", 6, 5),
    Row("CloseServiceHandle", 6, 1115),
    Row("CoCreateInstance", 0x80040154, 0x80004002, 0x80070005, 0x8007000E),
    Row("CoInitializeEx", 0x80010106, 0x8007000E, 0x80070057),
    Row("CommandLineToArgvW", 8, 87),
    Row("ControlService", 5, 1051, 1052, 1062),
    Row("CopyFileA", 2, 5, 32, 112),
    Row("CopyFileW", 2, 5, 32, 112),
    Row("CoSetProxyBlanket", 0x80070057, 0x80070005, 0x8007000E),
    Row("CreateDirectoryW", 3, 5, 183),
    Row("CreateFileW", 5, 32, 3, 0),
    Row("CreateProcessW", 2, 5, 193, 740),
    Row("DeleteFileA", 2, 5, 32),
    Row("DeleteFileW", 2, 3, 5, 32),
    Row("DeleteService", 5, 6, 1072),
    Row("DeregisterEventSource", 6, 1717),
    Row("EnumProcesses", 5, 87, 1450),
    Row("EnumProcessModules", 5, 6, 299),
    Row("fclose", 6, 112),
    Row("fflush", 112, 5),
    Row("FormatMessageA", 8, 87, 1815, 0),
    Row("fputs", 112, 5),
    Row("FreeLibrary", 126, 87),
    Row("_fsopen", 2, 3, 5, 8, 32, 0),
    Row("GetEnvironmentVariableA", 203, 8, 0),
    Row("GetExitCodeProcess", 5, 6),
    Row("GetFileAttributesA", 2, 3, 5, 53),
    Row("GetFileAttributesW", 2, 3, 5, 53),
    Row("GetFileInformationByHandle", 1, 5, 6),
    Row("GetFileVersionInfoSizeW", 2, 1812, 1813, 0),
    Row("GetFileVersionInfoW", 2, 8, 1813),
    Row("GetFinalPathNameByHandleW", 3, 5, 8),
    Row("GetLocaleInfoA", 87, 122, 1004),
    Row("GetModuleBaseNameA", 5, 6, 299, 0),
    Row("GetModuleFileNameA", 122, 126),
    Row("GetNamedSecurityInfoW", 2, 3, 5, 1332),
    Row("GetProcAddress", 127, 126, 0),
    Row("GetSecurityInfo", 5, 6, 8),
    Row("GetSystemDirectoryA", 8, 87, 0),
    Row("GetTimeZoneInformation", 87, 8),
    Row("GetVersionExA", 122, 87),
    Row("GetWindowsDirectoryA", 8, 87, 0),
    Row("IsWow64Process", 5, 6),
    Row("IWbemClassObject::GetMethod", 0x80041002, 0x80041006, 0x80041008),
    Row("IWbemClassObject::Put", 0x80041001, 0x80041005, 0x80041006),
    Row("IWbemClassObject::SpawnInstance", 0x80041001, 0x80041006),
    Row("IWbemLocator::ConnectServer", 0x8004100E, 0x80041003, 0x80080005, 0x800706BA),
    Row("IWbemServices::ExecMethod", 0x80041001, 0x80041003, 0x80041055, 0x800706BA),
    Row("IWbemServices::GetObject", 0x80041002, 0x80041003, 0x80041010),
    Row("LoadLibraryA", 5, 126, 127, 193, 0),
    Row("LoadLibraryW", 5, 126, 127, 193, 0),
    Row("LoadStringA", 1814, 1815, 0),
    Row("LocalAlloc", 8, 14),
    Row("LocalFree", 6, 87),
    Row("LookupPrivilegeValueA", 1313, 5),
    Row("MoveFileA", 2, 5, 32, 183),
    Row("MoveFileExW", 2, 5, 87),
    Row("MsiGetPropertyW", 6, 87, 234, 1601),
    Row("MultiByteToWideChar", 87, 122, 1113, 0),
    Row("OpenProcess", 5, 87, 0),
    Row("OpenProcessToken", 5, 6),
    Row("OpenSCManagerW", 5, 1065, 1722, 0),
    Row("OpenServiceW", 5, 123, 1060, 1115, 0),
    Row("printf", 6, 112),
    Row("QueryServiceConfigW", 5, 6, 122),
    Row("QueryServiceStatus", 5, 6, 1115),
    Row("QueryServiceStatusEx", 5, 6, 1115),
    Row("RegCloseKey", 6, 1018),
    Row("RegCreateKeyExA", 5, 8, 1021, 1450),
    Row("RegDeleteValueA", 2, 5, 1018),
    Row("RegDeleteValueW", 2, 5, 1018),
    Row("RegisterEventSourceW", 5, 87, 1722, 0),
    Row("RegOpenKeyExA", 2, 5, 1018),
    Row("RegOpenKeyExW", 2, 5, 1018),
    Row("RegQueryValueExA", 2, 5, 234, 1018),
    Row("RegSetValueExA", 5, 8, 1018),
    Row("ReportEventW", 6, 1500, 1502, 1717),
    Row("SCardEstablishContext", 0x8010001D, 0x80100006, 0x8010001E),
    Row("SCardListReadersW", 0x8010002E, 0x80100008, 0x8010001D, 0x80100003),
    Row("SCardReleaseContext", 0x80100003, 0x8010001D),
    Row("SetDllDirectoryW", 8, 87),
    Row("SetEntriesInAclW", 8, 87, 1332),
    Row("SetNamedSecurityInfoW", 2, 5, 87, 1307),
    Row("SetProcessMitigationPolicy", 5, 87, 50),
    Row("SetSecurityInfo", 5, 6, 1307),
    Row("SHCreateDirectoryExA", 3, 5, 161, 206),
    Row("SHCreateDirectoryExW", 3, 5, 161, 206),
    Row("SHGetFolderPathA", 0x80004005, 0x80070057, 0x80070005, 1),
    Row("SHGetFolderPathW", 0x80004005, 0x80070057, 0x80070005, 1),
    Row("SHGetSpecialFolderPathW", 2, 5),
    Row("StartServiceA", 5, 1053, 1058, 1068),
    Row("StartServiceW", 5, 1053, 1056, 1068),
    Row("SysAllocString", 8, 14),
    Row("TerminateProcess", 5, 6),
    Row("VerifyVersionInfoW", 1150, 87),
    Row("VerQueryValueW", 1813, 87),
    Row("WaitForSingleObject", 6, 5),
    Row("WideCharToMultiByte", 87, 122, 0),
    Row(kAllocation, 8, 14),
};

// Calls that only report, wait, free or set a flag.
constexpr std::string_view kCannotFail[] = {
    "CoUninitialize",
    "EqualSid",
    "FreeSid",
    "GetCommandLineW",
    "GetCurrentProcess",
    "GetCurrentProcessId",
    "GetCurrentThreadId",
    "GetModuleHandleW",
    "GetSidIdentifierAuthority",
    "GetSidSubAuthority",
    "GetSidSubAuthorityCount",
    "GetSystemTime",
    "IsValidSid",
    "GetThreadUILanguage",
    "GetTickCount",
    "GetUserDefaultLangID",
    "IWbemClassObject::Release",
    "IWbemLocator::Release",
    "IWbemServices::Release",
    "SetErrorMode",
    "Sleep",
    "SysFreeString",
    "VariantClear",
    "VerSetConditionMask",
};

// Calls that can succeed with an empty list, a value of no bytes, no object, or no effect.
constexpr std::string_view kCanGiveNothing[] = {
    "ControlService",     "EnumProcesses",
    "EnumProcessModules", "IWbemClassObject::GetMethod",
    "MsiGetPropertyW",    "IWbemServices::ExecMethod",
    "RegQueryValueExA",   "VerQueryValueW",
    "SCardListReadersW",
};

// The errors that say that there is no memory: of Win32, of COM, and of CNG (STATUS_NO_MEMORY).
constexpr std::uint32_t kShortages[] = {8, 14, 0x8007000E, 0xC0000017};

// The results that a library's function is made to return: success, the failures with a meaning, and one without.
constexpr std::uint32_t kOtherResults[] = {0, 1, 2, 3, 0xFFFFFFFF};

bool Holds(std::span<const std::string_view> calls, std::string_view call)
{
    return std::find(calls.begin(), calls.end(), call) != calls.end();
}

std::span<const std::uint32_t> ErrorsOf(std::string_view call)
{
    if (IsLibraryFunction(call))
        return kOtherResults;
    for (const FaultRow& row : kRows)
    {
        if (row.call == call)
            return std::span(row.errors).first(row.count);
    }
    return {};
}

// The calls that begin with a text, for a complaint: the user may have left out the end of a name.
std::string SimilarCalls(const std::string& beginning)
{
    std::string similar;
    for (const FaultRow& row : kRows)
    {
        const std::string call(row.call);
        if (SameName(call.substr(0, beginning.size()), beginning))
            similar += (similar.empty() ? "; there is " : ", ") + call;
    }
    return similar;
}

} // namespace

std::string ComplaintAbout(const Fault& fault)
{
    if (IsLibraryFunction(fault.call))
        return {};
    const std::span<const std::uint32_t> errors = ErrorsOf(fault.call);
    if (errors.empty())
        return CannotFail(fault.call) ? fault.call + " cannot fail"
                                      : "the simulated machine has no call " + fault.call + SimilarCalls(fault.call);
    if (fault.faults)
        return {};
    if (fault.givesNothing)
        return Holds(kCanGiveNothing, fault.call) ? "" : fault.call + " cannot succeed with nothing";
    if (IsFailure(ErrorKindOf(fault.call), fault.error) ||
        std::find(errors.begin(), errors.end(), fault.error) != errors.end())
        return {};
    return fmt::format("{} is not a failure of {}; use another {}", fault.error, fault.call,
                       DescribeErrors(fault.call));
}

std::vector<Fault> FailuresOf(std::string_view call, unsigned occurrence)
{
    std::vector<Fault> failures;
    for (const std::uint32_t error : ErrorsOf(call))
        failures.push_back({std::string(call), occurrence, error});
    if (Holds(kCanGiveNothing, call))
        failures.push_back({std::string(call), occurrence, 0, true});
    return failures;
}

std::optional<Fault> ShortageOfMemory(std::string_view call, unsigned occurrence)
{
    const std::span<const std::uint32_t> errors = ErrorsOf(call);
    const auto shortage =
        std::find_first_of(errors.begin(), errors.end(), std::begin(kShortages), std::end(kShortages));
    if (shortage == errors.end())
        return std::nullopt;
    return Fault{std::string(call), occurrence, *shortage};
}

std::vector<std::string> FallibleCalls()
{
    std::vector<std::string> calls;
    for (const FaultRow& row : kRows)
        calls.emplace_back(row.call);
    return calls;
}

bool CannotFail(std::string_view call)
{
    return Holds(kCannotFail, call);
}

bool IsLibraryFunction(std::string_view call)
{
    return call.find('!') != std::string_view::npos;
}

} // namespace winsim
