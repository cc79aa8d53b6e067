// A detection library that answers as the file "stkprobe.txt" beside it says, and notes in "stkprobe.log" there how it
// is used.
//
// Each line of the file names a function and the number that it returns, and may say what happens in it before:
//   DetectTSS 0
//   isEnabled 1 throws access-violation        an exception comes out of it
//   isOwned 1 handles division-by-zero         one is raised in it, and it handles that by itself
// Of two lines for a function the last one counts. The first function that is called brings "exit_witness.dll" from
// beside the library into the process.
#include "src/windows/exception_guard.h"
#include "tests/e2e/standins/own_files.h"
#include "tests/e2e/standins/thrown.h"
#include "tests/support/test_text.h"

#include "standin_names.h"

#include <windows.h>

#include <fstream>
#include <sstream>
#include <string>

namespace
{

HINSTANCE g_library;

struct Answer
{
    int result = 0;
    std::string manner;
    std::string thrown;
};

void Note(const std::string& line)
{
    AppendLine(Beside(names::kProbeNotes, g_library), line);
}

Answer AnswerOf(const std::string& function)
{
    Answer answer;
    std::ifstream file(Beside(names::kAnswers, g_library));
    for (std::string line; std::getline(file, line);)
    {
        std::istringstream words(line);
        std::string name;
        Answer described;
        words >> name >> described.result >> described.manner >> described.thrown;
        if (name == function)
            answer = described;
    }
    return answer;
}

int Call(const char* function)
{
    Note(function);
    LoadLibraryW(Beside(names::kWitness, g_library).c_str());
    const Answer answer = AnswerOf(function);
    const std::wstring thrown = WideOfUtf8(answer.thrown);
    if (answer.manner == "throws")
        Throw(thrown);
    if (answer.manner == "handles" && !CallGuarded([&thrown] { Throw(thrown); }))
        Note("handled " + answer.thrown);
    return answer.result;
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void* atProcessEnd)
{
    g_library = library;
    if (reason == DLL_PROCESS_ATTACH)
    {
        const UINT mode = SetErrorMode(0); // GetErrorMode is newer than 5.2
        SetErrorMode(mode);
        Note("loaded with error mode " + std::to_string(mode));
    }
    if (reason == DLL_PROCESS_DETACH)
        Note(atProcessEnd == nullptr ? "freed" : "left to the end of the process");
    return TRUE;
}

extern "C"
{
    __declspec(dllexport) int DetectTSS()
    {
        return Call("DetectTSS");
    }

    __declspec(dllexport) int isEnabled()
    {
        return Call("isEnabled");
    }

    __declspec(dllexport) int isActivated()
    {
        return Call("isActivated");
    }

    __declspec(dllexport) int isOwned()
    {
        return Call("isOwned");
    }

    __declspec(dllexport) int ValidSRKAuth()
    {
        return Call("ValidSRKAuth");
    }
}
