// The install session that an action belongs to: its properties, its log and its window.
#pragma once

#include "bounded_text.h"

#include <windows.h>

#include <msi.h>
#include <msiquery.h>

using PropertyText = BoundedText<4096>;

// Reads a property; CustomActionData in an action of the installer's script. Returns false when it cannot be read or is
// longer than the text has room.
template <unsigned kSize>
bool ReadProperty(MSIHANDLE session, const wchar_t* name, BoundedText<kSize>& value)
{
    DWORD size = kSize;
    return MsiGetPropertyW(session, name, value.Buffer(), &size) == ERROR_SUCCESS;
}

// Whether a property has a value, however long.
bool HasProperty(MSIHANDLE session, const wchar_t* name);

// Hands a text over to the installer, as it stands: brackets in it are no format. Returns the installer's answer, such
// as IDCANCEL.
//   INSTALLMESSAGE_INFO        a line of the installer's log
//   INSTALLMESSAGE_ACTIONDATA  what is shown while the action runs, as the second field of its template
//   INSTALLMESSAGE_ERROR       the reason of a failure, for the user
int Tell(MSIHANDLE session, INSTALLMESSAGE kind, const wchar_t* text);

// Tells the user why nothing is done. Returns ERROR_INSTALL_FAILURE.
UINT Refuse(MSIHANDLE session, const wchar_t* why);

// Each text that is shown while an action runs moves the progress bar on: the installer is told how many are expected,
// by an immediate action, and in the action that they count.
void ExpectTexts(MSIHANDLE session, int count);
void CountTexts(MSIHANDLE session);
