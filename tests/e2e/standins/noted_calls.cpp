// Writes notes of calls, a JSON object in each line.
#include "tests/e2e/standins/noted_calls.h"

#include <fstream>

namespace
{

constexpr char kNotes[] = "C:\\KeloStandIns\\calls.txt";

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

std::string JsonObject(const std::vector<std::pair<const char*, std::string>>& members)
{
    std::vector<std::string> texts;
    for (const auto& [name, value] : members)
        texts.push_back(std::string("\"").append(name).append("\": ").append(value));
    return "{" + Joined(texts) + "}";
}

void NoteCall(const char* name, const std::vector<std::pair<const char*, std::string>>& in, LONG result)
{
    std::ofstream notes(kNotes, std::ios::app | std::ios::binary);
    notes << "{\"call\": \"" << name << "\", \"in\": " << JsonObject(in) << ", \"result\": " << result << "}\n";
}
