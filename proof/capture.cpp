// Has KeloDescribe describe the machine.
#include "describe/windows_text.h"
#include "proof/run_program.h"
#include "proof/steps.h"

#include <windows.h>

#include <utility>

namespace proof
{

namespace
{

constexpr DWORD kCaptureLimitMs = 5 * 60 * 1000;

} // namespace

Json Capture(const Words& arguments)
{
    const std::wstring file = WorkFolder() + L"\\machine.json";
    const auto exitCode =
        RunProgram(Quoted(InKit(L"KeloDescribe.exe")) + L" " + Quoted(file), KitFolder(), kCaptureLimitMs);
    Json machine = Json::parse(ReadBytes(file), nullptr, false);
    DeleteFileW(file.c_str());
    if (exitCode != DWORD{0} || !machine.is_object())
        throw StepError("KeloDescribe " +
                        (exitCode ? "ended with " + std::to_string(*exitCode) : std::string("does not end")));
    return {{"moment", describe::FromWide(arguments.at(0))}, {"machine", std::move(machine)}};
}

} // namespace proof
