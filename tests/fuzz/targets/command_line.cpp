// Any text as the program's command line. The options are computed a second time, from the arguments that Windows makes
// of the text.
#include "tests/fuzz/fuzz.h"
#include "winsim/base/text.h"
#include "winsim/toolkit/install_log.h"

#include <algorithm>
#include <optional>

namespace
{

using Words = std::vector<std::string>; // ANSI

constexpr unsigned kCodePage = 1252;

std::string Ansi(const std::string& utf8)
{
    return winsim::CodePage::Get(kCodePage).FromUtf16(winsim::Utf16(utf8));
}

bool Holds(const std::string& text, const std::string& part)
{
    return std::search(text.begin(), text.end(), part.begin(), part.end()) != text.end();
}

// Applies the rule of the options, word by word.
std::optional<std::string> ValueOf(const std::string& option, const Words& words)
{
    for (std::size_t i = 2; i < words.size(); ++i)
    {
        if (!Holds(words[i], option))
            continue;
        std::string value = words[i];
        value.erase(0, option.size());
        return value.empty() ? std::nullopt : std::optional(value);
    }
    return std::nullopt;
}

bool IsAction(const std::string& word)
{
    return word == "/Setup" || word == "/Commit" || word == "/Rollback" || word == "/Uninstall";
}

// The expected log messages (ANSI) from the banner to the last line that the options affect.
Words ExpectedMessages(const Words& words, const std::string& action)
{
    Words messages{"============= Begin-> Kelo CSP (x64) Custom Action ===================",
                   "command line argc: " + std::to_string(words.size())};
    if (words.size() < 2)
        return messages;
    for (std::size_t i = 0; i < words.size(); ++i)
        messages.push_back("command line argv[" + std::to_string(i) + "]: " + words[i]);
    if (!IsAction(action))
        messages.push_back("invalid command line arg provided");
    if (action != "/Setup")
        return messages;
    if (const auto vendor = ValueOf("/TSS_VENDOR=", words))
        messages.push_back("TSS Vendor: " + *vendor);
    if (ValueOf("/TPM_VSC=", words))
        messages.push_back("TPM VSC Flag set... install VSC");
    if (ValueOf("/TPM_WIN8=", words))
        messages.push_back("TPM_WIN8 flag set, disable Win8 AutoProvisioning");
    const auto product = ValueOf("/ProductType=", words);
    if (product && Holds(*product, "Enterprise"))
        messages.push_back("ProductType flag set, disable Win8 AutoProvisioning");
    return messages;
}

// A message in the log, after this line's header.
std::string LineWith(const std::string& message, const std::string& line)
{
    const std::string header = line.substr(0, line.find("] ") + 2);
    const auto& codePage = winsim::CodePage::Get(kCodePage);
    return winsim::Utf8(codePage.ToUtf16(LogLine(header, message)));
}

void CheckOptions(const winsim::Machine& machine, const std::vector<std::string>& words)
{
    Words ansi(words.size());
    std::transform(words.begin(), words.end(), ansi.begin(), Ansi);
    for (const std::string option : {"/TSS_VENDOR=", "/TPM_VSC=", "/TPM_WIN8=", "/ProductType="})
    {
        std::vector<std::string> arguments{option};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const auto value = ValueOf(option, ansi);
        ExpectSame(option, value.value_or("(none) (untouched)"),
                   CallFunction(machine, "GetOptionValue", arguments).result);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto machine = winsim::Machine::FromJson({{"windows", {{"version", "6.1"}, {"codePage", kCodePage}}}});
    winsim::RunOptions options;
    options.commandLine = winsim::Utf16(TextOf(data, size));
    const FuzzedRun run = RunProgram(machine, options, {"CommandLineToArgvW"});

    const auto words = run.CallsOf("CommandLineToArgvW").at(0).out["argv"].get<std::vector<std::string>>();
    Words ansi(words.size());
    std::transform(words.begin(), words.end(), ansi.begin(), Ansi);
    const Words expected = ExpectedMessages(ansi, words.size() < 2 ? "" : words[1]);
    for (std::size_t i = 0; i < expected.size(); ++i)
        ExpectSame("line " + std::to_string(i), i < run.lines.size() ? LineWith(expected[i], run.lines[i]) : "a line",
                   i < run.lines.size() ? run.lines[i] : "none");
    CheckOptions(machine, words);
    return 0;
}
