// Prints the text of an event-log entry, or of a category, which it finds like the event viewer: in the source's
// registered message file.
//   event_text SOURCE EventMessageFile|CategoryMessageFile IDENTIFIER [INSERTIONS...]
//
// Exit status: 0, or the Windows error.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

int wmain(int argc, wchar_t** argv)
{
    if (argc < 4)
        return ERROR_INVALID_PARAMETER;
    const std::wstring key = std::wstring(L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\") + argv[1];
    wchar_t file[MAX_PATH] = {};
    DWORD size = sizeof file;
    // REG_EXPAND_SZ is fine too: RegGetValueW expands it.
    if (const LSTATUS error =
            RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), argv[2], RRF_RT_REG_SZ, nullptr, file, &size))
        return static_cast<int>(error);
    const HMODULE module = LoadLibraryExW(file, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (module == nullptr)
        return static_cast<int>(GetLastError());

    constexpr DWORD kSource = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    constexpr DWORD kMostCharacters = 1024;
    wchar_t text[kMostCharacters] = {};
    const DWORD length = FormatMessageW(kSource, module, std::wcstoul(argv[3], nullptr, 10), 0, text, kMostCharacters,
                                        reinterpret_cast<va_list*>(argv + 4));
    if (length == 0)
        return static_cast<int>(GetLastError());
    std::printf("%ls", text);
    FreeLibrary(module);
    return 0;
}
