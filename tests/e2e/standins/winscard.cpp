// A smart-card resource manager that lists the readers that the registry names.
#include <windows.h>

#include <winscard.h>

#include <algorithm>
#include <string>

namespace
{

constexpr wchar_t kKey[] = L"SOFTWARE\\KeloStandIns\\winscard.dll";
constexpr SCARDCONTEXT kContext = 0x4B454C4F;

LONG ManagerStatus()
{
    DWORD status = 0;
    DWORD size = sizeof status;
    RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"manager", RRF_RT_REG_DWORD, nullptr, &status, &size);
    return static_cast<LONG>(status);
}

// Each with a zero behind it, and one more at the end; only that one when there are none.
std::wstring Readers()
{
    DWORD size = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"readers", RRF_RT_REG_MULTI_SZ, nullptr, nullptr, &size) != 0)
        return std::wstring(1, L'\0');
    std::wstring readers(size / sizeof(wchar_t), L'\0');
    RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"readers", RRF_RT_REG_MULTI_SZ, nullptr, readers.data(), &size);
    readers.resize(size / sizeof(wchar_t));
    return readers;
}

} // namespace

extern "C"
{
    __declspec(dllexport) LONG WINAPI SCardEstablishContext(DWORD, LPCVOID, LPCVOID, LPSCARDCONTEXT context)
    {
        *context = kContext;
        return ManagerStatus();
    }

    __declspec(dllexport) LONG WINAPI SCardReleaseContext(SCARDCONTEXT context)
    {
        return context == kContext ? SCARD_S_SUCCESS : static_cast<LONG>(SCARD_E_INVALID_HANDLE);
    }

    __declspec(dllexport) LONG WINAPI SCardListReadersW(SCARDCONTEXT context, LPCWSTR, LPWSTR readers, LPDWORD length)
    {
        if (context != kContext)
            return static_cast<LONG>(SCARD_E_INVALID_HANDLE);
        const std::wstring list = Readers();
        if (list.front() == L'\0')
            return static_cast<LONG>(SCARD_E_NO_READERS_AVAILABLE);
        const DWORD room = *length;
        *length = static_cast<DWORD>(list.size());
        if (readers == nullptr)
            return SCARD_S_SUCCESS;
        if (room < list.size())
            return static_cast<LONG>(SCARD_E_INSUFFICIENT_BUFFER);
        std::copy(list.begin(), list.end(), readers);
        return SCARD_S_SUCCESS;
    }
}
