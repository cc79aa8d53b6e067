// Asks Windows for the language of the user interface.
#include "messages/ui_language.h"

#include "windows/library_function.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

namespace
{

constexpr LANGID kEnglish = 0x0409;
constexpr LANGID kCustomDefault = 0x1400; // LOCALE_CUSTOM_UI_DEFAULT

using GetThreadUILanguageFunction = LANGID(WINAPI*)();

LANGID ThreadLanguage()
{
    const UniqueLibrary library{LoadLibraryA("kernel32.dll")};
    if (!library)
        return kEnglish;
    const auto getThreadUILanguage = FindFunction<GetThreadUILanguageFunction>(library.Get(), "GetThreadUILanguage");
    return getThreadUILanguage != nullptr ? getThreadUILanguage() : kEnglish;
}

} // namespace

LANGID GetUiLanguage()
{
    const LANGID language = IsWindowsVersionAtLeast(5, 2) ? ThreadLanguage() : GetUserDefaultLangID();
    return language != kCustomDefault ? language : kEnglish;
}
