// Reads the smart-card readers.
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"

#include <winscard.h>

#include <vector>

namespace describe
{

namespace
{

// The names of a list that ends with an empty one, and how many of its last two zeros are missing.
void SetReaders(winsim::SmartCards& cards, const std::wstring& list)
{
    for (std::size_t begin = 0; begin < list.size();)
    {
        const std::size_t end = std::min(list.find(L'\0', begin), list.size());
        if (end == begin)
            return;
        cards.readers.push_back(FromWide(list.substr(begin, end - begin)));
        cards.zerosMissing = end == list.size() ? 2 : end + 1 == list.size() ? 1 : 0;
        begin = end + 1;
    }
}

void ReadReaders(Capture& capture, SCARDCONTEXT context)
{
    DWORD length = 0;
    LONG status = SCardListReadersW(context, nullptr, nullptr, &length);
    std::wstring list(length, L'\0');
    if (status == SCARD_S_SUCCESS)
        status = SCardListReadersW(context, nullptr, list.data(), &length);
    if (status == SCARD_S_SUCCESS)
        SetReaders(capture.machine.smartCards, list.substr(0, length));
    else if (status != static_cast<LONG>(SCARD_E_NO_READERS_AVAILABLE))
        capture.notes.AddError("smartCards.readers", static_cast<std::uint32_t>(status));
}

} // namespace

void ReadSmartCards(Capture& capture)
{
    SCARDCONTEXT context = 0;
    const LONG status = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
    capture.machine.smartCards.managerStatus = static_cast<std::uint32_t>(status);
    if (status != SCARD_S_SUCCESS)
        return;
    ReadReaders(capture, context);
    SCardReleaseContext(context);
}

} // namespace describe
