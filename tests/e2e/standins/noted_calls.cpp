// Writes notes of calls, a JSON object in each line.
#include "tests/e2e/standins/noted_calls.h"

#include "tests/e2e/standins/own_files.h"

#include "standin_names.h"

namespace
{

std::string Joined(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : ", ") + text;
    return joined;
}

} // namespace

std::string JsonText(const wchar_t* text)
{
    if (text == nullptr)
        return "null";
    std::string json = "\"";
    for (; *text != L'\0'; ++text)
    {
        if (*text == L'"' || *text == L'\\')
            json += '\\';
        json += *text < 0x80 ? static_cast<char>(*text) : '?';
    }
    return json + '"';
}

std::string JsonNumber(DWORD number)
{
    return std::to_string(number);
}

std::string JsonFlag(bool flag)
{
    return flag ? "true" : "false";
}

std::string JsonList(const std::vector<std::string>& values)
{
    return "[" + Joined(values) + "]";
}

std::string JsonObject(const Members& members)
{
    std::vector<std::string> texts;
    for (const auto& [name, value] : members)
        texts.push_back(std::string("\"").append(name).append("\": ").append(value));
    return "{" + Joined(texts) + "}";
}

void NoteCall(const char* name, const Members& in, LONG result)
{
    AppendLine(names::kNotedCalls, std::string("{\"call\": \"") + name + "\", \"in\": " + JsonObject(in) +
                                       ", \"result\": " + std::to_string(result) + "}");
}
