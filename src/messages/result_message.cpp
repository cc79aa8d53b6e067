// Finds the text for a result code and writes it for the installer.
#include "messages/result_message.h"

#include "messages/resource_library.h"
#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <cstdint>
#include <string>

namespace
{

constexpr char kInstallerKey[] = "SOFTWARE\\Kelo Systems Corp.\\Installer";

// Long enough for most texts, in bytes with the terminating zero.
constexpr std::size_t kUsualTextSize = 1024;

// The most bytes that a character takes in an ANSI code page.
constexpr std::size_t kLongestCharacter = 4;

struct MessageOfCode
{
    DWORD code;
    UINT stringId;
};

constexpr MessageOfCode kMessages[] = {
    {10000, 5012}, {10001, 5014}, {10010, 5031}, {10011, 5032}, {10012, 5033}, {10013, 5034},
    {10014, 5035}, {10015, 5036}, {10016, 5037}, {10021, 5038}, {10022, 5039}, {10023, 5040},
    {10024, 5041}, {10025, 5042}, {10026, 5043}, {10027, 5044}, {10028, 5045}, {10029, 5046},
    {10030, 5047}, {10032, 5048}, {10033, 5049}, {10034, 5050}, {10035, 5051}, {10036, 5052},
    {10037, 5053}, {10038, 5054}, {10039, 5055}, {10040, 5056}, {10041, 5057},
};

// The text for every other code, which takes the place of its %1.
constexpr UINT kGenericStringId = 5058;

// A text of the library, however long; empty when there is none.
std::string LoadText(HMODULE library, UINT stringId)
{
    for (std::size_t size = kUsualTextSize;; size *= 2)
    {
        std::string buffer(size, '\0');
        const int length = LoadStringA(library, stringId, buffer.data(), static_cast<int>(size));
        // A text that was cut ends less than one character before the end of the buffer.
        if (static_cast<std::size_t>(length) + kLongestCharacter < size)
            return buffer.substr(0, buffer.find('\0'));
    }
}

// Inserts a number into a message text. There is an argument for each place that a text can name: one from a damaged
// library must not read beyond the arguments.
std::string InsertNumber(const std::string& message, const std::string& number)
{
    constexpr int kPlaces = 99;
    constexpr int kPlacesForWidths = 2;
    DWORD_PTR arguments[kPlaces + kPlacesForWidths];
    for (DWORD_PTR& argument : arguments)
        argument = reinterpret_cast<DWORD_PTR>("");
    arguments[0] = reinterpret_cast<DWORD_PTR>(number.c_str());

    constexpr DWORD flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY | FORMAT_MESSAGE_ALLOCATE_BUFFER;
    UniqueLocalMemory<char> text;
    if (FormatMessageA(flags, message.c_str(), 0, 0, reinterpret_cast<char*>(text.Put()), 0,
                       reinterpret_cast<va_list*>(arguments)) == 0)
        return {};
    return text.Get();
}

std::string MessageFor(DWORD code)
{
    // Required: the library stays loaded. A null handle stands for the program's own file, which has no texts.
    const HMODULE library = LoadResourceLibrary("Internationalization");
    for (const MessageOfCode& message : kMessages)
    {
        if (message.code == code)
            return LoadText(library, message.stringId);
    }
    const std::string generic = LoadText(library, kGenericStringId);
    if (generic.empty())
        return {};
    // Required: the code is shown as a signed number.
    return InsertNumber(generic, std::to_string(static_cast<std::int32_t>(code)));
}

void WriteForInstaller(const std::string& text)
{
    UniqueRegistryKey key;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, kInstallerKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                        key.Put(), nullptr) != ERROR_SUCCESS)
        return;
    RegSetValueExA(key.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(text.size() + 1));
}

} // namespace

int PublishResultMessage(DWORD code, int)
{
    if (code == 0)
        return 0;
    // When memory runs out, the text is empty, like one that cannot be loaded.
    WriteForInstaller(ResultOr({}, [code] { return MessageFor(code); }));
    return kInstallFailure;
}
