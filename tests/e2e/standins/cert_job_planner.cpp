// The task library. Each function counts its calls in the registry, raises what the text "<name> throws" there says,
// and returns the number under its name there.
#include "tests/e2e/standins/settings.h"
#include "tests/e2e/standins/thrown.h"

#include "standin_names.h"

#include <string>

namespace
{

DWORD Answer(const std::wstring& function)
{
    const std::wstring calls = function + names::kCallsEnding;
    WriteNumber(names::kTaskLibrary, calls, ReadNumber(names::kTaskLibrary, calls).value_or(0) + 1);
    Throw(ReadText(names::kTaskLibrary, function + names::kThrowsEnding));
    return ReadNumber(names::kTaskLibrary, function).value_or(0);
}

} // namespace

extern "C"
{
    __declspec(dllexport) DWORD AreTasksInstalled()
    {
        return Answer(L"AreTasksInstalled");
    }

    __declspec(dllexport) DWORD InstallAutoEnrollmentTasks()
    {
        return Answer(L"InstallAutoEnrollmentTasks");
    }

    __declspec(dllexport) DWORD RemoveAutoEnrollmentTasks()
    {
        return Answer(L"RemoveAutoEnrollmentTasks");
    }
}
