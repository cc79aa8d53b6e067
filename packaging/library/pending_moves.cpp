// NotePendingMoves and AskForRestart: ask for a restart if this run left files to move at the next start of Windows.
#include "session.h"

#include <windows.h>

#include <cwchar>

namespace
{

constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kNote[] = L"KeloPendingMoves";

// The length of the list of moves, as text. A longer list has new moves, because only a start of Windows removes moves.
struct ListLength
{
    wchar_t text[12] = {};

    ListLength()
    {
        DWORD bytes = 0;
        RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, L"PendingFileRenameOperations", RRF_RT_REG_MULTI_SZ, nullptr,
                     nullptr, &bytes);
        _snwprintf(text, 11, L"%lu", bytes);
    }
};

} // namespace

// An immediate action at the beginning. Notes the length of the list of moves. Returns ERROR_SUCCESS.
extern "C" __declspec(dllexport) UINT WINAPI NotePendingMoves(MSIHANDLE session)
{
    MsiSetPropertyW(session, kNote, ListLength().text);
    return ERROR_SUCCESS;
}

// An immediate action after the transaction. If the list is longer than at the beginning, the installer will ask for a
// restart at its end, or report that one is needed. Returns ERROR_SUCCESS.
extern "C" __declspec(dllexport) UINT WINAPI AskForRestart(MSIHANDLE session)
{
    BoundedText<12> noted;
    if (ReadProperty(session, kNote, noted) && std::wcscmp(noted.Get(), ListLength().text) != 0)
        MsiSetMode(session, MSIRUNMODE_REBOOTATEND, TRUE);
    return ERROR_SUCCESS;
}
