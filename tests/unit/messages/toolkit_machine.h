// Machines with resource libraries beside the program, for the tests of the messages.
#pragma once

#include "tests/support/simulated_run.h"

#include "winsim/machine/string_tables.h"

#include <cstdint>
#include <string>

inline constexpr char kToolkitFolder[] = R"(C:\Program Files\Kelo Systems Corp\Toolkit\)";
inline constexpr char kInstallerKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer)";

// A machine with this language and the resource libraries of all tables.
inline winsim::Machine MachineInLanguage(std::uint16_t language, std::uint32_t codePage = 1252)
{
    winsim::Json machine;
    machine["windows"] = {{"uiLanguage", language}, {"codePage", codePage}};
    for (const auto& [name, table] : winsim::StringTables())
        machine["files"][std::string(kToolkitFolder) + "Internationalization_" + name + ".dll"] =
            winsim::Json::object();
    return winsim::Machine::FromJson(machine);
}

// An English machine whose resource library has this text for every code without its own text.
inline winsim::Machine MachineWithGenericText(const std::string& text)
{
    winsim::Json machine;
    machine["libraries"][std::string(kToolkitFolder) + "Internationalization_en.dll"]["strings"]["5058"] = text;
    return winsim::Machine::FromJson(machine);
}

// The text that the installer finds; null if there is none.
inline winsim::Json MessageLeft(const winsim::Machine& machine)
{
    const winsim::Json registry = machine.ToJson()["registry"];
    if (!registry.contains(kInstallerKey) || !registry[kInstallerKey].contains("values"))
        return nullptr;
    return registry[kInstallerKey]["values"].value("", winsim::Json());
}
