// Libraries: loading, looking functions up and calling them.
#include "winsim/api/file_access.h"
#include "winsim/api/loaded_library.h"
#include "winsim/api/search_folders.h"
#include "winsim/api/system_functions.h"
#include "winsim/base/text.h"
#include "winsim/machine/effects.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "libloaderapi.h"
#include "winbase.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

using winsim::Call;
using winsim::File;
using winsim::Files;
using winsim::Json;
using winsim::Library;
using winsim::LibraryExport;
using winsim::LoadedLibrary;
using winsim::Simulation;

namespace
{

// A library that is loaded in every process, so Windows finds it before any search.
constexpr char kAlwaysLoaded[] = "kernel32.dll";

// ---- The search -----------------------------------------------------------------------------------------------------

// The folders that Windows searches for a library without a full path, in order.
std::vector<std::string> SearchFolders()
{
    const Simulation& simulation = Simulation::Current();
    const auto& dllDirectory = simulation.loader.dllDirectory;
    std::vector<std::string> folders{Files::ParentOf(simulation.machine.process.path)};
    if (dllDirectory && !dllDirectory->empty())
        folders.push_back(*dllDirectory);
    folders.push_back(winsim::FolderNamed("system"));
    folders.push_back(winsim::FolderNamed("windows"));
    if (!dllDirectory)
        folders.push_back(simulation.machine.process.currentDirectory);
    for (const std::string& folder : winsim::PathFolders())
        folders.push_back(folder);
    std::erase(folders, std::string());
    return folders;
}

// A name without an extension means a .dll.
std::string WithExtension(const std::string& name)
{
    const std::string base = name.substr(name.find_last_of("\\/:") + 1);
    return base.empty() || base.find('.') != std::string::npos ? name : name + ".dll";
}

// A library's file, and the full path by which it was found.
struct LibraryFile
{
    const File* file = nullptr; // null: there is none
    std::string path;
};

LibraryFile FileAt(const std::string& path)
{
    const winsim::FileName name = winsim::FullName(path);
    const File* file = name.error == ERROR_SUCCESS ? Simulation::Current().machine.files.Find(name.path) : nullptr;
    if (file == nullptr)
        return {};
    // The spelling is the file's own, unless it was reached through a link.
    return {file, winsim::SameName(file->path, name.named) ? file->path : name.named};
}

// The file that Windows loads for a library's name.
LibraryFile FindLibraryFile(const std::string& name)
{
    const std::string whole = WithExtension(name);
    if (winsim::SameName(whole, kAlwaysLoaded))
        return FileAt(winsim::FolderNamed("system") + "\\" + whole);
    const bool isRelative = whole.find(':') == std::string::npos && !whole.starts_with('\\') && !whole.starts_with('/');
    if (!isRelative)
        return FileAt(whole);
    for (const std::string& folder : SearchFolders())
    {
        if (const LibraryFile found = FileAt(folder + "\\" + whole); found.file != nullptr)
            return found;
    }
    return {};
}

// The library in a file; none if the file is not a library.
std::optional<Library> LibraryOf(const File& file)
{
    if (!file.library && winsim::IsResourceLibrary(file.path))
        return Library{};
    return file.library;
}

HMODULE Load(Call& call, const winsim::FileName& name, const std::string& given)
{
    const HMODULE none = nullptr;
    return call.ResultOf(none, [&] {
        if (name.error == ERROR_FILENAME_EXCED_RANGE)
            return call.Fail(none, name.error);
        const auto [file, path] = given.empty() ? LibraryFile{} : FindLibraryFile(given);
        if (file == nullptr)
            return call.Fail(none, ERROR_MOD_NOT_FOUND);
        if (file->isDirectory || !winsim::MayAccess(*file, FILE_READ_DATA))
            return call.Fail(none, ERROR_ACCESS_DENIED);
        const auto library = LibraryOf(*file);
        if (!library)
            return call.Fail(none, ERROR_BAD_EXE_FORMAT);
        if (library->loadError != 0)
            return call.Fail(none, library->loadError);
        Simulation& simulation = Simulation::Current();
        simulation.images.push_back(file->path);
        winsim::HandleTable& handles = simulation.handles;
        void* const handle = handles.Open(LoadedLibrary{path, *library});
        // A library of texts may stay loaded until the process ends.
        if (library->IsForTexts(file->path))
            handles.MayKeep(handle);
        return call.Done(static_cast<HMODULE>(handle));
    });
}

// ---- Functions ------------------------------------------------------------------------------------------------------

void Raise(const std::string& thing)
{
    for (const winsim::ThrownThing& thrown : winsim::ThrownThings())
    {
        if (thing == thrown.name)
            thrown.raise();
    }
}

// Calls the function at a position in the loader's list.
LONG_PTR CallLibraryFunction(std::size_t slot)
{
    Simulation& simulation = Simulation::Current();
    const winsim::LibraryFunction function = simulation.loader.functions[slot];
    const auto* loaded = simulation.handles.Find<LoadedLibrary>(function.library, function.name);
    if (loaded == nullptr)
        return 0;
    const LibraryExport what = loaded->library.exports.at(function.name);
    Call call{loaded->BaseName() + "!" + function.name};
    if (const auto fault = call.Fault())
        return call.Done(static_cast<int>(*fault));
    winsim::ApplyEffects(simulation.machine, what.effects);
    if (!what.throws.empty())
    {
        call.Out("exception", what.throws);
        Raise(what.throws);
    }
    return call.Done(int{what.result});
}

// A function pointer carries no data, so each position has its own function.
constexpr std::size_t kSlots = 256;

template <std::size_t Slot>
LONG_PTR WINAPI CallSlot()
{
    return CallLibraryFunction(Slot);
}

template <std::size_t... Slots>
constexpr std::array<FARPROC, kSlots> MakeSlots(std::index_sequence<Slots...>)
{
    return {&CallSlot<Slots>...};
}

constexpr std::array<FARPROC, kSlots> kSlotFunctions = MakeSlots(std::make_index_sequence<kSlots>());

// The pointer to a library's function; null if all slots are in use.
FARPROC SlotOf(const void* library, const std::string& name)
{
    auto& functions = Simulation::Current().loader.functions;
    const auto known = std::ranges::find_if(
        functions, [&](const auto& function) { return function.library == library && function.name == name; });
    if (known != functions.end())
        return kSlotFunctions[static_cast<std::size_t>(known - functions.begin())];
    if (functions.size() == kSlots)
        return nullptr;
    functions.push_back({library, name});
    return kSlotFunctions[functions.size() - 1];
}

// A function of the simulated Windows; null if the library is not one of Windows' or lacks the function.
FARPROC FindSystemFunction(const LoadedLibrary& loaded, const std::string& name)
{
    const bool isSystem = winsim::SameName(Files::ParentOf(loaded.path), winsim::FolderNamed("system"));
    const auto& missing = loaded.library.missing;
    const winsim::WindowsInfo& windows = Simulation::Current().machine.windows;
    if (!isSystem || std::ranges::find(missing, name) != missing.end())
        return nullptr;
    for (const winsim::SystemFunction& function : winsim::SystemFunctions())
    {
        const bool isThere =
            std::pair{windows.major, windows.minor} >= std::pair{function.sinceMajor, function.sinceMinor};
        if (isThere && winsim::SameName(loaded.BaseName(), function.library) && name == function.name)
            return reinterpret_cast<FARPROC>(function.address);
    }
    return nullptr;
}

} // namespace

