// The functions of src/windows/, for tests.
#include "tests/unit/calls/modules.h"
#include "windows/bounded_path.h"
#include "windows/com_initializer.h"
#include "windows/exception_guard.h"
#include "windows/full_path.h"
#include "windows/library_function.h"
#include "windows/pinned_path.h"
#include "windows/text.h"
#include "windows/trusted_owner.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

#include <stdexcept>

namespace
{

// The library that guarded code calls in tests.
constexpr char kGuardedLibrary[] = R"(C:\Guarded.dll)";

// Makes a guarded call. Returns how far the call got and whether it returned.
std::string GuardedCall(const CallArguments& arguments)
{
    const std::string& act = arguments.Text(0);
    const HMODULE library = act == "call the export" ? LoadLibraryA(kGuardedLibrary) : nullptr;
    const auto function = library == nullptr ? nullptr : FindFunction<int (*)()>(library, "Export");
    std::string reached;
    const bool hasReturned = CallGuarded([&] {
        reached += "begun, ";
        if (act == "throw an exception")
            throw std::runtime_error("thrown");
        if (act == "throw a number")
            throw 5;
        if (act == "guard a throw")
            reached += ResultText(CallGuarded([] { throw 5; })) + ", ";
        if (act == "call the export")
            reached += ResultText(function()) + ", ";
        reached += "ended, ";
    });
    if (library != nullptr)
        FreeLibrary(library);
    return reached + ResultText(hasReturned);
}

// A path built from all arguments.
std::string BoundedPathOf(const CallArguments& arguments)
{
    BoundedPath path{arguments.Text(0).c_str()};
    for (std::size_t i = 1; i < arguments.Count(); ++i)
        path.Append(arguments.Text(i).c_str());
    return path.Get();
}

// Arguments: a path, and how many of its characters count: all, if that is not given. Asks for the narrow and the wide
// text: both answers must be the same.
std::string FullPathAnswer(const CallArguments& arguments)
{
    const std::size_t length =
        arguments.Count() > 1 ? static_cast<std::size_t>(arguments.Number(1)) : std::string::npos;
    const std::wstring wide = arguments.Wide(0);
    const bool isFull = IsFullPath(std::string_view(arguments.Text(0)).substr(0, length));
    return isFull == IsFullPath(std::wstring_view(wide).substr(0, length)) ? ResultText(isFull) : "not the same";
}

// Arguments: the folder, the path below it, the kind of the last part, then operations of PinnedPath. Returns their
// errors, and how many parts were open at the end.
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

// The result of CheckOwner for a directory.
std::string OwnerError(const CallArguments& arguments)
{
    const UniqueKernelHandle directory{CreateFileW(arguments.Wide(0).c_str(), READ_CONTROL, FILE_SHARE_READ, nullptr,
                                                   OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)};
    return ResultText(CheckOwner(directory.Get()));
}

// Has Windows put two keys into one owner, one after the other.
std::string PutTwoKeys(const CallArguments&)
{
    UniqueRegistryKey key;
    for (int i = 0; i < 2; ++i)
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, key.Put());
    return {};
}

constexpr TestCall kCalls[] = {
    {"BoundedPath", &BoundedPathOf},
    {"CComInitializer",
     [](const CallArguments&) {
         const CComInitializer com;
         return std::string();
     }},
    {"CallGuarded", &GuardedCall},
    {"CheckOwner", &OwnerError},
    {"IsFullPath", &FullPathAnswer},
    {"GetWindowsMajorVersion", [](const CallArguments&) { return ResultText(GetWindowsMajorVersion()); }},
    {"IsNobodyTrusted", [](const CallArguments&) { return ResultText(IsTrustedOwner(nullptr)); }},
    {"IsWindowsVersionAtLeast",
     [](const CallArguments& a) {
         return ResultText(IsWindowsVersionAtLeast(static_cast<DWORD>(a.Number(0)), static_cast<DWORD>(a.Number(1))));
     }},
    {"PinnedPath", &PinPath},
    {"PutTwoKeys", &PutTwoKeys},
    {"ToNarrow", [](const CallArguments& a) { return ResultText(ToNarrow(a.Wide(0))); }},
    {"ToWide", [](const CallArguments& a) { return ResultText(ToWide(a.Text(0))); }},
};

} // namespace

std::span<const TestCall> WindowsCalls()
{
    return kCalls;
}
