// A function of Windows whose library is loaded when the function is first called.
#pragma once

#include <windows.h>

#include <cstddef>

// How a function says that it failed.
enum class Failure
{
    LastError, // returns nothing, null or 0: the last error tells why
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

// Loads a library of the system folder (its file name), and what the library itself imports from there first. Null,
// with the last error, when it is not there.
HMODULE LoadSystemLibrary(const wchar_t* name);

// A library of the system folder (its file name), once it is loaded: it stays so.
template <ConstantText Name>
inline HMODULE g_systemLibrary = nullptr;

// Finds a function of a library of the system folder, which is loaded into `library` when that is null. Null, with the
// last error, when one of them is not there; otherwise the last error stays what it was.
void* FindSystemFunction(HMODULE& library, const wchar_t* libraryName, const char* name);

// What takes the place of an imported function. A library or function that is not there fails the call.
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

// Makes the linker take a function of Windows from the system folder's library at its first call, where an import
// library would have Windows load that library before the program starts. As import libraries do, it defines the
// pointer that calls go through and the jump for those whose headers do not tell of it. A macro, because the function's
// name becomes a symbol.
#define KELO_DELAYED(library, name, failure)                                                                           \
    extern "C" const decltype(&name) kDelayed_##name asm("__imp_" #name);                                              \
    const decltype(&name) kDelayed_##name = &DelayedCall<library, #name, Failure::failure, decltype(name)>::Call;      \
    asm(".text\n.globl " #name "\n" #name ": jmp *__imp_" #name "(%rip)\n")
