// Any smart-card readers, as the list in which the resource manager names them. Whether the toolkit's reader is among
// them is computed a second time.
//
// Input: one reader a line. A line that begins with ! is a command: "!zero" leaves out a zero at the list's end; after
// "!then" follow the readers that are there when the list is asked for again.
#include "tests/fuzz/fuzz.h"

#include <optional>

namespace
{

struct Readers
{
    std::vector<std::string> first;
    std::optional<std::vector<std::string>> then;
    std::uint32_t zerosMissing = 0;
};

Readers ReadersOf(const std::vector<std::string>& lines)
{
    Readers readers;
    for (const std::string& line : lines)
    {
        if (line == "!zero")
            readers.zerosMissing += readers.zerosMissing < 2 ? 1 : 0;
        else if (line == "!then")
            readers.then.emplace();
        else
            (readers.then ? *readers.then : readers.first).push_back(line);
    }
    return readers;
}

winsim::Machine MachineWith(const Readers& readers)
{
    static const winsim::Machine plain = winsim::Machine::FromJson({{"windows", {{"version", "6.1"}}}});
    winsim::Machine machine = plain;
    machine.smartCards.managerStatus = 0;
    machine.smartCards.readers = readers.first;
    machine.smartCards.readersThen = readers.then;
    machine.smartCards.zerosMissing = readers.zerosMissing;
    return machine;
}

// The name with its letters folded to one case.
std::string Folded(std::string name)
{
    for (char& c : name)
    {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
    }
    return name;
}

// The list ends at the first empty name.
bool HoldsVirtualReader(const std::vector<std::string>& readers)
{
    for (const std::string& reader : readers)
    {
        if (reader.empty())
            return false;
        if (Folded(reader) == "kelo virtual_card_reader 0")
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Readers readers = ReadersOf(LinesOf(data, size));
    const winsim::Machine machine = MachineWith(readers);
    const FuzzedRun run = CallFunction(machine, "IsKlSCardInstalled", {});
    if (readers.then)
        return 0;

    const bool isThere = HoldsVirtualReader(readers.first);
    ExpectSame("result", isThere ? "true" : "false", run.result);
    std::vector<std::string> messages;
    if (readers.first.empty())
        messages.push_back("CTPMSmartCard::IsKlSCardInstalled - No Smart card readers on system");
    if (isThere)
        messages.push_back("CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed");
    ExpectSame("message", messages, run.Messages());
    return 0;
}
