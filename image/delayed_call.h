// A Windows function whose library is loaded at the function's first call.
#pragma once

#include <windows.h>

#include <cstddef>

// How a function reports failure.
enum class Failure
{
    LastError, // returns nothing, null or 0; the last error has the reason
    ErrorCode, // returns the error
    HResult,   // returns the error as an HRESULT
    MinusOne,  // returns -1
};

// A text that can be an argument of a template.
template <typename Character, std::size_t Size>
struct ConstantText
{
    consteval ConstantText(const Character (&characters)[Size]) // NOLINT(google-explicit-constructor)
    {
        for (std::size_t i = 0; i < Size; ++i)
            text[i] = characters[i];
    }

    Character text[Size];
};

// Loads a library of the system folder (its file name); the library's own imports come first from there, too. Null,
// with the last error, if the library does not exist.
HMODULE LoadSystemLibrary(const wchar_t* name);

// The handle of a library of the system folder (its file name), once it is loaded. It stays loaded.
template <ConstantText Name>
inline HMODULE g_systemLibrary = nullptr;

// Finds a function of a library of the system folder, which is loaded into `library` if that is null. Returns null,
// with the last error, if the library or the function does not exist; otherwise the last error is unchanged.
void* FindSystemFunction(HMODULE& library, const wchar_t* libraryName, const char* name);

// The replacement of an imported function. If the library or the function does not exist, the call fails.
template <ConstantText Library, ConstantText Name, Failure Kind, typename Function>
struct DelayedCall;

template <ConstantText Library, ConstantText Name, Failure Kind, typename Result, typename... Arguments>
struct DelayedCall<Library, Name, Kind, Result WINAPI(Arguments...)>
{
    using Function = Result(WINAPI*)(Arguments...);

    static Result WINAPI Call(Arguments... arguments)
    {
        static Function function = nullptr;
        if (function == nullptr)
            function =
                reinterpret_cast<Function>(FindSystemFunction(g_systemLibrary<Library>, Library.text, Name.text));
        return function != nullptr ? function(arguments...) : Failed();
    }

private:
    static Result Failed()
    {
        if constexpr (Kind == Failure::ErrorCode)
            return static_cast<Result>(GetLastError());
        else if constexpr (Kind == Failure::HResult)
            return HRESULT_FROM_WIN32(GetLastError());
        else if constexpr (Kind == Failure::MinusOne)
            return -1;
        else
            return Result();
    }
};

// Makes the linker take a Windows function from the system folder's library at its first call; with an import library,
// Windows would load that library before the program starts. Like an import library, it defines the pointer that calls
// go through, and the jump for calls whose headers do not declare the import. A macro, because the function's name
// becomes a symbol.
#define KELO_DELAYED(library, name, failure)                                                                           \
    extern "C" const decltype(&name) kDelayed_##name asm("__imp_" #name);                                              \
    const decltype(&name) kDelayed_##name = &DelayedCall<library, #name, Failure::failure, decltype(name)>::Call;      \
    asm(".text\n.globl " #name "\n" #name ": jmp *__imp_" #name "(%rip)\n")
