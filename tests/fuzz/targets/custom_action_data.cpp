// Any text as the installer's CustomActionData. Its values and flags, and the tool's command line, are computed a
// second time. Only that command line may contain the password.
#include "tests/fuzz/fuzz.h"
#include "winsim/base/text.h"
#include "winsim/toolkit/secrets.h"

namespace
{

constexpr char kTool[] = R"(C:\Program Files\Kelo Systems Corp\Common\TpmKeyFixer.exe)";

// The tool asks for the change and then makes it.
winsim::Machine MachineWith(const std::string& data)
{
    static const winsim::Json description = winsim::Json::parse(R"({
        "programs": {"C:\\Program Files\\Kelo Systems Corp\\Common\\TpmKeyFixer.exe":
            {"runs": [{"arguments": "/V", "exitCode": 4294967291}, {"exitCode": 0}]}}})");
    static const winsim::Machine machine = winsim::Machine::FromJson(description);
    winsim::Machine with = machine;
    const winsim::Json installer{{"properties", {{"CustomActionData", data}}}};
    with.installer.Load({installer, "installer"});
    return with;
}

// Applies the rule of the values, character by character.
std::u16string ValueOf(const std::u16string& key, const std::u16string& data, const std::u16string& absent)
{
    for (std::size_t start = 0; start + key.size() <= data.size(); ++start)
    {
        if (data.compare(start, key.size(), key) != 0)
            continue;
        // The search for the end starts at the beginning of the key.
        std::size_t end = start;
        while (end < data.size() && data.compare(end, 2, u" /") != 0)
            ++end;
        return data.substr(start + key.size(), end - start - key.size());
    }
    return absent;
}

char16_t Lower(char16_t unit)
{
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

bool BeginsWith(const std::u16string& flag, const std::u16string& data)
{
    bool begins = data.size() >= flag.size();
    for (std::size_t i = 0; begins && i < flag.size(); ++i)
        begins = Lower(data[i]) == Lower(flag[i]);
    return begins;
}

struct Part
{
    const char16_t* key;
    const char16_t* toolSwitch;
    const char16_t* absent;
};

constexpr Part kParts[] = {
    {u"/CAPTION=", u"/C:", u""},
    {u"/INFO=", u"/I:", u""},
    {u"/PASSWORD=", u"/P:", u""},
    {u"/TSS_VENDOR=", u"/T:", u"NTRU"},
};

struct Flag
{
    const char16_t* flag;
    const char16_t* toolSwitch;
};

constexpr Flag kFlags[] = {{u"/SILENT", u"/S"}, {u"/VERIFY", u"/V"}};

std::string ChangeCommandLine(const std::u16string& data)
{
    std::u16string line = winsim::Utf16(kTool);
    for (const Part& part : kParts)
    {
        const std::u16string value = ValueOf(part.key, data, part.absent);
        if (!value.empty())
            line += u" " + std::u16string(part.toolSwitch) + u"\"" + value + u"\"";
    }
    for (const Flag& flag : kFlags)
    {
        if (BeginsWith(flag.flag, data))
            line += u" " + std::u16string(flag.toolSwitch);
    }
    return winsim::Utf8(line + u" /Y");
}

void CheckParts(const winsim::Machine& machine, const std::string& text)
{
    const std::u16string data = winsim::Utf16(text);
    for (const Part& part : kParts)
    {
        const std::string key = winsim::Utf8(part.key);
        ExpectSame(key, winsim::Utf8(ValueOf(part.key, data, part.absent)),
                   CallFunction(machine, "GetCustomActionValue", {key, text, winsim::Utf8(part.absent)}).result);
    }
    for (const Flag& flag : kFlags)
    {
        const std::string name = winsim::Utf8(flag.flag);
        ExpectSame(name, BeginsWith(flag.flag, data) ? "true" : "false",
                   CallFunction(machine, "HasCustomActionFlag", {name, text}).result);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = TextOf(data, size);
    static const winsim::Machine plain = winsim::Machine::FromJson(winsim::Json::object());
    CheckParts(plain, text);

    const FuzzedRun run = RunEntryPoint(MachineWith(text), {"CreateProcessW"});
    std::vector<std::string> commandLines;
    for (const winsim::CallRecord& record : run.CallsOf("CreateProcessW"))
        commandLines.push_back(record.in["lpCommandLine"].get<std::string>());
    // A machine shows no password, so the expected text contains none either.
    const std::string change = winsim::HideSecrets(ChangeCommandLine(winsim::Utf16(text)));
    ExpectSame("command line", {std::string(kTool) + " /V", change}, commandLines);
    ExpectSame("message", {"SRK Auth and TPM Owner Auth must be upgraded", "SRK and TPM Owner Auth is now OK"},
               run.Messages());
    return 0;
}
