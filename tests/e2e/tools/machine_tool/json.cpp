// Makes JSON of texts.
#include "tests/e2e/tools/machine_tool/json.h"

#include "tests/support/test_text.h"

#include <cstdio>

std::string Quoted(const std::wstring& text)
{
    std::string quoted = "\"";
    for (const char c : Utf8OfWide(text))
    {
        char escape[8] = {c};
        if (c == '"' || c == '\\')
            std::snprintf(escape, sizeof escape, "\\%c", c);
        else if (static_cast<unsigned char>(c) < 0x20)
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
        quoted += escape;
    }
    return quoted + '"';
}

std::string Quoted(const wchar_t* text)
{
    return Quoted(std::wstring(text != nullptr ? text : L""));
}

std::string QuotedList(const wchar_t* multiString)
{
    std::string list;
    for (const wchar_t* text = multiString; text != nullptr && *text != L'\0'; text += std::wstring(text).size() + 1)
        list += (list.empty() ? "" : ", ") + Quoted(text);
    return "[" + list + "]";
}
