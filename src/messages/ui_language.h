// The language of the user interface.
#pragma once

#include <windows.h>

// The language of the thread's user interface (GetThreadUILanguage, on Windows 5.2 and later) or of the user
// (GetUserDefaultLangID, before); English of the United States (0x0409) when Windows cannot tell, and in place of
// LOCALE_CUSTOM_UI_DEFAULT. Logs nothing.
LANGID GetUiLanguage();
