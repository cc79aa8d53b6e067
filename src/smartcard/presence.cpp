// Asks the smart-card resource manager for the toolkit's virtual reader.
#include "log/module_logs.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <windows.h>

#include <winscard.h>

#include <cwchar>
#include <string>

namespace
{

constexpr wchar_t kReaderName[] = L"Kelo VIRTUAL_CARD_READER 0";

using UniqueCardContext = UniqueHandle<SCARDCONTEXT, &SCardReleaseContext>;

// Whether a list of names has the reader's name, in any letter case. A zero ends each name, and an empty name the list:
// at the latest the zero after a string's last character.
bool HoldsReader(const std::wstring& readers)
{
    for (std::size_t start = 0; readers[start] != L'\0';)
    {
        const wchar_t* name = readers.c_str() + start;
        if (_wcsicmp(name, kReaderName) == 0)
            return true;
        start += std::wcslen(name) + 1;
    }
    return false;
}

// A buffer for a list of `length` characters and one zero more, which ends a list that does not end itself. Empty when
// memory runs out.
std::wstring MakeListBuffer(DWORD length)
{
    return ResultOr({}, [length] { return std::wstring(std::size_t{length} + 1, L'\0'); });
}

} // namespace

CTPMSmartCard::CTPMSmartCard() : m_bKlSCardInstalled(IsKlSCardInstalled()) {}

bool CTPMSmartCard::IsKlSCardInstalled()
{
    UniqueCardContext context;
    LONG status = SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, context.Put());
    if (status != SCARD_S_SUCCESS)
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager %x", status);
        return false;
    }

    DWORD length = 0;
    status = SCardListReadersW(context.Get(), nullptr, nullptr, &length);
    if (status == static_cast<LONG>(SCARD_E_NO_READERS_AVAILABLE))
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::IsKlSCardInstalled - No Smart card readers on system");
        return false;
    }
    if (status != SCARD_S_SUCCESS)
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::IsKlSCardInstalled - can't list readers %x", status);
        return false;
    }

    std::wstring readers = MakeListBuffer(length);
    status = readers.empty() ? static_cast<LONG>(SCARD_E_NO_MEMORY)
                             : SCardListReadersW(context.Get(), nullptr, readers.data(), &length);
    if (status != SCARD_S_SUCCESS)
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::IsKlSCardInstalled - can't list readers %x", status);
        return false;
    }
    if (!HoldsReader(readers))
        return false;
    WriteLog(g_smartcardLog, "CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed");
    return true;
}
