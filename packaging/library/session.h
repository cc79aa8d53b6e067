// The install session that an action belongs to: its properties, its log and its window.
#pragma once

#include "bounded_text.h"

#include <windows.h>

#include <msi.h>
#include <msiquery.h>

using PropertyText = BoundedText<4096>;

// Reads a property; in an action of the installer's script, CustomActionData. Returns false when it cannot be read or
// does not fit the text.
template <unsigned kSize>
bool ReadProperty(MSIHANDLE session, const wchar_t* name, BoundedText<kSize>& value)
{
    DWORD size = kSize;
    return MsiGetPropertyW(session, name, value.Buffer(), &size) == ERROR_SUCCESS;
}

// Whether a property has a value, however long.
bool HasProperty(MSIHANDLE session, const wchar_t* name);

// Hands a text to the installer unchanged: brackets in it are no format. Returns the installer's answer, such as
// IDCANCEL.
//   INSTALLMESSAGE_INFO        a line of the installer's log
//   INSTALLMESSAGE_ACTIONDATA  shown while the action runs, as the second field of its template
//   INSTALLMESSAGE_ERROR       the reason of a failure, for the user
int Tell(MSIHANDLE session, INSTALLMESSAGE kind, const wchar_t* text);

// Tells the user why the installation is refused. Returns ERROR_INSTALL_FAILURE.
UINT Refuse(MSIHANDLE session, const wchar_t* why);

// Each text that is shown while an action runs advances the progress bar: an immediate action tells the installer how
// many to expect, and the action itself that they count.
void ExpectTexts(MSIHANDLE session, int count);
void CountTexts(MSIHANDLE session);
