// Registers, changes, starts and deletes services, and waits for their states.
#include "tests/e2e/tools/machine_tool/services.h"
#include "tests/e2e/tools/machine_tool/verbs.h"

#include <windows.h>

#include <string>

namespace
{

// A list of texts with a zero after each, from one with slashes between them. No text makes no list.
std::wstring MultiString(std::wstring texts)
{
    for (wchar_t& c : texts)
        c = c == L'/' ? L'\0' : c;
    return texts.empty() ? texts : texts + L'\0';
}

int Describe(const UniqueServiceHandle& service, std::wstring text)
{
    SERVICE_DESCRIPTIONW description{text.data()};
    return text.empty() ? 0
                        : ExitStatus(ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_DESCRIPTION, &description));
}

constexpr DWORD kGone = 0; // the state of a service that is not there

bool AreInStates(const Words& words)
{
    const auto states = ReadStates();
    for (std::size_t i = 2; i + 1 < words.size(); i += 2)
    {
        const auto found = states.find(words[i]);
        if ((found == states.end() ? kGone : found->second) != std::stoul(words[i + 1]))
            return false;
    }
    return true;
}

} // namespace

int RegisterService(const Words& words)
{
    const auto word = [&](std::size_t i) { return i < words.size() ? words[i] : std::wstring(); };
    const auto number = [&](std::size_t i, DWORD usual) {
        return word(i).empty() ? usual : static_cast<DWORD>(std::stoul(word(i)));
    };
    const auto orNull = [](const std::wstring& text) { return text.empty() ? nullptr : text.c_str(); };
    const std::wstring path = word(2);
    const std::wstring displayName = word(3);
    const std::wstring group = word(7);
    const std::wstring dependencies = MultiString(word(8));
    const std::wstring account = word(9);
    if (const UniqueServiceHandle service = OpenServiceFully(word(1)))
    {
        if (!ChangeServiceConfigW(service.Get(), number(4, SERVICE_NO_CHANGE), number(5, SERVICE_NO_CHANGE),
                                  number(6, SERVICE_NO_CHANGE), orNull(path), orNull(group), nullptr,
                                  orNull(dependencies), orNull(account), nullptr, orNull(displayName)))
            return ExitStatus(FALSE);
        return Describe(service, word(10));
    }
    const UniqueServiceHandle service{CreateServiceW(
        ServiceManager(), word(1).c_str(), orNull(displayName), SERVICE_ALL_ACCESS,
        number(4, SERVICE_WIN32_OWN_PROCESS), number(5, SERVICE_DEMAND_START), number(6, SERVICE_ERROR_NORMAL),
        path.c_str(), orNull(group), nullptr, orNull(dependencies), orNull(account), nullptr)};
    return service ? Describe(service, word(10)) : ExitStatus(FALSE);
}

int BeginService(const Words& words)
{
    const UniqueServiceHandle service = OpenServiceFully(words[1]);
    return ExitStatus(service && StartServiceW(service.Get(), 0, nullptr));
}

int RemoveService(const Words& words)
{
    const UniqueServiceHandle service = OpenServiceFully(words[1]);
    return service ? ExitStatus(DeleteService(service.Get())) : 0;
}

int AwaitStates(const Words& words)
{
    constexpr DWORD kIntervalMs = 50;
    const DWORD begin = GetTickCount();
    const DWORD limit = std::stoul(words[1]);
    while (!AreInStates(words) && GetTickCount() - begin < limit)
        Sleep(kIntervalMs);
    return 0;
}
