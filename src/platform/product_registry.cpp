// Reads values of the toolkit's registry keys.
#include "platform/product_registry.h"

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
