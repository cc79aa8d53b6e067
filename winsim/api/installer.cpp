// The properties of an install session.
#include "winsim/machine/installer.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/install_session.h"
#include "winsim/process/simulation.h"

#include "msiquery.h"

#include <algorithm>

using winsim::Call;
using winsim::PropertyAnswer;
using winsim::Simulation;

UINT WINAPI MsiGetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPWSTR szValueBuf, LPDWORD pcchValueBuf)
{
    Call call{__func__};
    Simulation& simulation = Simulation::Current();
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a session's handle is kept as a pointer
    const auto* session = reinterpret_cast<const void*>(std::uintptr_t{hInstall});
    call.In("hInstall", session).In("szName", szName);
    if (pcchValueBuf != nullptr)
        call.In("pcchValueBuf", *pcchValueBuf);
    return call.StatusOf([&]() -> DWORD {
        if (szName == nullptr || (szValueBuf != nullptr && pcchValueBuf == nullptr))
            return ERROR_INVALID_PARAMETER;
        if (call.Find<winsim::InstallSession>(session) == nullptr)
            return ERROR_INVALID_HANDLE;

        const std::string name = winsim::Utf8(szName);
        const PropertyAnswer answer = simulation.machine.installer.AnswerTo(name, simulation.propertyQuestions[name]++);
        const std::u16string text = call.GivesNothing() ? std::u16string() : winsim::Utf16(answer.text);
        const DWORD length = answer.size.value_or(static_cast<DWORD>(text.size()));
        if (answer.error != ERROR_SUCCESS && !answer.size)
            return answer.error;
        const DWORD room = pcchValueBuf != nullptr ? *pcchValueBuf : 0;
        if (pcchValueBuf != nullptr)
            *pcchValueBuf = length;
        call.Out("pcchValueBuf", length);
        if (answer.error != ERROR_SUCCESS || szValueBuf == nullptr)
            return answer.error;

        // Stores as much of the text as fits, always with a terminator.
        if (room != 0)
        {
            *std::copy_n(text.begin(), std::min<std::size_t>(text.size(), room - 1), szValueBuf) = u'\0';
            if (call.IsRecording())
                call.Out("szValueBuf", simulation.rules.withoutSecrets(winsim::Utf8(szValueBuf)));
        }
        return text.size() < room ? ERROR_SUCCESS : ERROR_MORE_DATA;
    });
}
