// Reads values of the toolkit's registry keys.
#include "platform/product_registry.h"

#include "windows/result_or.h"

namespace
{

bool IsText(DWORD type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

// A buffer for `size` bytes of text and one zero more, which ends a stored text that does not end itself.
std::string MakeBuffer(DWORD size)
{
    return std::string(std::size_t{size} + 1, '\0');
}

// `type` may be null.
LSTATUS ReadInto(std::string& buffer, HKEY key, const char* valueName, DWORD* type)
{
    DWORD size = static_cast<DWORD>(buffer.size() - 1);
    return RegQueryValueExA(key, valueName, nullptr, type, reinterpret_cast<BYTE*>(buffer.data()), &size);
}

// The text before the first zero.
std::string TextIn(const std::string& buffer)
{
    return buffer.substr(0, buffer.find('\0'));
}

std::optional<std::string> ReadAnyLength(HKEY key, const char* valueName)
{
    DWORD size = 0;
    DWORD type = REG_NONE;
    if (RegQueryValueExA(key, valueName, nullptr, &type, nullptr, &size) != ERROR_SUCCESS || !IsText(type))
        return std::nullopt;
    std::string buffer = MakeBuffer(size);
    static_cast<void>(ReadInto(buffer, key, valueName, nullptr));
    return TextIn(buffer);
}

std::optional<std::string> ReadAtMost(DWORD capacity, HKEY key, const char* valueName)
{
    std::string buffer = MakeBuffer(capacity);
    DWORD type = REG_NONE;
    if (ReadInto(buffer, key, valueName, &type) != ERROR_SUCCESS || !IsText(type))
        return std::nullopt;
    return TextIn(buffer);
}

} // namespace

std::optional<DWORD> ReadDword(HKEY key, const char* valueName)
{
    DWORD value = 0;
    DWORD size = sizeof value;
    DWORD type = REG_NONE;
    const LSTATUS status = RegQueryValueExA(key, valueName, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    if (status != ERROR_SUCCESS || type != REG_DWORD || size != sizeof value)
        return std::nullopt;
    return value;
}

std::optional<std::string> ReadText(HKEY key, const char* valueName)
{
    return ResultOr({}, [=] { return ReadAnyLength(key, valueName); });
}

std::optional<std::string> ReadText(HKEY key, const char* valueName, DWORD capacity)
{
    return ResultOr({}, [=] { return ReadAtMost(capacity, key, valueName); });
}
