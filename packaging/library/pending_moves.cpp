// NotePendingMoves and AskForRestart: whether the next start of Windows has files to move because of this run.
#include "session.h"

#include <windows.h>

#include <cwchar>

namespace
{

constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kNote[] = L"KeloPendingMoves";

// How long the list of moves is, as text: a list that has become longer has new moves, and nothing but a start of
// Windows takes moves off it.
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

// An immediate action at the beginning. Notes how long the list of moves is.
// Returns ERROR_SUCCESS.
extern "C" __declspec(dllexport) UINT WINAPI NotePendingMoves(MSIHANDLE session)
{
    MsiSetPropertyW(session, kNote, ListLength().text);
    return ERROR_SUCCESS;
}

// An immediate action after the transaction. Has the installer ask for a restart at its end, or report that one is
// needed, when there are more moves than at the beginning. Returns ERROR_SUCCESS.
extern "C" __declspec(dllexport) UINT WINAPI AskForRestart(MSIHANDLE session)
{
    BoundedText<12> noted;
    if (ReadProperty(session, kNote, noted) && std::wcscmp(noted.Get(), ListLength().text) != 0)
        MsiSetMode(session, MSIRUNMODE_REBOOTATEND, TRUE);
    return ERROR_SUCCESS;
}
