// Extracts the relevant string literals from source files.
#include "tests/explain/source_texts.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

namespace
{

// Literals with a blank that are not texts of the log. A new one must be added here or to the catalogue.
constexpr std::string_view kNotLogged[] = {
    "%04d/%02d/%02d %02d:%02d:%02d.%03d TZ%02d [%04d] %*s",
    "Installation Path",
    "KlVSC Installed",
    "Microsoft Base Cryptographic Provider v1.0",
    "Microsoft Enhanced Cryptographic Provider v1.0",
    "Microsoft Enhanced RSA and AES Cryptographic Provider",
    "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)",
    "Microsoft Strong Cryptographic Provider",
    "SOFTWARE\\Kelo Systems Corp.\\Common",
    "SOFTWARE\\Kelo Systems Corp.\\Installer",
    "SOFTWARE\\Kelo Systems Corp.\\Keystead CSP Persistent\\CAPI",
    "SOFTWARE\\Kelo Systems Corp\\Common",
    "Service stop pending...\n", // to standard output
    "\\Kelo Systems Corp\\InstallLogs\\Toolkit\\",
    "a placeholder has no argument",
    "an argument does not fit its placeholder",
};

struct Literal
{
    std::string text;
    bool isWide = false;
    bool isLogged = false; // WriteLog is handed it
};

// One file, read from beginning to end.
class Scanner
{
public:
    explicit Scanner(std::string source) : m_source(std::move(source)) {}

    std::vector<Literal> Literals()
    {
        while (m_at < m_source.size())
            Step();
        return m_literals;
    }

private:
    bool IsAt(std::string_view text) const { return m_source.compare(m_at, text.size(), text) == 0; }

    void SkipPast(std::string_view end)
    {
        const std::size_t found = m_source.find(end, m_at);
        m_at = found == std::string::npos ? m_source.size() : found + end.size();
    }

    void Step()
    {
        if (IsAt("//"))
            SkipPast("\n");
        else if (IsAt("/*"))
            SkipPast("*/");
        else if (IsAt("R\"("))
            SkipPast(")\"");
        else if (IsAt("#"))
            SkipPast("\n");
        else if (IsAt("'"))
            SkipCharacter();
        else if (IsAt("\""))
            Take();
        else
        {
            if (std::isspace(static_cast<unsigned char>(m_source[m_at])) == 0)
                m_code += m_source[m_at];
            ++m_at;
        }
    }

    // A character literal; a digit separator is skipped alone.
    void SkipCharacter()
    {
        const std::size_t length = m_source[m_at + 1] == '\\' ? 4 : 3;
        const bool isLiteral = m_source[m_at + length - 1] == '\'';
        m_at += isLiteral ? length : 1;
    }

    char Escaped()
    {
        const char c = m_source[++m_at];
        return c == 'n' ? '\n' : c == 't' ? '\t' : c == '0' ? '\0' : c;
    }

    // A literal. If nothing but blanks separates it from the literal before, it continues that one.
    void Take()
    {
        std::string text;
        for (++m_at; m_source[m_at] != '"'; ++m_at)
            text += m_source[m_at] == '\\' ? Escaped() : m_source[m_at];
        ++m_at;
        if (m_code.empty() && !m_literals.empty())
            m_literals.back().text += text;
        else
            m_literals.push_back({text, m_code.ends_with('L'), IsWriteLogsFormat()});
        m_code.clear();
    }

    // Whether the code before a literal is WriteLog( and the log object.
    bool IsWriteLogsFormat() const
    {
        constexpr std::string_view kCall = "WriteLog(";
        const std::size_t call = m_code.rfind(kCall);
        if (call == std::string::npos || !m_code.ends_with(','))
            return false;
        const std::string_view object =
            std::string_view(m_code).substr(call + kCall.size(), m_code.size() - call - kCall.size() - 1);
        return std::all_of(object.begin(), object.end(),
                           [](char c) { return c == '_' || std::isalpha(static_cast<unsigned char>(c)) != 0; });
    }

    std::string m_source;
    std::size_t m_at = 0;
    std::string m_code; // without blanks, since the last literal
    std::vector<Literal> m_literals;
};

bool IsText(const Literal& literal)
{
    if (literal.isLogged)
        return true;
    return !literal.isWide && literal.text.find(' ') != std::string::npos &&
           std::find(std::begin(kNotLogged), std::end(kNotLogged), literal.text) == std::end(kNotLogged);
}

} // namespace

std::set<std::string> TextsInSources(const std::string& folder)
{
    std::set<std::string> texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    {
        if (!entry.is_regular_file())
            continue;
        std::ostringstream source;
        source << std::ifstream(entry.path()).rdbuf();
        for (const Literal& literal : Scanner(source.str()).Literals())
        {
            if (IsText(literal))
                texts.insert(literal.text);
        }
    }
    return texts;
}
