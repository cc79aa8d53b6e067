// The token of the process and its privileges.
#include "winsim/base/sid.h"
#include "winsim/base/text.h"
#include "winsim/machine/privileges.h"
#include "winsim/process/gate.h"
#include "winsim/process/kernel_objects.h"
#include "winsim/process/simulation.h"

#include "securitybaseapi.h"
#include "winbase.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

using winsim::Call;
using winsim::Json;
using winsim::Simulation;

namespace
{

const char* NameOf(const LUID& luid)
{
    for (const winsim::Privilege& privilege : winsim::kPrivileges)
    {
        if (luid.HighPart == 0 && luid.LowPart == privilege.luid)
            return privilege.name;
    }
    return "";
}

Json NotedPrivileges(const TOKEN_PRIVILEGES* state)
{
    if (state == nullptr)
        return nullptr;
    Json list = Json::array();
    for (DWORD i = 0; i < state->PrivilegeCount; ++i)
    {
        const LUID_AND_ATTRIBUTES& one = state->Privileges[i];
        list.push_back({{"Luid", {{"LowPart", one.Luid.LowPart}, {"HighPart", one.Luid.HighPart}}},
                        {"Attributes", one.Attributes}});
    }
    return {{"PrivilegeCount", state->PrivilegeCount}, {"Privileges", list}};
}

// The error of opening the token of another process.
DWORD OtherTokenError(const Call& call, HANDLE process)
{
    const bool isProcess = call.Find<winsim::OpenProcessHandle>(process) != nullptr;
    return isProcess ? call.NotSimulated("the tokens of other processes") : DWORD{ERROR_INVALID_HANDLE};
}

} // namespace

BOOL WINAPI OpenProcessToken(HANDLE ProcessHandle, DWORD DesiredAccess, PHANDLE TokenHandle)
{
    Call call{__func__};
    call.In("ProcessHandle", ProcessHandle).In("DesiredAccess", DesiredAccess);
    return call.SuccessOf([&]() -> DWORD {
        // Windows' kernel, which stores the handle, checks the address.
        if (TokenHandle == nullptr)
            return ERROR_NOACCESS;
        if (ProcessHandle != INVALID_HANDLE_VALUE)
            return OtherTokenError(call, ProcessHandle);
        const auto access = winsim::OpenedWithout(0, DesiredAccess, winsim::kGenericTokenRights);
        *TokenHandle = Simulation::Current().handles.Open(winsim::OpenToken{access.value_or(0)});
        call.Out("TokenHandle", *TokenHandle);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI GetTokenInformation(HANDLE TokenHandle, TOKEN_INFORMATION_CLASS TokenInformationClass,
                                LPVOID TokenInformation, DWORD TokenInformationLength, PDWORD ReturnLength)
{
    Call call{__func__};
    call.In("TokenHandle", TokenHandle)
        .In("TokenInformationClass", static_cast<int>(TokenInformationClass))
        .In("TokenInformationLength", TokenInformationLength)
        .Needs(ReturnLength);
    return call.SuccessOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        const auto* open = call.Find<winsim::OpenToken>(TokenHandle);
        if (open == nullptr)
            return ERROR_INVALID_HANDLE;
        if ((open->access & TOKEN_QUERY) == 0)
            return ERROR_ACCESS_DENIED;
        if (TokenInformationClass != TokenUser)
            return call.NotSimulated("what a token holds besides its user");

        const std::vector<std::uint8_t> sid = winsim::BytesOfSid(simulation.machine.token.user);
        const auto size = static_cast<DWORD>(sizeof(TOKEN_USER) + sid.size());
        *ReturnLength = size;
        call.Out("ReturnLength", size);
        if (TokenInformationLength < size)
            return ERROR_INSUFFICIENT_BUFFER;
        // The SID is stored after the structure.
        auto* place = static_cast<BYTE*>(TokenInformation) + sizeof(TOKEN_USER);
        const TOKEN_USER user{{place, 0}};
        std::memcpy(TokenInformation, &user, sizeof user);
        std::copy(sid.begin(), sid.end(), place);
        call.Out("TokenInformation", simulation.machine.token.user);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI LookupPrivilegeValueA(LPCSTR lpSystemName, LPCSTR lpName, PLUID lpLuid)
{
    Call call{__func__};
    call.In("lpSystemName", lpSystemName).In("lpName", lpName).Needs(lpName, lpLuid);
    return call.SuccessOf([&]() -> DWORD {
        if (const winsim::Privilege* const privilege = winsim::FindPrivilege(lpName))
        {
            *lpLuid = {privilege->luid, 0};
            call.Out("lpLuid", Json{{"LowPart", lpLuid->LowPart}, {"HighPart", lpLuid->HighPart}});
            return ERROR_SUCCESS;
        }
        return ERROR_NO_SUCH_PRIVILEGE;
    });
}

BOOL WINAPI AdjustTokenPrivileges(HANDLE TokenHandle, BOOL DisableAllPrivileges, PTOKEN_PRIVILEGES NewState,
                                  DWORD BufferLength, PTOKEN_PRIVILEGES PreviousState, PDWORD ReturnLength)
{
    Call call{__func__};
    call.In("TokenHandle", TokenHandle)
        .In("DisableAllPrivileges", DisableAllPrivileges)
        .In("NewState", NotedPrivileges(NewState))
        .In("BufferLength", BufferLength)
        .In("PreviousState", PreviousState)
        .In("ReturnLength", ReturnLength);
    return call.ResultOf(FALSE, [&] {
        Simulation& simulation = Simulation::Current();
        const auto* open = call.Find<winsim::OpenToken>(TokenHandle);
        if (open == nullptr)
            return call.Fail(FALSE, ERROR_INVALID_HANDLE);
        if ((open->access & TOKEN_ADJUST_PRIVILEGES) == 0)
            return call.Fail(FALSE, ERROR_ACCESS_DENIED);
        if (DisableAllPrivileges != FALSE || PreviousState != nullptr)
            return call.Fail(FALSE, call.NotSimulated("disabling all privileges, and the earlier privileges"));
        if (NewState == nullptr)
            return call.Fail(FALSE, ERROR_INVALID_PARAMETER);

        DWORD outcome = ERROR_SUCCESS;
        for (DWORD i = 0; i < NewState->PrivilegeCount; ++i)
        {
            const LUID_AND_ATTRIBUTES& one = NewState->Privileges[i];
            const std::string name = NameOf(one.Luid);
            if (simulation.machine.token.HasPrivilege(name))
                simulation.machine.token.Enable(name, (one.Attributes & SE_PRIVILEGE_ENABLED) != 0);
            else
                outcome = ERROR_NOT_ALL_ASSIGNED;
        }
        // This call sets the last error even if it succeeds.
        return call.Fail(TRUE, outcome);
    });
}
