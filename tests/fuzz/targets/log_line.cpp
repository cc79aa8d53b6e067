// Any formats, texts and numbers for a line of the log, in any zone, thread and indent. The line is built a second
// time.
//
// Input: four numbers (zone bias, daylight bias, thread, indent), the format, and its arguments, one a line. A
// placeholder that the program may not use stands for itself.
#include "tests/fuzz/fuzz.h"
#include "winsim/base/text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace
{

constexpr unsigned kCodePage = 1252;

const winsim::CodePage& Page()
{
    return winsim::CodePage::Get(kCodePage);
}

struct Settings
{
    int bias = 0;
    int daylightBias = 0;
    unsigned thread = 0;
    int indent = 0;
};

Settings SettingsOf(const std::string& line)
{
    Settings settings;
    std::istringstream numbers{line};
    numbers >> settings.bias >> settings.daylightBias >> settings.thread >> settings.indent;
    // The values that Windows can return, and an indent beyond the length of a line.
    settings.bias %= 1440;
    settings.daylightBias %= 1440;
    settings.thread %= 1u << 31;
    settings.indent %= 1000;
    return settings;
}

winsim::Machine MachineWith(const Settings& settings)
{
    static const winsim::Machine plain = winsim::Machine::FromJson(
        {{"windows", {{"codePage", kCodePage}}}, {"clock", {{"utc", "2013-05-07T14:03:09.042Z"}}}});
    winsim::Machine machine = plain;
    machine.clock.zoneBias = settings.bias;
    machine.clock.daylightBias = settings.daylightBias;
    machine.process.threadId = settings.thread;
    return machine;
}

// A number with its sign first and zeros up to a width that includes the sign.
std::string Padded(long long number, std::size_t width)
{
    std::string digits = std::to_string(number < 0 ? -number : number);
    const std::size_t sign = number < 0 ? 1 : 0;
    while (digits.size() + sign < width)
        digits.insert(0, "0");
    return (number < 0 ? "-" : "") + digits;
}

std::string Header(const Settings& settings)
{
    const int minutes = settings.bias + settings.daylightBias;
    const std::size_t blanks = static_cast<std::size_t>(settings.indent < 0 ? -settings.indent : settings.indent);
    return "2013/05/07 14:03:09.042 TZ" + Padded(-(minutes / 60), 2) + " [" + Padded(settings.thread, 4) + "] " +
           std::string(blanks, ' ');
}

// A placeholder of the format, or literal text.
struct Piece
{
    std::string text; // of a placeholder, without its conversion: "%-8.3"
    char conversion = 0;
};

std::string TakeAll(const std::string& text, std::size_t& at, const char* accepted, std::size_t most)
{
    std::string taken;
    while (at < text.size() && taken.size() < most && std::string_view(accepted).find(text[at]) != std::string::npos)
        taken += text[at++];
    return taken;
}

// Flags that have no meaning for a conversion are left out, because their effect is undefined.
std::string FlagsFor(char conversion, const std::string& flags)
{
    const std::string_view meant = conversion == 'd'                        ? "-+ 0"
                                   : conversion == 'u'                      ? "-0"
                                   : conversion == 'x' || conversion == 'X' ? "-#0"
                                                                            : "-";
    std::string kept;
    for (const char flag : flags)
    {
        if (meant.find(flag) != std::string_view::npos)
            kept += flag;
    }
    return kept;
}

std::vector<Piece> PiecesOf(const std::string& format, std::size_t mostPlaceholders)
{
    std::vector<Piece> pieces;
    for (std::size_t at = 0; at < format.size();)
    {
        if (format[at++] != '%')
        {
            pieces.push_back({std::string(1, format[at - 1]), 0});
            continue;
        }
        const std::string flags = TakeAll(format, at, "-+ #0", 5);
        const std::string width = TakeAll(format, at, "0123456789", 3);
        const bool hasPrecision = at < format.size() && format[at] == '.';
        at += hasPrecision ? 1 : 0;
        const std::string precision = hasPrecision ? "." + TakeAll(format, at, "0123456789", 3) : "";
        const std::string conversion = TakeAll(format, at, "sSduxX", 1);
        if (conversion.empty() || mostPlaceholders == 0)
        {
            pieces.push_back({"%", 0});
            continue;
        }
        --mostPlaceholders;
        pieces.push_back({"%" + FlagsFor(conversion[0], flags) + width + precision, conversion[0]});
    }
    return pieces;
}

std::string FormatOf(const std::vector<Piece>& pieces)
{
    std::string format;
    for (const Piece& piece : pieces)
        format += piece.conversion != 0 ? piece.text + piece.conversion : piece.text == "%" ? "%%" : piece.text;
    return format;
}

// A text in a placeholder: cut to the precision, then padded to the width.
std::string Filled(const std::string& placeholder, std::string text)
{
    std::size_t at = 1;
    const bool isLeft = !TakeAll(placeholder, at, "-", 5).empty();
    const std::string width = TakeAll(placeholder, at, "0123456789", 3);
    if (at < placeholder.size() && placeholder[at] == '.')
        text.resize(std::min<std::size_t>(text.size(), std::strtoul(placeholder.c_str() + at + 1, nullptr, 10)));
    const std::size_t least = std::strtoul(width.c_str(), nullptr, 10);
    while (text.size() < least)
        text.insert(isLeft ? text.size() : 0, " ");
    return text;
}

// UTF-16 text in a placeholder. It is written in the "C" locale, unit by unit, and ends at the first unit that this
// locale lacks.
std::string FilledWide(const std::string& placeholder, const std::string& utf8, bool& isWhole)
{
    constexpr char kUnwritable = '\1';
    const std::u16string units = winsim::Utf16(utf8);
    std::string narrow;
    std::string marks;
    for (const char16_t unit : units)
    {
        narrow += static_cast<char>(unit);
        marks += unit <= 0xFF ? ' ' : kUnwritable;
    }
    const std::size_t end = Filled(placeholder, marks).find(kUnwritable);
    isWhole = end == std::string::npos;
    return Filled(placeholder, narrow).substr(0, end);
}

// A message ends before a character that cannot be written, and then is left out unless it fills the line up to there.
std::string Message(const std::vector<Piece>& pieces, const std::vector<std::string>& arguments, std::size_t room)
{
    std::string message;
    bool isWhole = true;
    std::size_t next = 0;
    for (const Piece& piece : pieces)
    {
        if (piece.conversion == 0)
        {
            message += piece.text;
            continue;
        }
        const std::string& argument = arguments[next++];
        if (piece.conversion == 's')
            message += Filled(piece.text, argument);
        else if (piece.conversion == 'S')
            message += FilledWide(piece.text, argument, isWhole);
        else
        {
            char number[1100];
            std::snprintf(number, sizeof number, (piece.text + piece.conversion).c_str(),
                          static_cast<int>(std::stoll(argument)));
            message += number;
        }
        if (!isWhole)
            return message.size() >= room ? message : std::string();
    }
    return message;
}

// The values of the placeholders: the lines of the input, converted to numbers where the placeholder needs one.
std::vector<std::string> ArgumentsFor(const std::vector<Piece>& pieces, const std::vector<std::string>& lines)
{
    std::vector<std::string> arguments;
    for (const Piece& piece : pieces)
    {
        if (piece.conversion == 0)
            continue;
        const std::size_t line = arguments.size() + 2;
        std::string argument = line < lines.size() ? lines[line] : std::string();
        if (piece.conversion != 's' && piece.conversion != 'S')
            argument = std::to_string(static_cast<int>(std::strtoll(argument.c_str(), nullptr, 0)));
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kMostPlaceholders = 6;
    const std::vector<std::string> lines = LinesOf(data, size);
    const Settings settings = SettingsOf(lines.empty() ? std::string() : lines[0]);
    const auto pieces = PiecesOf(lines.size() < 2 ? std::string() : lines[1], kMostPlaceholders);
    const std::vector<std::string> arguments = ArgumentsFor(pieces, lines);

    std::vector<std::string> call{std::to_string(settings.indent), FormatOf(pieces)};
    call.insert(call.end(), arguments.begin(), arguments.end());
    const FuzzedRun run = CallFunction(MachineWith(settings), "WriteFormat", call);
    const std::string header = Header(settings);
    const std::size_t room = kLongestLine - std::min(header.size(), kLongestLine);
    const std::string line = LogLine(header, Message(pieces, arguments, room));
    ExpectSame("line", {winsim::Utf8(Page().ToUtf16(line))}, run.lines);
    return 0;
}
