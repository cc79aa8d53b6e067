// The install session that an action belongs to: its properties, its log and its window.
#pragma once

#include "bounded_text.h"

#include <windows.h>

#include <msi.h>
#include <msiquery.h>

using PropertyText = BoundedText<4096>;

// Reads a property; a script action can only read CustomActionData. Returns false if it cannot be read or does not fit.
template <unsigned kSize>
bool ReadProperty(MSIHANDLE session, const wchar_t* name, BoundedText<kSize>& value)
{
    DWORD size = kSize;
    return MsiGetPropertyW(session, name, value.Buffer(), &size) == ERROR_SUCCESS;
}

// Whether a property has a value, of any length.
bool HasProperty(MSIHANDLE session, const wchar_t* name);

// Passes a text to the installer, which does not take brackets in it for a format. Returns the installer's answer, such
// as IDCANCEL. `kind` is one of
//   INSTALLMESSAGE_INFO        a line of the installer's log
//   INSTALLMESSAGE_ACTIONDATA  shown while the action runs, as the second field of its template
//   INSTALLMESSAGE_ERROR       the reason of a failure, for the user
int Tell(MSIHANDLE session, INSTALLMESSAGE kind, const wchar_t* text);

// Tells the user why the installation is refused. Returns ERROR_INSTALL_FAILURE.
UINT Refuse(MSIHANDLE session, const wchar_t* why);

// The texts shown while an action runs advance the progress bar if an immediate action has called ExpectTexts with
// their number, and the action itself has called CountTexts.
void ExpectTexts(MSIHANDLE session, int count);
void CountTexts(MSIHANDLE session);
