// The functions of Windows whose libraries are loaded when they are first called.
//
// The program calls such a function as it calls any other: through the pointer that an import library would have
// Windows fill in before the program starts. Here the pointer leads to a function that finds the real one in the system
// folder. A library or function that is not there fails the call as the function's documentation says that it fails.
#include <windows.h>

#include <msi.h>
#include <msiquery.h>
#include <objbase.h>
#include <oleauto.h>
#define PSAPI_VERSION 1
#include <psapi.h>
#include <winscard.h>

#include <cwchar>

namespace
{

// What a function without its library is made to return.
template <typename Result>
struct LastErrorTells
{
    static Result Failure(DWORD) { return Result{}; }
};
