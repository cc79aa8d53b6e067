// The result messages, for tests.
#include "messages/resource_library.h"
#include "messages/result_message.h"
#include "messages/ui_language.h"
#include "tests/unit/calls/modules.h"

namespace
{

constexpr TestCall kCalls[] = {
    {"PublishResultMessage",
     [](const CallArguments& a) {
         return ResultText(PublishResultMessage(static_cast<DWORD>(std::stoul(a.Text(0), nullptr, 0)), 0));
     }},
    // Argument: the base name. Returns whether a library was loaded.
    {"LoadResourceLibrary",
     [](const CallArguments& a) { return ResultText(LoadResourceLibrary(a.TextOrNull(0)) != nullptr); }},
    {"GetUiLanguage", [](const CallArguments&) { return ResultText(GetUiLanguage()); }},
};

} // namespace

std::span<const TestCall> MessageCalls()
{
    return kCalls;
}
