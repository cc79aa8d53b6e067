// The installer's functions that the package's own library calls.
#include "delayed_call.h"

#include <msi.h>
#include <msiquery.h>

KELO_DELAYED(L"msi.dll", MsiCloseHandle, ErrorCode);
KELO_DELAYED(L"msi.dll", MsiCreateRecord, LastError);
KELO_DELAYED(L"msi.dll", MsiGetPropertyW, ErrorCode);
KELO_DELAYED(L"msi.dll", MsiProcessMessage, MinusOne);
KELO_DELAYED(L"msi.dll", MsiRecordSetInteger, ErrorCode);
KELO_DELAYED(L"msi.dll", MsiRecordSetStringW, ErrorCode);
KELO_DELAYED(L"msi.dll", MsiSetMode, ErrorCode);
KELO_DELAYED(L"msi.dll", MsiSetPropertyW, ErrorCode);
