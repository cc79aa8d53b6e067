// A task library: each of its functions answers with the number in the registry under its name, after it has raised
// what the text "<name> throws" there says, and counts its calls there.
#include "thrown.h"

#include <windows.h>

#include <string>

namespace
{

constexpr char kKey[] = "SOFTWARE\\KeloStandIns\\CertJobPlanner.dll";

DWORD Number(const std::string& name)
{
    DWORD number = 0;
    DWORD size = sizeof number;
    RegGetValueA(HKEY_LOCAL_MACHINE, kKey, name.c_str(), RRF_RT_REG_DWORD, nullptr, &number, &size);
    return number;
}

std::string Text(const std::string& name)
{
    char text[64] = {};
    DWORD size = sizeof text;
    RegGetValueA(HKEY_LOCAL_MACHINE, kKey, name.c_str(), RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

DWORD Answer(const std::string& name)
{
    const std::string calls = name + " calls";
    const DWORD count = Number(calls) + 1;
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, kKey, calls.c_str(), REG_DWORD, &count, sizeof count);
    Throw(Text(name + " throws"));
    return Number(name);
}

} // namespace

extern "C"
{
    __declspec(dllexport) DWORD AreTasksInstalled()
    {
        return Answer("AreTasksInstalled");
    }

    __declspec(dllexport) DWORD InstallAutoEnrollmentTasks()
    {
        return Answer("InstallAutoEnrollmentTasks");
    }

    __declspec(dllexport) DWORD RemoveAutoEnrollmentTasks()
    {
        return Answer("RemoveAutoEnrollmentTasks");
    }
}
