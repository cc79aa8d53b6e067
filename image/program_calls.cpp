// The Windows functions that not every action of the program calls: each library is loaded at the first call.
#include "delayed_call.h"

#include <msi.h>
#include <msiquery.h>
#include <objbase.h>
#include <oleauto.h>
#include <winscard.h>

// As in src/platform/processes.cpp.
#define PSAPI_VERSION 1
#include <psapi.h>

KELO_DELAYED(L"msi.dll", MsiGetPropertyW, ErrorCode);

KELO_DELAYED(L"ole32.dll", CoCreateInstance, HResult);
KELO_DELAYED(L"ole32.dll", CoInitializeEx, HResult);
KELO_DELAYED(L"ole32.dll", CoSetProxyBlanket, HResult);
KELO_DELAYED(L"ole32.dll", CoUninitialize, LastError);

KELO_DELAYED(L"oleaut32.dll", SysAllocString, LastError);
KELO_DELAYED(L"oleaut32.dll", SysFreeString, LastError);
KELO_DELAYED(L"oleaut32.dll", VariantClear, HResult);

KELO_DELAYED(L"psapi.dll", EnumProcesses, LastError);
KELO_DELAYED(L"psapi.dll", EnumProcessModules, LastError);
KELO_DELAYED(L"psapi.dll", GetModuleBaseNameA, LastError);

KELO_DELAYED(L"user32.dll", LoadStringA, LastError);

KELO_DELAYED(L"version.dll", GetFileVersionInfoSizeW, LastError);
KELO_DELAYED(L"version.dll", GetFileVersionInfoW, LastError);
KELO_DELAYED(L"version.dll", VerQueryValueW, LastError);

KELO_DELAYED(L"winscard.dll", SCardEstablishContext, ErrorCode);
KELO_DELAYED(L"winscard.dll", SCardListReadersW, ErrorCode);
KELO_DELAYED(L"winscard.dll", SCardReleaseContext, ErrorCode);
