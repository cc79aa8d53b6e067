// Enters and leaves a COM apartment.
#include "windows/com_initializer.h"

#include <windows.h>

#include <objbase.h>

CComInitializer::CComInitializer()
{
    static_cast<void>(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
}

CComInitializer::~CComInitializer()
{
    CoUninitialize();
}
