// A task library: each of its functions answers with the number in the registry under its name, and counts its calls
// there.
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

DWORD Answer(const std::string& name)
{
    const std::string calls = name + " calls";
    const DWORD count = Number(calls) + 1;
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, kKey, calls.c_str(), REG_DWORD, &count, sizeof count);
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
