// The change of the SRK authorization, for tests.
#include "tests/unit/calls/modules.h"
#include "tpm/custom_action_data.h"
#include "tpm/run_and_wait.h"

namespace
{

constexpr TestCall kCalls[] = {
    // Arguments: the key, the data and the default value.
    {"GetCustomActionValue",
     [](const CallArguments& a) {
         const std::wstring data = a.Wide(1);
         const std::wstring defaultValue = a.Wide(2);
         return ResultText(std::wstring(GetCustomActionValue(a.Wide(0), data, defaultValue)));
     }},
    // Arguments: the flag, the data, and how many of its characters count: all, if that is not given.
    {"HasCustomActionFlag",
     [](const CallArguments& a) {
         const std::wstring text = a.Wide(1);
         const std::wstring_view data = text;
         const auto length = a.Count() > 2 ? static_cast<std::size_t>(a.Number(2)) : data.size();
         return ResultText(HasCustomActionFlag(a.Wide(0), data.substr(0, length)));
     }},
    // Argument: a command line.
    {"RunAndWait", [](const CallArguments& a) { return ResultText(RunAndWait(CSecretText{a.Wide(0)})); }},
    // Frees an ordinary text, without wiping its content.
    {"FreeOrdinaryText",
     [](const CallArguments& a) {
         const std::wstring text = a.Wide(0);
         return std::string();
     }},
    // Frees a block of memory, and says that it is larger.
    {"FreeTooMuch",
     [](const CallArguments&) {
         ::operator delete (::operator new(8), std::size_t{16});
         return std::string();
     }},
    // Never frees a block of memory.
    {"LeaveMemory",
     [](const CallArguments&) {
         static_cast<void>(new CSecretText);
         return std::string();
     }},
};

} // namespace

std::span<const TestCall> SrkCalls()
{
    return kCalls;
}
