// The platform module's functions, for tests.
#include "platform/processes.h"
#include "platform/product_registry.h"
#include "platform/service_binary_path.h"
#include "platform/service_control.h"
#include "tests/unit/calls/modules.h"
#include "windows/bounded_path.h"
#include "windows/com_initializer.h"
#include "windows/full_path.h"
#include "windows/pinned_path.h"
#include "windows/text.h"
#include "windows/trusted_owner.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

namespace
{

// The directory, or "(none)" and what stands in the output afterwards.
std::string ServiceBinaryPath(const CallArguments& arguments)
{
    std::wstring directory = L"(untouched)";
    const bool found = GetServiceBinaryPath(arguments.Wide(0).c_str(), directory);
    return found ? ResultText(directory) : "(none) " + ResultText(directory);
}

// A value of the toolkit's common key, as text.
std::string DwordText(const CallArguments& arguments)
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kCommonKey, 0, KEY_ALL_ACCESS, key.Put()) != ERROR_SUCCESS)
        return "no key";
    const auto value = ReadDword(key.Get(), arguments.Text(0).c_str());
    return value ? ResultText(*value) : "nothing";
}

// A path put together from all arguments.
std::string BoundedPathOf(const CallArguments& arguments)
{
    BoundedPath path{arguments.Text(0).c_str()};
    for (std::size_t i = 1; i < arguments.Count(); ++i)
        path.Append(arguments.Text(i).c_str());
    return path.Get();
}

// Of the text in either kind: both answers must be the same.
std::string FullPathAnswer(const CallArguments& arguments)
{
    const bool isFull = IsFullPath(arguments.Text(0));
    return isFull == IsFullPath(arguments.Wide(0)) ? ResultText(isFull) : "not the same";
}

// Arguments: the folder, the path below it, the last part's kind, then operations of PinnedPath. Their errors, and how
// many parts were open at the end.
std::string PinPath(const CallArguments& arguments)
{
    const auto kind = arguments.Text(2) == "file" ? PinnedPath::Kind::File : PinnedPath::Kind::Directory;
    PinnedPath path{arguments.Wide(0), arguments.Wide(1), kind};
    std::string results;
    for (std::size_t i = 3; i < arguments.Count(); ++i)
    {
        const std::string& operation = arguments.Text(i);
        results += ResultText(operation == "Pin"             ? path.Pin()
                              : operation == "CreateParents" ? path.CreateParents()
                                                             : path.CreateEmptyFile()) +
                   " ";
    }
    return results + "(" + ResultText(path.Parts().size()) + ")";
}

// What CheckOwner says of a directory.
std::string OwnerError(const CallArguments& arguments)
{
    const UniqueKernelHandle directory{CreateFileW(arguments.Wide(0).c_str(), READ_CONTROL, FILE_SHARE_READ, nullptr,
                                                   OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)};
    return ResultText(CheckOwner(directory.Get()));
}

constexpr TestCall kCalls[] = {
    {"BoundedPath", &BoundedPathOf},
    {"CComInitializer",
     [](const CallArguments&) {
         const CComInitializer com;
         return std::string();
     }},
    {"CheckOwner", &OwnerError},
    {"FindProcessByName",
     [](const CallArguments& a) { return ResultText(static_cast<bool>(FindProcessByName(a.Text(0).c_str()))); }},
    {"IsFullPath", &FullPathAnswer},
    {"GetServiceBinaryPath", &ServiceBinaryPath},
    {"GetWindowsMajorVersion", [](const CallArguments&) { return ResultText(GetWindowsMajorVersion()); }},
    {"IsNobodyTrusted", [](const CallArguments&) { return ResultText(IsTrustedOwner(nullptr)); }},
    {"IsServiceRunning", [](const CallArguments& a) { return ResultText(IsServiceRunning(a.Wide(0).c_str())); }},
    {"IsWindowsVersionAtLeast",
     [](const CallArguments& a) {
         return ResultText(IsWindowsVersionAtLeast(static_cast<DWORD>(a.Number(0)), static_cast<DWORD>(a.Number(1))));
     }},
    {"KillProcessByName", [](const CallArguments& a) { return ResultText(KillProcessByName(a.Text(0).c_str())); }},
    {"PinnedPath", &PinPath},
    {"ReadDword", &DwordText},
    {"RestartServiceByName",
     [](const CallArguments& a) { return ResultText(RestartServiceByName(a.Wide(0).c_str())); }},
    {"StartServiceByName", [](const CallArguments& a) { return ResultText(StartServiceByName(a.Wide(0).c_str())); }},
    {"StopServiceByName", [](const CallArguments& a) { return ResultText(StopServiceByName(a.Wide(0).c_str())); }},
    {"ToNarrow", [](const CallArguments& a) { return ResultText(ToNarrow(a.Wide(0))); }},
    {"ToWide", [](const CallArguments& a) { return ResultText(ToWide(a.Text(0))); }},
};

} // namespace

std::span<const TestCall> PlatformCalls()
{
    return kCalls;
}