HMODULE WINAPI LoadLibraryA(LPCSTR lpLibFileName)
{
    Call call{__func__};
    call.In("lpLibFileName", lpLibFileName);
    const std::string given = lpLibFileName == nullptr ? std::string() : Simulation::Current().FromAnsi(lpLibFileName);
    return Load(call, winsim::FileNameOf(lpLibFileName), given);
}

HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName)
{
    Call call{__func__};
    call.In("lpLibFileName", lpLibFileName);
    const std::string given = lpLibFileName == nullptr ? std::string() : winsim::Utf8(lpLibFileName);
    return Load(call, winsim::FileNameOf(lpLibFileName), given);
}

BOOL WINAPI FreeLibrary(HMODULE hLibModule)
{
    Call call{__func__};
    call.In("hLibModule", hLibModule);
    return call.SuccessOfClosing(
        [&] { return call.Close<LoadedLibrary>(hLibModule) ? ERROR_SUCCESS : ERROR_MOD_NOT_FOUND; });
}

FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName)
{
    Call call{__func__};
    // A small number instead of a name is a function's number in its library.
    const auto number = reinterpret_cast<std::uintptr_t>(lpProcName);
    const bool isNumber = number <= 0xFFFF;
    call.In("hModule", hModule).In("lpProcName", isNumber ? Json(number) : Json(lpProcName));
    Simulation& simulation = Simulation::Current();
    void* const none = nullptr;
    const auto fail = [&](DWORD error) {
        call.Fail(none, error);
        return FARPROC{nullptr};
    };
    if (const auto fault = call.Fault())
        return fail(*fault);
    const auto* loaded = call.Find<LoadedLibrary>(hModule);
    if (loaded == nullptr)
        return fail(ERROR_MOD_NOT_FOUND);
    if (isNumber)
        return fail(number == 0 ? ERROR_PROC_NOT_FOUND : call.NotSimulated("the numbers of functions"));
    const std::string name = lpProcName;
    const FARPROC function =
        loaded->library.exports.contains(name) ? SlotOf(hModule, name) : FindSystemFunction(*loaded, name);
    if (function == nullptr)
        return fail(ERROR_PROC_NOT_FOUND);
    void* const address = reinterpret_cast<void*>(function);
    simulation.handles.Predefine(address, loaded->BaseName() + "!" + name);
    call.Done(address);
    return function;
}

