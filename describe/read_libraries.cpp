// Reads libraries: their functions and texts. Only with --probe does it call functions, those of detection libraries.
#include "describe/capture.h"
#include "describe/exported_functions.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/exception_guard.h"
#include "windows/unique_handle.h"

#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace describe
{

namespace
{

using winsim::Library;
using winsim::LibraryExport;
using DetectionFunction = int (*)();

constexpr DWORD kProgramsErrorMode = SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX;

// What descriptions call that which comes out of a function.
struct ThrownName
{
    DWORD code;
    const char* name;
};

constexpr ThrownName kThrown[] = {
    {EXCEPTION_ACCESS_VIOLATION, "access violation"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "division by zero"},
};
constexpr char kOtherThrown[] = "C++ exception";

// The last exception that was raised in a guarded call.
DWORD g_raised = 0;

LONG CALLBACK NoteException(EXCEPTION_POINTERS* exception)
{
    g_raised = exception->ExceptionRecord->ExceptionCode;
    return EXCEPTION_CONTINUE_SEARCH;
}

std::string ThrownBy(DWORD code)
{
    for (const ThrownName& thrown : kThrown)
    {
        if (thrown.code == code)
            return thrown.name;
    }
    return kOtherThrown;
}

LibraryExport Ask(DetectionFunction function)
{
    LibraryExport answer;
    void* handler = AddVectoredExceptionHandler(1, &NoteException);
    int result = 0;
    if (CallGuarded([function, &result] { result = function(); }))
        answer.result = result;
    else
        answer.throws = ThrownBy(g_raised);
    RemoveVectoredExceptionHandler(handler);
    return answer;
}

// Asks a detection library what the program asks it, in the program's order, and no more: the answer of one function
// decides whether the next one is asked.
class DetectionLibrary
{
public:
    DetectionLibrary(HMODULE library, Library& described) : m_library(library), m_described(described) {}

    void AskAll()
    {
        if (Answer("DetectTSS") != 0 || Answer("isEnabled") != 1)
            return;
        const std::optional<int> isActivated = Answer("isActivated");
        if (isActivated && Answer("isOwned") == 1)
            Answer("ValidSRKAuth");
    }

private:
    // Nothing if there is no such function, or if it does not return.
    std::optional<int> Answer(const char* name)
    {
        const auto function =
            reinterpret_cast<DetectionFunction>(reinterpret_cast<void*>(GetProcAddress(m_library, name)));
        if (function == nullptr)
            return std::nullopt;
        LibraryExport& answer = m_described.exports[name];
        answer = Ask(function);
        return answer.throws.empty() ? std::optional(answer.result) : std::nullopt;
    }

    HMODULE m_library;
    Library& m_described;
};

void Probe(const std::string& path, Library& described)
{
    const UINT errorMode = SetErrorMode(kProgramsErrorMode);
    const UniqueLibrary library{LoadLibraryW(ToWide(path).c_str())};
    if (library)
        DetectionLibrary{library.Get(), described}.AskAll();
    else
        described.loadError = GetLastError();
    SetErrorMode(errorMode);
}

// The library's texts, if they are not those that its name stands for.
void ReadTexts(const std::string& path, Library& described)
{
    const UniqueLibrary library{LoadLibraryExW(ToWide(path).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE)};
    if (!library)
        return;
    const winsim::Texts usual = described.TextsAt(path);
    winsim::Texts texts;
    for (const auto& [id, text] : usual)
    {
        const wchar_t* found = nullptr;
        const int length = LoadStringW(library.Get(), id, reinterpret_cast<wchar_t*>(&found), 0);
        if (length > 0)
            texts[id] = FromWide({found, static_cast<std::size_t>(length)});
    }
    if (texts != usual)
        described.texts = texts;
}

// A file's content; nothing if it cannot be opened.
std::optional<std::string> BytesOf(const std::string& path)
{
    std::ifstream file(ToWide(path).c_str(), std::ios::binary);
    if (!file.is_open())
        return std::nullopt;
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

void ReadLibrary(Capture& capture, const AskedLibrary& asked, Library& described)
{
    const std::optional<std::string> bytes = BytesOf(asked.path);
    if (!bytes)
        return capture.notes.Add("libraries." + asked.path, "cannot be opened");
    const auto functions = ExportedFunctions(*bytes);
    if (!functions)
    {
        described.loadError = ERROR_BAD_EXE_FORMAT;
        return;
    }
    for (const char* name : asked.functions)
    {
        if (functions->contains(name))
            described.exports[name] = {};
    }
    if (asked.functions.empty())
        ReadTexts(asked.path, described);
    else if (!asked.isForDetection)
        capture.notes.Add("libraries." + asked.path, "what its functions return shows only when they are called");
    else if (capture.options.askDetectionLibraries)
        Probe(asked.path, described);
    else
        capture.notes.Add("libraries." + asked.path, "not asked; --probe asks it");
}

void ReadSystemLibrary(Capture& capture, const AskedSystemLibrary& asked)
{
    const UniqueLibrary library{LoadLibraryW(ToWide(asked.name).c_str())};
    if (!library)
        return;
    winsim::File& file = capture.machine.files.Create(capture.places.system + "\\" + asked.name, false);
    Library& described = file.library.emplace();
    for (const char* function : asked.functions)
    {
        if (GetProcAddress(library.Get(), function) == nullptr)
            described.missing.emplace_back(function);
    }
}

} // namespace

void ReadLibraries(Capture& capture)
{
    for (const AskedLibrary& asked : AskedLibraries(capture.places))
    {
        winsim::File* file = capture.machine.files.Find(asked.path);
        if (file == nullptr || file->isDirectory || file->library)
            continue;
        ReadLibrary(capture, asked, file->library.emplace());
    }
    for (const AskedSystemLibrary& asked : AskedSystemLibraries())
        ReadSystemLibrary(capture, asked);
}

} // namespace describe
