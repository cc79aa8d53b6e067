// The fields of descriptions, read and not read.
#include "describe/captured_fields.h"

#include <algorithm>
#include <iterator>

namespace describe
{

namespace
{

constexpr FieldReading Read(const char* object, const char* key, const char* source)
{
    return {object, key, source, nullptr};
}

constexpr FieldReading NotRead(const char* object, const char* key, const char* why)
{
    return {object, key, nullptr, why};
}

constexpr char kAreas[] = "machine";
constexpr char kOnlyWhenUsed[] = "it shows only when it happens";
constexpr char kDescribersOwn[] = "a description only";

constexpr FieldReading kReadings[] = {
    Read(kAreas, "title", "the Windows version and the date"),
    NotRead(kAreas, "like", "a captured machine stands alone"),
    Read(kAreas, "notes", "what could not be read"),
    Read(kAreas, "windows", "see below"),
    Read(kAreas, "clock", "see below"),
    Read(kAreas, "process", "see below"),
    Read(kAreas, "folders", "see below"),
    Read(kAreas, "environment", "the variables `windir`, `SystemRoot` and `ProgramFiles`"),
    Read(kAreas, "registry", "the keys listed above and the keys on the way to them"),
    Read(kAreas, "files", "the files listed above and the folders on the way to them"),
    Read(kAreas, "libraries", "the libraries listed above"),
    Read(kAreas, "pendingMoves", "`PendingFileRenameOperations`, but only moves of the files listed above"),
    Read(kAreas, "token", "the token of KeloDescribe's process, if it is elevated"),
    Read(kAreas, "services", "the services listed above, those that they need, and those that need them"),
    Read(kAreas, "processes", "the list of processes"),
    NotRead(kAreas, "programs", "what a program does shows only when it runs"),
    Read(kAreas, "smartCards", "the resource manager"),
    Read(kAreas, "cng", "the configuration of CNG"),
    Read(kAreas, "wmi", "the namespace of the TPM"),
    NotRead(kAreas, "installer", "there is no install session"),
    NotRead(kAreas, "faults", "they are planned, not found"),
    NotRead(kAreas, "events", "the program only writes to the event log"),

    Read("windows", "version", "`GetVersionExW`, with the program's own manifest"),
    Read("windows", "build", "the same"),
    Read("windows", "servicePack", "the same"),
    Read("windows", "platform", "the same"),
    Read("windows", "wow64", "`IsWow64Process`; KeloDescribe has 64 bits like the program"),
    Read("windows", "redirectionTrust", "`GetProcessMitigationPolicy`"),
    Read("windows", "codePage", "`GetACP`"),
    Read("windows", "uiLanguage", "`GetThreadUILanguage`"),
    Read("windows", "userLanguage", "`GetUserDefaultLangID`"),

    Read("clock", "utc", "`GetSystemTimeAsFileTime`"),
    Read("clock", "tickCount", "`GetTickCount`"),
    NotRead("clock", "yieldMs", "it depends on what else runs"),
    NotRead("clock", "lateMs", "the same"),
    Read("clock", "zoneBias", "`GetTimeZoneInformation`"),
    Read("clock", "daylightBias", "the same"),
    Read("clock", "daylight", "the same"),

    Read("process", "path", "the option `--program`, or the toolkit's folder by its registry value"),
    Read("process", "currentDirectory", "always the system folder, where the installer starts programs"),
    Read("process", "processId", "one that no process has"),
    NotRead("process", "threadId", "Windows chooses it"),
    NotRead("process", "errorMode", "the installer chooses it"),
    NotRead("process", "largestBlock", "it shows only when memory runs out"),

    Read("folders", "commonAppData", "`SHGetFolderPathW`"),
    Read("folders", "windows", "the same"),
    Read("folders", "system", "the same"),
    Read("folders", "programFiles", "the same"),

    Read("registryKey", "values", "`RegEnumValueW`; only the values listed above"),
    Read("registryKey", "owner", "`GetSecurityInfo`"),
    Read("registryKey", "access", "the same"),
    Read("registryKey", "protected", "the same"),
    NotRead("registryKey", "deniedAccess", "the access list says it"),

    Read("registryValue", "type", "`RegEnumValueW`"),
    Read("registryValue", "text", "the same"),
    Read("registryValue", "number", "the same"),
    Read("registryValue", "hex", "the same"),

    Read("accessEntry", "trustee", "`GetSecurityInfo`; users and groups of a machine or domain get other identifiers"),
    Read("accessEntry", "mask", "the same"),
    Read("accessEntry", "inheritance", "the same"),
    Read("accessEntry", "type", "the same"),
    Read("accessEntry", "inherited", "the same"),

    Read("file", "directory", "`GetFileInformationByHandle`"),
    Read("file", "link", "`FSCTL_GET_REPARSE_POINT`"),
    NotRead("file", "linkMadeBy", "Windows does not tell it; the owner counts"),
    Read("file", "hardLinkTo", "the number of names; their texts are made up"),
    NotRead("file", "text", "content is private: the size stands for it"),
    NotRead("file", "bytes", "content is private: the size stands for it"),
    Read("file", "size", "`GetFileInformationByHandle`"),
    Read("file", "version", "`GetFileVersionInfoW`"),
    Read("file", "attributes", "`GetFileInformationByHandle`"),
    Read("file", "denied", "whether it can be opened for writing although the access list allows it, if elevated"),
    Read("file", "inUse", "the same"),
    Read("file", "owner", "`GetSecurityInfo`"),
    Read("file", "access", "the same"),
    Read("file", "protected", "the same"),
    NotRead("file", "deniedAccess", "the access list says it"),

    Read("library", "exports", "the file's table of exports; only the functions listed above"),
    Read("library", "missing", "`GetProcAddress`, in libraries of Windows"),
    Read("library", "loadError", "whether the file is an image for this processor; `LoadLibraryExW` with `--probe`"),
    Read("library", "strings", "`LoadStringW`, if they differ from the texts that the file's name stands for"),
    Read("libraryExport", "result", "a call of the function, in detection libraries with `--probe`"),
    Read("libraryExport", "throws", "the same"),
    NotRead("libraryExport", "effects", kOnlyWhenUsed),

    Read("pendingMove", "from", "`PendingFileRenameOperations`"),
    Read("pendingMove", "to", "the same"),

    Read("token", "user", "`GetTokenInformation`; the identifier is made up"),
    Read("token", "groups", "the same, but well-known groups keep theirs"),
    Read("token", "privileges", "the same"),
    Read("token", "enabled", "the same"),

    Read("service", "displayName", "`QueryServiceConfigW`"),
    Read("service", "description", "`QueryServiceConfig2W`"),
    Read("service", "type", "`QueryServiceConfigW`"),
    Read("service", "start", "the same"),
    Read("service", "errorControl", "the same"),
    Read("service", "binaryPath", "the same"),
    Read("service", "loadOrderGroup", "the same"),
    Read("service", "dependencies", "the same, or the value `DependOnService`"),
    Read("service", "account", "`QueryServiceConfigW`; a user's name is left out"),
    Read("service", "processId", "`QueryServiceStatusEx`"),
    Read("service", "deniedAccess", "`OpenServiceW` with each right, if elevated"),
    NotRead("service", "grantsEveryRight", kDescribersOwn),
    NotRead("service", "markedForDeletion", "Windows tells it only when the service is changed"),
    Read("service", "state", "`QueryServiceStatusEx`"),
    Read("service", "controlsAccepted", "the same"),
    Read("service", "exitCode", "the same"),
    Read("service", "serviceExitCode", "the same"),
    Read("service", "checkPoint", "the same"),
    Read("service", "waitHint", "the same"),
    NotRead("service", "states", kOnlyWhenUsed),
    NotRead("service", "onStart", kOnlyWhenUsed),
    NotRead("service", "onStop", kOnlyWhenUsed),

    NotRead("serviceStep", "afterMs", kOnlyWhenUsed),
    NotRead("serviceStep", "state", kOnlyWhenUsed),
    NotRead("serviceStep", "controlsAccepted", kOnlyWhenUsed),
    NotRead("serviceStep", "exitCode", kOnlyWhenUsed),
    NotRead("serviceStep", "serviceExitCode", kOnlyWhenUsed),
    NotRead("serviceStep", "checkPoint", kOnlyWhenUsed),
    NotRead("serviceStep", "waitHint", kOnlyWhenUsed),
    NotRead("serviceReaction", "error", kOnlyWhenUsed),
    NotRead("serviceReaction", "states", kOnlyWhenUsed),

    Read("runningProcess", "id", "`EnumProcesses`"),
    Read("runningProcess", "name", "`GetModuleBaseNameW`; other names than those listed above are left out"),
    Read("runningProcess", "deniedAccess", "`OpenProcess`, if elevated"),
    NotRead("runningProcess", "terminateError", kOnlyWhenUsed),
    NotRead("runningProcess", "count", "each process is listed"),

    NotRead("program", "runs", kOnlyWhenUsed),
    NotRead("programRun", "arguments", kOnlyWhenUsed),
    NotRead("programRun", "startError", kOnlyWhenUsed),
    NotRead("programRun", "exitCode", kOnlyWhenUsed),
    NotRead("programRun", "runMs", kOnlyWhenUsed),
    NotRead("programRun", "neverEnds", kOnlyWhenUsed),
    NotRead("programRun", "effects", kOnlyWhenUsed),

    Read("smartCards", "manager", "`SCardEstablishContext`"),
    Read("smartCards", "readers", "`SCardListReadersW`"),
    NotRead("smartCards", "readersThen", kOnlyWhenUsed),
    Read("smartCards", "zerosMissing", "the end of the list of readers"),

    Read("cng", "providers", "`BCryptEnumRegisteredProviders`; only those of key storage"),
    Read("cng", "contextFunctions", "`BCryptEnumContextFunctionProviders`; only key storage"),
    Read("cngProvider", "aliases", "`BCryptQueryProviderRegistration`"),
    Read("cngProvider", "userMode", "the same"),
    Read("cngProvider", "kernelMode", "the same"),
    Read("cngImage", "image", "the same"),
    Read("cngImage", "interfaces", "the same"),
    Read("cngInterface", "interface", "the same"),
    Read("cngInterface", "flags", "the same"),
    Read("cngInterface", "functions", "the same"),
    Read("cngContextFunction", "table", "always the local table"),
    Read("cngContextFunction", "context", "always the default context"),
    Read("cngContextFunction", "interface", "always key storage"),
    Read("cngContextFunction", "function", "always key storage"),
    Read("cngContextFunction", "providers", "`BCryptEnumContextFunctionProviders`"),

    Read("wmi", "autoProvisioning", "the TPM's method `IsAutoProvisioningEnabled`"),
    Read("wmi", "namespaces", "`IWbemLocator::ConnectServer`; only the TPM's namespace"),
    Read("wmi", "failures", "the calls that lead to the TPM's methods, and that of `IsAutoProvisioningEnabled`"),
    Read("wmiNamespace", "classes", "`IWbemServices::GetObject`; only `Win32_TPM`"),
    Read("wmiClass", "instances", "`IWbemServices::GetObject`; only `Win32_TPM=@`"),
    Read("wmiClass", "methods", "`IWbemClassObject::GetMethod`; only the two that the program calls"),
    NotRead("wmiMethod", "parameters", "they are the same on each Windows"),
    NotRead("wmiMethod", "returnValue", kOnlyWhenUsed),
    NotRead("wmiMethod", "effects", kOnlyWhenUsed),

    NotRead("installer", "properties", "there is no install session"),
    NotRead("propertyAnswer", "error", "there is no install session"),
    NotRead("propertyAnswer", "size", "there is no install session"),
    NotRead("event", "source", "the program only writes to the event log"),
    NotRead("event", "type", "the program only writes to the event log"),
    NotRead("event", "category", "the program only writes to the event log"),
    NotRead("event", "id", "the program only writes to the event log"),
    NotRead("event", "strings", "the program only writes to the event log"),
};

} // namespace

std::span<const FieldReading> FieldReadings()
{
    return kReadings;
}

bool IsRead(std::string_view object, std::string_view key)
{
    const auto* const reading = std::ranges::find_if(
        kReadings, [&](const FieldReading& one) { return one.object == object && one.key == key; });
    return reading == std::end(kReadings) || reading->source != nullptr;
}

bool IsAreaRead(std::string_view area)
{
    return IsRead(kAreas, area);
}

std::string NeverReadNote()
{
    return "programs, what services do when they are started or stopped, and what functions change: these show only "
           "when they are used (docs/describe.md)";
}

} // namespace describe
