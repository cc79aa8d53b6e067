// ForgetLogonTask: removes the program's logon task, the change of the SRK authorization, together with the toolkit.
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

// An action of the script, when the toolkit is removed or its installation rolled back. Deletes the program's value
// below Run: a bare name, for which Windows would later start any program of that name. A value with other data is not
// the program's, and stays. Returns ERROR_SUCCESS.
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