DWORD WINAPI GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize)
{
    Call call{__func__};
    call.In("hModule", hModule).In("nSize", nSize);
    return call.ResultOf(DWORD{0}, [&] {
        Simulation& simulation = Simulation::Current();
        std::string path = simulation.machine.process.path;
        if (hModule != nullptr)
        {
            const auto* loaded = call.Find<LoadedLibrary>(hModule);
            if (loaded == nullptr)
                return call.Fail(DWORD{0}, ERROR_MOD_NOT_FOUND);
            path = loaded->path;
        }
        const std::string ansi = simulation.ToAnsi(path);
        if (nSize == 0)
            return call.Fail(DWORD{0}, ERROR_INSUFFICIENT_BUFFER);
        const std::size_t length = std::min<std::size_t>(ansi.size(), nSize - 1);
        std::memcpy(lpFilename, ansi.data(), length);
        lpFilename[length] = '\0';
        call.Out("lpFilename", simulation.FromAnsi(lpFilename));
        if (length < ansi.size())
            return call.Fail(nSize, ERROR_INSUFFICIENT_BUFFER);
        return call.Done(static_cast<DWORD>(length));
    });
}

BOOL WINAPI SetDllDirectoryW(LPCWSTR lpPathName)
{
    Call call{__func__};
    call.In("lpPathName", lpPathName);
    return call.SuccessOf([&]() -> DWORD {
        auto& directory = Simulation::Current().loader.dllDirectory;
        directory.reset();
        if (lpPathName != nullptr)
            directory = winsim::Utf8(lpPathName);
        return ERROR_SUCCESS;
    });
}

UINT WINAPI SetErrorMode(UINT uMode)
{
    Call call{__func__};
    call.In("uMode", uMode);
    return call.Done(UINT{std::exchange(Simulation::Current().machine.process.errorMode, uMode)});
}
