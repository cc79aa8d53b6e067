// Values of any type and with any bytes in the registry, where the program reads and deletes. The effect on the program
// is computed a second time.
//
// Input: one value a line: a letter for its place (see kPlaces), one for its type ('1' for REG_SZ, '4' for REG_DWORD,
// any other character for its own number), and its bytes, where %XX stands for any byte; or, after a '=', a text, which
// is stored as Windows stores it. A second line for the same place is the value when it is read again.
#include "tests/fuzz/fuzz.h"
#include "winsim/base/text.h"

#include <cctype>
#include <map>
#include <optional>

namespace
{

constexpr unsigned kCodePage = 1252;
constexpr std::uint32_t kText = 1;
constexpr std::uint32_t kExpandableText = 2;
constexpr std::uint32_t kDword = 4;

struct Place
{
    char letter;
    const char* key;
    const char* value;
};

constexpr Place kPlaces[] = {
    {'V', R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)", "KlVSC Installed"},
    {'E', R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)", "KlAutoEnrollInstalled"},
    {'P', R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)", "Installation Path"},
    {'D', R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)", "Installation Path"},
    {'B', R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)", "20"},
    {'C', R"(HKLM\SOFTWARE\Kelo Systems Corp\KeloCAPI)", "PassthroughCSP"},
    {'R', R"(HKLM\Software\Microsoft\Windows\CurrentVersion\Run)", "ChangeTPMAuth"},
};

int DigitOf(char c)
{
    const std::string digits = "0123456789abcdef";
    const std::size_t digit = digits.find(c);
    return digit == std::string::npos ? -1 : static_cast<int>(digit);
}

std::string BytesOf(const std::string& written)
{
    if (written.starts_with('='))
    {
        const std::u16string text = winsim::Utf16(written.substr(1)) + u'\0';
        return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
    }
    std::string bytes;
    for (std::size_t i = 0; i < written.size(); ++i)
    {
        const int high = i + 2 < written.size() && written[i] == '%' ? DigitOf(written[i + 1]) : -1;
        const int low = high >= 0 ? DigitOf(written[i + 2]) : -1;
        if (low < 0)
        {
            bytes += written[i];
            continue;
        }
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return bytes;
}

using Values = std::map<char, std::vector<winsim::RegistryValue>>; // by the letters of their places

Values ValuesOf(const std::vector<std::string>& lines)
{
    Values values;
    for (const std::string& line : lines)
    {
        if (line.size() < 2)
            continue;
        winsim::RegistryValue value;
        value.type = static_cast<unsigned char>(line[1]);
        if (value.type >= '0' && value.type <= '9')
            value.type -= '0';
        value.bytes = BytesOf(line.substr(2));
        values[line[0]].push_back(std::move(value));
    }
    return values;
}

winsim::Machine MachineWith(const Values& values)
{
    static const winsim::Machine plain = winsim::Machine::FromFile(KELO_ROOT "/machines/windows-7-toolkit.json");
    winsim::Machine machine = plain;
    machine.windows.codePage = kCodePage;
    for (const Place& place : kPlaces)
    {
        const auto found = values.find(place.letter);
        winsim::RegistryKey& key = machine.registry.Create(place.key);
        machine.registry.DeleteValue(key, place.value);
        if (found == values.end())
            continue;
        machine.registry.SetValue(key, place.value, 0, {});
        winsim::RegistryValue& value = key.values.at(winsim::FoldCase(place.value));
        value.type = found->second.front().type;
        value.bytes = found->second.front().bytes;
        value.later.assign(found->second.begin() + 1, found->second.end());
        for (winsim::RegistryValue& later : value.later)
            later.name = value.name;
    }
    return machine;
}

// The value of a place, if it exists and does not change.
const winsim::RegistryValue* SteadyValue(const Values& values, char letter)
{
    const auto found = values.find(letter);
    return found == values.end() || found->second.size() != 1 ? nullptr : &found->second.front();
}

// Applies the rule of the numbers, byte by byte.
std::optional<std::uint32_t> NumberIn(const winsim::RegistryValue* value)
{
    if (value == nullptr || value->type != kDword || value->bytes.size() != 4)
        return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;)
        number = number * 256 + static_cast<unsigned char>(value->bytes[i]);
    return number;
}

// A text as it is read in ANSI, including everything after a zero; nothing if the value is not a text.
std::optional<std::string> AnsiIn(const winsim::RegistryValue* value)
{
    if (value == nullptr || (value->type != kText && value->type != kExpandableText))
        return std::nullopt;
    std::u16string text;
    for (std::size_t i = 0; i + 1 < value->bytes.size(); i += 2)
        text += static_cast<char16_t>(static_cast<unsigned char>(value->bytes[i]) +
                                      256 * static_cast<unsigned char>(value->bytes[i + 1]));
    return winsim::CodePage::Get(kCodePage).FromUtf16(text);
}

std::string Utf8OfAnsi(const std::string& ansi)
{
    return winsim::Utf8(winsim::CodePage::Get(kCodePage).ToUtf16(ansi));
}

std::string BeforeZero(std::string text)
{
    return text.c_str();
}

void CheckNumber(const winsim::Machine& machine, const Values& values)
{
    if (values.contains('V') && SteadyValue(values, 'V') == nullptr)
        return;
    const auto number = NumberIn(SteadyValue(values, 'V'));
    ExpectSame("number", number ? std::to_string(*number) : "nothing",
               CallFunction(machine, "ReadDword", {"KlVSC Installed"}).result);
}

// The text is used if it fits into 256 bytes.
void CheckInstallPath(const winsim::Machine& machine, const Values& values)
{
    constexpr std::size_t kCapacity = 256;
    if (values.contains('D') && SteadyValue(values, 'D') == nullptr)
        return;
    auto ansi = AnsiIn(SteadyValue(values, 'D'));
    if (ansi && ansi->size() > kCapacity)
        ansi.reset();
    ExpectSame("install path", ansi ? "true " + Utf8OfAnsi(BeforeZero(*ansi)) : "false (untouched)",
               CallFunction(machine, "GetInstallPath", {}).result);
}

// Whether a path begins with a drive and its root, or with a server and its share.
bool IsFull(const std::string& path)
{
    constexpr char kSeparators[] = "\\/";
    const auto isSeparator = [&](std::size_t i) { return path.find_first_of(kSeparators, i) == i; };
    if (path.size() > 1 && path[1] == ':')
        return std::isalpha(static_cast<unsigned char>(path[0])) != 0 && isSeparator(2);
    const std::size_t serversEnd = path.find_first_of(kSeparators, 2);
    return isSeparator(0) && isSeparator(1) && serversEnd != std::string::npos && serversEnd > 2 &&
           serversEnd + 1 < path.size() && !isSeparator(serversEnd + 1);
}

// Whether the task library is looked for, and where: not in a folder whose place depends on the current directory.
void CheckTaskLibrary(const winsim::Machine& machine, const Values& values)
{
    const bool isSteady = (SteadyValue(values, 'E') != nullptr) == values.contains('E') &&
                          (SteadyValue(values, 'P') != nullptr) == values.contains('P');
    if (!isSteady)
        return;
    const FuzzedRun run = CallFunction(machine, "InstallAutoEnrollmentTasks", {}, {"LoadLibraryA"});
    std::vector<std::string> expected;
    const auto folder = AnsiIn(SteadyValue(values, 'P'));
    if (folder && NumberIn(SteadyValue(values, 'E')).value_or(0) != 0)
    {
        const std::string before = BeforeZero(*folder);
        const std::string path = before + (before.ends_with('\\') ? "" : "\\") + "CertJobPlanner.dll";
        if (before.empty() || IsFull(path))
            expected.push_back(Utf8OfAnsi(path));
    }
    std::vector<std::string> loaded;
    for (const winsim::CallRecord& record : run.CallsOf("LoadLibraryA"))
    {
        // kernel32.dll is loaded only to find functions that some versions of Windows lack.
        if (record.in["lpLibFileName"] != "kernel32.dll")
            loaded.push_back(record.in["lpLibFileName"].get<std::string>());
    }
    ExpectSame("task library", expected, loaded);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Values values = ValuesOf(LinesOf(data, size));
    const winsim::Machine machine = MachineWith(values);
    CheckNumber(machine, values);
    CheckInstallPath(machine, values);
    CheckTaskLibrary(machine, values);
    for (const char* action : {"/Setup", "/Commit", "/Uninstall"})
        RunProgram(machine, {.arguments = {action}});
    RunEntryPoint(machine);
    return 0;
}
