// ForgetLogonTask: removes the program's logon task, a postponed change of the SRK authorization.
#include "bounded_text.h"
#include "owners.h"

#include <windows.h>

#include <cwchar>
#include <msi.h>

namespace
{

constexpr wchar_t kRunKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kTask[] = L"ChangeTPMAuth"; // the value's name, and its data

} // namespace

// A script action, for the removal of the toolkit and the rollback of its installation. Deletes the program's value in
// the Run key: a file name without a path, for which Windows would start any program that later gets this name. A value
// with other data is not the program's, and is kept. Returns ERROR_SUCCESS.
extern "C" __declspec(dllexport) UINT WINAPI ForgetLogonTask(MSIHANDLE)
{
    OwnedKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kRunKey, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, key.Put()) != ERROR_SUCCESS)
        return ERROR_SUCCESS;
    BoundedText<32> data;
    DWORD bytes = sizeof kTask;
    if (RegGetValueW(key.Get(), nullptr, kTask, RRF_RT_REG_SZ, nullptr, data.Buffer(), &bytes) == ERROR_SUCCESS &&
        std::wcscmp(data.Get(), kTask) == 0)
        RegDeleteValueW(key.Get(), kTask);
    return ERROR_SUCCESS;
}
