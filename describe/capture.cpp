// Reads a machine, area by area, and makes its description.
#include "describe/capture.h"

#include "describe/captured_fields.h"

namespace describe
{

namespace
{

constexpr void (*kReaders[])(Capture&) = {
    &ReadWindows, &ReadToken,     &ReadFolders,   &ReadRegistry,   &ReadServices, &ReadProgram,
    &ReadFiles,   &ReadLibraries, &ReadProcesses, &ReadSmartCards, &ReadCng,      &ReadWmi,
};

// A plain machine without what the readers add to.
winsim::Machine Blank()
{
    winsim::Machine machine = winsim::Machine::FromJson(winsim::Json::object());
    machine.folders = {};
    machine.environment = {};
    machine.registry = {};
    machine.files = {};
    machine.services = {};
    machine.processes = {};
    machine.smartCards = {};
    machine.cng = {};
    return machine;
}

// An area without the keys that are not read.
winsim::Json OnlyRead(const std::string& area, const winsim::Json& value)
{
    if (!value.is_object())
        return value;
    winsim::Json json = winsim::Json::object();
    for (const auto& [key, member] : value.items())
    {
        if (IsRead(area, key))
            json[key] = member;
    }
    return json;
}

// The description says nothing of what is not read. The notes come last.
winsim::Json OnlyRead(const winsim::Json& whole)
{
    winsim::Json json = winsim::Json::object();
    for (const auto& [area, value] : whole.items())
    {
        if (IsAreaRead(area) && area != "notes")
            json[area] = OnlyRead(area, value);
    }
    json["notes"] = whole["notes"];
    return json;
}

} // namespace

winsim::Json Describe(const CaptureOptions& options)
{
    Capture capture;
    capture.options = options;
    capture.machine = Blank();
    for (const auto read : kReaders)
        read(capture);
    capture.machine.process.processId = capture.machine.processes.FreeId();
    capture.machine.notes = capture.notes.Texts();
    capture.machine.notes.push_back(NeverReadNote());
    const winsim::Json json = OnlyRead(capture.machine.ToJson());
    winsim::Machine::FromJson(json);
    return json;
}

} // namespace describe
