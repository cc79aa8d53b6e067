// The properties of an install session, for the simulated machine.
#pragma once

#include "msi.h"

extern "C"
{
    UINT WINAPI MsiGetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPWSTR szValueBuf, LPDWORD pcchValueBuf);
}
