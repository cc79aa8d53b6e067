// The language of the user interface.
#pragma once

#include <windows.h>

// Returns the language of the thread's user interface (GetThreadUILanguage) or, before Windows 5.2, of the user
// (GetUserDefaultLangID). English of the United States (0x0409) when the function is missing, and for
// LOCALE_CUSTOM_UI_DEFAULT. Logs nothing.
LANGID GetUiLanguage();
