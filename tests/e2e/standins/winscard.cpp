// A smart-card resource manager that lists the readers that the registry names.
#include "tests/e2e/standins/settings.h"

#include "standin_names.h"

#include <windows.h>

#include <winscard.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{

constexpr SCARDCONTEXT kContext = 0x4B454C4F;

} // namespace

extern "C"
{
    __declspec(dllexport) LONG WINAPI SCardEstablishContext(DWORD, LPCVOID, LPCVOID, LPSCARDCONTEXT context)
    {
        *context = kContext;
        return static_cast<LONG>(ReadNumber(names::kCardsLibrary, names::kManager).value_or(0));
    }

    __declspec(dllexport) LONG WINAPI SCardReleaseContext(SCARDCONTEXT context)
    {
        return context == kContext ? SCARD_S_SUCCESS : static_cast<LONG>(SCARD_E_INVALID_HANDLE);
    }

    __declspec(dllexport) LONG WINAPI SCardListReadersW(SCARDCONTEXT context, LPCWSTR, LPWSTR readers, LPDWORD length)
    {
        if (context != kContext)
            return static_cast<LONG>(SCARD_E_INVALID_HANDLE);
        const std::vector<std::wstring> listed = ReadTexts(names::kCardsLibrary, names::kReaders);
        if (listed.empty())
            return static_cast<LONG>(SCARD_E_NO_READERS_AVAILABLE);
        const std::wstring list = MultiString(listed);
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
